#include "zantable.h"

#include "zanproviders.h"

#include "support/allocations.h"
#include "support/apitest.h"
#include "support/clock.h"
#include "support/tables.h"

#include <json/json.h>

#include <limits>
#include <memory>
#include <optional>

using namespace zantest;
using zansnmp::ZanTableLoopContext;

namespace {

std::string tableName(const testing::TestParamInfo<const TableUnderTest*>& info)
{
    return info.param->name;
}

/// What holds for all six tables.
class TableTest : public ApiTest, public testing::WithParamInterface<const TableUnderTest*> {
protected:
    const TableUnderTest& table = *GetParam();

    std::string message(const std::string& before, const std::string& after) const
    {
        return before + table.name + after;
    }
};

INSTANTIATE_TEST_SUITE_P(All, TableTest, testing::ValuesIn(allTables()), tableName);

/// What holds for the five tables that may have any number of rows.
class ListTableTest : public TableTest {};

INSTANTIATE_TEST_SUITE_P(All, ListTableTest,
                         testing::Values(&openVpnTable, &ipsecTable, &greTable, &staticRoutesTable,
                                         &leasesTable),
                         tableName);

// Registration.

TEST_P(TableTest, IsRegisteredAsTheAgentWantsIt)
{
    table.init();
    ASSERT_EQ(interposed().created.size(), 1U);
    const Created& created = interposed().created.front();
    EXPECT_EQ(created.name, table.name);
    EXPECT_EQ(created.oid, table.oid());
    EXPECT_EQ(created.modes, HANDLER_CAN_RONLY);
    ASSERT_EQ(interposed().registered.size(), 1U);
    EXPECT_EQ(interposed().registered.front().registration, created.registration);
    EXPECT_TRUE(interposed().freedRegistrations.empty());

    const netsnmp_iterator_info* info = interposed().registered.front().info;
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->get_first_data_point, table.hooks.getFirst);
    EXPECT_EQ(info->get_next_data_point, table.hooks.getNext);
    EXPECT_EQ(info->make_data_context, table.hooks.convertContext);
    EXPECT_EQ(info->free_data_context, table.hooks.freeData);
    EXPECT_EQ(info->free_loop_context_at_end, table.hooks.freeLoop);
    EXPECT_EQ(info->free_loop_context, nullptr);
    EXPECT_EQ(info->myvoid, nullptr);
    EXPECT_EQ(info->flags, NETSNMP_HANDLER_OWNS_IINFO) << "among others, the rows are not declared sorted";
    EXPECT_EQ(info->get_row_indexes, nullptr);

    const netsnmp_table_registration_info* columns = info->table_reginfo;
    ASSERT_NE(columns, nullptr);
    ASSERT_NE(columns->indexes, nullptr);
    EXPECT_EQ(columns->indexes->type, ASN_INTEGER);
    EXPECT_EQ(columns->indexes->next_variable, nullptr);
    EXPECT_EQ(columns->min_column, 1U);
    EXPECT_EQ(columns->max_column, table.columns());
    EXPECT_EQ(columns->valid_columns, nullptr);

    // What tells the question lies on top of what answers.
    const netsnmp_mib_handler* top = created.registration->handler;
    EXPECT_STREQ(top->handler_name, "zanQuestion");
    ASSERT_NE(top->next, nullptr);
    EXPECT_EQ(top->next->access_method, table.hooks.handler);

    const std::string trace =
        std::string(table.sourceTag) + ": registering table " + table.name + " as a table iterator\n";
    EXPECT_EQ(interposed().journal, (std::vector<std::string>{message("create ", ""), "log 7 " + trace,
                                                              message("register table ", "")}));
}

TEST_P(TableTest, AfterARefusedRegistrationNothingIsPutOnTop)
{
    interposed().failTable = true; // the agent's real function frees it then
    table.init();
    ASSERT_EQ(interposed().created.size(), 1U);
    const netsnmp_mib_handler* top = interposed().created.front().registration->handler;
    EXPECT_EQ(top->access_method, table.hooks.handler);
}

