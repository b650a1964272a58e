#include "zanproviders.h"

#include "support/grouptest.h"

#include <cstdint>
#include <utility>

using namespace zantest;
using namespace zansnmp;

namespace {

class CellularTest : public GroupTest {
protected:
    CellularTest() : GroupTest("/api?fields=system/capabilities,ppp,stats/ppp,stats/pppTotal") {}

    const Objects objects{{zanCellularInterfaceEnabled, zanCellularInterfaceConnectionStatus,
                           zanCellularInterfaceAPN, zanCellularInterfaceSignal, zanCellularInterfaceRoaming,
                           zanCellularInterfaceTower, zanCellularInterfaceIP, zanCellularInterfaceDNS,
                           zanCellularInterfaceMode, zanCellularInterfaceKeepAliveCheckEnabled,
                           zanCellularInterfaceKeepAliveCheckHostname,
                           zanCellularInterfaceWakeUpOnCallEnabled, zanCellularInterfaceWakeUpOnCallOnRing,
                           zanCellularInterfaceWakeUpOnCallerId, zanCellularInterfaceWakeUpOnSMS},
                          {zanCellularInterfaceUptime, zanCellularInterfaceKeepAliveCheckInterval}};
};

/// The `result` of a router with a radio, with these sections (the inside of a JSON object) besides.
std::string cellular(const std::string& sections)
{
    return R"({"system_capabilities": {"cell": true}, )" + sections + "}";
}

std::string ppp(const std::string& members)
{
    return cellular(R"("ppp": {)" + members + "}");
}

std::string statsPpp(const std::string& members)
{
    return cellular(R"("stats_ppp": {)" + members + "}");
}

constexpr const char* everything = R"(
    "ppp": {"enabled": true, "modem": {"apnString": "internet"}, "protocol": "LTE",
            "keepAlive": {"enabled": true, "hostname": "ping.example", "pingInterval": 60},
            "wakeUpOnCall": {"enabled": true, "onRing": true, "onCallerId": true, "onSms": true}},
    "stats_ppp": {"link": "Connected", "uptime": 3600, "rssi": "20", "rssiDbm": "-75", "roaming": true,
                  "tower": "12345", "localIp": "10.1.2.3", "dnsServers": ["10.0.0.1", "10.0.0.2"]})";

TEST_F(CellularTest, ObjectsShareOneRequest)
{
    expectOneRequest(objects);
}

TEST_F(CellularTest, ObjectsFallBackWhenTheApiFails)
{
    expectFallbacks(objects);
}

TEST_F(CellularTest, EachObjectReadsItsOwnField)
{
    const std::vector<std::pair<std::string (*)(), std::string>> texts{
        {zanCellularInterfaceEnabled, "True"},
        {zanCellularInterfaceConnectionStatus, "Connected"},
        {zanCellularInterfaceAPN, "internet"},
        {zanCellularInterfaceSignal, "-75 dBm"},
        {zanCellularInterfaceRoaming, "True"},
        {zanCellularInterfaceTower, "12345"},
        {zanCellularInterfaceIP, "10.1.2.3"},
        {zanCellularInterfaceDNS, "10.0.0.1, 10.0.0.2"},
        {zanCellularInterfaceMode, "LTE"},
        {zanCellularInterfaceKeepAliveCheckEnabled, "True"},
        {zanCellularInterfaceKeepAliveCheckHostname, "ping.example"},
        {zanCellularInterfaceWakeUpOnCallEnabled, "True"},
        {zanCellularInterfaceWakeUpOnCallOnRing, "True"},
        {zanCellularInterfaceWakeUpOnCallerId, "True"},
        {zanCellularInterfaceWakeUpOnSMS, "True"},
    };
    for (const auto& [provider, value] : texts) {
        expectRows(provider, {{cellular(everything), value}});
    }
    expectRows(zanCellularInterfaceUptime, {{cellular(everything), 360000}});
    expectRows(zanCellularInterfaceKeepAliveCheckInterval, {{cellular(everything), 60}});
}

TEST_F(CellularTest, EachFlagReadsItsOwnMember)
{
    const std::vector<std::pair<std::string (*)(), std::string>> flags{
        {zanCellularInterfaceEnabled, R"("ppp": {"enabled": true})"},
        {zanCellularInterfaceRoaming, R"("stats_ppp": {"roaming": true})"},
        {zanCellularInterfaceKeepAliveCheckEnabled, R"("ppp": {"keepAlive": {"enabled": true}})"},
        {zanCellularInterfaceWakeUpOnCallEnabled, R"("ppp": {"wakeUpOnCall": {"enabled": true}})"},
        {zanCellularInterfaceWakeUpOnCallOnRing, R"("ppp": {"wakeUpOnCall": {"onRing": true}})"},
        {zanCellularInterfaceWakeUpOnCallerId, R"("ppp": {"wakeUpOnCall": {"onCallerId": true}})"},
        {zanCellularInterfaceWakeUpOnSMS, R"("ppp": {"wakeUpOnCall": {"onSms": true}})"},
    };
    for (std::size_t state = 0; state < flags.size(); ++state) {
        for (std::size_t object = 0; object < flags.size(); ++object) {
            expectRows(flags[object].first,
                       {{cellular(flags[state].second), state == object ? "True" : "False"}});
        }
    }
}

