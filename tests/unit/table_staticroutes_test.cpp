#include "support/apitest.h"
#include "support/tables.h"

using namespace zantest;

namespace {

class StaticRoutesTest : public ApiTest {
protected:
    const TableUnderTest& table = staticRoutesTable;
};

TEST_F(StaticRoutesTest, TwoRoutes)
{
    freshResult(R"({"routes": [{"name": "office"}, {"name": "plant"}]})");
    EXPECT_EQ(getRow(table, 1), (std::vector<Cell>{integer(0), octets("office"), octets("True")}));
    EXPECT_EQ(getRow(table, 2), (std::vector<Cell>{integer(1), octets("plant"), octets("True")}));
    EXPECT_EQ(getCell(table, 1, 3), noSuchInstance());
    EXPECT_EQ(api().takePaths(), std::vector<std::string>{"/api?fields=routes"});
}

TEST_F(StaticRoutesTest, ThirdColumnIsTrueWhateverTheRouteSays)
{
    for (const char* route : {R"({"enabled": false})", R"({"enabled": "x"})", R"({"enabled": []})", "{}",
                              "null", "7", R"("text")", "[]"}) {
        freshResult(R"({"routes": [)" + std::string(route) + "," + route + "]}");
        EXPECT_EQ(getCell(table, 3, 1), octets("True")) << route;
        EXPECT_EQ(getCell(table, 3, 2), octets("True")) << route;
    }
}

TEST_F(StaticRoutesTest, Names)
{
    const std::vector<std::pair<std::string, std::string>> rows{
        {R"({"name": "office"})", "office"},
        {R"({"name": 7})", "7"},
        {R"({"name": null})", ""},
        {R"({"name": []})", "Unknown"},
        {R"({"name": {}})", "Unknown"},
        {"null", ""},
        {"7", "Unknown"},
    };
    for (const auto& [route, text] : rows) {
        freshResult(R"({"routes": [)" + route + "]}");
        EXPECT_EQ(getCell(table, 2, 1), octets(text)) << route;
    }
}

TEST_F(StaticRoutesTest, RouteWithoutANameHasAnEmptyOne)
{
    freshResult(R"({"routes": [{"enabled": true}]})");
    EXPECT_EQ(getCell(table, 2, 1), octets(""));
}

TEST_F(StaticRoutesTest, RoutesGivenAsAnObjectAreAnEmptyTable)
{
    freshResult(R"({"routes": {"name": "office"}})");
    EXPECT_EQ(indices(table), std::vector<long>{});
    EXPECT_EQ(takeLog(), LogLines{executing(table.path)});
}

} // namespace
