#include "zanethernet.h"

#include "zangetter.h"

namespace zansnmp {

namespace {

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=system,stats/eth,dhcp,dns"), cacheLifetime);
    return data;
}

} // namespace

bool ethernetData(Json::Value& out)
{
    return query().get(out);
}

std::string zanEthernetInterfaceMAC()
{
    return textMember(query, {"system", "macAddress"});
}

std::string zanEthernetInterfaceIP()
{
    return textMember(query, {"stats_eth", "ip"});
}

std::string zanEthernetInterfaceMask()
{
    return textMember(query, {"stats_eth", "mask"});
}

std::string zanEthernetInterfaceGateway()
{
    return provideText(query, [](const Json::Value& result) {
        std::string gateway = memberAt(result, {"stats_eth", "gateway"}).asString();
        if (gateway.empty()) {
            gateway = memberAt(result, {"dhcp", "defaultGateway"}).asString();
        }
        return gateway;
    });
}

std::string zanEthernetInterfaceDNS()
{
    return provideText(query, [](const Json::Value& result) {
        const Json::Value& dns = result["dns"];
        if (dns["enabled"].asBool()) {
            // The router forwards: its own address is the server that the LAN sees.
            return memberAt(result, {"dhcp", "defaultGateway"}).asString();
        }
        const std::string primary = dns["primary"].asString();
        const std::string secondary = dns["secondary"].asString();
        const bool both = !primary.empty() && !secondary.empty();
        return primary + (both ? ", " : "") + secondary;
    });
}

} // namespace zansnmp
