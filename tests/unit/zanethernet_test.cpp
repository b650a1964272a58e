#include "zanproviders.h"

#include "support/grouptest.h"

using namespace zantest;
using namespace zansnmp;

namespace {

class EthernetTest : public GroupTest {
protected:
    EthernetTest() : GroupTest("/api?fields=system,stats/eth,dhcp,dns") {}

    const Objects objects{{zanEthernetInterfaceMAC, zanEthernetInterfaceIP, zanEthernetInterfaceMask,
                           zanEthernetInterfaceGateway, zanEthernetInterfaceDNS}};
};

/// The `result` with these gateways, as JSON texts.
std::string gateways(const std::string& interface, const std::string& dhcp)
{
    return R"({"stats_eth": {"gateway": )" + interface + R"(}, "dhcp": {"defaultGateway": )" + dhcp + "}}";
}

/// The `result` with these DNS settings (the inside of a JSON object).
std::string dns(const std::string& settings)
{
    return R"({"dhcp": {"defaultGateway": "192.168.1.1"}, "dns": {)" + settings + "}}";
}

TEST_F(EthernetTest, ObjectsShareOneRequest)
{
    expectOneRequest(objects);
}

TEST_F(EthernetTest, ObjectsFallBackWhenTheApiFails)
{
    expectFallbacks(objects);
}

TEST_F(EthernetTest, TwoGetsWithinTheLifetimeMakeOneRequest)
{
    zanEthernetInterfaceMAC();
    zanEthernetInterfaceGateway();
    EXPECT_EQ(api().takePaths(), std::vector<std::string>{path});
}

TEST_F(EthernetTest, EachTextReadsItsOwnField)
{
    const std::string result =
        R"({"system": {"macAddress": "00:11"}, "stats_eth": {"ip": "192.168.1.1", "mask": "255.255.255.0"}})";
    expectRows(zanEthernetInterfaceMAC, {{result, "00:11"}});
    expectRows(zanEthernetInterfaceIP, {{result, "192.168.1.1"}});
    expectRows(zanEthernetInterfaceMask, {{result, "255.255.255.0"}});
}

TEST_F(EthernetTest, MissingSectionsReadAsEmpty)
{
    for (const auto provider : objects.texts) {
        expectRows(provider, {{"{}", ""},
                              {"null", ""},
                              {R"({"system": null, "stats_eth": null, "dhcp": null, "dns": null})", ""},
                              {R"({"system": {}, "stats_eth": {}, "dhcp": {}, "dns": {}})", ""}});
    }
}

TEST_F(EthernetTest, SectionsOfTheWrongTypeAreAFailure)
{
    for (const char* section : {"1", "\"x\"", "true", "[]"}) {
        const std::string result = R"({"system": )" + std::string(section) + R"(, "stats_eth": )" + section +
                                   R"(, "dhcp": )" + section + R"(, "dns": )" + section + "}";
        for (const auto provider : objects.texts) {
            expectRows(provider, {{result, "Unknown"}, {section, "Unknown"}});
        }
    }
}

// The gateway.

TEST_F(EthernetTest, GatewayOfTheInterfaceWinsWhateverDhcpHolds)
{
    expectRows(zanEthernetInterfaceGateway,
               {
                   {gateways(R"("10.0.0.1")", R"("192.168.1.1")"), "10.0.0.1"},
                   {gateways(R"("10.0.0.1")", "[]"), "10.0.0.1"},
                   {gateways(R"(" ")", R"("192.168.1.1")"), " "},
                   {gateways("1", R"("192.168.1.1")"), "1"},
                   {R"({"stats_eth": {"gateway": "10.0.0.1"}, "dhcp": "x"})", "10.0.0.1"},
               });
}

TEST_F(EthernetTest, GatewayOfDhcpStandsInForAnEmptyOne)
{
    expectRows(zanEthernetInterfaceGateway,
               {
                   {gateways(R"("")", R"("192.168.1.1")"), "192.168.1.1"},
                   {gateways("null", R"("192.168.1.1")"), "192.168.1.1"},
                   {R"({"dhcp": {"defaultGateway": "192.168.1.1"}})", "192.168.1.1"},
                   {gateways(R"("")", R"("")"), ""},
                   {gateways(R"("")", "null"), ""},
               });
}

TEST_F(EthernetTest, GatewayThatCannotBeReadIsAFailure)
{
    expectRows(zanEthernetInterfaceGateway, {
                                                {gateways("[]", R"("192.168.1.1")"), "Unknown"},
                                                {gateways("{}", R"("192.168.1.1")"), "Unknown"},
                                                {gateways(R"("")", "[]"), "Unknown"},
                                                {gateways(R"("")", "{}"), "Unknown"},
                                                {R"({"stats_eth": {"gateway": ""}, "dhcp": "x"})", "Unknown"},
                                            });
}

// The DNS servers.

TEST_F(EthernetTest, ForwarderIsTheOnlyDnsServerEvenWithStaticOnes)
{
    expectRows(zanEthernetInterfaceDNS,
               {
                   {dns(R"("enabled": true, "primary": "1.1.1.1", "secondary": "9.9.9.9")"), "192.168.1.1"},
                   {dns(R"("enabled": true)"), "192.168.1.1"},
                   {dns(R"("enabled": 1)"), "192.168.1.1"},
                   {R"({"dns": {"enabled": true, "primary": "1.1.1.1"}})", ""},
               });
}

TEST_F(EthernetTest, ForwarderLeavesTheStaticServersUnread)
{
    expectRows(zanEthernetInterfaceDNS,
               {{dns(R"("enabled": true, "primary": [], "secondary": {})"), "192.168.1.1"}});
}

TEST_F(EthernetTest, StaticServersAreListedWhileTheForwarderIsOff)
{
    expectRows(
        zanEthernetInterfaceDNS,
        {
            {dns(R"("enabled": false, "primary": "1.1.1.1", "secondary": "9.9.9.9")"), "1.1.1.1, 9.9.9.9"},
            {dns(R"("primary": "8.8.8.8", "secondary": "8.8.4.4")"), "8.8.8.8, 8.8.4.4"},
            {dns(R"("enabled": null, "primary": "1.1.1.1")"), "1.1.1.1"},
        });
}

TEST_F(EthernetTest, PrimaryServerAlone)
{
    expectRows(zanEthernetInterfaceDNS,
               {{dns(R"("enabled": false, "primary": "1.1.1.1", "secondary": "")"), "1.1.1.1"},
                {dns(R"("enabled": false, "primary": "1.1.1.1")"), "1.1.1.1"}});
}

TEST_F(EthernetTest, SecondaryServerAlone)
{
    expectRows(zanEthernetInterfaceDNS,
               {{dns(R"("enabled": false, "primary": "", "secondary": "9.9.9.9")"), "9.9.9.9"},
                {dns(R"("enabled": false, "secondary": "9.9.9.9")"), "9.9.9.9"}});
}

TEST_F(EthernetTest, NoServerAtAllIsEmpty)
{
    expectRows(zanEthernetInterfaceDNS, {{dns(R"("enabled": false, "primary": "", "secondary": "")"), ""},
                                         {dns(R"("enabled": false)"), ""}});
}

TEST_F(EthernetTest, DnsSettingsThatCannotBeReadAreAFailure)
{
    expectRows(zanEthernetInterfaceDNS,
               {
                   {dns(R"("enabled": "true")"), "Unknown"},
                   {dns(R"("enabled": [])"), "Unknown"},
                   {dns(R"("enabled": {})"), "Unknown"},
                   {dns(R"("primary": [], "secondary": "9.9.9.9")"), "Unknown"},
                   {dns(R"("primary": "1.1.1.1", "secondary": {})"), "Unknown"},
                   {R"({"dns": {"enabled": true}, "dhcp": {"defaultGateway": []}})", "Unknown"},
                   {R"({"dns": {"enabled": true}, "dhcp": "x"})", "Unknown"},
               });
}

TEST_F(EthernetTest, DhcpIsNotReadWhileTheForwarderIsOff)
{
    expectRows(zanEthernetInterfaceDNS,
               {{R"({"dns": {"primary": "1.1.1.1"}, "dhcp": {"defaultGateway": []}})", "1.1.1.1"},
                {R"({"dns": {"primary": "1.1.1.1"}, "dhcp": "x"})", "1.1.1.1"}});
}

} // namespace