TEST_P(TableTest, FailedAllocationsAreLoggedAndFreeWhatWasAllocated)
{
    for (int failures = 1; failures < 8; ++failures) {
        SCOPED_TRACE(failures);
        resetInterposed();
        const bool failTableInfo = (failures & 1) != 0;
        const bool failIterator = (failures & 2) != 0;
        interposed().failCreation = (failures & 4) != 0;
        if (failTableInfo) {
            interposed().failCallocs.insert(0);
        }
        if (failIterator) {
            interposed().failCallocs.insert(1);
        }
        interposed().watchCalloc = true;
        table.init();
        interposed().watchCalloc = false;

        EXPECT_EQ(takeLog(), (LogLines{{3, table.allocationMessage}}));
        EXPECT_TRUE(interposed().callocated.empty()) << "an info block was not freed";
        EXPECT_TRUE(interposed().registered.empty());
        ASSERT_EQ(interposed().created.size(), 1U);
        std::vector<netsnmp_handler_registration*> toFree;
        if (!interposed().failCreation) {
            toFree.push_back(interposed().created.front().registration);
        }
        EXPECT_EQ(interposed().freedRegistrations, toFree);
    }
}

// The rows.

TEST_P(ListTableTest, RowsAreNumberedInTheOrderOfTheArray)
{
    freshResult(table.resultWithRows({30, 10, 20}));
    EXPECT_EQ(indices(table), (std::vector<long>{1, 2, 3}));
    EXPECT_EQ(getCell(table, 1, 1), integer(0));
    EXPECT_EQ(getCell(table, 1, 2), integer(1));
    EXPECT_EQ(getCell(table, 1, 3), integer(2));
    EXPECT_EQ(getCell(table, 2, 1), octets("row 30"));
    EXPECT_EQ(getCell(table, 2, 2), octets("row 10"));
    EXPECT_EQ(getCell(table, 2, 3), octets("row 20"));
    EXPECT_EQ(getCell(table, 2, 4), noSuchInstance());
}

TEST_P(ListTableTest, EmptyArrayHasALoopContextAndNoRows)
{
    freshResult(table.resultWithRows({}));
    const Walk walk(table);
    EXPECT_EQ(walk.index(), 0);
    ASSERT_NE(walk.context(), nullptr);
    EXPECT_EQ(*walk.context()->rows, Json::Value(Json::arrayValue));
    EXPECT_EQ(walk.row(), nullptr);
    EXPECT_EQ(takeLog(), LogLines{executing(table.path())});
}

TEST_P(TableTest, LoopContextIsStoredOnSuccessOnly)
{
    freshResult("{}");
    apiDown();
    int sentinel = 0;
    void* loopContext = &sentinel;
    netsnmp_variable_list index{};
    EXPECT_EQ(table.hooks.getFirst(&loopContext, nullptr, &index, nullptr), nullptr);
    EXPECT_EQ(loopContext, &sentinel);
}

TEST_P(TableTest, HooksDoNothingWithoutAContext)
{
    netsnmp_variable_list index{};
    EXPECT_EQ(table.hooks.getNext(nullptr, nullptr, &index, nullptr), nullptr);
    void* none = nullptr;
    EXPECT_EQ(table.hooks.getNext(&none, nullptr, &index, nullptr), nullptr);
    EXPECT_EQ(table.hooks.convertContext(nullptr, nullptr), nullptr);
    table.hooks.freeData(nullptr, nullptr);
    table.hooks.freeLoop(nullptr, nullptr);
}

TEST_P(TableTest, GetNextBehindTheEndStaysNull)
{
    freshResult(table.resultWithRows({1}));
    Walk walk(table);
    EXPECT_FALSE(walk.next());
    EXPECT_FALSE(walk.next());
    EXPECT_EQ(walk.row(), nullptr);
}

TEST_P(ListTableTest, RowContextHoldsItsOwnPositionAndSharesTheRow)
{
    freshResult(table.resultWithRows({1, 2, 3}));
    Walk walk(table);
    walk.next();
    const RowContext second = walk.row();
    walk.next();
    const RowContext third = walk.row();
    EXPECT_EQ(second->position, 1);
    EXPECT_EQ(third->position, 2);
    EXPECT_EQ(second->row.get(), &(*walk.context()->rows)[1U]);
}

