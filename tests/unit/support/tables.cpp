#include "support/tables.h"

#include "zandhcpserver.h"
#include "zangre.h"
#include "zanipsec.h"
#include "zanopenvpn.h"
#include "zanrsyslog.h"
#include "zanstaticroutes.h"

#include <ostream>
#include <stdexcept>
#include <utility>

namespace zantest {

namespace {

/// A JSON array of `before`, the number and `after` for each number.
std::string arrayOf(const std::vector<int>& rows, const std::string& before, const std::string& after)
{
    std::string list;
    for (const int row : rows) {
        list += (list.empty() ? "" : ", ") + before + std::to_string(row) + after;
    }
    return "[" + list + "]";
}

std::string namedRows(const char* member, const std::vector<int>& rows)
{
    return "{\"" + std::string(member) +
           "\": " + arrayOf(rows, R"({"name": "row )", R"(", "enabled": true})") + "}";
}

std::string leases(const std::vector<int>& rows)
{
    return R"({"dhcp": {"leases": )" + arrayOf(rows, R"({"ip": "192.168.1.)", R"("})") + "}}";
}

/// This table has one row at most: of any number of rows the first counts.
std::string syslog(const std::vector<int>& rows)
{
    if (rows.empty()) {
        throw std::invalid_argument("this table is never empty");
    }
    return R"({"syslog": {"ipAddress": "10.0.0.)" + std::to_string(rows.front()) + R"("}})";
}

} // namespace

// The names of a table's functions can only be put together by the preprocessor.
#define ZAN_HOOKS(name)                                                                                      \
    {                                                                                                        \
        name##_get_first_data_point, name##_get_next_data_point, name##_context_convert_function,            \
            name##_data_free, name##_loop_free, name##_handler                                               \
    }

const TableUnderTest openVpnTable{
    "zanOpenVpnTunnelsTable",
    "zanopenvpn",
    "malloc failed in init_zanOpenVpnTunnelsTable",
    {18, 3, 1},
    3,
    "/api?fields=ovpnTunnels",
    zansnmp::init_zanOpenVpnTunnelsTable,
    ZAN_HOOKS(zanOpenVpnTunnelsTable),
    [](const std::vector<int>& rows) { return namedRows("ovpnTunnels", rows); }};

const TableUnderTest ipsecTable{"zanIpsecTunnelsTable",
                                "zanipsec",
                                "malloc failed in init_zanIpsecTunnelsTable",
                                {18, 2, 1},
                                3,
                                "/api?fields=ipsecTunnels",
                                zansnmp::init_zanIpsecTunnelsTable,
                                ZAN_HOOKS(zanIpsecTunnelsTable),
                                [](const std::vector<int>& rows) { return namedRows("ipsecTunnels", rows); }};

const TableUnderTest greTable{"zanGreTunnelsTable",
                              "zangre",
                              "malloc failed in init_zanGreTunnelsTable",
                              {18, 1, 1},
                              3,
                              "/api?fields=greTunnels",
                              zansnmp::init_zanGreTunnelsTable,
                              ZAN_HOOKS(zanGreTunnelsTable),
                              [](const std::vector<int>& rows) { return namedRows("greTunnels", rows); }};

const TableUnderTest staticRoutesTable{
    "zanStaticRoutesTable",
    "zanstaticroutes",
    "malloc failed in init_zanStaticRoutesTable",
    {17, 1},
    3,
    "/api?fields=routes",
    zansnmp::init_zanStaticRoutesTable,
    ZAN_HOOKS(zanStaticRoutesTable),
    [](const std::vector<int>& rows) { return namedRows("routes", rows); }};

const TableUnderTest leasesTable{"zanDHCPServerLeasesTable",
                                 "zandhcpserver",
                                 "malloc failed in init_zanDHCPServerLeasesTable",
                                 {11, 1, 2},
                                 4,
                                 "/api?fields=dhcp",
                                 zansnmp::init_zanDHCPServerLeasesTable,
                                 ZAN_HOOKS(zanDHCPServerLeasesTable),
                                 leases};

// The message names the table and not its initialiser, unlike the other five.
const TableUnderTest syslogTable{"zanRemoteSyslogDestTable",
                                 "zanrsyslog",
                                 "malloc failed in zanRemoteSyslogDestTable",
                                 {20, 1},
                                 6,
                                 "/api?fields=syslog",
                                 zansnmp::init_zanRemoteSyslogDestTable,
                                 ZAN_HOOKS(zanRemoteSyslogDestTable),
                                 syslog};

std::vector<const TableUnderTest*> allTables()
{
    return {&openVpnTable, &ipsecTable, &greTable, &staticRoutesTable, &leasesTable, &syslogTable};
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

Request::Request()
{
    variable.type = ASN_NULL;
    request.requestvb = &variable;
}

Request::~Request()
{
    netsnmp_free_request_data_sets(&request);
    snmp_free_var_internals(&variable);
}

void Request::setRow(void* rowContext)
{
    netsnmp_request_add_list_data(&request,
                                  netsnmp_create_data_list(TABLE_ITERATOR_NAME, rowContext, nullptr));
}

void Request::setColumn(unsigned column)
{
    tableInfo.colnum = column;
    netsnmp_request_add_list_data(&request,
                                  netsnmp_create_data_list(TABLE_HANDLER_NAME, &tableInfo, nullptr));
}

Cell Request::cell() const
{
    switch (variable.type) {
    case ASN_OCTET_STR:
        return octets({reinterpret_cast<const char*>(variable.val.string), variable.val_len});
    case ASN_INTEGER:
        return integer(*variable.val.integer);
    case ASN_TIMETICKS:
        return timeTicks(static_cast<unsigned long>(*variable.val.integer));
    default:
        return {variable.type, ""};
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
    for (unsigned column = 1; column <= table.columns; ++column) {
        cells.push_back(getCell(table, column, index));
    }
    return cells;
}

} // namespace zantest
