#pragma once

#include "zantable.h"

#include "agentrequest.h"
#include "support/interposed.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace zantest {

/// A table as the agent sees it: its names, messages and hooks. Managers' view of it is the MIB module's.
struct TableUnderTest {
    const char* name;
    const char* sourceTag;
    const char* allocationMessage;
    const char* result; ///< JSON text, with @ for the rows
    void (*init)();
    zansnmp::TableHooks hooks;

    Oid oid() const;
    unsigned columns() const;
    std::string path() const; ///< of its query
    /// The `result` that gives the table rows made of these numbers.
    std::string resultWithRows(const std::vector<int>& rows) const;
};

extern const TableUnderTest openVpnTable;
extern const TableUnderTest ipsecTable;
extern const TableUnderTest greTable;
extern const TableUnderTest staticRoutesTable;
extern const TableUnderTest leasesTable;
extern const TableUnderTest syslogTable;

/// All six, in the order of their registration.
std::vector<const TableUnderTest*> allTables();

/// What a variable holds: "text" for an OCTET STRING, the decimal digits for a number, nothing for the rest.
struct Cell {
    int type;
    std::string value;

    bool operator==(const Cell& other) const { return type == other.type && value == other.value; }
};
std::ostream& operator<<(std::ostream& out, const Cell& cell);

Cell octets(const std::string& text);
Cell integer(long number);
Cell timeTicks(unsigned long number);
/// The variable of a request that nobody answered.
Cell untouched();
Cell noSuchInstance();

/// The context of a row with this content, at this position of its array.
zansnmp::ZanTableRowContext rowContext(std::int32_t position, const Json::Value& content);

/// A request, and what it was answered.
class Request : public HandlerRequest {
public:
    Cell cell() const;
};

/// All the modes of the agent but MODE_GET, and one of no agent.
std::vector<int> modesOtherThanGet();

/// Calls a table's handler in a mode, for one request or a list of them.
int handle(Netsnmp_Node_Handler* handler, int mode, netsnmp_request_info* requests);

/// Frees a row context through the hook of its table.
struct FreeRowContext {
    Netsnmp_Free_Data_Context* hook;

    void operator()(zansnmp::ZanTableRowContext* context) const { hook(context, nullptr); }
};
using RowContext = std::unique_ptr<zansnmp::ZanTableRowContext, FreeRowContext>;

/// A walk over the rows of a table, as the agent's iterator helper makes it.
class Walk {
public:
    /// Calls the get-first hook.
    explicit Walk(const TableUnderTest& walkedTable);
    /// Calls the loop-free hook, if get-first has handed out a loop context.
    ~Walk();

    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    /// The index of the current row; 0 at the end, and -1 when it is no INTEGER.
    long index() const
    {
        return !atRow ? 0 : indexVariable.type == ASN_INTEGER ? *indexVariable.val.integer : -1;
    }
    /// Calls the get-next hook; false at the end.
    bool next();

    /// Null when get-first has failed.
    zansnmp::ZanTableLoopContext* context() const
    {
        return static_cast<zansnmp::ZanTableLoopContext*>(loopContext);
    }

    /// What the context-convert hook makes of the current row.
    RowContext row() const;

private:
    const TableUnderTest& table;
    void* loopContext = nullptr;
    netsnmp_variable_list indexVariable{};
    bool atRow = false;
};

/// The indices of all rows.
std::vector<long> indices(const TableUnderTest& table);

/// The answer to a GET of one cell, through all hooks.
Cell getCell(const TableUnderTest& table, unsigned column, long index);

/// The answers to a GET of each column of a row.
std::vector<Cell> getRow(const TableUnderTest& table, long index);

} // namespace zantest
