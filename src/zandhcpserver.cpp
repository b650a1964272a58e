#include "zandhcpserver.h"

namespace zansnmp {

namespace {

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=dhcp"), cacheLifetime);
    return data;
}

SharedJson rows()
{
    return sharedMember(query(), {"dhcp", "leases"});
}

constexpr std::initializer_list<Column> columns = {
    {Conversion::position},
    {Conversion::text, "ip"},
    {Conversion::text, "mac"},
    {Conversion::timeTicks, "expiration"},
};

constexpr Table table{"zanDHCPServerLeasesTable", "zandhcpserver", "init_zanDHCPServerLeasesTable",
                      objectOid(11, 1, 2),        columns,         rows};

} // namespace

bool dhcpData(Json::Value& out)
{
    return query().get(out);
}

std::string zanDHCPServerEnabled()
{
    return flagMember(query, {"dhcp", "enabled"});
}

} // namespace zansnmp

ZAN_DEFINE_TABLE(zanDHCPServerLeasesTable, zansnmp::table)
