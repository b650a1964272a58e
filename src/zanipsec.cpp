#include "zanipsec.h"

namespace zansnmp {

namespace {

SharedJson rows()
{
    static ZanCachedData query(apiUrl("/api?fields=ipsecTunnels"), cacheLifetime);
    return sharedMember(query, {"ipsecTunnels"});
}

constexpr std::initializer_list<Column> columns = {
    {Conversion::position},
    {Conversion::text, "name"},
    {Conversion::flag, "enabled"},
};

constexpr Table table{"zanIpsecTunnelsTable", "zanipsec", "init_zanIpsecTunnelsTable",
                      objectOid(18, 2, 1),    columns,    rows};

} // namespace

} // namespace zansnmp

ZAN_DEFINE_TABLE(zanIpsecTunnelsTable, zansnmp::table)
