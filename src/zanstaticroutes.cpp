#include "zanstaticroutes.h"

namespace zansnmp {

namespace {

SharedJson rows()
{
    static ZanCachedData query(apiUrl("/api?fields=routes"), cacheLifetime);
    return sharedMember(query, {"routes"});
}

// Every route that exists is in force: the third column does not look at the row.
constexpr std::initializer_list<Column> columns = {
    {Conversion::position},
    {Conversion::text, "name"},
    {Conversion::alwaysTrue},
};

constexpr Table table{"zanStaticRoutesTable", "zanstaticroutes", "init_zanStaticRoutesTable",
                      objectOid(17, 1),       columns,           rows};

} // namespace

} // namespace zansnmp

ZAN_DEFINE_TABLE(zanStaticRoutesTable, zansnmp::table)
