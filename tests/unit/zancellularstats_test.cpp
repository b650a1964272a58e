#include "zanproviders.h"

#include "support/grouptest.h"

using namespace zantest;
using namespace zansnmp;

namespace {

class CellularStatsTest : public GroupTest {
protected:
    CellularStatsTest() : GroupTest("/api?fields=system/capabilities,ppp,stats/ppp,stats/pppTotal") {}

    const Objects objects{{zanCellularInterfaceStatsTxBytes, zanCellularInterfaceStatsRxBytes,
                           zanCellularInterfaceStatsTxPkts, zanCellularInterfaceStatsRxPkts}};
};

/// The `result` of a router with a radio: its connection and its counters across connections, as JSON texts.
std::string traffic(const std::string& connection, const std::string& totals)
{
    return R"({"system_capabilities": {"cell": true}, "stats_ppp": )" + connection +
           R"(, "stats_pppTotal": )" + totals + "}";
}

const std::string exampleConnection =
    R"({"tx": {"bytes": 10240, "packets": 87}, "rx": {"bytes": "20480", "packets": 90}})";
const std::string exampleTotals =
    R"({"todayTx": 1048576, "totalTx": 73400320, "todayRx": 2097152, "totalRx": 146800640})";
const std::string smallTotals = R"({"todayTx": 5, "totalTx": 9})";

TEST_F(CellularStatsTest, ObjectsShareOneRequestWithTheCellularInterface)
{
    expectOneRequest(
        {{zanCellularInterfaceStatsTxBytes, zanCellularInterfaceStatsRxBytes, zanCellularInterfaceStatsTxPkts,
          zanCellularInterfaceStatsRxPkts, zanCellularInterfaceIP}});
}

TEST_F(CellularStatsTest, ObjectsFallBackWhenTheApiFails)
{
    expectFallbacks(objects);
}

TEST_F(CellularStatsTest, Example)
{
    const std::string result = traffic(exampleConnection, exampleTotals);
    expectRows(zanCellularInterfaceStatsTxBytes,
               {{result, "current : 10240, today : 1048576, total : 73400320"}});
    expectRows(zanCellularInterfaceStatsRxBytes,
               {{result, "current : 20480, today : 2097152, total : 146800640"}});
    expectRows(zanCellularInterfaceStatsTxPkts, {{result, "current : 87"}});
    expectRows(zanCellularInterfaceStatsRxPkts, {{result, "current : 90"}});
}

TEST_F(CellularStatsTest, WithoutAConnectionTheCurrentPartIsZero)
{
    for (const char* connection : {"{}", "null"}) {
        const std::string result = traffic(connection, smallTotals);
        expectRows(zanCellularInterfaceStatsTxBytes, {{result, "current : 0, today : 5, total : 9"}});
        expectRows(zanCellularInterfaceStatsRxBytes, {{result, "current : 0, today : 0, total : 0"}});
        expectRows(zanCellularInterfaceStatsTxPkts, {{result, "current : 0"}});
        expectRows(zanCellularInterfaceStatsRxPkts, {{result, "current : 0"}});
    }
    const std::string bare = R"({"system_capabilities": {"cell": true}})";
    expectRows(zanCellularInterfaceStatsTxBytes, {{bare, "current : 0, today : 0, total : 0"}});
    expectRows(zanCellularInterfaceStatsRxPkts, {{bare, "current : 0"}});
}

TEST_F(CellularStatsTest, ConnectionWithoutItsCounterHasAnEmptyCurrentPart)
{
    for (const char* connection :
         {R"({"tx": {}})", R"({"tx": null})", R"({"tx": {"bytes": null, "packets": null}})"}) {
        expectRows(zanCellularInterfaceStatsTxBytes,
                   {{traffic(connection, smallTotals), "current : , today : 5, total : 9"}});
        expectRows(zanCellularInterfaceStatsTxPkts, {{traffic(connection, smallTotals), "current : "}});
    }
}

TEST_F(CellularStatsTest, DirectionsAreToldApart)
{
    const std::string onlyTx = traffic(R"({"tx": {"bytes": 1, "packets": 2}})", exampleTotals);
    expectRows(zanCellularInterfaceStatsRxBytes,
               {{onlyTx, "current : 0, today : 2097152, total : 146800640"}});
    expectRows(zanCellularInterfaceStatsRxPkts, {{onlyTx, "current : 0"}});
}

TEST_F(CellularStatsTest, PacketLinesNeverHaveAComma)
{
    for (const auto provider : {zanCellularInterfaceStatsTxPkts, zanCellularInterfaceStatsRxPkts}) {
        expectRows(provider, {{traffic("{}", exampleTotals), "current : 0"}});
    }
}

TEST_F(CellularStatsTest, CountersAbove32BitsArePrintedInFull)
{
    expectRows(
        zanCellularInterfaceStatsRxBytes,
        {
            {traffic("{}", R"({"totalRx": 5000000000})"), "current : 0, today : 0, total : 5000000000"},
            {traffic("{}", R"({"todayRx": 18446744073709551615, "totalRx": 4294967296})"),
             "current : 0, today : 18446744073709551615, total : 4294967296"},
            {traffic(R"({"rx": {"bytes": 5000000000}})", "{}"), "current : 5000000000, today : 0, total : 0"},
        });
}

TEST_F(CellularStatsTest, RealCountersAreCutToIntegers)
{
    expectRows(
        zanCellularInterfaceStatsTxBytes,
        {
            {traffic("{}", R"({"todayTx": 1.5, "totalTx": 2.99})"), "current : 0, today : 1, total : 2"},
            {traffic("{}", R"({"todayTx": true, "totalTx": false})"), "current : 0, today : 1, total : 0"},
        });
}

TEST_F(CellularStatsTest, CurrentCountIsPrintedInTheLibrarysTextForm)
{
    expectRows(zanCellularInterfaceStatsTxPkts,
               {
                   {traffic(R"({"tx": {"packets": 10.5}})", "{}"), "current : 10.5"},
                   {traffic(R"({"tx": {"packets": 10.0}})", "{}"), "current : 10.0"},
                   {traffic(R"({"tx": {"packets": -1}})", "{}"), "current : -1"},
                   {traffic(R"({"tx": {"packets": true}})", "{}"), "current : true"},
                   {traffic(R"({"tx": {"packets": "many"}})", "{}"), "current : many"},
                   {traffic(R"({"tx": {"packets": ""}})", "{}"), "current : "},
               });
    expectRows(zanCellularInterfaceStatsTxBytes,
               {{traffic(R"({"tx": {"bytes": 10.5}})", "{}"), "current : 10.5, today : 0, total : 0"}});
}

TEST_F(CellularStatsTest, BytesAndPacketsAreDifferentFields)
{
    const std::string result = traffic(R"({"tx": {"bytes": 1}, "rx": {"packets": 2}})", "{}");
    expectRows(zanCellularInterfaceStatsTxPkts, {{result, "current : "}});
    expectRows(zanCellularInterfaceStatsRxBytes, {{result, "current : , today : 0, total : 0"}});
}

TEST_F(CellularStatsTest, CounterThatDoesNotConvertIsAFailureOfTheByteLinesOnly)
{
    for (const char* counter : {"-1", "\"5\"", "[]", "{}", "1e20", "-0.5"}) {
        for (const char* name : {"todayTx", "totalTx"}) {
            const std::string result =
                traffic(exampleConnection, R"({")" + std::string(name) + R"(": )" + counter + "}");
            expectRows(zanCellularInterfaceStatsTxBytes, {{result, "Unknown"}});
            expectRows(zanCellularInterfaceStatsRxBytes, {{result, "current : 20480, today : 0, total : 0"}});
            expectRows(zanCellularInterfaceStatsTxPkts, {{result, "current : 87"}});
        }
    }
}

TEST_F(CellularStatsTest, TotalsThatAreNoObjectAreAFailureOfTheByteLinesOnly)
{
    for (const char* totals : {"1", "\"x\"", "[]", "true"}) {
        const std::string result = traffic(exampleConnection, totals);
        expectRows(zanCellularInterfaceStatsTxBytes, {{result, "Unknown"}});
        expectRows(zanCellularInterfaceStatsRxBytes, {{result, "Unknown"}});
        expectRows(zanCellularInterfaceStatsTxPkts, {{result, "current : 87"}});
        expectRows(zanCellularInterfaceStatsRxPkts, {{result, "current : 90"}});
    }
    expectRows(zanCellularInterfaceStatsTxBytes,
               {{traffic(exampleConnection, "null"), "current : 10240, today : 0, total : 0"}});
}

TEST_F(CellularStatsTest, ConnectionOfTheWrongTypeIsAFailure)
{
    for (const char* connection :
         {"1", "\"x\"", "[]", "true", R"({"tx": 1})", R"({"tx": "x"})", R"({"tx": []})", R"({"tx": true})",
          R"({"tx": {"bytes": [], "packets": []}})", R"({"tx": {"bytes": {}, "packets": {}}})"}) {
        const std::string result = traffic(connection, exampleTotals);
        expectRows(zanCellularInterfaceStatsTxBytes, {{result, "Unknown"}});
        expectRows(zanCellularInterfaceStatsTxPkts, {{result, "Unknown"}});
    }
}

TEST_F(CellularStatsTest, WithoutARadioEveryLineIsUnknown)
{
    for (const char* capabilities : {R"({"cell": false})", R"({"cell": null})", "{}", "null",
                                     R"({"cell": "true"})", R"({"cell": []})", "[]", "1"}) {
        for (const auto provider : objects.texts) {
            expectRows(provider,
                       {{R"({"system_capabilities": )" + std::string(capabilities) + R"(, "stats_ppp": )" +
                             exampleConnection + R"(, "stats_pppTotal": )" + exampleTotals + "}",
                         "Unknown"}});
        }
    }
    for (const auto provider : objects.texts) {
        expectRows(provider, {{"{}", "Unknown"}, {"null", "Unknown"}, {"[]", "Unknown"}});
    }
}

} // namespace
