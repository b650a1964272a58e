// The query accessors, for those who want a whole `result`.

#include "zanproviders.h"

#include "support/apitest.h"

#include <json/json.h>

#include <string>

using namespace zansnmp;
using namespace zantest;

namespace {

struct AccessorUnderTest {
    const char* name;
    bool (*accessor)(Json::Value&);
    const char* path; ///< of its query
};

class AccessorTest : public ApiTest, public testing::WithParamInterface<AccessorUnderTest> {
protected:
    bool ask(Json::Value& out) { return GetParam().accessor(out); }
};

INSTANTIATE_TEST_SUITE_P(
    All, AccessorTest,
    testing::Values(
        AccessorUnderTest{"systemData", systemData, "/api?fields=system"},
        AccessorUnderTest{"wanManagerData", wanManagerData, "/api?fields=wanmngr,waninfo"},
        AccessorUnderTest{"radioData", radioData, "/api?fields=system/capabilities,stats/radio"},
        AccessorUnderTest{"cellularData", cellularData,
                          "/api?fields=system/capabilities,ppp,stats/ppp,stats/pppTotal"},
        AccessorUnderTest{"ethernetData", ethernetData, "/api?fields=system,stats/eth,dhcp,dns"},
        AccessorUnderTest{"wifiData", wifiData, "/api?fields=system,stats/wlan,wifi"},
        AccessorUnderTest{"serialToIPData", serialToIPData,
                          "/api?fields=ipPipes/SERIAL2IP,stats/serial,serial"},
        AccessorUnderTest{
            "servicesData", servicesData,
            "/api?fields=sntp/enabled,smtp,sms,dns,ddns,radius,syslog/remote,stats/service,stats/dns"},
        AccessorUnderTest{"dhcpData", dhcpData, "/api?fields=dhcp"},
        AccessorUnderTest{"firewallData", firewallData, "/api?fields=filters,nat"},
        AccessorUnderTest{"remoteAccessData", remoteAccessData, "/api?fields=remoteAccess"}),
    [](const auto& accessor) { return accessor.param.name; });

TEST_P(AccessorTest, GivesACopyOfTheWholeResultThatIsTheCallersOwn)
{
    freshResult(R"({"any": ["member", 7]})");
    Json::Value first;
    EXPECT_TRUE(ask(first));
    Json::Value expected;
    expected["any"].append("member");
    expected["any"].append(7);
    EXPECT_EQ(first, expected);
    first["any"].clear();
    Json::Value second;
    EXPECT_TRUE(ask(second));
    EXPECT_EQ(second, expected);
    EXPECT_EQ(api().takePaths(), std::vector<std::string>{GetParam().path});
}

TEST_P(AccessorTest, IsFalseWhenTheApiFails)
{
    freshResult("{}");
    apiDown();
    Json::Value out;
    EXPECT_FALSE(ask(out));
    EXPECT_EQ(takeLog(), (LogLines{executing(GetParam().path), {LOG_ERR, " curl_easy_perform failed"}}));
}

} // namespace
