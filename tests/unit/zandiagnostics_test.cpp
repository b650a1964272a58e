#include "zanproviders.h"

#include "support/grouptest.h"

#include <utility>

using namespace zantest;
using namespace zansnmp;

namespace {

class DiagnosticsTest : public GroupTest {
protected:
    DiagnosticsTest()
        : GroupTest("/api?fields=sntp/enabled,smtp,sms,dns,ddns,radius,syslog/remote,stats/service,stats/dns")
    {}

    const std::vector<std::pair<std::string (*)(), std::string>> services{
        {zanDiagnosticsServiceDDNS, "ddns"},           {zanDiagnosticsServiceSNTP, "sntp"},
        {zanDiagnosticsServiceKeepAlive, "keepAlive"}, {zanDiagnosticsServiceDialOnDemand, "dialOnDemand"},
        {zanDiagnosticsServiceSMTP, "smtp"},           {zanDiagnosticsServiceSMS, "sms"},
    };

    Objects objects() const
    {
        Objects all{{zanDiagnosticsRemoteSyslog}};
        for (const auto& service : services) {
            all.texts.push_back(service.first);
        }
        return all;
    }
};

constexpr const char* enabled = "Remote Syslog is enabled";
constexpr const char* disabled = "Remote Syslog is disabled";

/// The `result` with one remote syslog destination for each of these levels, as JSON texts.
std::string destinations(const std::vector<std::string>& levels)
{
    std::string list;
    for (const std::string& level : levels) {
        list += (list.empty() ? "" : ", ") + (R"({"severityLevel": )" + level + "}");
    }
    return R"({"syslog_remote": [)" + list + "]}";
}

TEST_F(DiagnosticsTest, ObjectsShareOneRequestWithTheServices)
{
    Objects all = objects();
    all.texts.push_back(zanDNSWanServers);
    expectOneRequest(all);
}

TEST_F(DiagnosticsTest, SevenObjectsFallBackWhenTheApiFails)
{
    ASSERT_EQ(objects().texts.size(), 7U);
    expectFallbacks(objects());
}

TEST_F(DiagnosticsTest, SnmpServiceRunsWithoutAskingTheApi)
{
    EXPECT_EQ(zanDiagnosticsSNMP(), "SNMP service is running");
    apiDown();
    EXPECT_EQ(zanDiagnosticsSNMP(), "SNMP service is running");
    EXPECT_TRUE(takeLog().empty());
    EXPECT_EQ(interposed().curlInits, 0);
}

TEST_F(DiagnosticsTest, EachServiceReadsItsOwnStatus)
{
    const std::string result =
        R"({"stats_service": {"ddns": {"status": "s ddns"}, "sntp": {"status": "s sntp"},
        "keepAlive": {"status": "s keepAlive"}, "dialOnDemand": {"status": "s dialOnDemand"},
        "smtp": {"status": "s smtp"}, "sms": {"status": "s sms"}}})";
    for (const auto& [provider, key] : services) {
        expectRows(provider, {{result, "s " + key}});
    }
}

TEST_F(DiagnosticsTest, StatusIsPassedThroughUnchanged)
{
    for (const auto& [provider, key] : services) {
        const auto status = [&key = key](const std::string& value) {
            return R"({"stats_service": {")" + key + R"(": {"status": )" + value + "}}}";
        };
        expectRows(provider, {
                                 {status(R"("  Running, 3 errors ")"), "  Running, 3 errors "},
                                 {status(R"("")"), ""},
                                 {status("7"), "7"},
                                 {status("true"), "true"},
                                 {status("null"), ""},
                                 {status("[]"), "Unknown"},
                                 {status("{}"), "Unknown"},
                             });
    }
}

TEST_F(DiagnosticsTest, MissingServiceIsEmptyAndNotUnknown)
{
    for (const auto& [provider, key] : services) {
        expectRows(provider, {
                                 {R"({"stats_service": {"other": {"status": "x"}}})", ""},
                                 {R"({"stats_service": {")" + key + R"(": {}}})", ""},
                                 {R"({"stats_service": {")" + key + R"(": null}})", ""},
                                 {R"({"stats_service": null})", ""},
                                 {"{}", ""},
                                 {"null", ""},
                             });
    }
}

