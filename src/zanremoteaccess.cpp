#include "zanremoteaccess.h"

#include "zangetter.h"

namespace zansnmp {

namespace {

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=remoteAccess"), cacheLifetime);
    return data;
}

/// The flag `name` of a protocol or a defence.
std::string accessFlag(const char* section, const char* name)
{
    return flagMember(query, {"remoteAccess", section, name});
}

} // namespace

bool remoteAccessData(Json::Value& out)
{
    return query().get(out);
}

std::string zanRemoteAccessIpDefenseEnabled()
{
    return provideText(query, [](const Json::Value& result) {
        const Json::Value& access = result["remoteAccess"];
        const Json::Value& dosAttack = access["dosAttackPrevention"];
        const Json::Value& pingLimit = access["pingLimit"];
        const Json::Value& bruteForce = access["bruteForcePrevention"];
        // Lazily: after the first defence that is on, no flag is read, however malformed.
        return flagText(dosAttack["enabled"].asBool() || pingLimit["enabled"].asBool() ||
                        bruteForce["enabled"].asBool());
    });
}

std::string zanRemoteAccessDoSPreventEnabled()
{
    return accessFlag("dosAttackPrevention", "enabled");
}

std::string zanRemoteAccessPingLimitEnabled()
{
    return accessFlag("pingLimit", "enabled");
}

std::string zanRemoteAccessBruteForcePrevEnabled()
{
    return accessFlag("bruteForcePrevention", "enabled");
}

std::string zanRemoteAccessSSHEnabled()
{
    return accessFlag("ssh", "enabled");
}

std::string zanRemoteAccessSSHWan()
{
    return accessFlag("ssh", "wan");
}

std::string zanRemoteAccessSSHLan()
{
    return accessFlag("ssh", "lan");
}

std::string zanRemoteAccessIcmpEnabled()
{
    return accessFlag("icmp", "enabled");
}

std::string zanRemoteAccessIcmpWan()
{
    return accessFlag("icmp", "respondToWan"); // the API names the sides of ICMP otherwise
}

std::string zanRemoteAccessIcmpLan()
{
    return accessFlag("icmp", "respondToLan");
}

std::string zanRemoteAccessHTTPEnabled()
{
    return accessFlag("http", "enabled");
}

std::string zanRemoteAccessHTTPWan()
{
    return accessFlag("http", "wan");
}

std::string zanRemoteAccessHTTPLan()
{
    return accessFlag("http", "lan");
}

std::string zanRemoteAccessHTTPtoHTTPs()
{
    return accessFlag("http", "redirectToHttps");
}

std::string zanRemoteAccessHTTPsEnabled()
{
    return accessFlag("https", "enabled");
}

std::string zanRemoteAccessHTTPsWan()
{
    return accessFlag("https", "wan");
}

std::string zanRemoteAccessHTTPsLan()
{
    return accessFlag("https", "lan");
}

std::uint32_t zanRemoteAccessHTTPSessionTimeout()
{
    return unsignedMember(query, {"remoteAccess", "timeoutSeconds"});
}

} // namespace zansnmp
