#include "zanmsgdispatcher.h"

#include "zanconfig.h"

#include "support/apitest.h"
#include "support/clock.h"
#include "support/freshprocess.h"

#include <limits>

using namespace zantest;
using zansnmp::ZanMsgDispatcher;
using zansnmp::ZanTrapsConfig;

namespace {

constexpr const char* path = "/api?fields=snmp";

/// The switch and the dispatcher are singletons that keep their state: a test that minds it runs in a fresh
/// process.
class TrapsTest : public ApiTest {
protected:
    ZanTrapsConfig& config = ZanTrapsConfig::instance();
    ZanMsgDispatcher& dispatcher = *ZanMsgDispatcher::instance();

    /// Lets the API answer with this switch (JSON text).
    void apiSwitch(const std::string& enabled)
    {
        freshResult(R"({"snmp": {"traps": {"enabled": )" + enabled + "}}}");
    }

    void readSwitch(bool enabled)
    {
        apiSwitch(enabled ? "true" : "false");
        ASSERT_TRUE(config.Read());
        ASSERT_EQ(config.isTrapsEnabled(), enabled);
        takeLog();
    }
};

// The switch.

TEST_F(TrapsTest, SwitchIsOneObjectAndOffBeforeItIsRead)
{
    inFreshProcess([] {
        EXPECT_FALSE(ZanTrapsConfig::instance().isTrapsEnabled());
        EXPECT_EQ(&ZanTrapsConfig::instance(), &ZanTrapsConfig::instance());
    });
}

TEST_F(TrapsTest, SwitchIsReadFromItsMember)
{
    const std::vector<std::pair<std::string, bool>> switches{
        {"true", true}, {"false", false}, {"1", true}, {"0", false}, {"0.5", true}, {"null", false}};
    for (const auto& [value, enabled] : switches) {
        apiSwitch(value);
        EXPECT_TRUE(config.Read()) << value;
        EXPECT_EQ(config.isTrapsEnabled(), enabled) << value;
        EXPECT_EQ(takeLog(), LogLines{executing(path)}) << value;
        EXPECT_EQ(api().takePaths(), std::vector<std::string>{path});
    }
}

TEST_F(TrapsTest, MissingSwitchIsOffAndStillASuccess)
{
    for (const char* result : {R"({"snmp": {"traps": {}}})", R"({"snmp": {"traps": null}})",
                               R"({"snmp": {}})", R"({"snmp": null})", "{}", "null"}) {
        readSwitch(true);
        freshResult(result);
        EXPECT_TRUE(config.Read()) << result;
        EXPECT_FALSE(config.isTrapsEnabled()) << result;
        EXPECT_EQ(takeLog(), LogLines{executing(path)}) << result;
    }
}

TEST_F(TrapsTest, SwitchIsNeverServedFromACache)
{
    for (int i = 0; i < 3; ++i) {
        config.Read();
    }
    EXPECT_EQ(api().takePaths().size(), 3U);
}

TEST_F(TrapsTest, FailedQueryLeavesTheSwitchAsItWas)
{
    for (const bool enabled : {true, false}) {
        readSwitch(enabled);
        api().setReply(httpReply(R"({"code": 500, "result": {"snmp": {"traps": {"enabled": true}}}})"));
        EXPECT_FALSE(config.Read());
        EXPECT_EQ(config.isTrapsEnabled(), enabled);
        EXPECT_EQ(takeLog(), (LogLines{executing(path), {3, " bad json response code"}}));
    }
}

TEST_F(TrapsTest, SwitchThatCannotBeConvertedIsAnExceptionAndLeavesItAsItWas)
{
    for (const char* result :
         {R"({"snmp": {"traps": {"enabled": "true"}}})", R"({"snmp": {"traps": {"enabled": []}}})",
          R"({"snmp": {"traps": {"enabled": {}}}})", R"({"snmp": {"traps": true}})", R"({"snmp": "x"})",
          R"({"snmp": []})", "[]", "true"}) {
        for (const bool enabled : {true, false}) {
            readSwitch(enabled);
            freshResult(result);
            EXPECT_FALSE(config.Read()) << result;
            EXPECT_EQ(config.isTrapsEnabled(), enabled) << result;
            EXPECT_EQ(takeLog(), (LogLines{executing(path), {3, "exception caught"}})) << result;
        }
    }
}

TEST_F(TrapsTest, ExceptionOfTheQueryIsCaughtToo)
{
    for (const char* body : {R"({"code": "200", "result": {}})", "[]"}) {
        readSwitch(true);
        api().setReply(httpReply(body));
        EXPECT_FALSE(config.Read()) << body;
        EXPECT_TRUE(config.isTrapsEnabled()) << body;
        EXPECT_EQ(takeLog(), (LogLines{executing(path), {3, "exception caught"}})) << body;
    }
}

TEST_F(TrapsTest, ReadInTheFirstSecondsOfUptimeAsksNobodyAndIsOff)
{
    // The query is new each time: its age counts from 0, and in the first seconds of uptime it serves its
    // null.
    readSwitch(true);
    api().takePaths();
    setUptime(499);
    EXPECT_TRUE(config.Read());
    EXPECT_FALSE(config.isTrapsEnabled());
    EXPECT_TRUE(api().takePaths().empty());
}

// The dispatcher's start.

TEST_F(TrapsTest, DispatcherIsOneObject)
{
    EXPECT_EQ(ZanMsgDispatcher::instance(), &dispatcher);
}

TEST_F(TrapsTest, InitReadsTheSwitch)
{
    for (const bool enabled : {true, false, true}) {
        apiSwitch(enabled ? "true" : "false");
        EXPECT_EQ(dispatcher.init(), 0);
        EXPECT_EQ(config.isTrapsEnabled(), enabled);
        EXPECT_EQ(takeLog(), LogLines{executing(path)});
    }
}

TEST_F(TrapsTest, InitFailsWhenTheSwitchCannotBeRead)
{
    apiSwitch("\"true\"");
    EXPECT_EQ(dispatcher.init(), -1);
    EXPECT_EQ(
        takeLog(),
        (LogLines{executing(path), {3, "exception caught"}, {3, "Failed to obtain traps configuration.\n"}}));
    apiDown();
    EXPECT_EQ(dispatcher.init(), -1);
    EXPECT_EQ(takeLog(), (LogLines{executing(path),
                                   {3, " curl_easy_perform failed"},
                                   {3, "Failed to obtain traps configuration.\n"}}));
}

// Events.

TEST_F(TrapsTest, EachEventSendsItsNotification)
{
    readSwitch(true);
    for (long id = 1; id <= 11; ++id) {
        SCOPED_TRACE(id);
        resetInterposed();
        dispatcher.dispatchMessage(id);
        ASSERT_EQ(interposed().traps.size(), 1U);
        ASSERT_EQ(interposed().traps.front().size(), 1U) << "the notification carries its own OID only";
        const Varbind& varbind = interposed().traps.front().front();
        EXPECT_EQ(varbind.name, (Oid{1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0}));
        EXPECT_EQ(varbind.type, ASN_OBJECT_ID);
        const oid expected[] = {1, 3, 6, 1, 4, 1, ZAN_ENTERPRISE_NUMBER, 14, 1, 2, static_cast<oid>(id), 1};
        EXPECT_EQ(varbind.bytes.size(), 12 * sizeof(oid));
        EXPECT_EQ(varbind.bytes, std::string(reinterpret_cast<const char*>(expected), sizeof(expected)));
        EXPECT_TRUE(takeLog().empty());
    }
}

TEST_F(TrapsTest, VariableListIsFreedAfterItWasSent)
{
    readSwitch(true);
    dispatcher.dispatchMessage(7);
    ASSERT_EQ(interposed().trapLists.size(), 1U);
    EXPECT_NE(interposed().trapLists.front(), nullptr);
    EXPECT_EQ(interposed().freedLists, interposed().trapLists);
}

TEST_F(TrapsTest, UnknownEventsAreLoggedAndSendNothing)
{
    readSwitch(true);
    const std::vector<std::pair<long, std::string>> ids{
        {12, "unknown notification received [12].\n"},
        {0, "unknown notification received [0].\n"},
        {-1, "unknown notification received [-1].\n"},
        {13, "unknown notification received [13].\n"},
        {1000000, "unknown notification received [1000000].\n"},
        {std::numeric_limits<long>::max(),
         "unknown notification received [" + std::to_string(std::numeric_limits<long>::max()) + "].\n"},
        {std::numeric_limits<long>::min(),
         "unknown notification received [" + std::to_string(std::numeric_limits<long>::min()) + "].\n"},
    };
    for (const auto& [id, message] : ids) {
        dispatcher.dispatchMessage(id);
        EXPECT_EQ(takeLog(), (LogLines{{4, message}}));
    }
    if (sizeof(long) > 4) {
        const long beyond = (1L << (sizeof(long) * 4)) + 7; // 7 in its lower half
        dispatcher.dispatchMessage(beyond);
        EXPECT_EQ(takeLog(),
                  (LogLines{{4, "unknown notification received [" + std::to_string(beyond) + "].\n"}}));
    }
    EXPECT_TRUE(interposed().traps.empty());
}

TEST_F(TrapsTest, WithTrapsOffEveryEventIsLoggedAndSendsNothing)
{
    readSwitch(false);
    for (const long id : {1L, 7L, 11L, 0L, 12L, -1L}) {
        dispatcher.dispatchMessage(id);
        EXPECT_EQ(takeLog(),
                  (LogLines{{7, "zanmsgdispatcher: SNMP traps disabled in configuration. Ignoring event."}}))
            << id;
    }
    EXPECT_TRUE(interposed().traps.empty());
}

TEST_F(TrapsTest, EventsAreDecidedByTheSwitchAsLastRead)
{
    readSwitch(true);
    apiSwitch("false"); // nobody reads it
    dispatcher.dispatchMessage(1);
    EXPECT_EQ(interposed().traps.size(), 1U);
    readSwitch(false);
    dispatcher.dispatchMessage(1);
    EXPECT_EQ(interposed().traps.size(), 1U);
}

} // namespace
