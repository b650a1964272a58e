// Every object that shows one member of its `result`, against every type that the member or a container on
// the way to it may have. What is special about an object is tested with its group.

#include "zanproviders.h"

#include "support/apitest.h"
#include "support/scalars.h"

#include <json/json.h>

#include <cstdint>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

using namespace zantest;
using namespace zansnmp;

namespace {

enum class Kind { text, flag, number };

/// An object that shows the member at `path`, of a `result` that holds `base` besides.
struct Member {
    std::string name;
    std::variant<std::string (*)(), std::uint32_t (*)()> provider;
    Kind kind;
    std::string query;
    std::vector<std::string> path;
    std::string base;
};

// The queries of the groups, and what a result needs for its members to count.
const std::string radioQuery = "system/capabilities,stats/radio";
const std::string cellularQuery = "system/capabilities,ppp,stats/ppp,stats/pppTotal";
const std::string ethernetQuery = "system,stats/eth,dhcp,dns";
const std::string wifiQuery = "system,stats/wlan,wifi";
const std::string serialQuery = "ipPipes/SERIAL2IP,stats/serial,serial";
const std::string servicesQuery =
    "sntp/enabled,smtp,sms,dns,ddns,radius,syslog/remote,stats/service,stats/dns";
const std::string withRadio = R"({"system_capabilities": {"cell": true}})";
const std::string withAccessPoint = R"({"wifi": {"ap": {"enabled": true}}})";
const std::string withClient = R"({"wifi": {"client": {"enabled": true}}})";
const std::string withConnection =
    R"({"wifi": {"client": {"enabled": true}}, "stats_wlan": {"status": "Connected"}})";
const std::string nothing = "null";

// An object's name and its provider's are one.
#define ZAN_OBJECT(name) #name, name

const std::vector<Member>& members()
{
    static const std::vector<Member> list{
        {ZAN_OBJECT(zanRadioType), Kind::text, radioQuery, {"stats_radio", "type"}, withRadio},
        {ZAN_OBJECT(zanRadioMEIDorIMEI), Kind::text, radioQuery, {"stats_radio", "imei"}, withRadio},
        {ZAN_OBJECT(zanRadioIMSI), Kind::text, radioQuery, {"stats_radio", "imsi"}, withRadio},
        {ZAN_OBJECT(zanRadioFirmware), Kind::text, radioQuery, {"stats_radio", "firmware"}, withRadio},
        {ZAN_OBJECT(zanRadioNetwork), Kind::text, radioQuery, {"stats_radio", "network"}, withRadio},
        {ZAN_OBJECT(zanRadioService), Kind::text, radioQuery, {"stats_radio", "service"}, withRadio},
        {ZAN_OBJECT(zanRadioHomeNetwork), Kind::text, radioQuery, {"stats_radio", "carrier"}, withRadio},
        {ZAN_OBJECT(zanRadioMSID), Kind::text, radioQuery, {"stats_radio", "msid"}, withRadio},
        {ZAN_OBJECT(zanRadioMDN), Kind::text, radioQuery, {"stats_radio", "mdn"}, withRadio},
        {ZAN_OBJECT(zanCellularInterfaceEnabled), Kind::flag, cellularQuery, {"ppp", "enabled"}, withRadio},
        {ZAN_OBJECT(zanCellularInterfaceConnectionStatus),
         Kind::text,
         cellularQuery,
         {"stats_ppp", "link"},
         withRadio},
        {ZAN_OBJECT(zanCellularInterfaceAPN),
         Kind::text,
         cellularQuery,
         {"ppp", "modem", "apnString"},
         withRadio},
        {ZAN_OBJECT(zanCellularInterfaceRoaming),
         Kind::flag,
         cellularQuery,
         {"stats_ppp", "roaming"},
         withRadio},
        {ZAN_OBJECT(zanCellularInterfaceTower), Kind::text, cellularQuery, {"stats_ppp", "tower"}, withRadio},
        {ZAN_OBJECT(zanCellularInterfaceIP), Kind::text, cellularQuery, {"stats_ppp", "localIp"}, withRadio},
        {ZAN_OBJECT(zanCellularInterfaceMode), Kind::text, cellularQuery, {"ppp", "protocol"}, withRadio},
        {ZAN_OBJECT(zanCellularInterfaceKeepAliveCheckEnabled),
         Kind::flag,
         cellularQuery,
         {"ppp", "keepAlive", "enabled"},
         withRadio},
        {ZAN_OBJECT(zanCellularInterfaceKeepAliveCheckHostname),
         Kind::text,
         cellularQuery,
         {"ppp", "keepAlive", "hostname"},
         withRadio},
        {ZAN_OBJECT(zanCellularInterfaceKeepAliveCheckInterval),
         Kind::number,
         cellularQuery,
         {"ppp", "keepAlive", "pingInterval"},
         withRadio},
        {ZAN_OBJECT(zanCellularInterfaceWakeUpOnCallEnabled),
         Kind::flag,
         cellularQuery,
         {"ppp", "wakeUpOnCall", "enabled"},
         withRadio},
        {ZAN_OBJECT(zanCellularInterfaceWakeUpOnCallOnRing),
         Kind::flag,
         cellularQuery,
         {"ppp", "wakeUpOnCall", "onRing"},
         withRadio},
        {ZAN_OBJECT(zanCellularInterfaceWakeUpOnCallerId),
         Kind::flag,
         cellularQuery,
         {"ppp", "wakeUpOnCall", "onCallerId"},
         withRadio},
        {ZAN_OBJECT(zanCellularInterfaceWakeUpOnSMS),
         Kind::flag,
         cellularQuery,
         {"ppp", "wakeUpOnCall", "onSms"},
         withRadio},
        {ZAN_OBJECT(zanEthernetInterfaceMAC), Kind::text, ethernetQuery, {"system", "macAddress"}, nothing},
        {ZAN_OBJECT(zanEthernetInterfaceIP), Kind::text, ethernetQuery, {"stats_eth", "ip"}, nothing},
        {ZAN_OBJECT(zanEthernetInterfaceMask), Kind::text, ethernetQuery, {"stats_eth", "mask"}, nothing},
        {ZAN_OBJECT(zanWiFiInterfaceMAC), Kind::text, wifiQuery, {"system", "macWifi"}, nothing},
        {ZAN_OBJECT(zanWiFiInterfaceSSID), Kind::text, wifiQuery, {"wifi", "ap", "ssid"}, withAccessPoint},
        {ZAN_OBJECT(zanWiFiInterfaceConnectionStatus),
         Kind::text,
         wifiQuery,
         {"stats_wlan", "status"},
         withClient},
        {ZAN_OBJECT(zanWiFiInterfaceIP), Kind::text, wifiQuery, {"stats_wlan", "ip"}, withConnection},
        {ZAN_OBJECT(zanWiFiInterfaceSignal),
         Kind::text,
         wifiQuery,
         {"stats_wlan", "link", "signal"},
         withConnection},
        {ZAN_OBJECT(zanWiFiInterfaceSecurity),
         Kind::text,
         wifiQuery,
         {"wifi", "ap", "security", "mode"},
         withAccessPoint},
        {ZAN_OBJECT(zanSerialToIPEnabled),
         Kind::flag,
         serialQuery,
         {"ipPipes_SERIAL2IP", "enabled"},
         nothing},
        {ZAN_OBJECT(zanSerialToIPMode), Kind::text, serialQuery, {"ipPipes_SERIAL2IP", "mode"}, nothing},
        {ZAN_OBJECT(zanSerialToIPProtocol),
         Kind::text,
         serialQuery,
         {"ipPipes_SERIAL2IP", "protocol"},
         nothing},
        {ZAN_OBJECT(zanSerialToIPPort), Kind::number, serialQuery, {"ipPipes_SERIAL2IP", "port"}, nothing},
        {ZAN_OBJECT(zanSerialToIPServerIP),
         Kind::text,
         serialQuery,
         {"ipPipes_SERIAL2IP", "ip"},
         R"({"ipPipes_SERIAL2IP": {"mode": "CLIENT"}})"},
        {ZAN_OBJECT(zanSerialToIPTx), Kind::number, serialQuery, {"stats_serial", "tx"}, nothing},
        {ZAN_OBJECT(zanSerialToIPRx), Kind::number, serialQuery, {"stats_serial", "rx"}, nothing},
        {ZAN_OBJECT(zanSerialToIPDCD), Kind::text, serialQuery, {"stats_serial", "dcd"}, nothing},
        {ZAN_OBJECT(zanSerialToIPModbusGatewayEnabled),
         Kind::flag,
         serialQuery,
         {"serial", "modbus"},
         nothing},
        {ZAN_OBJECT(zanRouterModelId), Kind::text, "system", {"system", "productId"}, nothing},
        {ZAN_OBJECT(zanRouterSerialNumber), Kind::text, "system", {"system", "deviceId"}, nothing},
        {ZAN_OBJECT(zanRouterFirmware), Kind::text, "system", {"system", "firmware"}, nothing},
        {ZAN_OBJECT(zanDNSForwarderEnabled), Kind::flag, servicesQuery, {"dns", "enabled"}, nothing},
        {ZAN_OBJECT(zanDNSStaticPrimaryHost), Kind::text, servicesQuery, {"dns", "primary"}, nothing},
        {ZAN_OBJECT(zanDNSStaticSecondaryHost), Kind::text, servicesQuery, {"dns", "secondary"}, nothing},
        {ZAN_OBJECT(zanDdnsEnabled), Kind::flag, servicesQuery, {"ddns", "enabled"}, nothing},
        {ZAN_OBJECT(zanDdnsServiceProvider), Kind::text, servicesQuery, {"ddns", "server"}, nothing},
        {ZAN_OBJECT(zanDHCPServerEnabled), Kind::flag, "dhcp", {"dhcp", "enabled"}, nothing},
        {ZAN_OBJECT(zanSMSEnabled), Kind::flag, servicesQuery, {"sms", "enabled"}, nothing},
        {ZAN_OBJECT(zanSMTPEnabled), Kind::flag, servicesQuery, {"smtp", "enabled"}, nothing},
        {ZAN_OBJECT(zanSNTPEnabled), Kind::flag, servicesQuery, {"sntp_enabled"}, nothing},
        {ZAN_OBJECT(zanDiagnosticsServiceDDNS),
         Kind::text,
         servicesQuery,
         {"stats_service", "ddns", "status"},
         nothing},
        {ZAN_OBJECT(zanDiagnosticsServiceSNTP),
         Kind::text,
         servicesQuery,
         {"stats_service", "sntp", "status"},
         nothing},
        {ZAN_OBJECT(zanDiagnosticsServiceKeepAlive),
         Kind::text,
         servicesQuery,
         {"stats_service", "keepAlive", "status"},
         nothing},
        {ZAN_OBJECT(zanDiagnosticsServiceDialOnDemand),
         Kind::text,
         servicesQuery,
         {"stats_service", "dialOnDemand", "status"},
         nothing},
        {ZAN_OBJECT(zanDiagnosticsServiceSMTP),
         Kind::text,
         servicesQuery,
         {"stats_service", "smtp", "status"},
         nothing},
        {ZAN_OBJECT(zanDiagnosticsServiceSMS),
         Kind::text,
         servicesQuery,
         {"stats_service", "sms", "status"},
         nothing},
        {ZAN_OBJECT(zanRadiusAuthEnabled), Kind::flag, servicesQuery, {"radius", "authEnabled"}, nothing},
        {ZAN_OBJECT(zanRadiusAccountingEnabled),
         Kind::flag,
         servicesQuery,
         {"radius", "acctEnabled"},
         nothing},
        {ZAN_OBJECT(zanRadiusPrimaryHost), Kind::text, servicesQuery, {"radius", "host"}, nothing},
        {ZAN_OBJECT(zanRadiusSecondaryHost), Kind::text, servicesQuery, {"radius", "secondaryHost"}, nothing},
        {ZAN_OBJECT(zanRadiusAuthType), Kind::text, servicesQuery, {"radius", "authType"}, nothing},
        {ZAN_OBJECT(zanRadiusConnectTimeout), Kind::number, servicesQuery, {"radius", "timeout"}, nothing},
        {ZAN_OBJECT(zanRemoteAccessDoSPreventEnabled),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "dosAttackPrevention", "enabled"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessPingLimitEnabled),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "pingLimit", "enabled"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessBruteForcePrevEnabled),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "bruteForcePrevention", "enabled"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessSSHEnabled),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "ssh", "enabled"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessSSHWan),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "ssh", "wan"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessSSHLan),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "ssh", "lan"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessIcmpEnabled),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "icmp", "enabled"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessIcmpWan),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "icmp", "respondToWan"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessIcmpLan),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "icmp", "respondToLan"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessHTTPEnabled),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "http", "enabled"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessHTTPWan),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "http", "wan"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessHTTPLan),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "http", "lan"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessHTTPtoHTTPs),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "http", "redirectToHttps"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessHTTPsEnabled),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "https", "enabled"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessHTTPsWan),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "https", "wan"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessHTTPsLan),
         Kind::flag,
         "remoteAccess",
         {"remoteAccess", "https", "lan"},
         nothing},
        {ZAN_OBJECT(zanRemoteAccessHTTPSessionTimeout),
         Kind::number,
         "remoteAccess",
         {"remoteAccess", "timeoutSeconds"},
         nothing},
    };
    return list;
}

