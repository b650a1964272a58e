#include "zanopenvpn.h"

#include <iterator>
#include <utility>

namespace {

using namespace zansnmp;

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=ovpnTunnels"), cacheLifetime);
    return data;
}

Json::Value rows(Json::Value& result)
{
    return std::move(result["ovpnTunnels"]);
}

constexpr Column columns[] = {
    {Conversion::position},
    {Conversion::text, "name"},
    {Conversion::flag, "enabled"},
};

Table table({"zanOpenVpnTunnelsTable", "zanopenvpn", "init_zanOpenVpnTunnelsTable", objectOid(18, 3, 1),
             columns, std::size(columns), query, rows});

} // namespace

ZAN_DEFINE_TABLE(zanOpenVpnTunnelsTable, table)
