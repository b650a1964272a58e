#include "support/tables.h"

#include "support/objects.h"

#include "zandhcpserver.h"
#include "zangre.h"
#include "zanipsec.h"
#include "zanopenvpn.h"
#include "zanrsyslog.h"
#include "zanstaticroutes.h"

#include <algorithm>
#include <ostream>
#include <regex>
#include <stdexcept>

namespace zantest {

namespace {

/// The first column of a table.
std::vector<Object>::const_iterator firstColumnOf(const TableUnderTest& table)
{
    const std::vector<Object>& objects = allObjects();
    return std::find_if(objects.begin(), objects.end(),
                        [&](const Object& object) { return object.table == table.name; });
}

} // namespace

Oid TableUnderTest::oid() const
{
    const Oid column = firstColumnOf(*this)->oid;
    return {column.begin(), column.end() - 2}; // without the arcs of the entry and of the column
}

unsigned TableUnderTest::columns() const
{
    return static_cast<unsigned>(
        std::count_if(allObjects().begin(), allObjects().end(),
                      [this](const Object& object) { return object.table == name; }));
}

std::string TableUnderTest::path() const
{
    return firstColumnOf(*this)->path.value();
}

std::string TableUnderTest::resultWithRows(const std::vector<int>& rows) const
{
    std::string list;
    for (const int row : rows) {
        const std::string text = "\"row " + std::to_string(row) + "\"";
        list += list.empty() ? "" : ", ";
        list += "{\"name\": " + text + ", \"ip\": " + text + ", \"ipAddress\": " + text + "}";
    }
    // The one row of the syslog table is no element of an array.
    return std::regex_replace(result, std::regex("@"), this == &syslogTable ? list : "[" + list + "]");
}

// The names of a table's functions can only be put together by the preprocessor.
#define ZAN_TABLE(name, sourceTag, allocationCaller, result)                                                 \
    {                                                                                                        \
#name, sourceTag, "malloc failed in " allocationCaller, result, zansnmp::init_##name,                \
        {                                                                                                    \
            name##_get_first_data_point, name##_get_next_data_point, name##_context_convert_function,        \
                name##_data_free, name##_loop_free, name##_handler                                           \
        }                                                                                                    \
    }

const TableUnderTest openVpnTable ZAN_TABLE(zanOpenVpnTunnelsTable, "zanopenvpn",
                                            "init_zanOpenVpnTunnelsTable", R"({"ovpnTunnels": @})");
const TableUnderTest ipsecTable ZAN_TABLE(zanIpsecTunnelsTable, "zanipsec", "init_zanIpsecTunnelsTable",
                                          R"({"ipsecTunnels": @})");
const TableUnderTest greTable ZAN_TABLE(zanGreTunnelsTable, "zangre", "init_zanGreTunnelsTable",
                                        R"({"greTunnels": @})");
const TableUnderTest staticRoutesTable ZAN_TABLE(zanStaticRoutesTable, "zanstaticroutes",
                                                 "init_zanStaticRoutesTable", R"({"routes": @})");
const TableUnderTest leasesTable ZAN_TABLE(zanDHCPServerLeasesTable, "zandhcpserver",
                                           "init_zanDHCPServerLeasesTable", R"({"dhcp": {"leases": @}})");
// The message names the table and not its initialiser, unlike the other five.
const TableUnderTest syslogTable ZAN_TABLE(zanRemoteSyslogDestTable, "zanrsyslog", "zanRemoteSyslogDestTable",
                                           R"({"syslog": @})");

std::vector<const TableUnderTest*> allTables()
{
    return {&ipsecTable, &greTable, &openVpnTable, &staticRoutesTable, &leasesTable, &syslogTable};
}

std::ostream& operator<<(std::ostream& out, const Cell& cell)
{
    return out << "type " << cell.type << " \"" << cell.value << "\"";
}

Cell octets(const std::string& text)
{
    return {ASN_OCTET_STR, text};
}

Cell integer(long number)
{
    return {ASN_INTEGER, std::to_string(number)};
}

Cell timeTicks(unsigned long number)
{
    return {ASN_TIMETICKS, std::to_string(number)};
}

Cell untouched()
{
    return {ASN_NULL, ""};
}

Cell noSuchInstance()
{
    return {SNMP_NOSUCHINSTANCE, ""};
}

zansnmp::ZanTableRowContext rowContext(std::int32_t position, const Json::Value& content)
{
    return {position, std::make_shared<const Json::Value>(content)};
}

Cell Request::cell() const
{
    switch (variable().type) {
    case ASN_OCTET_STR:
        return octets({reinterpret_cast<const char*>(variable().val.string), variable().val_len});
    case ASN_INTEGER:
        return integer(*variable().val.integer);
    case ASN_TIMETICKS:
        return timeTicks(static_cast<unsigned long>(*variable().val.integer));
    default:
        return {variable().type, ""};
    }
}

std::vector<int> modesOtherThanGet()
{
    return {MODE_GETNEXT,
            MODE_GETBULK,
            static_cast<int>(MODE_GET_STASH),
            MODE_SET_BEGIN,
            MODE_SET_RESERVE1,
            MODE_SET_RESERVE2,
            MODE_SET_ACTION,
            MODE_SET_COMMIT,
            MODE_SET_FREE,
            MODE_SET_UNDO,
            12345};
}

int handle(Netsnmp_Node_Handler* handler, int mode, netsnmp_request_info* requests)
{
    AgentRequest request(mode);
    return handler(nullptr, nullptr, request.get(), requests);
}

Walk::Walk(const TableUnderTest& walkedTable) : table(walkedTable)
{
    void* dataContext = nullptr;
    const netsnmp_variable_list* index =
        table.hooks.getFirst(&loopContext, &dataContext, &indexVariable, nullptr);
    atRow = index != nullptr;
    if ((atRow && index != &indexVariable) || dataContext != nullptr) {
        throw std::logic_error("get-first returned another variable, or wrote the data context");
    }
}

Walk::~Walk()
{
    if (loopContext != nullptr) {
        table.hooks.freeLoop(loopContext, nullptr);
    }
    snmp_free_var_internals(&indexVariable);
}

bool Walk::next()
{
    void* dataContext = nullptr;
    const netsnmp_variable_list* index =
        table.hooks.getNext(&loopContext, &dataContext, &indexVariable, nullptr);
    atRow = index != nullptr;
    if ((atRow && index != &indexVariable) || dataContext != nullptr) {
        throw std::logic_error("get-next returned another variable, or wrote the data context");
    }
    return atRow;
}

RowContext Walk::row() const
{
    return RowContext(
        static_cast<zansnmp::ZanTableRowContext*>(table.hooks.convertContext(loopContext, nullptr)),
        {table.hooks.freeData});
}

std::vector<long> indices(const TableUnderTest& table)
{
    std::vector<long> found;
    Walk walk(table);
    for (bool atRow = walk.index() != 0; atRow; atRow = walk.next()) {
        found.push_back(walk.index());
    }
    return found;
}

Cell getCell(const TableUnderTest& table, unsigned column, long index)
{
    void* rowContext = nullptr;
    {
        Walk walk(table);
        bool atRow = walk.index() != 0;
        while (atRow && walk.index() != index) {
            atRow = walk.next();
        }
        if (atRow) {
            rowContext = table.hooks.convertContext(walk.context(), nullptr);
        }
    } // the helper ends the walk before the handler is called
    Request request;
    if (rowContext != nullptr) {
        request.setRow(rowContext);
    }
    request.setColumn(column);
    handle(table.hooks.handler, MODE_GET, &request.info());
    table.hooks.freeData(rowContext, nullptr);
    return request.cell();
}

std::vector<Cell> getRow(const TableUnderTest& table, long index)
{
    std::vector<Cell> cells;
    for (unsigned column = 1; column <= table.columns(); ++column) {
        cells.push_back(getCell(table, column, index));
    }
    return cells;
}

} // namespace zantest
