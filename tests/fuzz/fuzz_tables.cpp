// An array of rows, through the hooks of all tables.
//
// The input is eight control bytes and the JSON text of the rows. Two walks of each table go through its
// hooks as the agent's iterator helper calls them, side by side, each stopping where the control bytes say,
// with the cache expiring in between; then the helper itself walks the table. Rows come in the array's order
// with the array's values, cells have their column's type, and nothing is left behind (the leak checker looks
// after each input).

#include "support/jsonmutator.h"
#include "support/world.h"

#include "zantable.h"

#include <json/reader.h>
#include <json/value.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace world;
using zansnmp::ZanTableLoopContext;
using zansnmp::ZanTableRowContext;

constexpr std::size_t controls = 8;

/// The six tables in the order of their registration, with the types of their columns.
const std::array<std::vector<u_char>, 6> columnTypes = {{
    {ASN_INTEGER, ASN_OCTET_STR, ASN_OCTET_STR},
    {ASN_INTEGER, ASN_OCTET_STR, ASN_OCTET_STR},
    {ASN_INTEGER, ASN_OCTET_STR, ASN_OCTET_STR},
    {ASN_INTEGER, ASN_OCTET_STR, ASN_OCTET_STR},
    {ASN_INTEGER, ASN_OCTET_STR, ASN_OCTET_STR, ASN_TIMETICKS},
    {ASN_INTEGER, ASN_OCTET_STR, ASN_OCTET_STR, ASN_INTEGER, ASN_OCTET_STR, ASN_OCTET_STR},
}};
/// The table that makes its one row itself, of a settings object.
constexpr std::size_t syslogTable = 5;

/// The rows that a table has to serve; null: not known in advance.
const Json::Value* rowsOf(std::size_t table, const Json::Value& rows)
{
    return table == syslogTable ? nullptr : &rows;
}

/// Sends a table's handler a request as the helpers in front of it leave it.
/// @return the type of the answer; ASN_NULL when the handler left the variable alone
u_char send(const Table& table, int mode, void* context, unsigned column)
{
    HandlerRequest request;
    if (context != nullptr) {
        request.setRow(context);
    }
    request.setColumn(column);
    AgentRequest info(mode);
    netsnmp_mib_handler* handler = moduleHandler(table.registration);
    const int status = handler->access_method(handler, table.registration, info.get(), &request.info());
    require(status == SNMP_ERR_NOERROR, "a table's handler answers an error");
    return request.variable().type;
}

/// One walk through the hooks.
class Walk {
public:
    Walk(const Table& walked, const std::vector<u_char>& columns, const Json::Value* expected)
        : table(walked), types(columns), rows(expected)
    {
        void* data = nullptr;
        current = table.iterator->get_first_data_point(&loop, &data, index.get(), table.iterator);
        require(data == nullptr, "get-first gives a data context");
        check();
    }
    ~Walk() { table.iterator->free_loop_context_at_end(loop, table.iterator); }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    bool atRow() const { return current != nullptr; }

    void next()
    {
        void* data = nullptr;
        current = table.iterator->get_next_data_point(&loop, &data, index.get(), table.iterator);
        require(data == nullptr, "get-next gives a data context");
        ++position;
        check();
    }

    /// Answers a cell of the row, as for a GET.
    void answer(unsigned column)
    {
        void* context = table.iterator->make_data_context(loop, table.iterator);
        require((context != nullptr) == atRow(), "a data context without a row, or none with one");
        const bool known = column >= 1 && column <= types.size();
        const u_char type = send(table, MODE_GET, context, column);
        if (context == nullptr) {
            require(type == SNMP_NOSUCHINSTANCE, "a cell of no row");
        } else {
            require(type == (known ? types[column - 1] : ASN_NULL),
                    "a cell of another type than its column's");
            require(send(table, MODE_SET_RESERVE1, context, column) == ASN_NULL, "a SET is answered");
            table.iterator->free_data_context(context, table.iterator);
        }
    }

private:
    void check()
    {
        if (rows != nullptr) {
            require(atRow() == (rows->isArray() && position < rows->size()), "a row too many or too few");
        }
        if (!atRow()) {
            return;
        }
        require(current == index.get() && current->type == ASN_INTEGER &&
                    *current->val.integer == static_cast<long>(position) + 1,
                "an index that is not the row's");
        const auto* walk = static_cast<const ZanTableLoopContext*>(loop);
        require(rows == nullptr || (*walk->rows)[position] == (*rows)[position],
                "a row that is not the array's");
    }

    const Table& table;
    const std::vector<u_char>& types;
    const Json::Value* rows;
    Variable index;
    void* loop = nullptr;
    netsnmp_variable_list* current = nullptr;
    Json::ArrayIndex position = 0;
};

