#pragma once

#include "zangetter.h"
#include "zanroot.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <cstdint>
#include <initializer_list>
#include <string>

/// Marks what the agent finds by its name; everything else stays inside the module.
#define ZAN_EXPORT __attribute__((visibility("default")))

namespace zansnmp {

/// The iterator's loop context: one walk over the rows of a table. Made by the get-first hook with `new`,
/// owned by the agent's iterator helper from then on, deleted by the table's loop-free hook.
struct ZanTableLoopContext {
    SharedJson rows;            ///< the walk's share of the API's array, which no fetch changes
    std::int32_t position = -1; ///< zero-based position of the current row; -1 before the first
};

/// The iterator's data context: the row of one answered cell. Made by the context-convert hook with `new`,
/// owned by the agent's iterator helper from then on, deleted by the table's data-free hook.
struct ZanTableRowContext {
    std::int32_t position; ///< zero-based position of the row in the array
    SharedJson row;        ///< the cell's share of the array's element, normally an object
};

/// Sets a text into the variable of a request; "Unknown" when there is no memory for the library's copy of
/// it, which would leave the variable with a length but without bytes, and end the agent that encodes it.
void setText(netsnmp_variable_list* variable, const std::string& text) noexcept;

/// How a column's value is made of its row.
enum class Conversion {
    position, ///< INTEGER: the row's zero-based position, one less than its index
    text,     ///< OCTET STRING: the member as text, empty when missing; "Unknown" when it cannot be converted
    flag, ///< OCTET STRING: the member as "True" or "False" (missing); "Unknown" when it cannot be converted
    alwaysTrue, ///< OCTET STRING: "True", whatever the row holds
    number,     ///< INTEGER: the member as a signed number, 0 when missing; -1 when it cannot be converted
    timeTicks,  ///< TimeTicks: the member's seconds times 100, modulo 2^32; 0 when it cannot be converted
};

/// One column of a table.
struct Column {
    Conversion conversion = Conversion::position;
    const char* member = nullptr; ///< the row's member; unused by the conversions that read none
};

/// The hooks of a table, as the agent's iterator helper calls them.
struct TableHooks {
    Netsnmp_First_Data_Point* getFirst;
    Netsnmp_Next_Data_Point* getNext;
    Netsnmp_Make_Data_Context* convertContext;
    Netsnmp_Free_Data_Context* freeData;
    Netsnmp_Free_Loop_Context* freeLoop;
    Netsnmp_Node_Handler* handler;
};

/// A conceptual table whose rows are the elements of one JSON array, indexed by their position from 1: what
/// distinguishes it from the others.
struct Table {
    const char* name = nullptr;             ///< the table's name, and the prefix of its hooks
    const char* sourceTag = nullptr;        ///< the source file's tag in trace lines
    const char* allocationCaller = nullptr; ///< whom the message of a failed allocation names
    ModuleOid oid;                          ///< where the table is registered
    std::initializer_list<Column> columns;  ///< column 1 and those after it; not owned

    /// Gets the rows from the table's query. What it returns may be a value of any type, but is never null;
    /// it may throw anything.
    SharedJson (*rows)() = nullptr;
};

/// Registers the table with the agent. An allocation that fails is logged and leaves it unregistered.
void registerTable(const Table& table, const TableHooks& hooks);

/// The get-first hook of a table: gets the rows and moves to the first.
/// @param[out] loopContext  the walk's new ZanTableLoopContext, the caller's to free through the loop-free
///                          hook; untouched when the rows cannot be had
/// @param index             the variable that receives the row's index; not owned
/// @return `index`; null when the rows cannot be had (which is not logged here) or there are none
netsnmp_variable_list* firstRow(const Table& table, void** loopContext,
                                netsnmp_variable_list* index) noexcept;

/// The handler of a table: answers the cells that GET asks for. Always SNMP_ERR_NOERROR.
int answerCells(const Table& table, netsnmp_agent_request_info* requestInfo,
                netsnmp_request_info* requests) noexcept;

/// The member at `path` of the query's `result`, shared.
/// @throws what `resultOf` and `memberAt` throw
SharedJson sharedMember(ZanCachedData& query, Path path);

/// The get-next hook of every table: moves to the next row and sets `index` to its number, counted from 1.
/// @return `index`; null at the end of the table or without a loop context
netsnmp_variable_list* nextRow(void** loopContext, netsnmp_variable_list* index) noexcept;

/// The context-convert hook of every table.
/// @return a new ZanTableRowContext of the current row, the caller's to free through the data-free hook; null
///         without a current row, or when memory is short
void* currentRow(const void* loopContext) noexcept;

/// The data-free hook of every table: deletes a ZanTableRowContext. Null is none.
void freeRow(void* dataContext) noexcept;

/// The loop-free hook of every table: deletes a ZanTableLoopContext. Null is none.
void freeLoop(void* loopContext) noexcept;

} // namespace zansnmp

