#include "zancellular.h"

#include "zangetter.h"
#include "zanradio.h"

namespace zansnmp {

namespace {

template <class Read>
std::string cellularText(const Read& read)
{
    return provideWithRadio<std::string>(cellularQuery, unknown, read);
}

std::string cellularMember(Path path)
{
    return cellularText([path](const Json::Value& result) { return memberAt(result, path).asString(); });
}

std::string cellularFlag(Path path)
{
    return cellularText(
        [path](const Json::Value& result) { return flagText(memberAt(result, path).asBool()); });
}

std::uint32_t cellularUnsigned(Path path)
{
    return provideWithRadio<std::uint32_t>(
        cellularQuery, 0, [path](const Json::Value& result) { return memberAt(result, path).asUInt(); });
}

} // namespace

ZanCachedData& cellularQuery()
{
    static ZanCachedData data(apiUrl("/api?fields=system/capabilities,ppp,stats/ppp,stats/pppTotal"),
                              cacheLifetime);
    return data;
}

bool cellularData(Json::Value& out)
{
    return cellularQuery().get(out);
}

std::string zanCellularInterfaceEnabled()
{
    return cellularFlag({"ppp", "enabled"});
}

std::string zanCellularInterfaceConnectionStatus()
{
    return cellularMember({"stats_ppp", "link"});
}

std::string zanCellularInterfaceAPN()
{
    return cellularMember({"ppp", "modem", "apnString"});
}

std::uint32_t zanCellularInterfaceUptime()
{
    return cellularUnsigned({"stats_ppp", "uptime"}) * 100; // seconds to hundredths, modulo 2^32
}

std::string zanCellularInterfaceSignal()
{
    return cellularText([](const Json::Value& result) -> std::string {
        const std::string rssi = memberAt(result, {"stats_ppp", "rssi"}).asString();
        const std::string dbm = memberAt(result, {"stats_ppp", "rssiDbm"}).asString();
        if (rssi == "99" || dbm.empty()) { // 99: the modem knows no signal
            return {};
        }
        return dbm + " dBm"; // with a blank, unlike the radio's RSSI
    });
}

std::string zanCellularInterfaceRoaming()
{
    return cellularFlag({"stats_ppp", "roaming"});
}

std::string zanCellularInterfaceTower()
{
    return cellularMember({"stats_ppp", "tower"});
}

std::string zanCellularInterfaceIP()
{
    return cellularMember({"stats_ppp", "localIp"});
}

std::string zanCellularInterfaceDNS()
{
    return cellularText([](const Json::Value& result) {
        std::string list;
        const char* separator = ""; // in front of the first element only, even when its text is empty
        for (const Json::Value& server : memberAt(result, {"stats_ppp", "dnsServers"})) {
            list += separator + server.asString();
            separator = ", ";
        }
        return list;
    });
}

std::string zanCellularInterfaceMode()
{
    return cellularMember({"ppp", "protocol"});
}

std::string zanCellularInterfaceKeepAliveCheckEnabled()
{
    return cellularFlag({"ppp", "keepAlive", "enabled"});
}

std::string zanCellularInterfaceKeepAliveCheckHostname()
{
    return cellularMember({"ppp", "keepAlive", "hostname"});
}

std::uint32_t zanCellularInterfaceKeepAliveCheckInterval()
{
    return cellularUnsigned({"ppp", "keepAlive", "pingInterval"});
}

std::string zanCellularInterfaceWakeUpOnCallEnabled()
{
    return cellularFlag({"ppp", "wakeUpOnCall", "enabled"});
}

std::string zanCellularInterfaceWakeUpOnCallOnRing()
{
    return cellularFlag({"ppp", "wakeUpOnCall", "onRing"});
}

std::string zanCellularInterfaceWakeUpOnCallerId()
{
    return cellularFlag({"ppp", "wakeUpOnCall", "onCallerId"});
}

std::string zanCellularInterfaceWakeUpOnSMS()
{
    return cellularFlag({"ppp", "wakeUpOnCall", "onSms"});
}

} // namespace zansnmp
