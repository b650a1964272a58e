#include "zanstaticroutes.h"

#include <iterator>
#include <utility>

namespace {

using namespace zansnmp;

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=routes"), cacheLifetime);
    return data;
}

Json::Value rows(Json::Value& result)
{
    return std::move(result["routes"]);
}

// Every route that exists is in force: the third column does not look at the row.
constexpr Column columns[] = {
    {Conversion::position},
    {Conversion::text, "name"},
    {Conversion::alwaysTrue},
};

Table table({"zanStaticRoutesTable", "zanstaticroutes", "init_zanStaticRoutesTable", objectOid(17, 1),
             columns, std::size(columns), query, rows});

} // namespace

ZAN_DEFINE_TABLE(zanStaticRoutesTable, table)
