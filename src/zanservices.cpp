#include "zanservices.h"

#include "zangetter.h"

namespace zansnmp {

ZanCachedData& servicesQuery()
{
    static ZanCachedData data(
        apiUrl("/api?fields=sntp/enabled,smtp,sms,dns,ddns,radius,syslog/remote,stats/service,stats/dns"),
        cacheLifetime);
    return data;
}

bool servicesData(Json::Value& out)
{
    return servicesQuery().get(out);
}

std::string zanDNSForwarderEnabled()
{
    return flagMember(servicesQuery, {"dns", "enabled"});
}

std::string zanDNSStaticPrimaryHost()
{
    return textMember(servicesQuery, {"dns", "primary"});
}

std::string zanDNSStaticSecondaryHost()
{
    return textMember(servicesQuery, {"dns", "secondary"});
}

std::string zanDNSWanServers()
{
    return provideText(servicesQuery, [](const Json::Value& result) {
        const Json::Value& servers = memberAt(result, {"stats_dns", "servers"});
        std::string list;
        // By position, not by iterator: an object in the array's place is an error.
        for (Json::ArrayIndex i = 0; i < servers.size(); ++i) {
            const std::string server = servers[i].asString();
            if (!server.empty()) {
                list += (list.empty() ? "" : ", ") + server;
            }
        }
        return list;
    });
}

std::string zanDdnsEnabled()
{
    return flagMember(servicesQuery, {"ddns", "enabled"});
}

std::string zanDdnsServiceProvider()
{
    return textMember(servicesQuery, {"ddns", "server"});
}

std::string zanSMSEnabled()
{
    return flagMember(servicesQuery, {"sms", "enabled"});
}

std::string zanSMTPEnabled()
{
    return flagMember(servicesQuery, {"smtp", "enabled"});
}

std::string zanSNTPEnabled()
{
    return flagMember(servicesQuery, {"sntp_enabled"});
}

std::string zanRadiusAuthEnabled()
{
    return flagMember(servicesQuery, {"radius", "authEnabled"});
}

std::string zanRadiusAccountingEnabled()
{
    return flagMember(servicesQuery, {"radius", "acctEnabled"});
}

std::string zanRadiusPrimaryHost()
{
    return textMember(servicesQuery, {"radius", "host"});
}

std::string zanRadiusSecondaryHost()
{
    return textMember(servicesQuery, {"radius", "secondaryHost"});
}

std::string zanRadiusAuthType()
{
    return textMember(servicesQuery, {"radius", "authType"});
}

std::uint32_t zanRadiusConnectTimeout()
{
    return unsignedMember(servicesQuery, {"radius", "timeout"});
}

} // namespace zansnmp
