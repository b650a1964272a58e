#include "zanproviders.h"

#include "support/grouptest.h"

using namespace zantest;
using namespace zansnmp;

namespace {

class WiFiTest : public GroupTest {
protected:
    WiFiTest() : GroupTest("/api?fields=system,stats/wlan,wifi") {}

    const Objects objects{{zanWiFiInterfaceEnabled, zanWiFiInterfaceMode, zanWiFiInterfaceMAC,
                           zanWiFiInterfaceSSID, zanWiFiInterfaceConnectionStatus, zanWiFiInterfaceIP,
                           zanWiFiInterfaceSignal, zanWiFiInterfaceSecurity}};

    /// The values of all objects in one state: enabled, mode, MAC, SSID, status, IP, signal, security.
    void expectState(const std::string& result, const std::vector<std::string>& values)
    {
        freshResult(result);
        std::vector<std::string> actual;
        for (const auto provider : objects.texts) {
            actual.push_back(provider());
        }
        EXPECT_EQ(actual, values) << result;
    }
};

/// The `result` with these flags of the two roles and this link state (JSON texts), and all else complete.
std::string wifi(const std::string& accessPoint, const std::string& client,
                 const std::string& status = R"("Connected")")
{
    return R"({"system": {"macWifi": "00:22"},
               "wifi": {"ap": {"enabled": )" +
           accessPoint + R"(, "ssid": "own", "security": {"mode": "WPA2"}}, "client": {"enabled": )" +
           client + R"(}}, "stats_wlan": {"status": )" + status +
           R"(, "ip": "10.0.0.7", "link": {"SSID": "joined", "ssid": "wrong", "signal": -60}}})";
}

TEST_F(WiFiTest, ObjectsShareOneRequest)
{
    expectOneRequest(objects);
}

TEST_F(WiFiTest, ObjectsFallBackWhenTheApiFails)
{
    expectFallbacks(objects);
}

TEST_F(WiFiTest, AccessPointAlone)
{
    expectState(wifi("true", "false"),
                {"True", "Access Point", "00:22", "own", "Unknown", "Unknown", "Unknown", "WPA2"});
}

TEST_F(WiFiTest, ConnectedClientAlone)
{
    expectState(wifi("false", "true"),
                {"True", "WAN", "00:22", "joined", "Connected", "10.0.0.7", "-60", "Unknown"});
}

TEST_F(WiFiTest, BothRolesShowTheAccessPointAndTheClientsLink)
{
    expectState(wifi("true", "true"),
                {"True", "Access Point", "00:22", "own", "Connected", "10.0.0.7", "-60", "WPA2"});
}

TEST_F(WiFiTest, BothRolesWithTheClientNotConnected)
{
    expectState(wifi("true", "true", R"("Connecting")"),
                {"True", "Access Point", "00:22", "own", "Connecting", "Unknown", "Unknown", "WPA2"});
}

TEST_F(WiFiTest, ClientInAnyOtherLinkStateShowsThatStateOnly)
{
    expectState(wifi("false", "true", R"("Connecting")"),
                {"True", "WAN", "00:22", "Unknown", "Connecting", "Unknown", "Unknown", "Unknown"});
    expectState(wifi("false", "true", R"("")"),
                {"True", "WAN", "00:22", "Unknown", "", "Unknown", "Unknown", "Unknown"});
    expectState(wifi("false", "true", "null"),
                {"True", "WAN", "00:22", "Unknown", "", "Unknown", "Unknown", "Unknown"});
    expectState(wifi("false", "true", "1"),
                {"True", "WAN", "00:22", "Unknown", "1", "Unknown", "Unknown", "Unknown"});
}

TEST_F(WiFiTest, ConnectedInAnotherSpellingIsNotConnected)
{
    for (const char* status : {"connected", "CONNECTED", "Connected ", " Connected", "Connected\\u0000"}) {
        freshResult(wifi("false", "true", "\"" + std::string(status) + "\""));
        EXPECT_EQ(zanWiFiInterfaceIP(), "Unknown") << status;
        EXPECT_EQ(zanWiFiInterfaceSignal(), "Unknown") << status;
        EXPECT_EQ(zanWiFiInterfaceSSID(), "Unknown") << status;
    }
}

TEST_F(WiFiTest, NeitherRole)
{
    const std::vector<std::string> off{"False",   "None",    "00:22",   "Unknown",
                                       "Unknown", "Unknown", "Unknown", "Unknown"};
    expectState(wifi("false", "false"), off);
    expectState(wifi("null", "null"), off);
    expectState(wifi("0", "0"), off);
    expectState(R"({"system": {"macWifi": "00:22"}})", off);
    expectState(R"({"system": {"macWifi": "00:22"}, "wifi": null, "stats_wlan": null})", off);
    expectState(R"({"system": {"macWifi": "00:22"}, "wifi": {}, "stats_wlan": {"status": "Connected"}})",
                off);
    expectState(R"({"system": {"macWifi": "00:22"}, "wifi": {"ap": null, "client": {}}})", off);
}

TEST_F(WiFiTest, EmptyResult)
{
    for (const char* result : {"{}", "null"}) {
        expectState(result, {"False", "None", "", "Unknown", "Unknown", "Unknown", "Unknown", "Unknown"});
    }
}

TEST_F(WiFiTest, FlagsMayBeNumbers)
{
    expectState(wifi("1", "2.5"),
                {"True", "Access Point", "00:22", "own", "Connected", "10.0.0.7", "-60", "WPA2"});
}

TEST_F(WiFiTest, AccessPointFlagThatCannotBeRead)
{
    for (const char* flag : {R"("true")", R"("")", "[]", "{}"}) {
        expectState(wifi(flag, "true"),
                    {"Unknown", "Unknown", "00:22", "Unknown", "Connected", "10.0.0.7", "-60", "Unknown"});
    }
}

TEST_F(WiFiTest, ClientFlagThatCannotBeReadDoesNotMatterToAnAccessPoint)
{
    for (const char* flag : {R"("true")", R"("")", "[]", "{}"}) {
        expectState(wifi("true", flag),
                    {"True", "Access Point", "00:22", "own", "Unknown", "Unknown", "Unknown", "WPA2"});
        expectState(wifi("false", flag),
                    {"Unknown", "Unknown", "00:22", "Unknown", "Unknown", "Unknown", "Unknown", "Unknown"});
    }
}

TEST_F(WiFiTest, LinkStateThatCannotBeRead)
{
    for (const char* status : {"[]", "{}"}) {
        expectState(wifi("true", "true", status),
                    {"True", "Access Point", "00:22", "own", "Unknown", "Unknown", "Unknown", "WPA2"});
    }
}

TEST_F(WiFiTest, LinkStateIsNotReadWhileTheClientIsOff)
{
    expectState(wifi("false", "false", "[]"),
                {"False", "None", "00:22", "Unknown", "Unknown", "Unknown", "Unknown", "Unknown"});
}

TEST_F(WiFiTest, MissingTextsOfAnAccessPointAreEmpty)
{
    expectState(R"({"wifi": {"ap": {"enabled": true}}})",
                {"True", "Access Point", "", "", "Unknown", "Unknown", "Unknown", ""});
    expectState(R"({"wifi": {"ap": {"enabled": true, "ssid": null, "security": {}}}, "system": {}})",
                {"True", "Access Point", "", "", "Unknown", "Unknown", "Unknown", ""});
}

TEST_F(WiFiTest, MissingTextsOfAConnectedClientAreEmpty)
{
    expectState(R"({"wifi": {"client": {"enabled": true}}, "stats_wlan": {"status": "Connected"}})",
                {"True", "WAN", "", "", "Connected", "", "", "Unknown"});
}

TEST_F(WiFiTest, MissingLinkStateOfAnEnabledClientIsEmpty)
{
    expectState(R"({"wifi": {"client": {"enabled": true}}})",
                {"True", "WAN", "", "Unknown", "", "Unknown", "Unknown", "Unknown"});
}

TEST_F(WiFiTest, TextsThatCannotBeRead)
{
    for (const char* bad : {"[]", "{}"}) {
        const std::string value = bad;
        expectState(
            R"({"system": {"macWifi": )" + value + R"(}, "wifi": {"ap": {"enabled": true, "ssid": )" + value +
                R"(, "security": {"mode": )" + value + R"(}}, "client": {"enabled": true}},
                        "stats_wlan": {"status": "Connected", "ip": )" +
                value + R"(, "link": {"SSID": )" + value + R"(, "signal": )" + value + "}}}",
            {"True", "Access Point", "Unknown", "Unknown", "Connected", "Unknown", "Unknown", "Unknown"});
        expectState(R"({"wifi": {"client": {"enabled": true}},
                        "stats_wlan": {"status": "Connected", "link": {"SSID": )" +
                        value + "}}}",
                    {"True", "WAN", "", "Unknown", "Connected", "", "", "Unknown"});
    }
}

TEST_F(WiFiTest, SectionsOfTheWrongType)
{
    for (const char* bad : {"1", "true", R"("x")", "[]"}) {
        const std::string section = bad;
        expectState(R"({"wifi": )" + section + R"(, "system": {"macWifi": "00:22"}})",
                    {"Unknown", "Unknown", "00:22", "Unknown", "Unknown", "Unknown", "Unknown", "Unknown"});
        expectState(R"({"wifi": {"ap": )" + section + R"(, "client": )" + section + R"(}, "system": )" +
                        section + "}",
                    {"Unknown", "Unknown", "Unknown", "Unknown", "Unknown", "Unknown", "Unknown", "Unknown"});
        expectState(R"({"wifi": {"client": {"enabled": true}}, "stats_wlan": )" + section + "}",
                    {"True", "WAN", "", "Unknown", "Unknown", "Unknown", "Unknown", "Unknown"});
        expectState(R"({"wifi": {"ap": {"enabled": true, "security": )" + section + "}}}",
                    {"True", "Access Point", "", "", "Unknown", "Unknown", "Unknown", "Unknown"});
        expectState(section,
                    {"Unknown", "Unknown", "Unknown", "Unknown", "Unknown", "Unknown", "Unknown", "Unknown"});
    }
}

TEST_F(WiFiTest, SignalIsTheLibrarysTextForm)
{
    const auto withSignal = [](const std::string& signal) {
        return R"({"wifi": {"client": {"enabled": true}}, "stats_wlan": {"status": "Connected", "link": {"signal": )" +
               signal + "}}}";
    };
    expectRows(zanWiFiInterfaceSignal, {
                                           {withSignal("-60"), "-60"},
                                           {withSignal("-60.5"), "-60.5"},
                                           {withSignal(R"("-60 dBm")"), "-60 dBm"},
                                           {withSignal("null"), ""},
                                           {withSignal("true"), "true"},
                                       });
}

} // namespace
