#include "zandhcpserver.h"

#include "zanproviders.h"

#include "support/clock.h"
#include "support/grouptest.h"
#include "support/tables.h"

#include <json/json.h>

using namespace zantest;
using namespace zansnmp;

namespace {

class DhcpServerTest : public GroupTest {
protected:
    DhcpServerTest() : GroupTest("/api?fields=dhcp") {}

    const TableUnderTest& table = leasesTable;

    /// Checks a column of leases that consist of this (the inside of a JSON object).
    void expectCells(unsigned column, const std::vector<std::pair<std::string, Cell>>& rows)
    {
        for (const auto& [lease, cell] : rows) {
            freshResult(R"({"dhcp": {"leases": [{)" + lease + "}]}}");
            takeLog();
            EXPECT_EQ(getCell(table, column, 1), cell) << lease;
            EXPECT_EQ(takeLog(), LogLines{executing(path)}) << lease;
        }
    }
};

// The switch.

TEST_F(DhcpServerTest, Switch)
{
    expectOneRequest({{zanDHCPServerEnabled}});
    expectRows(zanDHCPServerEnabled, {
                                         {R"({"dhcp": {"enabled": true}})", "True"},
                                         {R"({"dhcp": {"enabled": false}})", "False"},
                                         {R"({"dhcp": {"enabled": 1}})", "True"},
                                         {R"({"dhcp": {"enabled": null}})", "False"},
                                         {R"({"dhcp": {}})", "False"},
                                         {R"({"dhcp": null})", "False"},
                                         {"{}", "False"},
                                         {"null", "False"},
                                         {R"({"dhcp": {"enabled": "true"}})", "Unknown"},
                                         {R"({"dhcp": {"enabled": []}})", "Unknown"},
                                         {R"({"dhcp": {"enabled": {}}})", "Unknown"},
                                         {R"({"dhcp": []})", "Unknown"},
                                         {R"({"dhcp": true})", "Unknown"},
                                         {"[]", "Unknown"},
                                     });
}

TEST_F(DhcpServerTest, SwitchFallsBackWhenTheApiFails)
{
    expectFallbacks({{zanDHCPServerEnabled}});
}

// The leases.

TEST_F(DhcpServerTest, TwoLeases)
{
    freshResult(R"({"dhcp": {"leases": [{"ip": "192.168.1.10", "mac": "00:aa", "expiration": 3600},
                                        {"ip": "192.168.1.11", "mac": "00:bb", "expiration": 60}]}})");
    EXPECT_EQ(getRow(table, 1),
              (std::vector<Cell>{integer(0), octets("192.168.1.10"), octets("00:aa"), timeTicks(360000)}));
    EXPECT_EQ(getRow(table, 2),
              (std::vector<Cell>{integer(1), octets("192.168.1.11"), octets("00:bb"), timeTicks(6000)}));
    EXPECT_EQ(getCell(table, 4, 3), noSuchInstance());
    EXPECT_EQ(api().takePaths(), std::vector<std::string>{path});
}

TEST_F(DhcpServerTest, AddressesAreTexts)
{
    const std::vector<std::pair<unsigned, std::string>> columns{{2U, "\"ip\""}, {3U, "\"mac\""}};
    for (const auto& [column, member] : columns) {
        expectCells(column, {
                                {member + R"(: "x")", octets("x")},
                                {member + ": 7", octets("7")},
                                {member + ": null", octets("")},
                                {"", octets("")},
                                {member + ": []", octets("Unknown")},
                                {member + ": {}", octets("Unknown")},
                            });
    }
}

TEST_F(DhcpServerTest, ExpirationOfAnHour)
{
    expectCells(4, {{R"("expiration": 3600)", timeTicks(360000)}});
}

TEST_F(DhcpServerTest, ExpirationWrapsAt32Bits)
{
    expectCells(4, {
                       {R"("expiration": 50000000)", timeTicks(705032704)},
                       {R"("expiration": 42949672)", timeTicks(4294967200)},
                       {R"("expiration": 42949673)", timeTicks(4)},
                       {R"("expiration": 4294967295)", timeTicks(4294967196)},
                   });
}

TEST_F(DhcpServerTest, NegativeExpirationIsZero)
{
    expectCells(4, {{R"("expiration": -1)", timeTicks(0)}});
}