/// The objects that do more than show a member, or have no member.
const std::set<std::string> specials{
    "zanRemoteManagementEnabled",
    "zanWanManagerTransport",
    "zanWanManagerPriority",
    "zanRadioRSSI",
    "zanRadioTemperature",
    "zanCellularInterfaceUptime",
    "zanCellularInterfaceSignal",
    "zanCellularInterfaceDNS",
    "zanCellularInterfaceStatsTxBytes",
    "zanCellularInterfaceStatsRxBytes",
    "zanCellularInterfaceStatsTxPkts",
    "zanCellularInterfaceStatsRxPkts",
    "zanEthernetInterfaceGateway",
    "zanEthernetInterfaceDNS",
    "zanWiFiInterfaceEnabled",
    "zanWiFiInterfaceMode",
    "zanRouterUptime",
    "zanDNSWanServers",
    "zanDiagnosticsSNMP",
    "zanDiagnosticsRemoteSyslog",
    "zanFirewallPreroutingRulesNumEnabled",
    "zanFirewallInputFilterRulesNumEnabled",
    "zanFirewallForwardFilterRulesNumEnabled",
    "zanFirewallOutputFilterRulesNumEnabled",
    "zanFirewallPostroutingRulesNumEnabled",
    "zanRemoteAccessIpDefenseEnabled",
};

