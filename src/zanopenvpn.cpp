#include "zanopenvpn.h"

namespace zansnmp {

namespace {

SharedJson rows()
{
    static ZanCachedData query(apiUrl("/api?fields=ovpnTunnels"), cacheLifetime);
    return sharedMember(query, {"ovpnTunnels"});
}

constexpr std::initializer_list<Column> columns = {
    {Conversion::position},
    {Conversion::text, "name"},
    {Conversion::flag, "enabled"},
};

constexpr Table table{"zanOpenVpnTunnelsTable", "zanopenvpn", "init_zanOpenVpnTunnelsTable",
                      objectOid(18, 3, 1),      columns,      rows};

} // namespace

} // namespace zansnmp

ZAN_DEFINE_TABLE(zanOpenVpnTunnelsTable, zansnmp::table)