TEST_P(TableTest, RowContextOutlivesTheWalkAndItsFetch)
{
    freshResult(table.resultWithRows({1}));
    std::optional<Walk> walk(table);
    const RowContext row = walk->row();
    const Json::Value content = *row->row;
    walk.reset();
    freshResult(table.resultWithRows({2}));
    indices(table);
    EXPECT_EQ(*row->row, content);
}

// The handler.

TEST_P(TableTest, GetWithoutARowIsNoSuchInstanceEvenWithoutACell)
{
    Request request;
    EXPECT_EQ(handle(table.hooks.handler, MODE_GET, &request.info()), SNMP_ERR_NOERROR);
    EXPECT_EQ(request.cell(), noSuchInstance());
    EXPECT_TRUE(takeLog().empty());
}

TEST_P(TableTest, EveryModeOtherThanGetIsLoggedAndLeavesTheVariable)
{
    zansnmp::ZanTableRowContext row = rowContext(0, Json::objectValue);
    for (const int mode : modesOtherThanGet()) {
        for (const bool withRow : {true, false}) {
            Request request;
            if (withRow) {
                request.setRow(&row);
            }
            request.setColumn(1);
            EXPECT_EQ(handle(table.hooks.handler, mode, &request.info()), SNMP_ERR_NOERROR) << mode;
            EXPECT_EQ(request.cell(), untouched()) << mode;
            EXPECT_EQ(takeLog(),
                      (LogLines{{4, message("problem encountered in ", "_handler: unsupported mode\n")}}))
                << mode;
        }
    }
}

TEST_P(TableTest, OtherModeWithoutACellIsSilent)
{
    Request request;
    EXPECT_EQ(handle(table.hooks.handler, MODE_GETNEXT, &request.info()), SNMP_ERR_NOERROR);
    EXPECT_EQ(request.cell(), untouched());
    EXPECT_TRUE(takeLog().empty());
}

TEST_P(TableTest, UnknownColumnsAreLoggedAndLeaveTheVariable)
{
    zansnmp::ZanTableRowContext row = rowContext(0, Json::objectValue);
    for (const unsigned column : {0U, table.columns() + 1, 1000U, std::numeric_limits<unsigned>::max()}) {
        Request request;
        request.setRow(&row);
        request.setColumn(column);
        EXPECT_EQ(handle(table.hooks.handler, MODE_GET, &request.info()), SNMP_ERR_NOERROR) << column;
        EXPECT_EQ(request.cell(), untouched()) << column;
        EXPECT_EQ(takeLog(), (LogLines{{4, message("problem encountered in ", ": unknown column\n")}}))
            << column;
    }
}

TEST_P(TableTest, NoRequestsAtAllIsNoError)
{
    EXPECT_EQ(handle(table.hooks.handler, MODE_GET, nullptr), SNMP_ERR_NOERROR);
    EXPECT_EQ(handle(table.hooks.handler, MODE_GETNEXT, nullptr), SNMP_ERR_NOERROR);
}

TEST_P(TableTest, EveryRequestOfTheListIsAnsweredWhateverTheOthersAre)
{
    zansnmp::ZanTableRowContext row = rowContext(4, Json::objectValue);
    Request requests[6];
    for (std::size_t i = 0; i + 1 < std::size(requests); ++i) {
        requests[i].info().next = &requests[i + 1].info();
    }
    requests[0].setColumn(1); // without a row
    requests[1].setRow(&row); // without a cell
    requests[2].setRow(&row);
    requests[2].setColumn(99);
    requests[3].setRow(&row);
    requests[3].setColumn(1);
    requests[3].info().processed = 1;
    requests[4].setRow(&row);
    requests[4].setColumn(1);
    requests[5].setRow(&row);
    requests[5].setColumn(2);
    EXPECT_EQ(handle(table.hooks.handler, MODE_GET, &requests[0].info()), SNMP_ERR_NOERROR);
    EXPECT_EQ(requests[0].cell(), noSuchInstance());
    EXPECT_EQ(requests[1].cell(), untouched());
    EXPECT_EQ(requests[2].cell(), untouched());
    EXPECT_EQ(requests[3].cell(), untouched());
    EXPECT_EQ(requests[4].cell(), integer(4));
    EXPECT_EQ(requests[5].cell(), octets(""));
    EXPECT_EQ(takeLog(), (LogLines{{4, message("problem encountered in ", ": unknown column\n")}}));
}

