// The GET handlers of the 108 scalars, as the entry registers them.

#include "zansnmpext.h"

#include "support/allocations.h"
#include "support/apitest.h"
#include "support/scalars.h"
#include "support/tables.h"

#include <map>
#include <string>
#include <vector>

using namespace zantest;

namespace {

/// The `result` for all queries at once, with a value for every object; booleans are true, counts are 1.
constexpr const char* everything = R"({
    "wanmngr": {"wans": [{"priority": 1}]},
    "waninfo": {"wans": [{"interface": "ppp0", "current": true, "available": true, "enabled": true}]},
    "system_capabilities": {"cell": true},
    "stats_radio": {"type": "LTE", "imei": "imei", "imsi": "imsi", "firmware": "radio fw", "rssidBm": "-71",
                    "network": "net", "service": "service", "carrier": "carrier", "msid": "msid", "mdn": "mdn"},
    "ppp": {"enabled": true, "modem": {"apnString": "apn"}, "protocol": "auto",
            "keepAlive": {"enabled": true, "hostname": "host", "pingInterval": 61},
            "wakeUpOnCall": {"enabled": true, "onRing": true, "onCallerId": true, "onSms": true}},
    "stats_ppp": {"link": "up", "uptime": 3600, "rssi": 20, "rssiDbm": -75, "roaming": true, "tower": "tower",
                  "localIp": "10.0.0.1", "dnsServers": ["d1", "d2"],
                  "tx": {"bytes": 1, "packets": 2}, "rx": {"bytes": 3, "packets": 4}},
    "stats_pppTotal": {"todayTx": 5, "totalTx": 6, "todayRx": 7, "totalRx": 8},
    "system": {"macAddress": "mac", "macWifi": "wmac", "productId": "model", "deviceId": "serial",
               "firmware": "fw", "uptime": "12345.67"},
    "stats_eth": {"ip": "eip", "mask": "emask", "gateway": "egw"},
    "dhcp": {"defaultGateway": "dgw", "enabled": true},
    "dns": {"enabled": true, "primary": "p", "secondary": "s"},
    "wifi": {"ap": {"enabled": true, "ssid": "own", "security": {"mode": "wpa"}}, "client": {"enabled": true}},
    "stats_wlan": {"status": "Connected", "ip": "wip", "link": {"SSID": "joined", "signal": "wsig"}},
    "ipPipes_SERIAL2IP": {"enabled": true, "mode": "CLIENT", "protocol": "TCP", "port": 4001, "ip": "pip"},
    "stats_serial": {"tx": 2147483648, "rx": 4294967295, "dcd": "dcd"},
    "serial": {"modbus": true},
    "sntp_enabled": true, "smtp": {"enabled": true}, "sms": {"enabled": true},
    "ddns": {"enabled": true, "server": "dyn"},
    "radius": {"authEnabled": true, "acctEnabled": true, "host": "r1", "secondaryHost": "r2", "authType": "PAP",
               "timeout": 30},
    "syslog_remote": [{"severityLevel": "ERROR"}],
    "stats_service": {"ddns": {"status": "s1"}, "sntp": {"status": "s2"}, "keepAlive": {"status": "s3"},
                      "dialOnDemand": {"status": "s4"}, "smtp": {"status": "s5"}, "sms": {"status": "s6"}},
    "stats_dns": {"servers": ["w1", "w2"]},
    "remoteAccess": {"dosAttackPrevention": {"enabled": true}, "pingLimit": {"enabled": true},
                     "bruteForcePrevention": {"enabled": true},
                     "ssh": {"enabled": true, "wan": true, "lan": true},
                     "icmp": {"enabled": true, "respondToWan": true, "respondToLan": true},
                     "http": {"enabled": true, "wan": true, "lan": true, "redirectToHttps": true},
                     "https": {"enabled": true, "wan": true, "lan": true}, "timeoutSeconds": 600},
    "filters": [{"chain": "INPUT", "enabled": true}, {"chain": "FORWARD", "enabled": true},
                {"chain": "FORWARD", "enabled": true}],
    "nat": [{"target": "DNAT", "enabled": true}, {"target": "SNAT", "enabled": true}]
})";