TEST_F(CellularTest, WithoutARadioTextsAreUnknownAndNumbersZeroHoweverCompleteTheRest)
{
    for (const char* capabilities :
         {R"({"cell": false})", R"({"cell": null})", R"({"cell": 0})", "{}", "null", R"({"cell": "true"})",
          R"({"cell": []})", R"({"cell": {}})", R"("cell")", "[]"}) {
        const std::string result =
            R"({"system_capabilities": )" + std::string(capabilities) + "," + everything + "}";
        for (const auto provider : objects.texts) {
            expectRows(provider, {{result, "Unknown"}});
        }
        for (const auto provider : objects.unsigneds) {
            expectRows(provider, {{result, 0}});
        }
    }
    const std::string noCapabilities = "{" + std::string(everything) + "}";
    expectRows(zanCellularInterfaceIP, {{noCapabilities, "Unknown"}, {"{}", "Unknown"}, {"null", "Unknown"}});
    expectRows(zanCellularInterfaceUptime, {{noCapabilities, 0}, {"{}", 0}, {"null", 0}});
}

TEST_F(CellularTest, MissingSectionsReadAsMissingFields)
{
    const std::string bare = R"({"system_capabilities": {"cell": true}})";
    const std::string nulls = cellular(R"("ppp": null, "stats_ppp": null)");
    for (const auto provider :
         {zanCellularInterfaceConnectionStatus, zanCellularInterfaceAPN, zanCellularInterfaceSignal,
          zanCellularInterfaceTower, zanCellularInterfaceIP, zanCellularInterfaceDNS,
          zanCellularInterfaceMode, zanCellularInterfaceKeepAliveCheckHostname}) {
        expectRows(provider, {{bare, ""}, {nulls, ""}});
    }
    for (const auto provider :
         {zanCellularInterfaceEnabled, zanCellularInterfaceRoaming, zanCellularInterfaceKeepAliveCheckEnabled,
          zanCellularInterfaceWakeUpOnCallEnabled, zanCellularInterfaceWakeUpOnCallOnRing,
          zanCellularInterfaceWakeUpOnCallerId, zanCellularInterfaceWakeUpOnSMS}) {
        expectRows(provider, {{bare, "False"}, {nulls, "False"}});
    }
    for (const auto provider : objects.unsigneds) {
        expectRows(provider, {{bare, 0}, {nulls, 0}});
    }
}

TEST_F(CellularTest, SectionOfTheWrongTypeIsAFailure)
{
    for (const char* section : {"\"x\"", "1", "true", "[]"}) {
        const std::string result =
            cellular(R"("ppp": )" + std::string(section) + R"(, "stats_ppp": )" + section);
        for (const auto provider : objects.texts) {
            expectRows(provider, {{result, "Unknown"}});
        }
        for (const auto provider : objects.unsigneds) {
            expectRows(provider, {{result, 0}});
        }
    }
}

TEST_F(CellularTest, MissingKeepAliveReadsAsOffEmptyAndZero)
{
    for (const char* settings : {"", R"("keepAlive": null)", R"("keepAlive": {})"}) {
        expectRows(zanCellularInterfaceKeepAliveCheckEnabled, {{ppp(settings), "False"}});
        expectRows(zanCellularInterfaceKeepAliveCheckHostname, {{ppp(settings), ""}});
        expectRows(zanCellularInterfaceKeepAliveCheckInterval, {{ppp(settings), 0}});
    }
}

// The uptime.

TEST_F(CellularTest, UptimeIsInHundredths)
{
    expectRows(zanCellularInterfaceUptime, {
                                               {statsPpp(R"("uptime": 3600)"), 360000},
                                               {statsPpp(R"("uptime": 1)"), 100},
                                               {statsPpp(R"("uptime": 0)"), 0},
                                               {statsPpp(R"("uptime": 1.99)"), 100},
                                               {statsPpp(R"("uptime": true)"), 100},
                                               {statsPpp(R"("uptime": null)"), 0},
                                           });
}

TEST_F(CellularTest, UptimeWrapsAt32Bits)
{
    expectRows(zanCellularInterfaceUptime, {
                                               {statsPpp(R"("uptime": 42949672)"), 4294967200},
                                               {statsPpp(R"("uptime": 42949673)"), 4},
                                               {statsPpp(R"("uptime": 4294967295)"), 4294967196},
                                           });
}

TEST_F(CellularTest, UptimeThatDoesNotConvertIsZero)
{
    expectRows(zanCellularInterfaceUptime, {
                                               {statsPpp(R"("uptime": -1)"), 0},
                                               {statsPpp(R"("uptime": "3600")"), 0},
                                               {statsPpp(R"("uptime": 4294967296)"), 0},
                                               {statsPpp(R"("uptime": [])"), 0},
                                               {statsPpp(R"("uptime": {})"), 0},
                                           });
}

// The signal.

