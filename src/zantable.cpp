#include "zantable.h"

#include "zangetter.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

namespace zansnmp {

namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
struct FreeRegistration {
    void operator()(netsnmp_handler_registration* registration) const
    {
        netsnmp_handler_registration_free(registration);
    }
};

/// A zero-filled record of the agent library, which frees it with `free`.
template <class Record>
std::unique_ptr<Record, Free> callocated()
{
    return std::unique_ptr<Record, Free>(static_cast<Record*>(std::calloc(1, sizeof(Record))));
}

/// What `convert` gives, or the fallback when it throws: a member of the wrong type, a row that is no object.
template <class Value, class Convert>
Value convertedOr(Value fallback, const Convert& convert)
{
    try {
        return convert();
    } catch (...) {
        return fallback;
    }
}

/// Sets the cell of a column into the variable of its request.
void setCell(netsnmp_variable_list* variable, const Column& column, const ZanTableRowContext& context)
{
    const auto member = [&]() -> const Json::Value& { return context.row[column.member]; };
    switch (column.conversion) {
    case Conversion::position:
        snmp_set_var_typed_integer(variable, ASN_INTEGER, context.position);
        break;
    case Conversion::text:
        setText(variable, convertedOr<std::string>(unknown, [&] { return member().asString(); }));
        break;
    case Conversion::flag:
        setText(variable, convertedOr(unknown, [&] { return flagText(member().asBool()); }));
        break;
    case Conversion::alwaysTrue:
        setText(variable, flagText(true));
        break;
    case Conversion::number:
        snmp_set_var_typed_integer(variable, ASN_INTEGER, convertedOr(-1, [&] { return member().asInt(); }));
        break;
    case Conversion::timeTicks: {
        const std::uint32_t ticks = convertedOr(0U, [&] { return member().asUInt(); }) * 100;
        snmp_set_var_typed_value(variable, ASN_TIMETICKS, &ticks, sizeof(ticks));
        break;
    }
    }
}

} // namespace

void setText(netsnmp_variable_list* variable, const std::string& text) noexcept
{
    if (snmp_set_var_typed_value(variable, ASN_OCTET_STR, text.data(), text.size()) != 0) {
        // Short enough for the variable's own storage: this needs no memory.
        snmp_set_var_typed_value(variable, ASN_OCTET_STR, unknown, std::strlen(unknown));
    }
}

void Table::registerWith(const TableHooks& hooks) const
{
    auto tableInfo = callocated<netsnmp_table_registration_info>();
    auto iterator = callocated<netsnmp_iterator_info>();
    std::unique_ptr<netsnmp_handler_registration, FreeRegistration> registration(
        netsnmp_create_handler_registration(table.name, hooks.handler, table.oid.arcs.data(),
                                            table.oid.length, HANDLER_CAN_RONLY));
    if (!tableInfo || !registration || !iterator) {
        snmp_log(LOG_ERR, "malloc failed in %s", table.allocationCaller);
        return;
    }

    netsnmp_table_helper_add_indexes(tableInfo.get(), ASN_INTEGER, 0);
    tableInfo->min_column = 1;
    tableInfo->max_column = table.columnCount;

    iterator->get_first_data_point = hooks.getFirst;
    iterator->get_next_data_point = hooks.getNext;
    iterator->make_data_context = hooks.convertContext;
    iterator->free_data_context = hooks.freeData;
    iterator->free_loop_context_at_end = hooks.freeLoop;
    iterator->table_reginfo = tableInfo.release();

    snmp_log(LOG_DEBUG, "%s: registering table %s as a table iterator\n", table.sourceTag, table.name);
    iterator->flags |= NETSNMP_HANDLER_OWNS_IINFO;
    netsnmp_register_table_iterator(registration.release(), iterator.release());
}

