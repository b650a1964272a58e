#include "zanproviders.h"

#include "support/grouptest.h"

#include <cstdint>
#include <limits>

using namespace zantest;
using namespace zansnmp;

namespace {

class RemoteManagementTest : public GroupTest {
protected:
    RemoteManagementTest() : GroupTest("/api/remoteManagement/enabled") {}
};

TEST_F(RemoteManagementTest, AsksItsOwnQuery)
{
    expectOneRequest({{zanRemoteManagementEnabled}});
}

TEST_F(RemoteManagementTest, FallsBackWhenTheApiFails)
{
    expectFallbacks({{zanRemoteManagementEnabled}});
}

TEST_F(RemoteManagementTest, ResultItselfIsTheFlag)
{
    expectRows(zanRemoteManagementEnabled, {
                                               {"true", "True"},
                                               {"false", "False"},
                                               {"null", "False"},
                                               {"1", "True"},
                                               {"0", "False"},
                                               {"0.5", "True"},
                                               {R"("true")", "Unknown"},
                                               {R"("")", "Unknown"},
                                               {"[]", "Unknown"},
                                               {"[true]", "Unknown"},
                                               {"{}", "Unknown"},
                                               {R"({"enabled": true})", "Unknown"},
                                           });
}

class RouterTest : public GroupTest {
protected:
    RouterTest() : GroupTest("/api?fields=system") {}

    const Objects objects{
        {zanRouterModelId, zanRouterSerialNumber, zanRouterFirmware}, {}, {zanRouterUptime}};

    /// Checks the uptime that an `uptime` (JSON text) gives.
    void expectUptimes(std::initializer_list<Row<std::int32_t>> rows)
    {
        for (const Row<std::int32_t>& row : rows) {
            expectRows(zanRouterUptime, {{R"({"system": {"uptime": )" + row.result + "}}", row.value}});
        }
    }
};

TEST_F(RouterTest, ObjectsShareOneRequest)
{
    expectOneRequest(objects);
}

TEST_F(RouterTest, ObjectsFallBackWhenTheApiFails)
{
    expectFallbacks(objects);
}

TEST_F(RouterTest, RemoteManagementDoesNotShareTheQuery)
{
    freshResult("true");
    zanRouterModelId();
    zanRemoteManagementEnabled();
    EXPECT_EQ(api().takePaths(), (std::vector<std::string>{path, "/api/remoteManagement/enabled"}));
}

TEST_F(RouterTest, ModelId)
{
    expectRows(zanRouterModelId, {
                                     {R"({"system": {"productId": "ZR-4G"}})", "ZR-4G"},
                                     {R"({"system": {"productId": ""}})", ""},
                                     {R"({"system": {"deviceId": "1"}})", ""},
                                     {R"({"system": {"productId": 4}})", "4"},
                                     {R"({"system": {"productId": ["ZR-4G"]}})", "Unknown"},
                                 });
}

TEST_F(RouterTest, SerialNumber)
{
    expectRows(zanRouterSerialNumber,
               {
                   {R"({"system": {"deviceId": "SN-001", "productId": "x"}})", "SN-001"},
                   {R"({"system": {"deviceId": 1234567890123}})", "1234567890123"},
                   {R"({"system": {"deviceId": {}}})", "Unknown"},
               });
}

TEST_F(RouterTest, MissingDeviceIdGivesAnEmptySerialNumberAndNotUnknown)
{
    expectRows(zanRouterSerialNumber, {
                                          {R"({"system": {"productId": "x"}})", ""},
                                          {R"({"system": {"deviceId": null}})", ""},
                                          {R"({"system": {}})", ""},
                                          {R"({"system": null})", ""},
                                          {R"({})", ""},
                                          {R"(null)", ""},
                                      });
}

TEST_F(RouterTest, Firmware)
{
    expectRows(zanRouterFirmware, {
                                      {R"({"system": {"firmware": "1.2.3"}})", "1.2.3"},
                                      {R"({"system": {"firmware": true}})", "true"},
                                      {R"({"system": "1.2.3"})", "Unknown"},
                                      {R"({"system": ["1.2.3"]})", "Unknown"},
                                  });
}

TEST_F(RouterTest, TextsKeepZeroBytesUtf8AndLength)
{
    const std::string longText(1200, 'x');
    expectRows(zanRouterModelId, {
                                     {R"({"system": {"productId": "a\u0000b"}})", std::string("a\0b", 3)},
                                     {R"({"system": {"productId": "\u00e4\u20ac"}})", "\xc3\xa4\xe2\x82\xac"},
                                     {R"({"system": {"productId": ")" + longText + R"("}})", longText},
                                 });
}

TEST_F(RouterTest, UptimeIsTheTextInHundredths)
{
    expectUptimes({
        {R"("12345.67")", 1234567},
        {R"("0")", 0},
        {R"("1")", 100},
        {R"("0.01")", 1},
        {R"("3600.5")", 360050},
        {R"("1e3")", 100000},
        {R"("+7")", 700},
    });
}

TEST_F(RouterTest, UptimeWithoutALeadingNumberIsZero)
{
    expectUptimes(
        {{R"("")", 0}, {R"("   ")", 0}, {R"("unknown")", 0}, {R"("x42")", 0}, {R"("-")", 0}, {R"(".")", 0}});
}

TEST_F(RouterTest, UptimeIgnoresTextBehindTheNumberAndBlanksInFront)
{
    expectUptimes(
        {{R"("42 seconds")", 4200}, {R"("42s")", 4200}, {R"("42,5")", 4200}, {R"(" \t\n7.5")", 750}});
}

TEST_F(RouterTest, UptimeIsCutTowardsZero)
{
    expectUptimes({{R"("0.019")", 1}, {R"("0.009")", 0}, {R"("-0.019")", -1}, {R"("-1.5")", -150}});
}

TEST_F(RouterTest, UptimeIsComputedInSinglePrecision)
{
    expectUptimes({
        {R"("167772.16")", 16777216},   // 2^24: the last hundredth that single precision tells apart
        {R"("167772.17")", 16777218},   // behind it in steps of two and more
        {R"("1000000.07")", 100000008}, // not ...007
        {R"("21427200")", 2142720000},  // 248 days
        {R"("21474834")", 2147483392},
    });
}

TEST_F(RouterTest, UptimeBeyondTheIntegersRangeSaturates)
{
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
    expectUptimes({
        {R"("21474835")", most}, // rounds to 2^31
        {R"("21600000")", most}, // 250 days
        {R"("1e30")", most},
        {R"("3e38")", most}, // infinite once in hundredths
        {R"("inf")", most},
        {R"("-21474836.48")", least},
        {R"("-1e30")", least},
        {R"("-inf")", least},
        {R"("nan")", 0},
    });
}

TEST_F(RouterTest, UptimeBeyondTheFloatsRangeIsZero)
{
    expectUptimes({{R"("1e39")", 0}, {R"("-1e39")", 0}, {R"("1e999")", 0}, {R"("1e-60")", 0}});
}

TEST_F(RouterTest, UptimeOfAnotherType)
{
    expectUptimes({
        {"42", 4200}, // its decimal text
        {"42.5", 4250},
        {"null", 0},
        {"true", 0},
        {"[]", 0},
        {R"(["42"])", 0},
        {"{}", 0},
    });
    expectRows(zanRouterUptime, {
                                    {R"({"system": {}})", 0},
                                    {R"({})", 0},
                                    {R"(null)", 0},
                                    {R"({"system": "42"})", 0},
                                    {R"([])", 0},
                                });
}

} // namespace