TEST_F(CellularTest, SignalHasItsUnitBehindABlank)
{
    expectRows(zanCellularInterfaceSignal, {
                                               {statsPpp(R"("rssi": "20", "rssiDbm": "-75")"), "-75 dBm"},
                                               {statsPpp(R"("rssi": 20, "rssiDbm": -75)"), "-75 dBm"},
                                               {statsPpp(R"("rssiDbm": "-75")"), "-75 dBm"},
                                               {statsPpp(R"("rssi": null, "rssiDbm": "-75")"), "-75 dBm"},
                                               {statsPpp(R"("rssi": "", "rssiDbm": 0)"), "0 dBm"},
                                           });
}

TEST_F(CellularTest, SignalIsEmptyForRssi99EvenWithALevel)
{
    expectRows(zanCellularInterfaceSignal, {{statsPpp(R"("rssi": "99", "rssiDbm": "-113")"), ""}});
}

TEST_F(CellularTest, SignalIsEmptyForTheNumber99Too)
{
    expectRows(zanCellularInterfaceSignal, {{statsPpp(R"("rssi": 99, "rssiDbm": -113)"), ""}});
}

TEST_F(CellularTest, SignalComparesTheWholeTextOfRssi)
{
    expectRows(zanCellularInterfaceSignal,
               {
                   {statsPpp(R"("rssi": "99 ", "rssiDbm": "-75")"), "-75 dBm"},
                   {statsPpp(R"("rssi": "199", "rssiDbm": "-75")"), "-75 dBm"},
                   {statsPpp(R"("rssi": 99.0, "rssiDbm": "-75")"), "-75 dBm"}, // "99.0"
               });
}

TEST_F(CellularTest, SignalWithoutALevelIsEmpty)
{
    expectRows(zanCellularInterfaceSignal,
               {
                   {statsPpp(R"("rssi": "20")"), ""},
                   {statsPpp(R"("rssi": 20, "rssiDbm": null)"), ""},
                   {statsPpp(R"("rssi": 20, "rssiDbm": "")"), ""},
                   {statsPpp(R"("rssi": 20, "rssidBm": "-75")"), ""}, // the radio's spelling
               });
}

TEST_F(CellularTest, SignalReadsBothFieldsBeforeAnyTest)
{
    expectRows(zanCellularInterfaceSignal, {
                                               {statsPpp(R"("rssi": "99", "rssiDbm": [])"), "Unknown"},
                                               {statsPpp(R"("rssi": "99", "rssiDbm": {})"), "Unknown"},
                                               {statsPpp(R"("rssi": [], "rssiDbm": "")"), "Unknown"},
                                               {statsPpp(R"("rssi": {}, "rssiDbm": "-75")"), "Unknown"},
                                           });
}

// The DNS servers.

TEST_F(CellularTest, DnsServersAreJoined)
{
    expectRows(zanCellularInterfaceDNS,
               {
                   {statsPpp(R"("dnsServers": ["10.0.0.1", "10.0.0.2"])"), "10.0.0.1, 10.0.0.2"},
                   {statsPpp(R"("dnsServers": ["a", "b", "c"])"), "a, b, c"},
                   {statsPpp(R"("dnsServers": [1, true, 1.5, null, "x"])"), "1, true, 1.5, , x"},
               });
}

TEST_F(CellularTest, OneDnsServerHasNoSeparator)
{
    expectRows(zanCellularInterfaceDNS, {{statsPpp(R"("dnsServers": ["8.8.8.8"])"), "8.8.8.8"}});
}

TEST_F(CellularTest, EmptyDnsListIsEmpty)
{
    expectRows(
        zanCellularInterfaceDNS,
        {{statsPpp(R"("dnsServers": [])"), ""}, {statsPpp(R"("dnsServers": null)"), ""}, {statsPpp(""), ""}});
}

TEST_F(CellularTest, EmptyDnsElementsKeepTheirSeparators)
{
    expectRows(zanCellularInterfaceDNS, {
                                            {statsPpp(R"("dnsServers": ["", "b"])"), ", b"},
                                            {statsPpp(R"("dnsServers": ["a", ""])"), "a, "},
                                            {statsPpp(R"("dnsServers": ["", ""])"), ", "},
                                            {statsPpp(R"("dnsServers": [""])"), ""},
                                        });
}

TEST_F(CellularTest, DnsServersThatAreNoListAreEmpty)
{
    expectRows(zanCellularInterfaceDNS, {
                                            {statsPpp(R"("dnsServers": "8.8.8.8")"), ""},
                                            {statsPpp(R"("dnsServers": 8)"), ""},
                                            {statsPpp(R"("dnsServers": true)"), ""},
                                            {statsPpp(R"("dnsServers": {})"), ""},
                                        });
}

TEST_F(CellularTest, DnsElementThatIsAContainerIsAFailure)
{
    expectRows(zanCellularInterfaceDNS, {
                                            {statsPpp(R"("dnsServers": ["a", []])"), "Unknown"},
                                            {statsPpp(R"("dnsServers": [{}, "b"])"), "Unknown"},
                                        });
}

} // namespace
