#include "zanproviders.h"

#include "zanradio.h"

#include "support/allocations.h"
#include "support/grouptest.h"

#include <json/json.h>

#include <utility>

using namespace zantest;
using namespace zansnmp;

namespace {

class RadioTest : public GroupTest {
protected:
    RadioTest() : GroupTest("/api?fields=system/capabilities,stats/radio") {}

    const Objects objects{{zanRadioType, zanRadioMEIDorIMEI, zanRadioIMSI, zanRadioFirmware, zanRadioRSSI,
                           zanRadioNetwork, zanRadioService, zanRadioHomeNetwork, zanRadioMSID, zanRadioMDN}};
};

/// The `result` of a router with a radio, with these members (the inside of a JSON object) in its statistics.
std::string radio(const std::string& members)
{
    return R"({"system_capabilities": {"cell": true}, "stats_radio": {)" + members + "}}";
}

constexpr const char* everything =
    R"("type": "LTE", "imei": "356", "meid": "A00", "imsi": "262", "firmware": "SWI9",
    "rssidBm": "-71", "network": "Net", "service": "LTE Band 3", "carrier": "Home", "msid": "555", "mdn": "666")";

TEST_F(RadioTest, ObjectsShareOneRequest)
{
    expectOneRequest(objects);
}

TEST_F(RadioTest, ObjectsFallBackWhenTheApiFails)
{
    expectFallbacks(objects);
}

TEST_F(RadioTest, TwoGetsWithinTheLifetimeMakeOneRequest)
{
    zanRadioIMSI();
    zanRadioIMSI();
    EXPECT_EQ(api().takePaths(), std::vector<std::string>{path});
}

TEST_F(RadioTest, WarmGetCopiesNothing)
{
    freshResult(radio(everything));
    EXPECT_EQ(zanRadioIMSI(), "262");
    const long before = allocationsMade();
    EXPECT_EQ(zanRadioIMSI(), "262"); // short enough to need no memory
    EXPECT_EQ(zanRadioMDN(), "666");
    EXPECT_EQ(allocationsMade(), before);
}

TEST_F(RadioTest, EachObjectReadsItsOwnField)
{
    const std::vector<std::pair<std::string (*)(), std::string>> values{
        {zanRadioType, "LTE"},           {zanRadioMEIDorIMEI, "356"},
        {zanRadioIMSI, "262"},           {zanRadioFirmware, "SWI9"},
        {zanRadioRSSI, "-71dBm"},        {zanRadioNetwork, "Net"},
        {zanRadioService, "LTE Band 3"}, {zanRadioHomeNetwork, "Home"},
        {zanRadioMSID, "555"},           {zanRadioMDN, "666"},
    };
    for (const auto& [provider, value] : values) {
        expectRows(provider, {{radio(everything), value}, {radio(""), ""}});
    }
}

TEST_F(RadioTest, WithoutARadioEveryObjectIsUnknownHoweverCompleteItsStatistics)
{
    for (const auto provider : objects.texts) {
        for (const char* capabilities : {R"({"cell": false})", R"({"cell": null})", R"({"cell": 0})", "{}",
                                         "null", R"({"cell": "true"})", R"({"cell": ""})", R"({"cell": []})",
                                         R"({"cell": {}})", R"("cell")", "[]", "1"}) {
            expectRows(provider, {{R"({"system_capabilities": )" + std::string(capabilities) +
                                       R"(, "stats_radio": {)" + everything + "}}",
                                   "Unknown"}});
        }
        expectRows(provider, {{R"({"stats_radio": {)" + std::string(everything) + "}}", "Unknown"},
                              {"{}", "Unknown"},
                              {"null", "Unknown"},
                              {"[]", "Unknown"}});
    }
}

TEST_F(RadioTest, CapabilityMayBeANumber)
{
    expectRows(zanRadioIMSI,
               {{R"({"system_capabilities": {"cell": 1}, "stats_radio": {"imsi": "262"}})", "262"}});
}

TEST_F(RadioTest, MissingStatisticsReadAsEmpty)
{
    for (const auto provider : objects.texts) {
        expectRows(provider, {{R"({"system_capabilities": {"cell": true}})", ""},
                              {R"({"system_capabilities": {"cell": true}, "stats_radio": null})", ""},
                              {R"({"system_capabilities": {"cell": true}, "stats_radio": "x"})", "Unknown"},
                              {R"({"system_capabilities": {"cell": true}, "stats_radio": []})", "Unknown"}});
    }
}

