#include "zanservices.h"

#include "zangetter.h"
#include "zanjsondb.h"
#include "zanproviders.h"

namespace zansnmp {

bool servicesData(Json::Value& out)
{
    static ZanCachedData query(
        apiUrl("/api?fields=sntp/enabled,smtp,sms,dns,ddns,radius,syslog/remote,stats/service,stats/dns"),
        cacheLifetime);
    return query.get(out);
}

std::string zanDNSForwarderEnabled()
{
    return flagMember(servicesData, {"dns", "enabled"});
}

std::string zanDNSStaticPrimaryHost()
{
    return textMember(servicesData, {"dns", "primary"});
}

std::string zanDNSStaticSecondaryHost()
{
    return textMember(servicesData, {"dns", "secondary"});
}

std::string zanDNSWanServers()
{
    return provideText(servicesData, [](const Json::Value& result) {
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
    return flagMember(servicesData, {"ddns", "enabled"});
}

std::string zanDdnsServiceProvider()
{
    return textMember(servicesData, {"ddns", "server"});
}

std::string zanSMSEnabled()
{
    return flagMember(servicesData, {"sms", "enabled"});
}

std::string zanSMTPEnabled()
{
    return flagMember(servicesData, {"smtp", "enabled"});
}

std::string zanSNTPEnabled()
{
    return flagMember(servicesData, {"sntp_enabled"});
}

std::string zanRadiusAuthEnabled()
{
    return flagMember(servicesData, {"radius", "authEnabled"});
}

std::string zanRadiusAccountingEnabled()
{
    return flagMember(servicesData, {"radius", "acctEnabled"});
}

std::string zanRadiusPrimaryHost()
{
    return textMember(servicesData, {"radius", "host"});
}

std::string zanRadiusSecondaryHost()
{
    return textMember(servicesData, {"radius", "secondaryHost"});
}

std::string zanRadiusAuthType()
{
    return textMember(servicesData, {"radius", "authType"});
}

std::uint32_t zanRadiusConnectTimeout()
{
    return unsignedMember(servicesData, {"radius", "timeout"});
}

} // namespace zansnmp