/// A member's JSON, and what it reads as: text, flag, number.
struct Sample {
    std::string json;
    std::string text;
    std::string flag;
    std::uint32_t number;
};

const Sample missing{"", "", "False", 0};
const Sample failure{"", "Unknown", "Unknown", 0};

const std::vector<Sample> samples{
    {"null", "", "False", 0},
    {R"("")", "", "Unknown", 0},
    {R"("some text")", "some text", "Unknown", 0},
    {R"("7")", "7", "Unknown", 0},
    {R"("true")", "true", "Unknown", 0},
    {R"("Unknown")", "Unknown", "Unknown", 0},
    {"true", "true", "True", 1},
    {"false", "false", "False", 0},
    {"0", "0", "False", 0},
    {"1", "1", "True", 1},
    {"7", "7", "True", 7},
    {"-1", "-1", "True", 0},
    {"2147483647", "2147483647", "True", 2147483647},
    {"2147483648", "2147483648", "True", 2147483648},
    {"4294967295", "4294967295", "True", 4294967295},
    {"4294967296", "4294967296", "True", 0},
    {"18446744073709551615", "18446744073709551615", "True", 0},
    {"-9223372036854775808", "-9223372036854775808", "True", 0},
    {"0.0", "0.0", "False", 0},
    {"1.5", "1.5", "True", 1},
    {"-0.5", "-0.5", "True", 0},
    {"4294967295.0", "4294967295.0", "True", 4294967295},
    {"4294967295.5", "4294967295.5", "True", 0},
    {"1e30", "1e+30", "True", 0},
    {"[]", "Unknown", "Unknown", 0},
    {"[7]", "Unknown", "Unknown", 0},
    {"{}", "Unknown", "Unknown", 0},
    {R"({"enabled": true})", "Unknown", "Unknown", 0},
};

