#include "zantable.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace zansnmp {

namespace {

/// Sets the cell of a column into the variable of its request.
void setCell(netsnmp_variable_list* variable, const Column& column, const ZanTableRowContext& context)
{
    const auto member = [&]() -> const Json::Value& { return (*context.row)[column.member]; };
    switch (column.conversion) {
    case Conversion::position:
        snmp_set_var_typed_integer(variable, ASN_INTEGER, context.position);
        break;
    case Conversion::text:
        setText(variable, valueOr<std::string>(unknown, [&] { return member().asString(); }));
        break;
    case Conversion::flag:
        setText(variable, valueOr<const char*>(unknown, [&] { return flagText(member().asBool()); }));
        break;
    case Conversion::alwaysTrue:
        setText(variable, flagText(true));
        break;
    case Conversion::number:
        snmp_set_var_typed_integer(variable, ASN_INTEGER, valueOr(-1, [&] { return member().asInt(); }));
        break;
    case Conversion::timeTicks: {
        const std::uint32_t ticks = valueOr(0U, [&] { return member().asUInt(); }) * 100;
        snmp_set_var_typed_value(variable, ASN_TIMETICKS, &ticks, sizeof(ticks));
        break;
    }
    }
}

/// On top of a table's handlers, as the hooks are not told of the request: makes it one question.
int askedAsOneQuestion(netsnmp_mib_handler* handler, netsnmp_handler_registration* registration,
                       netsnmp_agent_request_info* requestInfo, netsnmp_request_info* requests) noexcept
{
    const Question question(requestInfo->asp->pdu->transid);
    return netsnmp_call_next_handler(handler, registration, requestInfo, requests);
}

/// Answers the cell of one request.
void answer(const Table& table, netsnmp_agent_request_info* requestInfo, netsnmp_request_info* request)
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
    if (cell->colnum < 1 || cell->colnum > table.columns.size()) {
        snmp_log(LOG_WARNING, "problem encountered in %s: unknown column\n", table.name);
        return;
    }
    setCell(request->requestvb, table.columns.begin()[cell->colnum - 1], *context);
}

} // namespace

void setText(netsnmp_variable_list* variable, const std::string& text) noexcept
{
    if (snmp_set_var_typed_value(variable, ASN_OCTET_STR, text.data(), text.size()) != 0) {
        // Short enough for the variable's own storage: this needs no memory.
        snmp_set_var_typed_value(variable, ASN_OCTET_STR, unknown, std::strlen(unknown));
    }
}

void registerTable(const Table& table, const TableHooks& hooks)
{
    using Free = decltype(&std::free);
    std::unique_ptr<netsnmp_table_registration_info, Free> tableInfo(
        SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info), std::free);
    std::unique_ptr<netsnmp_iterator_info, Free> iterator(SNMP_MALLOC_TYPEDEF(netsnmp_iterator_info),
                                                          std::free);
    std::unique_ptr<netsnmp_handler_registration, decltype(&netsnmp_handler_registration_free)> registration(
        netsnmp_create_handler_registration(table.name, hooks.handler, table.oid.arcs.data(),
                                            table.oid.length, HANDLER_CAN_RONLY),
        netsnmp_handler_registration_free);
    if (!tableInfo || !registration || !iterator) {
        snmp_log(LOG_ERR, "malloc failed in %s", table.allocationCaller);
        return;
    }

    netsnmp_table_helper_add_indexes(tableInfo.get(), ASN_INTEGER, 0);
    tableInfo->min_column = 1;
    tableInfo->max_column = static_cast<unsigned>(table.columns.size());

    iterator->get_first_data_point = hooks.getFirst;
    iterator->get_next_data_point = hooks.getNext;
    iterator->make_data_context = hooks.convertContext;
    iterator->free_data_context = hooks.freeData;
    iterator->free_loop_context_at_end = hooks.freeLoop;
    iterator->table_reginfo = tableInfo.release();

    snmp_log(LOG_DEBUG, "%s: registering table %s as a table iterator\n", table.sourceTag, table.name);
    iterator->flags |= NETSNMP_HANDLER_OWNS_IINFO;
    netsnmp_handler_registration* const registered = registration.release();
    if (netsnmp_register_table_iterator(registered, iterator.release()) == MIB_REGISTERED_OK) {
        netsnmp_inject_handler(registered, netsnmp_create_handler("zanQuestion", askedAsOneQuestion));
    }
}

netsnmp_variable_list* firstRow(const Table& table, void** loopContext, netsnmp_variable_list* index) noexcept
{
    try {
        auto walk = std::make_unique<ZanTableLoopContext>();
        walk->rows = table.rows();
        if (!walk->rows->isArray()) {
            throw "array json type expected";
        }
        *loopContext = walk.release();
    } catch (...) {
        return nullptr; // no rows for this request
    }
    return nextRow(loopContext, index);
}

int answerCells(const Table& table, netsnmp_agent_request_info* requestInfo,
                netsnmp_request_info* requests) noexcept
{
    for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
        if (request->processed == 0) {
            answer(table, requestInfo, request);
        }
    }
    return SNMP_ERR_NOERROR;
}

SharedJson sharedMember(ZanCachedData& query, Path path)
{
    const SharedJson result = resultOf(query);
    return {result, &memberAt(*result, path)};
}

netsnmp_variable_list* nextRow(void** loopContext, netsnmp_variable_list* index) noexcept
{
    if (loopContext == nullptr || *loopContext == nullptr) {
        return nullptr;
    }
    auto* walk = static_cast<ZanTableLoopContext*>(*loopContext);
    ++walk->position;
    if (walk->position >= static_cast<std::int32_t>(walk->rows->size())) {
        return nullptr;
    }
    snmp_set_var_typed_integer(index, ASN_INTEGER, walk->position + 1);
    return index;
}

void* currentRow(const void* loopContext) noexcept
{
    const auto* walk = static_cast<const ZanTableLoopContext*>(loopContext);
    if (walk == nullptr || walk->position >= static_cast<std::int32_t>(walk->rows->size())) {
        return nullptr;
    }
    return valueOr<ZanTableRowContext*>(nullptr, [walk] {
        const SharedJson row(walk->rows, &(*walk->rows)[walk->position]);
        return std::make_unique<ZanTableRowContext>(ZanTableRowContext{walk->position, row}).release();
    });
}

void freeRow(void* dataContext) noexcept
{
    delete static_cast<ZanTableRowContext*>(dataContext);
}

void freeLoop(void* loopContext) noexcept
{
    delete static_cast<ZanTableLoopContext*>(loopContext);
}

} // namespace zansnmp
