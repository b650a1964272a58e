#include "support/apitest.h"
#include "support/tables.h"

#include <json/json.h>

using namespace zantest;

namespace {

class RemoteSyslogTest : public ApiTest {
protected:
    const TableUnderTest& table = syslogTable;

    /// Lets the API answer with these settings (the inside of a JSON object).
    void settings(const std::string& members) { freshResult(R"({"syslog": {)" + members + "}}"); }

    /// Checks that a `result` gives no rows, and nothing in the log but the request's trace.
    void expectEmpty(const std::string& result)
    {
        freshResult(result);
        takeLog();
        EXPECT_EQ(indices(table), std::vector<long>{}) << result;
        EXPECT_EQ(takeLog(), LogLines{executing(table.path)}) << result;
    }

    /// The answers in the order of the columns.
    static std::vector<Cell> row(const std::string& host, const std::string& severity,
                                 const std::string& enabled)
    {
        return {integer(0), octets("remote"), octets(host), integer(514), octets(severity), octets(enabled)};
    }
};

TEST_F(RemoteSyslogTest, SettingsBecomeOneRow)
{
    settings(R"("ipAddress": "10.0.0.5", "enabled": true, "logLevel": 35)");
    EXPECT_EQ(indices(table), std::vector<long>{1});
    EXPECT_EQ(getRow(table, 1), row("10.0.0.5", "INFO", "True"));
    EXPECT_EQ(api().takePaths(), std::vector<std::string>{"/api?fields=syslog"});
}

TEST_F(RemoteSyslogTest, IndexTwoAndAboveIsNoSuchInstance)
{
    settings(R"("ipAddress": "10.0.0.5")");
    EXPECT_EQ(getCell(table, 1, 2), noSuchInstance());
    EXPECT_EQ(getCell(table, 6, 3), noSuchInstance());
}

TEST_F(RemoteSyslogTest, SyntheticRowHasItsFixedMembers)
{
    settings(R"("ipAddress": "10.0.0.5", "enabled": true, "logLevel": 35)");
    const Walk walk(table);
    Json::Value expected(Json::objectValue);
    expected["alias"] = "remote";
    expected["host"] = "10.0.0.5";
    expected["port"] = 514;
    expected["enabled"] = "True";
    expected["severityLevel"] = "INFO";
    ASSERT_NE(walk.context(), nullptr);
    EXPECT_EQ(walk.context()->rows.size(), 1U);
    EXPECT_EQ(walk.context()->rows[0U], expected);
}

TEST_F(RemoteSyslogTest, LevelsMapToNames)
{
    const std::vector<std::pair<std::string, std::string>> levels{
        {"-2147483648", "MINIMUM"},
        {"-5", "MINIMUM"},
        {"0", "MINIMUM"},
        {"9", "MINIMUM"},
        {"10", "ERROR"},
        {"19", "ERROR"},
        {"20", "WARNING"},
        {"29", "WARNING"},
        {"30", "INFO"},
        {"39", "INFO"},
        {"40", "DEBUG"},
        {"49", "DEBUG"},
        {"50", "MAXIMUM"},
        {"51", "MAXIMUM"},
        {"1000", "MAXIMUM"},
        {"2147483647", "MAXIMUM"},
        {"9.9", "MINIMUM"},
        {"null", "MINIMUM"},
        {"true", "MINIMUM"},
    };
    for (const auto& [level, name] : levels) {
        settings(R"("logLevel": )" + level);
        EXPECT_EQ(getCell(table, 5, 1), octets(name)) << level;
    }
}

TEST_F(RemoteSyslogTest, ReplyWithoutSyslogStillHasOneRow)
{
    for (const char* result : {"{}", "null", R"({"syslog": null})", R"({"syslog": {}})", R"({"other": 1})"}) {
        freshResult(result);
        EXPECT_EQ(indices(table), std::vector<long>{1}) << result;
        EXPECT_EQ(getRow(table, 1), row("", "MINIMUM", "False")) << result;
    }
}

TEST_F(RemoteSyslogTest, SwitchedOffStillHasItsRow)
{
    settings(R"("ipAddress": "10.0.0.5", "enabled": false, "logLevel": 20)");
    EXPECT_EQ(getRow(table, 1), row("10.0.0.5", "WARNING", "False"));
}

TEST_F(RemoteSyslogTest, HostsAndFlagsThatConvert)
{
    settings(R"("ipAddress": 7, "enabled": 1)");
    EXPECT_EQ(getRow(table, 1), row("7", "MINIMUM", "True"));
    settings(R"("ipAddress": true, "enabled": 0)");
    EXPECT_EQ(getRow(table, 1), row("true", "MINIMUM", "False"));
    settings(R"("ipAddress": null, "enabled": null)");
    EXPECT_EQ(getRow(table, 1), row("", "MINIMUM", "False"));
}

TEST_F(RemoteSyslogTest, SettingsThatCannotBeConvertedAreAnEmptyTable)
{
    for (const char* members : {
             R"("ipAddress": [])",
             R"("ipAddress": {})",
             R"("enabled": "true")",
             R"("enabled": "")",
             R"("enabled": [])",
             R"("enabled": {})",
             R"("logLevel": "35")",
             R"("logLevel": "")",
             R"("logLevel": [])",
             R"("logLevel": {})",
             R"("logLevel": 2147483648)",
             R"("logLevel": -2147483649)",
             R"("logLevel": 1e10)",
         }) {
        expectEmpty(R"({"syslog": {)" + std::string(members) + "}}");
    }
}

TEST_F(RemoteSyslogTest, SettingsOfTheWrongTypeAreAnEmptyTable)
{
    for (const char* value : {"7", "true", R"("x")", "[]"}) {
        expectEmpty(R"({"syslog": )" + std::string(value) + "}");
        expectEmpty(value);
    }
}

TEST_F(RemoteSyslogTest, PortOfTheApiIsNotRead)
{
    settings(R"("port": 1514, "alias": "x", "host": "y", "severityLevel": "z")");
    EXPECT_EQ(getRow(table, 1), row("", "MINIMUM", "False"));
}

// Cells of rows that the get-first hook never makes, but the handler is given.

TEST_F(RemoteSyslogTest, PortIsASignedNumberAndMinusOneWhenItCannotBeRead)
{
    const std::vector<std::pair<Json::Value, long>> ports{
        {514, 514},
        {-7, -7},
        {Json::Value(), 0},
        {true, 1},
        {1.9, 1},
        {"514", -1},
        {2147483647, 2147483647},
        {2147483648U, -1},
        {Json::Value(Json::arrayValue), -1},
        {Json::Value(Json::objectValue), -1},
    };
    for (const auto& [port, number] : ports) {
        zansnmp::ZanTableRowContext context{0, Json::Value(Json::objectValue)};
        context.row["port"] = port;
        Request request;
        request.setRow(&context);
        request.setColumn(4);
        handle(table.hooks.handler, MODE_GET, &request.info());
        EXPECT_EQ(request.cell(), integer(number)) << port;
    }
}

TEST_F(RemoteSyslogTest, TextsOfARowThatIsNoObjectAreUnknown)
{
    zansnmp::ZanTableRowContext context{0, Json::Value("no object")};
    const std::vector<Cell> expected{integer(0),  octets("Unknown"), octets("Unknown"),
                                     integer(-1), octets("Unknown"), octets("Unknown")};
    for (unsigned column = 1; column <= table.columns; ++column) {
        Request request;
        request.setRow(&context);
        request.setColumn(column);
        handle(table.hooks.handler, MODE_GET, &request.info());
        EXPECT_EQ(request.cell(), expected[column - 1]) << column;
    }
}

TEST_F(RemoteSyslogTest, LastColumnIsTheRowsTextAndNoFlag)
{
    zansnmp::ZanTableRowContext context{0, Json::Value(Json::objectValue)};
    context.row["enabled"] = true;
    Request request;
    request.setRow(&context);
    request.setColumn(6);
    handle(table.hooks.handler, MODE_GET, &request.info());
    EXPECT_EQ(request.cell(), octets("true"));
}

} // namespace