Json::Value parsed(const std::string& text)
{
    std::istringstream in(text);
    Json::Value value;
    in >> value;
    return value;
}

std::string compact(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

/// The text of the `result` in which a JSON text stands at a path of the base; an empty one takes the member
/// away.
std::string resultWith(const Member& member, std::size_t depth, const std::string& json)
{
    if (depth == 0) {
        return json;
    }
    Json::Value result = parsed(member.base);
    Json::Value* container = &result;
    for (std::size_t i = 0; i + 1 < depth; ++i) {
        container = &(*container)[member.path[i]];
    }
    if (json.empty()) {
        container->removeMember(member.path[depth - 1]);
        return compact(result);
    }
    // In the given spelling, not as the library would write it.
    (*container)[member.path[depth - 1]] = "@";
    std::string text = compact(result);
    return text.replace(text.find("\"@\""), 3, json);
}

/// Whether the base itself holds something at the first `depth` members of the path.
bool baseHolds(const Member& member, std::size_t depth)
{
    Json::Value value = parsed(member.base);
    for (std::size_t i = 0; i < depth; ++i) {
        value = Json::Value(value[member.path[i]]);
    }
    return !value.isNull();
}

class ProvidersTest : public ApiTest {
protected:
    /// Checks the object in this state of the API against what the sample reads as.
    void expectReading(const Member& member, const std::string& result, const Sample& sample)
    {
        freshResult(result);
        takeLog();
        if (member.kind == Kind::number) {
            EXPECT_EQ(std::get<std::uint32_t (*)()>(member.provider)(), sample.number)
                << member.name << " of " << result;
        } else {
            const std::string& expected = member.kind == Kind::text ? sample.text : sample.flag;
            EXPECT_EQ(std::get<std::string (*)()>(member.provider)(), expected)
                << member.name << " of " << result;
        }
        EXPECT_EQ(takeLog(), LogLines{executing("/api?fields=" + member.query)}) << member.name;
    }
};

TEST(ProvidersListTest, EveryObjectIsEitherAMemberOrSpecial)
{
    std::set<std::string> all;
    for (const ScalarUnderTest& scalar : allScalars()) {
        all.insert(scalar.name);
    }
    ASSERT_EQ(all.size(), 108U);
    std::set<std::string> covered = specials;
    for (const Member& member : members()) {
        EXPECT_TRUE(covered.insert(member.name).second) << member.name << " is listed twice";
    }
    EXPECT_EQ(covered, all);
}

TEST_F(ProvidersTest, MemberOfEveryType)
{
    for (const Member& member : members()) {
        for (const Sample& sample : samples) {
            expectReading(member, resultWith(member, member.path.size(), sample.json), sample);
        }
    }
}

TEST_F(ProvidersTest, MissingMember)
{
    for (const Member& member : members()) {
        expectReading(member, resultWith(member, member.path.size(), ""), missing);
    }
}

TEST_F(ProvidersTest, ContainerOfTheWrongTypeIsAFailure)
{
    for (const Member& member : members()) {
        for (std::size_t depth = 0; depth < member.path.size(); ++depth) {
            for (const char* container : {"7", "-1.5", "true", "false", R"("")", R"("text")", "[]", "[{}]"}) {
                expectReading(member, resultWith(member, depth, container), failure);
            }
        }
    }
}

TEST_F(ProvidersTest, MissingNullOrEmptyContainerReadsAsAMissingMember)
{
    for (const Member& member : members()) {
        for (std::size_t depth = 0; depth < member.path.size(); ++depth) {
            if (baseHolds(member, depth)) {
                continue; // without it another rule applies
            }
            for (const char* container : {"null", "{}", R"({"other": {"enabled": true}})"}) {
                expectReading(member, resultWith(member, depth, container), missing);
            }
            if (depth > 0) {
                expectReading(member, resultWith(member, depth, ""), missing);
            }
        }
    }
}

TEST_F(ProvidersTest, TextsAreTheBytesOfTheJson)
{
    const std::string longText(1200, 'x');
    const std::vector<Sample> texts{
        {R"("a\u0000b")", std::string("a\0b", 3), "Unknown", 0},
        {R"("\u00e4\u20ac\ud83d\ude00")", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80", "Unknown", 0},
        {"\"\xc3\xa4\"", "\xc3\xa4", "Unknown", 0},
        {R"(" leading and trailing ")", " leading and trailing ", "Unknown", 0},
        {R"("line\nfeed")", "line\nfeed", "Unknown", 0},
        {"\"" + longText + "\"", longText, "Unknown", 0},
    };
    for (const Member& member : members()) {
        for (const Sample& sample : texts) {
            expectReading(member, resultWith(member, member.path.size(), sample.json), sample);
        }
    }
}

TEST_F(ProvidersTest, FailedQueryIsTheFallback)
{
    freshResult("{}");
    apiDown();
    for (const Member& member : members()) {
        if (member.kind == Kind::number) {
            EXPECT_EQ(std::get<std::uint32_t (*)()>(member.provider)(), 0U) << member.name;
        } else {
            EXPECT_EQ(std::get<std::string (*)()>(member.provider)(), "Unknown") << member.name;
        }
        EXPECT_EQ(takeLog(), (LogLines{executing("/api?fields=" + member.query),
                                       {LOG_ERR, " curl_easy_perform failed"}}))
            << member.name;
    }
}

} // namespace
