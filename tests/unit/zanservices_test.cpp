#include "zanproviders.h"

#include "zanservices.h"

#include "support/grouptest.h"

#include <json/json.h>

#include <utility>

using namespace zantest;
using namespace zansnmp;

namespace {

class ServicesTest : public GroupTest {
protected:
    ServicesTest()
        : GroupTest("/api?fields=sntp/enabled,smtp,sms,dns,ddns,radius,syslog/remote,stats/service,stats/dns")
    {}

    const std::vector<std::string (*)()> flags{zanDNSForwarderEnabled,
                                               zanDdnsEnabled,
                                               zanSMSEnabled,
                                               zanSMTPEnabled,
                                               zanSNTPEnabled,
                                               zanRadiusAuthEnabled,
                                               zanRadiusAccountingEnabled};
    const std::vector<std::string (*)()> texts{
        zanDNSStaticPrimaryHost, zanDNSStaticSecondaryHost, zanDNSWanServers, zanDdnsServiceProvider,
        zanRadiusPrimaryHost,    zanRadiusSecondaryHost,    zanRadiusAuthType};

    Objects objects() const
    {
        Objects all{flags, {zanRadiusConnectTimeout}};
        all.texts.insert(all.texts.end(), texts.begin(), texts.end());
        return all;
    }
};

/// The `result` with these servers learnt, as JSON text.
std::string servers(const std::string& list)
{
    return R"({"stats_dns": {"servers": )" + list + "}}";
}

std::string timeout(const std::string& value)
{
    return R"({"radius": {"timeout": )" + value + "}}";
}

TEST_F(ServicesTest, ObjectsShareOneRequestWithTheDiagnostics)
{
    Objects all = objects();
    ASSERT_EQ(all.texts.size() + all.unsigneds.size(), 15U);
    all.texts.push_back(zanDiagnosticsServiceSMS);
    expectOneRequest(all);
}

TEST_F(ServicesTest, ObjectsFallBackWhenTheApiFails)
{
    expectFallbacks(objects());
}

TEST_F(ServicesTest, EachTextReadsItsOwnField)
{
    const std::string result = R"({"dns": {"primary": "1.1.1.1", "secondary": "9.9.9.9"},
        "ddns": {"server": "dyn.example"}, "stats_dns": {"servers": ["10.0.0.1"]},
        "radius": {"host": "r1", "secondaryHost": "r2", "authType": "PAP", "timeout": 30}})";
    expectRows(zanDNSStaticPrimaryHost, {{result, "1.1.1.1"}});
    expectRows(zanDNSStaticSecondaryHost, {{result, "9.9.9.9"}});
    expectRows(zanDNSWanServers, {{result, "10.0.0.1"}});
    expectRows(zanDdnsServiceProvider, {{result, "dyn.example"}});
    expectRows(zanRadiusPrimaryHost, {{result, "r1"}});
    expectRows(zanRadiusSecondaryHost, {{result, "r2"}});
    expectRows(zanRadiusAuthType, {{result, "PAP"}});
    expectRows(zanRadiusConnectTimeout, {{result, 30}});
}

TEST_F(ServicesTest, EachFlagReadsItsOwnMember)
{
    const std::vector<std::string> states{
        R"({"dns": {"enabled": true}})",
        R"({"ddns": {"enabled": true}})",
        R"({"sms": {"enabled": true}})",
        R"({"smtp": {"enabled": true}})",
        R"({"sntp_enabled": true})",
        R"({"radius": {"authEnabled": true}})",
        R"({"radius": {"acctEnabled": true}})",
    };
    ASSERT_EQ(states.size(), flags.size());
    for (std::size_t state = 0; state < states.size(); ++state) {
        for (std::size_t object = 0; object < flags.size(); ++object) {
            expectRows(flags[object], {{states[state], state == object ? "True" : "False"}});
        }
    }
}

TEST_F(ServicesTest, MissingMembers)
{
    for (const char* result :
         {"{}", "null", R"({"dns": null, "ddns": null, "sms": null, "smtp": null, "sntp_enabled": null,
                            "radius": null, "stats_dns": null})",
          R"({"dns": {}, "ddns": {}, "sms": {}, "smtp": {}, "radius": {}, "stats_dns": {}})"}) {
        for (const auto provider : flags) {
            expectRows(provider, {{result, "False"}});
        }
        for (const auto provider : texts) {
            expectRows(provider, {{result, ""}});
        }
        expectRows(zanRadiusConnectTimeout, {{result, 0}});
    }
}

