// The switch and the leases, which share one query.

#include "zandhcpserver.h"

#include "support/apitest.h"
#include "support/clock.h"
#include "support/tables.h"

using namespace zantest;
using namespace zansnmp;

namespace {

class DhcpServerTest : public ApiTest {
protected:
    const TableUnderTest& table = leasesTable;
    const std::string path = table.path;
};

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
