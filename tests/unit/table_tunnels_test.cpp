// OpenVPN, IPsec and GRE tunnels: three tables of the same three columns.

#include "support/apitest.h"
#include "support/tables.h"

using namespace zantest;

namespace {

/// A table of tunnels, and the member of the `result` that holds them.
struct Tunnels {
    const TableUnderTest* table;
    std::string member;
};

std::string memberName(const testing::TestParamInfo<Tunnels>& info)
{
    return info.param.member;
}

class TunnelsTest : public ApiTest, public testing::WithParamInterface<Tunnels> {
protected:
    const TableUnderTest& table = *GetParam().table;

    /// The `result` with this (JSON text) in the tunnels' place.
    std::string tunnels(const std::string& value) const
    {
        return "{\"" + GetParam().member + "\": " + value + "}";
    }

    /// Checks a column of tunnels that consist of this (the inside of a JSON object).
    void expectCells(unsigned column, const std::vector<std::pair<std::string, std::string>>& rows)
    {
        for (const auto& [tunnel, text] : rows) {
            freshResult(tunnels("[{" + tunnel + "}]"));
            takeLog();
            EXPECT_EQ(getCell(table, column, 1), octets(text)) << tunnel;
            EXPECT_EQ(takeLog(), LogLines{executing(table.path)}) << tunnel;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(All, TunnelsTest,
                         testing::Values(Tunnels{&openVpnTable, "ovpnTunnels"},
                                         Tunnels{&ipsecTable, "ipsecTunnels"},
                                         Tunnels{&greTable, "greTunnels"}),
                         memberName);

TEST_P(TunnelsTest, TwoTunnels)
{
    freshResult(tunnels(R"([{"name": "first", "enabled": true}, {"name": "second", "enabled": false}])"));
    EXPECT_EQ(getRow(table, 1), (std::vector<Cell>{integer(0), octets("first"), octets("True")}));
    EXPECT_EQ(getRow(table, 2), (std::vector<Cell>{integer(1), octets("second"), octets("False")}));
    EXPECT_EQ(getRow(table, 3), (std::vector<Cell>{noSuchInstance(), noSuchInstance(), noSuchInstance()}));
    EXPECT_EQ(api().takePaths(), std::vector<std::string>{table.path});
}

TEST_P(TunnelsTest, EmptyArrayIsAnEmptyTable)
{
    freshResult(tunnels("[]"));
    EXPECT_EQ(indices(table), std::vector<long>{});
}

TEST_P(TunnelsTest, ObjectTextOrNothingInTheArraysPlaceIsAnEmptyTableWithoutALogLine)
{
    for (const std::string& result :
         {tunnels(R"({"name": "x"})"), tunnels(R"("x")"), tunnels("null"), std::string("{}")}) {
        freshResult(result);
        takeLog();
        EXPECT_EQ(indices(table), std::vector<long>{}) << result;
        EXPECT_EQ(takeLog(), LogLines{executing(table.path)}) << result;
    }
}

TEST_P(TunnelsTest, TableIsEmptyAndNoErrorWhileTheApiIsDown)
{
    freshResult(tunnels(R"([{"name": "x"}])"));
    apiDown();
    EXPECT_EQ(indices(table), std::vector<long>{});
    EXPECT_EQ(getCell(table, 2, 1), noSuchInstance());
}

TEST_P(TunnelsTest, Names)
{
    expectCells(2, {
                       {R"("name": "tunnel")", "tunnel"},
                       {R"("name": "")", ""},
                       {R"("name": null)", ""},
                       {R"("name": 7)", "7"},
                       {R"("name": -7)", "-7"},
                       {R"("name": 1.5)", "1.5"},
                       {R"("name": true)", "true"},
                       {R"("name": "a\u0000b")", std::string("a\0b", 3)},
                       {R"("name": "\u00e4")", "\xc3\xa4"},
                   });
}

TEST_P(TunnelsTest, TunnelWithoutANameHasAnEmptyOne)
{
    expectCells(2, {{"", ""}, {R"("enabled": true)", ""}, {R"("Name": "x")", ""}});
}

TEST_P(TunnelsTest, NameThatCannotBeReadIsUnknown)
{
    expectCells(
        2, {{R"("name": [])", "Unknown"}, {R"("name": {})", "Unknown"}, {R"("name": ["x"])", "Unknown"}});
}

TEST_P(TunnelsTest, Flags)
{
    expectCells(3, {
                       {R"("enabled": true)", "True"},
                       {R"("enabled": false)", "False"},
                       {R"("enabled": null)", "False"},
                       {R"("enabled": 0)", "False"},
                       {R"("enabled": 0.5)", "True"},
                       {R"("enabled": -1)", "True"},
                       {"", "False"},
                   });
}

TEST_P(TunnelsTest, FlagGivenAsTheNumberOneIsTrue)
{
    expectCells(3, {{R"("enabled": 1)", "True"}});
}

TEST_P(TunnelsTest, FlagGivenAsAnyTextIsUnknown)
{
    expectCells(3, {{R"("enabled": "true")", "Unknown"}, {R"("enabled": "")", "Unknown"}});
}

TEST_P(TunnelsTest, FlagGivenAsAContainerIsUnknown)
{
    expectCells(3, {{R"("enabled": [])", "Unknown"},
                    {R"("enabled": {})", "Unknown"},
                    {R"("enabled": [true])", "Unknown"}});
}

TEST_P(TunnelsTest, RowsThatAreNoObjects)
{
    const std::vector<std::pair<std::string, std::pair<std::string, std::string>>> rows{
        {"null", {"", "False"}},        {R"("text")", {"Unknown", "Unknown"}},
        {"7", {"Unknown", "Unknown"}},  {"true", {"Unknown", "Unknown"}},
        {"[]", {"Unknown", "Unknown"}}, {R"(["name"])", {"Unknown", "Unknown"}},
        {"{}", {"", "False"}},
    };
    for (const auto& [row, texts] : rows) {
        freshResult(tunnels("[" + row + "]"));
        EXPECT_EQ(getRow(table, 1),
                  (std::vector<Cell>{integer(0), octets(texts.first), octets(texts.second)}))
            << row;
    }
}

TEST_P(TunnelsTest, ManyTunnels)
{
    constexpr long count = 300;
    freshResult(table.resultWithRows(std::vector<int>(count, 7)));
    EXPECT_EQ(indices(table).size(), static_cast<std::size_t>(count));
    EXPECT_EQ(getCell(table, 1, count), integer(count - 1));
    EXPECT_EQ(getCell(table, 1, count + 1), noSuchInstance());
}

} // namespace