/// The values of all objects in that state but those that read "True", by name.
const std::map<std::string, Cell> values{
    {"zanRemoteManagementEnabled", octets("Unknown")}, // the result is no flag
    {"zanWanManagerTransport", octets("Cellular")},
    {"zanWanManagerPriority", octets("1, Cellular, enabled")},
    {"zanRadioType", octets("LTE")},
    {"zanRadioMEIDorIMEI", octets("imei")},
    {"zanRadioIMSI", octets("imsi")},
    {"zanRadioFirmware", octets("radio fw")},
    {"zanRadioRSSI", octets("-71dBm")},
    {"zanRadioNetwork", octets("net")},
    {"zanRadioService", octets("service")},
    {"zanRadioHomeNetwork", octets("carrier")},
    {"zanRadioMSID", octets("msid")},
    {"zanRadioMDN", octets("mdn")},
    {"zanRadioTemperature", octets("Unknown")},
    {"zanCellularInterfaceConnectionStatus", octets("up")},
    {"zanCellularInterfaceAPN", octets("apn")},
    {"zanCellularInterfaceUptime", timeTicks(360000)},
    {"zanCellularInterfaceSignal", octets("-75 dBm")},
    {"zanCellularInterfaceTower", octets("tower")},
    {"zanCellularInterfaceIP", octets("10.0.0.1")},
    {"zanCellularInterfaceDNS", octets("d1, d2")},
    {"zanCellularInterfaceMode", octets("auto")},
    {"zanCellularInterfaceKeepAliveCheckHostname", octets("host")},
    {"zanCellularInterfaceKeepAliveCheckInterval", integer(61)},
    {"zanCellularInterfaceStatsTxBytes", octets("current : 1, today : 5, total : 6")},
    {"zanCellularInterfaceStatsRxBytes", octets("current : 3, today : 7, total : 8")},
    {"zanCellularInterfaceStatsTxPkts", octets("current : 2")},
    {"zanCellularInterfaceStatsRxPkts", octets("current : 4")},
    {"zanEthernetInterfaceMAC", octets("mac")},
    {"zanEthernetInterfaceIP", octets("eip")},
    {"zanEthernetInterfaceMask", octets("emask")},
    {"zanEthernetInterfaceGateway", octets("egw")},
    {"zanEthernetInterfaceDNS", octets("dgw")},
    {"zanWiFiInterfaceMode", octets("Access Point")},
    {"zanWiFiInterfaceMAC", octets("wmac")},
    {"zanWiFiInterfaceSSID", octets("own")},
    {"zanWiFiInterfaceConnectionStatus", octets("Connected")},
    {"zanWiFiInterfaceIP", octets("wip")},
    {"zanWiFiInterfaceSignal", octets("wsig")},
    {"zanWiFiInterfaceSecurity", octets("wpa")},
    {"zanSerialToIPMode", octets("CLIENT")},
    {"zanSerialToIPProtocol", octets("TCP")},
    {"zanSerialToIPPort", integer(4001)},
    {"zanSerialToIPServerIP", octets("pip")},
    {"zanSerialToIPTx", integer(-2147483648L)}, // the same 32 bits
    {"zanSerialToIPRx", integer(-1)},
    {"zanSerialToIPDCD", octets("dcd")},
    {"zanRouterModelId", octets("model")},
    {"zanRouterSerialNumber", octets("serial")},
    {"zanRouterFirmware", octets("fw")},
    {"zanRouterUptime", timeTicks(1234567)},
    {"zanDNSStaticPrimaryHost", octets("p")},
    {"zanDNSStaticSecondaryHost", octets("s")},
    {"zanDNSWanServers", octets("w1, w2")},
    {"zanDdnsServiceProvider", octets("dyn")},
    {"zanDiagnosticsServiceDDNS", octets("s1")},
    {"zanDiagnosticsServiceSNTP", octets("s2")},
    {"zanDiagnosticsServiceKeepAlive", octets("s3")},
    {"zanDiagnosticsServiceDialOnDemand", octets("s4")},
    {"zanDiagnosticsServiceSMTP", octets("s5")},
    {"zanDiagnosticsServiceSMS", octets("s6")},
    {"zanDiagnosticsSNMP", octets("SNMP service is running")},
    {"zanDiagnosticsRemoteSyslog", octets("Remote Syslog is enabled")},
    {"zanFirewallPreroutingRulesNumEnabled", integer(1)},
    {"zanFirewallInputFilterRulesNumEnabled", integer(1)},
    {"zanFirewallForwardFilterRulesNumEnabled", integer(2)},
    {"zanFirewallOutputFilterRulesNumEnabled", integer(0)},
    {"zanFirewallPostroutingRulesNumEnabled", integer(1)},
    {"zanRadiusPrimaryHost", octets("r1")},
    {"zanRadiusSecondaryHost", octets("r2")},
    {"zanRadiusAuthType", octets("PAP")},
    {"zanRadiusConnectTimeout", integer(30)},
    {"zanRemoteAccessHTTPSessionTimeout", integer(600)},
};

