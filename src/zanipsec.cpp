#include "zanipsec.h"

#include <iterator>
#include <utility>

namespace {

using namespace zansnmp;

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=ipsecTunnels"), cacheLifetime);
    return data;
}

Json::Value rows(Json::Value& result)
{
    return std::move(result["ipsecTunnels"]);
}

constexpr Column columns[] = {
    {Conversion::position},
    {Conversion::text, "name"},
    {Conversion::flag, "enabled"},
};

Table table({"zanIpsecTunnelsTable", "zanipsec", "init_zanIpsecTunnelsTable", objectOid(18, 2, 1), columns,
             std::size(columns), query, rows});

} // namespace

ZAN_DEFINE_TABLE(zanIpsecTunnelsTable, table)