// The names of a table's hooks are fixed and exported: only the preprocessor can put them together.

/// Declares the initialiser and the six hooks of the table `name`.
#define ZAN_DECLARE_TABLE(name)                                                                              \
    namespace zansnmp {                                                                                      \
    /** Registers the table with the agent. */                                                               \
    void init_##name();                                                                                      \
    }                                                                                                        \
    extern "C" {                                                                                             \
    ZAN_EXPORT Netsnmp_First_Data_Point name##_get_first_data_point;                                         \
    ZAN_EXPORT Netsnmp_Next_Data_Point name##_get_next_data_point;                                           \
    ZAN_EXPORT Netsnmp_Make_Data_Context name##_context_convert_function;                                    \
    ZAN_EXPORT Netsnmp_Free_Data_Context name##_data_free;                                                   \
    ZAN_EXPORT Netsnmp_Free_Loop_Context name##_loop_free;                                                   \
    ZAN_EXPORT Netsnmp_Node_Handler name##_handler;                                                          \
    }

// NOLINTBEGIN(bugprone-macro-parentheses): the check takes a pointer's asterisk for a multiplication.

/// Defines what ZAN_DECLARE_TABLE(name) declares, on the zansnmp::Table object `table`.
#define ZAN_DEFINE_TABLE(name, table)                                                                        \
    void zansnmp::init_##name()                                                                              \
    {                                                                                                        \
        zansnmp::registerTable((table), {name##_get_first_data_point, name##_get_next_data_point,            \
                                         name##_context_convert_function, name##_data_free,                  \
                                         name##_loop_free, name##_handler});                                 \
    }                                                                                                        \
    netsnmp_variable_list* name##_get_first_data_point(void** loopContext, void**,                           \
                                                       netsnmp_variable_list* index, netsnmp_iterator_info*) \
    {                                                                                                        \
        return zansnmp::firstRow((table), loopContext, index);                                               \
    }                                                                                                        \
    netsnmp_variable_list* name##_get_next_data_point(void** loopContext, void**,                            \
                                                      netsnmp_variable_list* index, netsnmp_iterator_info*)  \
    {                                                                                                        \
        return zansnmp::nextRow(loopContext, index);                                                         \
    }                                                                                                        \
    void* name##_context_convert_function(void* loopContext, netsnmp_iterator_info*)                         \
    {                                                                                                        \
        return zansnmp::currentRow(loopContext);                                                             \
    }                                                                                                        \
    void name##_data_free(void* dataContext, netsnmp_iterator_info*)                                         \
    {                                                                                                        \
        zansnmp::freeRow(dataContext);                                                                       \
    }                                                                                                        \
    void name##_loop_free(void* loopContext, netsnmp_iterator_info*)                                         \
    {                                                                                                        \
        zansnmp::freeLoop(loopContext);                                                                      \
    }                                                                                                        \
    int name##_handler(netsnmp_mib_handler*, netsnmp_handler_registration*,                                  \
                       netsnmp_agent_request_info* requestInfo, netsnmp_request_info* requests)              \
    {                                                                                                        \
        return zansnmp::answerCells((table), requestInfo, requests);                                         \
    }

// NOLINTEND(bugprone-macro-parentheses)