/// The handlers are taken from the registrations that the entry makes, once in this process.
class ScalarsTest : public ApiTest {
protected:
    ScalarsTest()
    {
        if (handlers().empty()) {
            init_zansnmpext();
            for (const Created& created : interposed().created) {
                handlers().emplace(created.name, created.handler);
            }
        }
        freshResult(everything);
        api().takePaths();
        resetInterposed();
    }

    static std::map<std::string, Netsnmp_Node_Handler*>& handlers()
    {
        static std::map<std::string, Netsnmp_Node_Handler*> byName;
        return byName;
    }

    static Netsnmp_Node_Handler* handlerOf(const std::string& name) { return handlers().at(name); }
};

TEST_F(ScalarsTest, GetSetsTheProvidersValueWithItsTypeAndLength)
{
    for (const ScalarUnderTest& scalar : allScalars()) {
        SCOPED_TRACE(scalar.name);
        const auto other = values.find(scalar.name);
        const Cell expected = other != values.end() ? other->second : octets("True");
        interposed().typedValues.clear();
        Request request;
        EXPECT_EQ(handle(handlerOf(scalar.name), MODE_GET, &request.info()), SNMP_ERR_NOERROR);
        EXPECT_EQ(request.cell(), expected);
        EXPECT_EQ(request.cell().type, scalar.type);
        ASSERT_EQ(interposed().typedValues.size(), 1U);
        EXPECT_EQ(interposed().typedValues.front().type, scalar.type);
        EXPECT_EQ(interposed().typedValues.front().length,
                  scalar.type == ASN_OCTET_STR ? expected.value.size() : 4U);
    }
}

TEST_F(ScalarsTest, EveryModeOtherThanGetIsLoggedAndRefused)
{
    for (const ScalarUnderTest& scalar : allScalars()) {
        for (const int mode : modesOtherThanGet()) {
            Request request;
            EXPECT_EQ(handle(handlerOf(scalar.name), mode, &request.info()), 5) << scalar.name << mode;
            EXPECT_EQ(request.cell(), untouched());
            EXPECT_EQ(takeLog(), (LogLines{{3, "unknown mode (" + std::to_string(mode) + ") in " +
                                                   scalar.name + "\n"}}));
        }
    }
    EXPECT_TRUE(api().takePaths().empty()) << "a provider was called";
}

TEST_F(ScalarsTest, OnlyTheFirstRequestIsServed)
{
    for (const ScalarUnderTest& scalar : allScalars()) {
        Request first;
        Request second;
        first.info().next = &second.info();
        EXPECT_EQ(handle(handlerOf(scalar.name), MODE_GET, &first.info()), SNMP_ERR_NOERROR);
        EXPECT_FALSE(first.cell() == untouched()) << scalar.name;
        EXPECT_EQ(second.cell(), untouched()) << scalar.name;
    }
}

TEST_F(ScalarsTest, EmptyTextIsAZeroLengthValueAndNoError)
{
    freshResult("{}");
    Request request;
    EXPECT_EQ(handle(handlerOf("zanRouterSerialNumber"), MODE_GET, &request.info()), SNMP_ERR_NOERROR);
    EXPECT_EQ(request.cell(), octets(""));
    EXPECT_EQ(interposed().typedValues.front().length, 0U);
}