TEST_F(ServicesTest, SectionsOfTheWrongType)
{
    for (const char* section : {"1", "true", R"("x")", "[]"}) {
        std::string result = "{";
        for (const char* name : {"dns", "ddns", "sms", "smtp", "radius"}) {
            result += "\"" + std::string(name) + "\": " + section + ", ";
        }
        result += R"("stats_dns": )" + std::string(section) + R"(, "sntp_enabled": "x"})";
        for (const auto provider : objects().texts) {
            expectRows(provider, {{result, "Unknown"}, {section, "Unknown"}});
        }
        expectRows(zanRadiusConnectTimeout, {{result, 0}, {section, 0}});
    }
}

TEST_F(ServicesTest, SntpFlagIsTheTopLevelMemberItself)
{
    expectRows(zanSNTPEnabled, {
                                   {R"({"sntp_enabled": true})", "True"},
                                   {R"({"sntp_enabled": false})", "False"},
                                   {R"({})", "False"},
                                   {R"({"sntp_enabled": 1})", "True"},
                                   {R"({"sntp_enabled": "true"})", "Unknown"},
                                   {R"({"sntp_enabled": {"enabled": true}})", "Unknown"},
                                   {R"({"sntp": {"enabled": true}})", "False"},
                               });
}

// The servers learnt on the WAN side.

TEST_F(ServicesTest, WanServersAreJoinedWithoutTheEmptyOnes)
{
    expectRows(zanDNSWanServers, {
                                     {servers(R"(["10.0.0.1", "", "10.0.0.2"])"), "10.0.0.1, 10.0.0.2"},
                                     {servers(R"(["a", "b", "c", "d"])"), "a, b, c, d"},
                                     {servers(R"(["a", null, "b"])"), "a, b"},
                                 });
}

TEST_F(ServicesTest, WanServersThatAreAllEmptyOrAbsentAreEmpty)
{
    expectRows(zanDNSWanServers, {
                                     {servers(R"(["", "", ""])"), ""},
                                     {servers("[null]"), ""},
                                     {servers("[]"), ""},
                                     {servers("null"), ""},
                                     {servers("{}"), ""},
                                     {R"({"stats_dns": {}})", ""},
                                 });
}

TEST_F(ServicesTest, WanServersHaveNoLeadingOrTrailingSeparator)
{
    expectRows(zanDNSWanServers, {
                                     {servers(R"(["", "10.0.0.1"])"), "10.0.0.1"},
                                     {servers(R"(["", "", "a", "", "b", "", ""])"), "a, b"},
                                     {servers(R"(["10.0.0.1", ""])"), "10.0.0.1"},
                                 });
}

TEST_F(ServicesTest, WanServersOfOtherScalarTypesAreListed)
{
    expectRows(zanDNSWanServers,
               {{servers(R"([1, -2, 1.5, true, false, " "])"), "1, -2, 1.5, true, false,  "}});
}

TEST_F(ServicesTest, ContainerAmongTheWanServersIsAFailure)
{
    expectRows(zanDNSWanServers, {
                                     {servers(R"(["10.0.0.1", {}])"), "Unknown"},
                                     {servers(R"([{"ip": "10.0.0.1"}])"), "Unknown"},
                                     {servers(R"([[], "10.0.0.1"])"), "Unknown"},
                                 });
}

TEST_F(ServicesTest, WanServersThatAreNoArray)
{
    expectRows(zanDNSWanServers, {
                                     {servers(R"("10.0.0.1")"), ""},
                                     {servers("1"), ""},
                                     {servers("true"), ""},
                                     {servers(R"({"0": "10.0.0.1"})"), "Unknown"},
                                 });
}

// The timeout.

TEST_F(ServicesTest, RadiusTimeout)
{
    expectRows(zanRadiusConnectTimeout, {
                                            {timeout("30"), 30},
                                            {timeout("0"), 0},
                                            {timeout("30.9"), 30},
                                            {timeout("4294967295"), 4294967295},
                                        });
}

TEST_F(ServicesTest, RadiusTimeoutGivenAsTextOrAbsentIsZero)
{
    expectRows(zanRadiusConnectTimeout, {
                                            {timeout("\"30\""), 0},
                                            {R"({"radius": {}})", 0},
                                            {timeout("null"), 0},
                                            {timeout("-1"), 0},
                                            {timeout("4294967296"), 0},
                                            {timeout("[]"), 0},
                                            {timeout("{}"), 0},
                                        });
}

TEST_F(ServicesTest, AccessorGivesTheWholeResult)
{
    freshResult(R"({"sms": {"enabled": true}})");
    Json::Value result;
    EXPECT_TRUE(servicesData(result));
    EXPECT_TRUE(result["sms"]["enabled"].asBool());
}

} // namespace