TEST_F(RadioTest, MeidIsForTheTypeCdmaOnly)
{
    expectRows(zanRadioMEIDorIMEI, {
                                       {radio(R"("type": "CDMA", "meid": "A00", "imei": "356")"), "A00"},
                                       {radio(R"("type": "GSM", "meid": "A00", "imei": "356")"), "356"},
                                       {radio(R"("type": "", "meid": "A00", "imei": "356")"), "356"},
                                       {radio(R"("meid": "A00", "imei": "356")"), "356"},
                                       {radio(R"("type": null, "meid": "A00", "imei": "356")"), "356"},
                                       {radio(R"("type": 1, "meid": "A00", "imei": "356")"), "356"},
                                       {radio(R"("type": "GSM", "meid": "A00")"), ""},
                                   });
}

TEST_F(RadioTest, CdmaInLowerCaseOrWithABlankIsNotCdma)
{
    expectRows(zanRadioMEIDorIMEI,
               {
                   {radio(R"("type": "cdma", "meid": "A00", "imei": "356")"), "356"},
                   {radio(R"("type": "CDMA ", "meid": "A00", "imei": "356")"), "356"},
                   {radio(R"("type": " CDMA", "meid": "A00", "imei": "356")"), "356"},
                   {radio(R"("type": "CDMA2000", "meid": "A00", "imei": "356")"), "356"},
                   {radio(R"("type": "CDMA\u0000", "meid": "A00", "imei": "356")"), "356"},
               });
}

TEST_F(RadioTest, CdmaWithoutMeidIsEmptyAndNotTheImei)
{
    expectRows(zanRadioMEIDorIMEI, {
                                       {radio(R"("type": "CDMA", "imei": "356")"), ""},
                                       {radio(R"("type": "CDMA", "meid": null, "imei": "356")"), ""},
                                       {radio(R"("type": "CDMA", "meid": "", "imei": "356")"), ""},
                                   });
}

TEST_F(RadioTest, MeidOrImeiOfTypesThatDoNotConvert)
{
    expectRows(zanRadioMEIDorIMEI, {
                                       {radio(R"("type": [], "imei": "356")"), "Unknown"},
                                       {radio(R"("type": {}, "imei": "356")"), "Unknown"},
                                       {radio(R"("type": "CDMA", "meid": [], "imei": "356")"), "Unknown"},
                                       {radio(R"("type": "CDMA", "meid": "A00", "imei": [])"), "A00"},
                                       {radio(R"("type": "GSM", "meid": [], "imei": "356")"), "356"},
                                   });
}

TEST_F(RadioTest, RssiHasItsUnitWithoutABlank)
{
    expectRows(zanRadioRSSI, {
                                 {radio(R"("rssidBm": "-71")"), "-71dBm"},
                                 {radio(R"("rssidBm": -71)"), "-71dBm"},
                                 {radio(R"("rssidBm": -71.5)"), "-71.5dBm"},
                                 {radio(R"("rssidBm": 0)"), "0dBm"},
                                 {radio(R"("rssidBm": true)"), "truedBm"},
                                 {radio(R"("rssidBm": " ")"), " dBm"},
                                 {radio(R"("rssidBm": "-71dBm")"), "-71dBmdBm"},
                             });
}

TEST_F(RadioTest, RssiWithoutAValueStaysEmpty)
{
    expectRows(zanRadioRSSI, {
                                 {radio(R"("rssidBm": "")"), ""},
                                 {radio(R"("rssidBm": null)"), ""},
                                 {radio(R"("rssiDbm": "-71")"), ""}, // the cellular group's spelling
                                 {radio(R"("rssidBm": [])"), "Unknown"},
                                 {radio(R"("rssidBm": {})"), "Unknown"},
                             });
}

TEST_F(RadioTest, TemperatureIsUnknownWithoutAskingTheApi)
{
    freshResult(radio(R"("temperature": 40)"));
    EXPECT_EQ(zanRadioTemperature(), "Unknown");
    apiDown();
    EXPECT_EQ(zanRadioTemperature(), "Unknown");
    EXPECT_TRUE(takeLog().empty());
    EXPECT_EQ(interposed().curlInits, 0);
}

TEST(HasCellularRadioTest, ReadsTheCapability)
{
    Json::Value result;
    EXPECT_FALSE(hasCellularRadio(result));
    result["system_capabilities"]["cell"] = true;
    EXPECT_TRUE(hasCellularRadio(result));
    result["system_capabilities"]["cell"] = "true";
    EXPECT_THROW(hasCellularRadio(result), Json::LogicError);
}

} // namespace
