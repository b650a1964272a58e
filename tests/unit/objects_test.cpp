// Every scalar and column of the MIB module, through the handlers that the entry registers: the cases of
// tests/cases, and what holds for all objects alike.

#include "zanproviders.h"

#include "support/allocations.h"
#include "support/apitest.h"
#include "support/clock.h"
#include "support/objects.h"

#include <json/json.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

using namespace zantest;

namespace {

class ObjectsTest : public ApiTest {
protected:
    ObjectsTest()
    {
        get(allObjects().front()); // the entry has been called
        freshResult("{}");
        api().takePaths();
        resetInterposed();
    }

    static LogLines traceOf(const Object& object)
    {
        return object.path ? LogLines{executing(*object.path)} : LogLines{};
    }

    static const Object& objectNamed(const std::string& name)
    {
        return *std::find_if(allObjects().begin(), allObjects().end(),
                             [&](const Object& object) { return object.name == name; });
    }

    /// The first case in which there is something to read.
    static const Case& withValue(const Object& object)
    {
        return *std::find_if(object.cases.begin(), object.cases.end(),
                             [&](const Case& one) { return one.value.type == object.type; });
    }

    /// Checks that all objects have their fallback, and each GET asks the API again and logs why it got
    /// nothing.
    void expectFallbacks(const LogLines& reason)
    {
        takeLog();
        for (const Object& object : allObjects()) {
            EXPECT_EQ(get(object), object.fallback()) << object.name;
            LogLines log = traceOf(object);
            if (object.path) {
                log.insert(log.end(), reason.begin(), reason.end());
            }
            EXPECT_EQ(takeLog(), log) << object.name;
        }
    }
};

class CasesTest : public ObjectsTest, public testing::WithParamInterface<const Object*> {};

std::vector<const Object*> objectsByPointer()
{
    std::vector<const Object*> objects;
    for (const Object& object : allObjects()) {
        objects.push_back(&object);
    }
    return objects;
}

INSTANTIATE_TEST_SUITE_P(All, CasesTest, testing::ValuesIn(objectsByPointer()),
                         [](const auto& parameter) { return parameter.param->name; });

TEST_P(CasesTest, ReadAsTold)
{
    const Object& object = *GetParam();
    ASSERT_FALSE(object.cases.empty()) << "no member of its own, so tests/cases has to tell what it reads";
    for (const Case& one : object.cases) {
        freshResult(one.result);
        takeLog();
        EXPECT_EQ(get(object), one.value) << one.name << ": " << one.result;
        EXPECT_EQ(takeLog(), traceOf(object)) << one.name << ": " << one.result;
    }
}

TEST_F(ObjectsTest, RawZeroByteInATextOfTheAnswerIsKept)
{
    freshResult(std::string("{\"system\": {\"deviceId\": \"a\0b\"}}", 31));
    EXPECT_EQ(get(objectNamed("zanRouterSerialNumber")), octets(std::string("a\0b", 3)));
}

// Failures of the API.

TEST_F(ObjectsTest, WithTheApiDownEveryObjectHasItsFallback)
{
    apiDown();
    expectFallbacks({{LOG_ERR, " curl_easy_perform failed"}});
}

TEST_F(ObjectsTest, WithAnotherCodeEveryObjectHasItsFallback)
{
    api().setReply(httpReply(R"({"code": 404, "result": {}})"));
    expectFallbacks({{LOG_ERR, " bad json response code"}});
}

TEST_F(ObjectsTest, WithACodeThatIsNoNumberEveryObjectHasItsFallbackAndLogsNothing)
{
    api().setReply(httpReply(R"({"code": "200", "result": {}})"));
    expectFallbacks({});
}

TEST_F(ObjectsTest, WithoutAResultEveryObjectHasItsFallback)
{
    api().setReply(httpReply(R"({"code": 200})"));
    expectFallbacks({{LOG_ERR, " wrong format of json response"}});
}

TEST_F(ObjectsTest, WithNonsenseForAnAnswerEveryObjectHasItsFallback)
{
    api().setReply(httpReply("<html>"));
    expectFallbacks({{LOG_ERR, " failed to parse json response"}});
}

// Requests.

TEST_F(ObjectsTest, WalkAsksEachQueryOnceAndLogsNothingElse)
{
    std::vector<std::string> paths;
    LogLines trace;
    for (const Object& object : allObjects()) {
        if (object.path && std::find(paths.begin(), paths.end(), *object.path) == paths.end()) {
            paths.push_back(*object.path);
            trace.push_back(executing(*object.path));
        }
    }
    for (int walk = 0; walk < 2; ++walk) {
        for (const Object& object : allObjects()) {
            get(object);
        }
        EXPECT_EQ(api().takePaths(), walk == 0 ? paths : std::vector<std::string>{});
        EXPECT_EQ(takeLog(), walk == 0 ? trace : LogLines{});
        passSeconds(4);
    }
    passSeconds(1);
    for (const Object& object : allObjects()) {
        get(object);
    }
    EXPECT_EQ(api().takePaths(), paths) << "after five seconds and more";
}

// The accessors of the queries, for those who want a whole result: each beside an object of its query.
TEST_F(ObjectsTest, AccessorsGiveTheWholeResultOfTheirQuery)
{
    const std::vector<std::pair<bool (*)(Json::Value&), std::string>> accessors{
        {zansnmp::systemData, "zanRouterSerialNumber"},
        {zansnmp::wanManagerData, "zanWanManagerPriority"},
        {zansnmp::radioData, "zanRadioIMSI"},
        {zansnmp::cellularData, "zanCellularInterfaceDNS"},
        {zansnmp::ethernetData, "zanEthernetInterfaceDNS"},
        {zansnmp::wifiData, "zanWiFiInterfaceMode"},
        {zansnmp::serialToIPData, "zanSerialToIPPort"},
        {zansnmp::servicesData, "zanDNSWanServers"},
        {zansnmp::dhcpData, "zanDHCPServerEnabled"},
        {zansnmp::firewallData, "zanFirewallInputFilterRulesNumEnabled"},
        {zansnmp::remoteAccessData, "zanRemoteAccessHTTPSessionTimeout"},
    };
    for (const auto& [accessor, name] : accessors) {
        freshResult(R"({"any": ["member", 7]})");
        Json::Value out;
        EXPECT_TRUE(accessor(out)) << name;
        EXPECT_EQ(out["any"][1], 7) << name;
        out.clear(); // the caller's own
        EXPECT_TRUE(accessor(out)) << name;
        EXPECT_EQ(out["any"][0], "member") << name;
        EXPECT_EQ(api().takePaths(), std::vector<std::string>{objectNamed(name).path.value()});
        api().setReply(httpReply(R"({"code": 404, "result": {}})"));
        passSeconds(5);
        EXPECT_FALSE(accessor(out)) << name;
        api().takePaths();
    }
}

// The handlers of the scalars.

TEST_F(ObjectsTest, GetSetsTheTypeAndTheLengthOfTheValue)
{
    for (const Object& object : allObjects()) {
        freshResult(withValue(object).result);
        interposed().typedValues.clear();
        const Cell value = get(object);
        for (const TypedValue& set : interposed().typedValues) {
            EXPECT_EQ(set.type, object.type) << object.name;
            EXPECT_EQ(set.length, object.type == ASN_OCTET_STR ? value.value.size() : 4U) << object.name;
        }
        EXPECT_EQ(interposed().typedValues.size(),
                  object.type == ASN_INTEGER && !object.table.empty() ? 0U : 1U)
            << object.name << ": the library itself sets the INTEGER of a column";
    }
}

TEST_F(ObjectsTest, EveryModeOtherThanGetIsLoggedAndRefused)
{
    for (const Object* scalar : allScalars()) {
        for (const int mode : modesOtherThanGet()) {
            Request request;
            EXPECT_EQ(handle(*scalar, mode, &request.info()), SNMP_ERR_GENERR) << scalar->name << mode;
            EXPECT_EQ(request.cell(), untouched());
            EXPECT_EQ(takeLog(), (LogLines{{LOG_ERR, "unknown mode (" + std::to_string(mode) + ") in " +
                                                         scalar->name + "\n"}}));
        }
    }
    EXPECT_TRUE(api().takePaths().empty()) << "a provider was called";
}

TEST_F(ObjectsTest, OnlyTheFirstRequestIsServed)
{
    for (const Object* scalar : allScalars()) {
        Request first;
        Request second;
        first.info().next = &second.info();
        EXPECT_EQ(handle(*scalar, MODE_GET, &first.info()), SNMP_ERR_NOERROR);
        EXPECT_FALSE(first.cell() == untouched()) << scalar->name;
        EXPECT_EQ(second.cell(), untouched()) << scalar->name;
    }
}

// Memory.

TEST_F(ObjectsTest, WarmGetOfAShortTextAsksForNoMemory)
{
    freshResult(R"({"system_capabilities": {"cell": true}, "stats_radio": {"imsi": "262"}})");
    const Object& imsi = objectNamed("zanRadioIMSI");
    EXPECT_EQ(get(imsi), octets("262"));
    Request request;
    const long before = allocationsMade();
    handle(imsi, MODE_GET, &request.info());
    EXPECT_EQ(allocationsMade(), before);
    EXPECT_EQ(request.cell(), octets("262"));
}

TEST_F(ObjectsTest, TextThatTheVariableHasNoMemoryForIsUnknown)
{
    for (const Object& object : allObjects()) {
        if (object.type == ASN_OCTET_STR) {
            freshResult(withValue(object).result);
            interposed().failTypedValues = 1;
            EXPECT_EQ(get(object), octets("Unknown")) << object.name;
        }
    }
}

TEST_F(ObjectsTest, NoShortageOfMemoryEndsAHandler)
{
    for (const Object* scalar : allScalars()) { // the first GET of each query fetches
        std::vector<Cell> cells;
        bool happened = true;
        for (long nth = 1; happened; ++nth) {
            Request request;
            {
                const FailingAllocation shortage(nth);
                handle(*scalar, MODE_GET, &request.info());
                happened = shortage.happened();
            }
            cells.push_back(request.cell());
        }
        const Cell right = get(*scalar);
        const Cell none = scalar->type == ASN_OCTET_STR ? octets("Unknown") : Cell{scalar->type, "0"};
        for (const Cell& cell : cells) {
            EXPECT_TRUE(cell == right || cell == none) << scalar->name << ": " << cell;
        }
    }
}

} // namespace