TEST_F(DiagnosticsTest, LevelsOfTheWrongTypeAreAFailure)
{
    for (const auto& [provider, key] : services) {
        for (const char* bad : {"1", "true", R"("x")", "[]"}) {
            const std::string value = bad;
            expectRows(provider, {
                                     {R"({"stats_service": {")" + key + R"(": )" + value + "}}", "Unknown"},
                                     {R"({"stats_service": )" + value + "}", "Unknown"},
                                     {value, "Unknown"},
                                 });
        }
    }
}

// Remote syslog.

TEST_F(DiagnosticsTest, OneDestinationThatForwardsIsEnough)
{
    expectRows(zanDiagnosticsRemoteSyslog,
               {
                   {destinations({R"("NONE")", R"("NONE")", R"("warning")"}), enabled},
                   {destinations({R"("warning")", R"("NONE")"}), enabled},
                   {destinations({R"("ERROR")"}), enabled},
                   {destinations({R"("")", "null", R"("x")"}), enabled},
               });
}

TEST_F(DiagnosticsTest, DestinationsThatForwardNothing)
{
    expectRows(zanDiagnosticsRemoteSyslog, {
                                               {destinations({R"("NONE")", R"("NONE")"}), disabled},
                                               {destinations({R"("")"}), disabled},
                                               {destinations({"null", R"("NONE")", R"("")"}), disabled},
                                               {R"({"syslog_remote": [{}, {"host": "h"}]})", disabled},
                                               {R"({"syslog_remote": [null]})", disabled},
                                           });
}

TEST_F(DiagnosticsTest, NoneInLowerCaseForwards)
{
    expectRows(zanDiagnosticsRemoteSyslog, {
                                               {destinations({R"("none")"}), enabled},
                                               {destinations({R"("None")"}), enabled},
                                               {destinations({R"("NONE ")"}), enabled},
                                               {destinations({R"(" ")"}), enabled},
                                           });
}

TEST_F(DiagnosticsTest, WithoutDestinationsDisabled)
{
    expectRows(zanDiagnosticsRemoteSyslog, {
                                               {"{}", disabled},
                                               {"null", disabled},
                                               {R"({"syslog_remote": null})", disabled},
                                               {R"({"syslog_remote": []})", disabled},
                                               {R"({"syslog_remote": {}})", disabled},
                                           });
}

TEST_F(DiagnosticsTest, DestinationsThatAreNoArray)
{
    expectRows(zanDiagnosticsRemoteSyslog,
               {
                   {R"({"syslog_remote": "x"})", disabled},
                   {R"({"syslog_remote": 7})", disabled},
                   {R"({"syslog_remote": true})", disabled},
                   {R"({"syslog_remote": {"severityLevel": "warning"}})", "Unknown"},
                   {R"([])", "Unknown"},
                   {R"("x")", "Unknown"},
               });
}

TEST_F(DiagnosticsTest, DestinationThatCannotBeReadIsAFailure)
{
    expectRows(zanDiagnosticsRemoteSyslog, {
                                               {R"({"syslog_remote": ["warning"]})", "Unknown"},
                                               {R"({"syslog_remote": [1]})", "Unknown"},
                                               {R"({"syslog_remote": [[]]})", "Unknown"},
                                               {destinations({"[]"}), "Unknown"},
                                               {destinations({R"("NONE")", "{}"}), "Unknown"},
                                           });
}

TEST_F(DiagnosticsTest, DestinationsBehindTheFirstThatForwardsAreNotLookedAt)
{
    expectRows(zanDiagnosticsRemoteSyslog, {
                                               {destinations({R"("warning")", "[]"}), enabled},
                                               {R"({"syslog_remote": [{"severityLevel": "x"}, 7]})", enabled},
                                           });
}

TEST_F(DiagnosticsTest, LevelsOfOtherScalarTypesForward)
{
    expectRows(zanDiagnosticsRemoteSyslog, {{destinations({"0"}), enabled},
                                            {destinations({"false"}), enabled},
                                            {destinations({"1.5"}), enabled}});
}

} // namespace