TEST_F(DhcpServerTest, ExpirationOfOtherTypes)
{
    expectCells(4, {
                       {"", timeTicks(0)},
                       {R"("expiration": null)", timeTicks(0)},
                       {R"("expiration": 1.99)", timeTicks(100)},
                       {R"("expiration": true)", timeTicks(100)},
                       {R"("expiration": "3600")", timeTicks(0)},
                       {R"("expiration": 4294967296)", timeTicks(0)},
                       {R"("expiration": [])", timeTicks(0)},
                       {R"("expiration": {})", timeTicks(0)},
                   });
}

TEST_F(DhcpServerTest, ExpirationIsSetAsFourBytes)
{
    freshResult(R"({"dhcp": {"leases": [{"expiration": 1}]}})");
    getCell(table, 4, 1);
    ASSERT_EQ(interposed().typedValues.size(), 1U);
    EXPECT_EQ(interposed().typedValues.front().type, ASN_TIMETICKS);
    EXPECT_EQ(interposed().typedValues.front().length, 4U);
}

TEST_F(DhcpServerTest, LeaseThatIsNoObject)
{
    for (const char* lease : {"7", R"("x")", "[]", "true"}) {
        freshResult(R"({"dhcp": {"leases": [)" + std::string(lease) + "]}}");
        EXPECT_EQ(getRow(table, 1),
                  (std::vector<Cell>{integer(0), octets("Unknown"), octets("Unknown"), timeTicks(0)}))
            << lease;
    }
    freshResult(R"({"dhcp": {"leases": [null]}})");
    EXPECT_EQ(getRow(table, 1), (std::vector<Cell>{integer(0), octets(""), octets(""), timeTicks(0)}));
}

TEST_F(DhcpServerTest, WithoutLeasesTheTableIsEmptyAndTheSwitchAnswersFromTheSameReply)
{
    for (const char* dhcp : {R"({"enabled": true})", R"({"enabled": true, "leases": null})",
                             R"({"enabled": true, "leases": {}})", R"({"enabled": true, "leases": "x"})"}) {
        freshResult(R"({"dhcp": )" + std::string(dhcp) + "}");
        EXPECT_EQ(indices(table), std::vector<long>{}) << dhcp;
        EXPECT_EQ(zanDHCPServerEnabled(), "True") << dhcp;
        EXPECT_EQ(api().takePaths(), std::vector<std::string>{path}) << dhcp;
        EXPECT_EQ(takeLog(), LogLines{executing(path)}) << dhcp;
    }
}

TEST_F(DhcpServerTest, DhcpOfAnotherTypeIsAnEmptyTable)
{
    for (const char* result :
         {R"({"dhcp": "x"})", R"({"dhcp": []})", R"({"dhcp": 7})", R"({"dhcp": null})", "{}", "null", "[]"}) {
        freshResult(result);
        EXPECT_EQ(indices(table), std::vector<long>{}) << result;
    }
}

// One cache for both.

TEST_F(DhcpServerTest, SwitchAndTableShareOneRequest)
{
    freshResult(R"({"dhcp": {"enabled": true, "leases": [{"ip": "a"}]}})");
    EXPECT_EQ(zanDHCPServerEnabled(), "True");
    EXPECT_EQ(indices(table), std::vector<long>{1});
    EXPECT_EQ(getCell(table, 2, 1), octets("a"));
    EXPECT_EQ(zanDHCPServerEnabled(), "True");
    EXPECT_EQ(api().takePaths(), std::vector<std::string>{path});
}

TEST_F(DhcpServerTest, TableSeesWhatTheSwitchHasFetched)
{
    freshResult(R"({"dhcp": {"leases": [{"ip": "old"}]}})");
    EXPECT_EQ(getCell(table, 2, 1), octets("old"));
    freshResult(R"({"dhcp": {"leases": [{"ip": "new"}, {}]}})");
    zanDHCPServerEnabled();
    api().takePaths();
    EXPECT_EQ(getCell(table, 2, 1), octets("new")) << "the rows of the last fetch were lent";
    EXPECT_EQ(indices(table), (std::vector<long>{1, 2}));
    EXPECT_TRUE(api().takePaths().empty());
}

TEST_F(DhcpServerTest, FailureMetByTheSwitchExpiresTheTableToo)
{
    freshResult(R"({"dhcp": {"leases": [{"ip": "a"}]}})");
    EXPECT_EQ(indices(table), std::vector<long>{1});
    passSeconds(5);
    apiDown();
    EXPECT_EQ(zanDHCPServerEnabled(), "Unknown");
    EXPECT_EQ(indices(table), std::vector<long>{});
}

} // namespace
