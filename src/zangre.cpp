#include "zangre.h"

#include <iterator>
#include <utility>

namespace {

using namespace zansnmp;

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=greTunnels"), cacheLifetime);
    return data;
}

Json::Value rows(Json::Value& result)
{
    return std::move(result["greTunnels"]);
}

constexpr Column columns[] = {
    {Conversion::position},
    {Conversion::text, "name"},
    {Conversion::flag, "enabled"},
};

Table table({"zanGreTunnelsTable", "zangre", "init_zanGreTunnelsTable", objectOid(18, 1, 1), columns,
             std::size(columns), query, rows});

} // namespace

ZAN_DEFINE_TABLE(zanGreTunnelsTable, table)