TEST_F(ScalarsTest, TextKeepsItsZeroBytesAndLength)
{
    freshResult(R"({"system": {"deviceId": "a\u0000b", "firmware": ")" + std::string(1200, 'x') + "\"}}");
    Request zero;
    handle(handlerOf("zanRouterSerialNumber"), MODE_GET, &zero.info());
    EXPECT_EQ(zero.cell(), octets(std::string("a\0b", 3)));
    Request longText;
    handle(handlerOf("zanRouterFirmware"), MODE_GET, &longText.info());
    EXPECT_EQ(longText.cell(), octets(std::string(1200, 'x')));
}

TEST_F(ScalarsTest, TextThatTheVariableHasNoMemoryForIsUnknown)
{
    for (const ScalarUnderTest& scalar : allScalars()) {
        if (scalar.type == ASN_OCTET_STR) {
            interposed().failTypedValues = 1;
            Request request;
            EXPECT_EQ(handle(handlerOf(scalar.name), MODE_GET, &request.info()), SNMP_ERR_NOERROR);
            EXPECT_EQ(request.cell(), octets("Unknown")) << scalar.name;
        }
    }
}

TEST_F(ScalarsTest, NoShortageOfMemoryEndsAHandler)
{
    for (const ScalarUnderTest& scalar : allScalars()) { // the first GET of each query fetches
        Netsnmp_Node_Handler* const handler = handlerOf(scalar.name);
        bool happened = true;
        for (long nth = 1; happened; ++nth) {
            Request request;
            {
                const FailingAllocation shortage(nth);
                handle(handler, MODE_GET, &request.info());
                happened = shortage.happened();
            }
            EXPECT_EQ(request.cell().type, scalar.type) << scalar.name << " after failing allocation " << nth;
        }
    }
}

TEST_F(ScalarsTest, WithTheApiDownEveryObjectHasItsFallback)
{
    apiDown();
    for (const ScalarUnderTest& scalar : allScalars()) {
        Request request;
        EXPECT_EQ(handle(handlerOf(scalar.name), MODE_GET, &request.info()), SNMP_ERR_NOERROR) << scalar.name;
        const Cell fallback = scalar.name == "zanDiagnosticsSNMP" ? octets("SNMP service is running")
                              : scalar.type == ASN_OCTET_STR      ? octets("Unknown")
                                                                  : Cell{scalar.type, "0"};
        EXPECT_EQ(request.cell(), fallback) << scalar.name;
    }
}

TEST_F(ScalarsTest, TimeTicksAboveTheSignedRangeKeepTheir32Bits)
{
    freshResult(R"({"system_capabilities": {"cell": true}, "stats_ppp": {"uptime": 42949672}})");
    Request request;
    handle(handlerOf("zanCellularInterfaceUptime"), MODE_GET, &request.info());
    EXPECT_EQ(request.cell(), timeTicks(4294967200));
}

// The whole.

TEST_F(ScalarsTest, WalkAsksEachQueryOnceAndLogsNothingElse)
{
    for (const ScalarUnderTest& scalar : allScalars()) {
        Request request;
        handle(handlerOf(scalar.name), MODE_GET, &request.info());
    }
    const std::vector<std::string> paths = api().takePaths();
    const std::vector<std::string> expected{
        "/api/remoteManagement/enabled",
        "/api?fields=wanmngr,waninfo",
        "/api?fields=system/capabilities,stats/radio",
        "/api?fields=system/capabilities,ppp,stats/ppp,stats/pppTotal",
        "/api?fields=system,stats/eth,dhcp,dns",
        "/api?fields=system,stats/wlan,wifi",
        "/api?fields=ipPipes/SERIAL2IP,stats/serial,serial",
        "/api?fields=system",
        "/api?fields=sntp/enabled,smtp,sms,dns,ddns,radius,syslog/remote,stats/service,stats/dns",
        "/api?fields=dhcp",
        "/api?fields=filters,nat",
        "/api?fields=remoteAccess",
    };
    EXPECT_EQ(paths, expected);
    LogLines log;
    for (const std::string& path : expected) {
        log.push_back(executing(path));
    }
    EXPECT_EQ(takeLog(), log);
}

} // namespace