// Ownership.

TEST_P(TableTest, GetsLeaveNothingBehind)
{
    freshResult(table.resultWithRows({1}));
    getRow(table, 1);
    const long alive = allocationsAlive();
    getRow(table, 1);
    getCell(table, 1, 2);
    EXPECT_EQ(allocationsAlive(), alive);
    passSeconds(5);
    getRow(table, 1);
    EXPECT_EQ(allocationsAlive(), alive);
}

TEST_P(TableTest, WalkStoppedEarlyLeavesNothingBehind)
{
    freshResult(table.resultWithRows({1}));
    getCell(table, 1, 1);
    const long alive = allocationsAlive();
    {
        const Walk walk(table);
        const RowContext row = walk.row();
        EXPECT_GT(allocationsAlive(), alive);
    }
    EXPECT_EQ(allocationsAlive(), alive);
}

// All who read the rows of a fetch share them.

TEST_P(ListTableTest, WalkAndRowCopyNothing)
{
    freshResult(table.resultWithRows({1, 2, 3}));
    const Walk first(table);
    const long before = allocationsMade();
    const Walk second(table);
    EXPECT_EQ(allocationsMade() - before, 1) << "more than the loop context";
    EXPECT_EQ(second.context()->rows, first.context()->rows);
    const RowContext row = second.row();
    EXPECT_EQ(allocationsMade() - before, 2) << "more than the row context";
    EXPECT_EQ(api().takePaths().size(), 1U);
}

TEST_P(TableTest, NewFetchDropsTheOldRows)
{
    freshResult(table.resultWithRows({1}));
    indices(table);
    const long alive = allocationsAlive();
    freshResult(table.resultWithRows({2}));
    indices(table);
    EXPECT_EQ(allocationsAlive(), alive);
}

TEST_P(TableTest, WalkKeepsItsRowsWhileAnotherFetches)
{
    freshResult(table.resultWithRows({1}));
    const Walk first(table);
    const Json::Value rows = *first.context()->rows;
    freshResult(table.resultWithRows({2}));
    const Walk second(table);
    EXPECT_EQ(*first.context()->rows, rows);
    EXPECT_NE(*second.context()->rows, rows);
}

// Rows of the syslog table that its get-first hook never makes, but the handler is given.

class GivenRowTest : public ApiTest {
protected:
    static Cell cellOf(const Json::Value& row, unsigned column)
    {
        zansnmp::ZanTableRowContext context{0, std::make_shared<const Json::Value>(row)};
        Request request;
        request.setRow(&context);
        request.setColumn(column);
        handle(syslogTable.hooks.handler, MODE_GET, &request.info());
        return request.cell();
    }

    static Json::Value rowWith(const char* member, const Json::Value& value)
    {
        Json::Value row;
        row[member] = value;
        return row;
    }
};

TEST_F(GivenRowTest, PortIsASignedNumberAndMinusOneWhenItCannotBeRead)
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
        {Json::Value::Int64(4294967297), -1},
        {Json::Value(Json::arrayValue), -1},
        {Json::Value(Json::objectValue), -1},
    };
    for (const auto& [port, number] : ports) {
        EXPECT_EQ(cellOf(rowWith("port", port), 4), integer(number)) << port;
    }
}

TEST_F(GivenRowTest, ColumnsOfARowThatIsNoObjectHaveTheirFallbacks)
{
    const std::vector<Cell> expected{integer(0),  octets("Unknown"), octets("Unknown"),
                                     integer(-1), octets("Unknown"), octets("Unknown")};
    for (unsigned column = 1; column <= syslogTable.columns(); ++column) {
        EXPECT_EQ(cellOf("no object", column), expected[column - 1]) << column;
    }
}

TEST_F(GivenRowTest, LastColumnIsTheRowsTextAndNoFlag)
{
    EXPECT_EQ(cellOf(rowWith("enabled", true), 6), octets("true"));
}

} // namespace