/// The rows for a new walk: the spare ones of the fetch that the cache holds, else a copy out of the cache.
Json::Value Table::load()
{
    ZanCachedData& query = table.query();
    Json::Value spare = std::move(spareRows);
    if (spare.isArray() && rowsFetch == query.fetchCount() && query.isCached()) {
        return spare;
    }
    spare = Json::Value(); // of an older fetch: dropped before its successor is made

    Json::Value result;
    if (!query.get(result)) {
        // NOLINTNEXTLINE(cert-err*,misc-throw-by-value-catch-by-reference): the text itself is thrown.
        throw getDataFailed;
    }
    Json::Value rows = table.rows(result);
    if (!rows.isArray()) {
        throw "array json type expected";
    }
    rowsFetch = query.fetchCount();
    return rows;
}

netsnmp_variable_list* Table::getFirst(void** loopContext, netsnmp_variable_list* index) noexcept
{
    if (loopContext == nullptr) {
        return nullptr;
    }
    try {
        auto walk = std::make_unique<ZanTableLoopContext>();
        walk->rows = load();
        lentTo = walk.get();
        *loopContext = walk.release();
    } catch (...) {
        return nullptr; // no rows for this request
    }
    return nextRow(loopContext, index);
}

void Table::freeLoop(void* loopContext) noexcept
{
    const std::unique_ptr<ZanTableLoopContext> walk(static_cast<ZanTableLoopContext*>(loopContext));
    if (walk && walk.get() == lentTo) {
        spareRows = std::move(walk->rows);
        lentTo = nullptr;
    }
}

int Table::handle(netsnmp_agent_request_info* requestInfo, netsnmp_request_info* requests) const noexcept
{
    for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
        if (request->processed == 0) {
            answer(requestInfo, request);
        }
    }
    return SNMP_ERR_NOERROR;
}

void Table::answer(netsnmp_agent_request_info* requestInfo, netsnmp_request_info* request) const
{
    const ZanTableRowContext* context = nullptr;
    if (requestInfo->mode == MODE_GET) {
        context = static_cast<const ZanTableRowContext*>(netsnmp_extract_iterator_context(request));
        if (context == nullptr) {
            netsnmp_set_request_error(requestInfo, request, SNMP_NOSUCHINSTANCE);
            return;
        }
    }
    const netsnmp_table_request_info* cell = netsnmp_extract_table_info(request);
    if (cell == nullptr) {
        return;
    }
    if (context == nullptr) {
        snmp_log(LOG_WARNING, "problem encountered in %s_handler: unsupported mode\n", table.name);
        return;
    }
    if (cell->colnum < 1 || cell->colnum > table.columnCount) {
        snmp_log(LOG_WARNING, "problem encountered in %s: unknown column\n", table.name);
        return;
    }
    setCell(request->requestvb, table.columns[cell->colnum - 1], *context);
}

netsnmp_variable_list* nextRow(void** loopContext, netsnmp_variable_list* index) noexcept
{
    if (loopContext == nullptr || *loopContext == nullptr) {
        return nullptr;
    }
    auto* walk = static_cast<ZanTableLoopContext*>(*loopContext);
    ++walk->position;
    if (walk->position >= static_cast<std::int32_t>(walk->rows.size())) {
        return nullptr;
    }
    snmp_set_var_typed_integer(index, ASN_INTEGER, walk->position + 1);
    return index;
}

void* copyRow(const void* loopContext) noexcept
{
    const auto* walk = static_cast<const ZanTableLoopContext*>(loopContext);
    if (walk == nullptr || walk->position < 0 ||
        walk->position >= static_cast<std::int32_t>(walk->rows.size())) {
        return nullptr;
    }
    try {
        return new ZanTableRowContext{walk->position, walk->rows[walk->position]};
    } catch (...) {
        return nullptr;
    }
}

void freeRow(void* dataContext) noexcept
{
    delete static_cast<ZanTableRowContext*>(dataContext);
}

} // namespace zansnmp