/// Two walks side by side, the later ending first or last.
void walkByHand(std::size_t number, const Json::Value& rows, const std::uint8_t* control)
{
    const Table& table = tables()[number];
    const std::vector<u_char>& types = columnTypes[number];
    auto first = std::make_unique<Walk>(table, types, rowsOf(number, rows));
    for (unsigned steps = control[0] % 16; steps > 0 && first->atRow(); --steps) {
        first->next();
    }
    first->answer(control[1] % 8);
    if ((control[2] & 1U) != 0) {
        passTime(5); // the second walk fetches anew
    }
    auto second = std::make_unique<Walk>(table, types, rowsOf(number, rows));
    if ((control[2] & 2U) != 0) {
        first.reset();
    }
    for (unsigned steps = control[3] % 64; steps > 0 && second->atRow(); --steps) {
        second->answer(steps % 8);
        second->next();
    }
    if ((control[2] & 4U) != 0) {
        second.reset();
        second = std::make_unique<Walk>(table, types, rowsOf(number, rows));
    }
}

/// A request through the agent's own helpers in front of the handler.
/// @return the type of the answer; `name` becomes the answered cell
u_char ask(const Table& table, int mode, std::vector<oid>& name)
{
    Variable variable;
    snmp_set_var_objid(variable.get(), name.data(), name.size());
    snmp_set_var_typed_value(variable.get(), ASN_NULL, nullptr, 0);
    AgentRequest info(mode);
    netsnmp_request_info request{};
    request.requestvb = variable.get();
    request.agent_req_info = info.get();
    request.subtree = nullptr;
    std::vector<oid> end(table.registration->rootoid,
                         table.registration->rootoid + table.registration->rootoid_len);
    ++end.back();
    request.range_end = end.data();
    request.range_end_len = end.size();
    netsnmp_call_handlers(table.registration, info.get(), &request);
    netsnmp_free_request_data_sets(&request);
    name.assign(variable.get()->name, variable.get()->name + variable.get()->name_length);
    return variable.get()->type;
}

/// A walk by GETNEXT, cell by cell, and a GET of each cell that it finds.
void walkByHelper(std::size_t number, const Json::Value& rows)
{
    const Table& table = tables()[number];
    const std::vector<u_char>& types = columnTypes[number];
    const std::size_t count = number == syslogTable ? 1 : rows.isArray() ? rows.size() : 0;
    const std::vector<oid> root(table.registration->rootoid,
                                table.registration->rootoid + table.registration->rootoid_len);
    std::vector<oid> name = root;
    for (std::size_t column = 1; column <= types.size(); ++column) {
        for (std::size_t row = 1; row <= count; ++row) {
            std::vector<oid> cell = root;
            cell.insert(cell.end(), {1, column, row});
            const u_char type = ask(table, MODE_GETNEXT, name);
            if (number == syslogTable && type != types[column - 1]) {
                return; // settings that make no row
            }
            require(name == cell && type == types[column - 1], "a walk's next cell is another");
            require(ask(table, MODE_GET, cell) == types[column - 1], "a cell of the walk cannot be read");
        }
    }
    const u_char type = ask(table, MODE_GETNEXT, name);
    require(type == ASN_NULL || type == SNMP_ENDOFMIBVIEW, "a cell after the last");
}

/// Tells whether the text is one JSON value and nothing behind it, so that it stays in its place in an
/// answer.
bool isOneValue(const std::string& text)
{
    Json::CharReaderBuilder builder;
    builder["allowComments"] = false;
    builder["failIfExtra"] = true;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    try {
        return reader->parse(text.data(), text.data() + text.size(), &value, nullptr);
    } catch (const std::exception&) {
        return false; // nests too deeply
    }
}

// The reader of old, as in the module: the others keep some numbers as another type.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
/// The rows of a good answer; nothing when the module will take it for none.
std::optional<Json::Value> rowsIn(const std::string& answer)
{
    Json::Value root;
    try {
        if (Json::Reader(Json::Features::strictMode()).parse(answer, root)) {
            return root["result"]["routes"];
        }
    } catch (const std::exception&) {
        return std::nullopt; // nests too deeply, or is no object
    }
    return std::nullopt;
}
#pragma GCC diagnostic pop

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    startModule(true);
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed)
{
    if (size < controls || maxSize <= controls) {
        std::memset(data, 0, std::min(controls, maxSize));
        return std::min(controls, maxSize);
    }
    if (seed % 4 == 0) {
        data[seed / 4 % controls] = static_cast<std::uint8_t>(seed >> 8U);
    }
    return controls + mutateJson(data + controls, size - controls, maxSize - controls, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < controls) {
        return -1;
    }
    const std::string text(reinterpret_cast<const char*>(data) + controls, size - controls);
    if (!isOneValue(text)) {
        return -1;
    }
    api().answer = Answer::body;
    api().text = envelope(resultWithRows(text, !text.empty() && text.front() == '[' ? "{}" : text));
    const std::optional<Json::Value> found = rowsIn(api().text);
    if (!found) {
        return -1; // malformed answers are another target's business
    }
    const Json::Value& rows = *found;
    passTime(5);
    for (std::size_t table = 0; table < tables().size(); ++table) {
        walkByHand(table, rows, data);
        if (rows.size() <= 6) {
            walkByHelper(table, rows);
        }
    }
    if ((data[4] & 1U) != 0) {
        api().answer = Answer::none;
        passTime(5);
        for (std::size_t table = 0; table < tables().size(); ++table) {
            walkByHand(table, Json::Value(), data);
        }
    }
    return 0;
}
