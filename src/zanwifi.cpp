#include "zanwifi.h"

#include "zangetter.h"

namespace zansnmp {

namespace {

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=system,stats/wlan,wifi"), cacheLifetime);
    return data;
}

bool accessPointEnabled(const Json::Value& result)
{
    return memberAt(result, {"wifi", "ap", "enabled"}).asBool();
}

bool clientEnabled(const Json::Value& result)
{
    return memberAt(result, {"wifi", "client", "enabled"}).asBool();
}

bool clientConnected(const Json::Value& result)
{
    return clientEnabled(result) && memberAt(result, {"stats_wlan", "status"}).asString() == "Connected";
}

/// The text at `path` while the interface is in the role that `inRole` asks for; else "Unknown".
std::string textInRole(bool (*inRole)(const Json::Value&), Path path)
{
    return provideText(query, [=](const Json::Value& result) -> std::string {
        return inRole(result) ? memberAt(result, path).asString() : unknown;
    });
}

} // namespace

bool wifiData(Json::Value& out)
{
    return query().get(out);
}

std::string zanWiFiInterfaceEnabled()
{
    return provideText(query, [](const Json::Value& result) {
        return flagText(accessPointEnabled(result) || clientEnabled(result));
    });
}

std::string zanWiFiInterfaceMode()
{
    return provideText(query, [](const Json::Value& result) {
        if (accessPointEnabled(result)) {
            return "Access Point";
        }
        return clientEnabled(result) ? "WAN" : "None";
    });
}

std::string zanWiFiInterfaceMAC()
{
    return textMember(query, {"system", "macWifi"});
}

std::string zanWiFiInterfaceSSID()
{
    return provideText(query, [](const Json::Value& result) -> std::string {
        if (accessPointEnabled(result)) {
            return memberAt(result, {"wifi", "ap", "ssid"}).asString();
        }
        return clientConnected(result) ? memberAt(result, {"stats_wlan", "link", "SSID"}).asString()
                                       : unknown;
    });
}

std::string zanWiFiInterfaceConnectionStatus()
{
    return textInRole(clientEnabled, {"stats_wlan", "status"});
}

std::string zanWiFiInterfaceIP()
{
    return textInRole(clientConnected, {"stats_wlan", "ip"});
}

std::string zanWiFiInterfaceSignal()
{
    return textInRole(clientConnected, {"stats_wlan", "link", "signal"});
}

std::string zanWiFiInterfaceSecurity()
{
    return textInRole(accessPointEnabled, {"wifi", "ap", "security", "mode"});
}

} // namespace zansnmp
