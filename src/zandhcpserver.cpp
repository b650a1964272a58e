#include "zandhcpserver.h"

#include "zangetter.h"
#include "zanproviders.h"

#include <iterator>
#include <utility>

namespace {

using namespace zansnmp;

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=dhcp"), cacheLifetime);
    return data;
}

Json::Value rows(Json::Value& result)
{
    return std::move(result["dhcp"]["leases"]);
}

constexpr Column columns[] = {
    {Conversion::position},
    {Conversion::text, "ip"},
    {Conversion::text, "mac"},
    {Conversion::timeTicks, "expiration"},
};

Table table({"zanDHCPServerLeasesTable", "zandhcpserver", "init_zanDHCPServerLeasesTable",
             objectOid(11, 1, 2), columns, std::size(columns), query, rows});

} // namespace

bool zansnmp::dhcpData(Json::Value& out)
{
    return query().get(out);
}

std::string zansnmp::zanDHCPServerEnabled()
{
    return flagMember(dhcpData, {"dhcp", "enabled"});
}

ZAN_DEFINE_TABLE(zanDHCPServerLeasesTable, table)
