#include "zangre.h"

namespace zansnmp {

namespace {

SharedJson rows()
{
    static ZanCachedData query(apiUrl("/api?fields=greTunnels"), cacheLifetime);
    return sharedMember(query, {"greTunnels"});
}

constexpr std::initializer_list<Column> columns = {
    {Conversion::position},
    {Conversion::text, "name"},
    {Conversion::flag, "enabled"},
};

constexpr Table table{"zanGreTunnelsTable", "zangre", "init_zanGreTunnelsTable",
                      objectOid(18, 1, 1),  columns,  rows};

} // namespace

} // namespace zansnmp

ZAN_DEFINE_TABLE(zanGreTunnelsTable, zansnmp::table)
