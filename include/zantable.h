#pragma once

#include "zanjsondb.h"
#include "zanroot.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <json/value.h>

#include <cstddef>
#include <cstdint>
#include <string>

/// Marks what the agent finds by its name; everything else stays inside the module.
#define ZAN_EXPORT __attribute__((visibility("default")))

namespace zansnmp {

/// The iterator's loop context: one walk over the rows of a table. Made by the get-first hook with `new`,
/// owned by the agent's iterator helper from then on, deleted by the table's loop-free hook.
struct ZanTableLoopContext {
    Json::Value rows;           ///< a private copy of the API's array
    std::int32_t position = -1; ///< zero-based position of the current row; -1 before the first
};

/// The iterator's data context: the row of one answered cell. Made by the context-convert hook with `new`,
/// owned by the agent's iterator helper from then on, deleted by the table's data-free hook.
struct ZanTableRowContext {
    std::int32_t position; ///< zero-based position of the row in the array
    Json::Value row;       ///< a private copy of the array's element, normally an object
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

/// A conceptual table whose rows are the elements of one JSON array, indexed by their position from 1: all
/// that its hooks share. One object per table, living as long as the module.
class Table {
public:
    /// What distinguishes one table from another.
    struct Description {
        const char* name;             ///< the table's name, and the prefix of its hooks
        const char* sourceTag;        ///< the source file's tag in trace lines
        const char* allocationCaller; ///< whom the message of a failed allocation names
        ObjectOid oid;                ///< where the table is registered
        const Column* columns;        ///< column 1 and those behind it
        unsigned columnCount;

        /// The table's query. Made on first use; may throw std::bad_alloc then.
        ZanCachedData& (*query)();
        /// Takes the rows out of the query's `result`, which is the caller's own and may be moved from. What
        /// is returned may be of any type; may throw anything.
        Json::Value (*rows)(Json::Value& result);
    };

    explicit Table(const Description& description) noexcept : table(description) {}

    /// Registers the table with the agent. An allocation that fails is logged and leaves it unregistered.
    void registerWith(const TableHooks& hooks) const;

    /// The get-first hook: loads the rows and moves to the first.
    /// @param[out] loopContext  the walk's new ZanTableLoopContext, the caller's to free through the
    ///                          loop-free hook; untouched when the rows could not be loaded
    /// @param index             the variable that receives the row's index; not owned
    /// @return `index`; null when the rows could not be loaded (which is not logged here) or there are none
    netsnmp_variable_list* getFirst(void** loopContext, netsnmp_variable_list* index) noexcept;

    /// The loop-free hook: ends a walk. Null is no walk.
    void freeLoop(void* loopContext) noexcept;

    /// The handler: answers the cells that GET asks for. Always SNMP_ERR_NOERROR.
    int handle(netsnmp_agent_request_info* requestInfo, netsnmp_request_info* requests) const noexcept;

private:
    Json::Value load();
    void answer(netsnmp_agent_request_info* requestInfo, netsnmp_request_info* request) const;

    Description table;

    // A GETNEXT starts a walk of its own, so that a manager's walk of n rows loads the table more than n
    // times. To copy the array each time would cost n copies of n rows. So the private copy of a walk that
    // has ended is kept here, and the next walk takes it over while the cache still holds the fetch that it
    // was made from. Copies are only made when there is none to take over: once per fetch, and for a second
    // walk alive at the same time.
    Json::Value spareRows;                       ///< an array, or null when there are none
    std::uint32_t rowsFetch = 0;                 ///< the fetch that the spare or lent rows were made from
    const ZanTableLoopContext* lentTo = nullptr; ///< the walk whose rows come back here; not owned
};

/// The get-next hook of every table: moves to the next row and sets `index` to its number, counted from 1.
/// @return `index`; null at the end of the table or without a loop context
netsnmp_variable_list* nextRow(void** loopContext, netsnmp_variable_list* index) noexcept;

/// The context-convert hook of every table.
/// @return a new ZanTableRowContext of the current row, the caller's to free through the data-free hook; null
///         without a current row, or when memory is short
void* copyRow(const void* loopContext) noexcept;

/// The data-free hook of every table: deletes a ZanTableRowContext. Null is none.
void freeRow(void* dataContext) noexcept;

} // namespace zansnmp

// The names of a table's hooks are fixed and exported, and the functions behind them carry no argument that
// tells the tables apart: no template can make them, so a macro does.

/// Declares the initialiser and the six hooks of the table `name`.
#define ZAN_DECLARE_TABLE(name)                                                                              \
    namespace zansnmp {                                                                                      \
    /** Registers the table with the agent. */                                                               \
    void init_##name();                                                                                      \
    }                                                                                                        \
    extern "C" {                                                                                             \
    ZAN_EXPORT netsnmp_variable_list* name##_get_first_data_point(void** loopContext, void** dataContext,    \
                                                                  netsnmp_variable_list* index,              \
                                                                  netsnmp_iterator_info* info);              \
    ZAN_EXPORT netsnmp_variable_list* name##_get_next_data_point(void** loopContext, void** dataContext,     \
                                                                 netsnmp_variable_list* index,               \
                                                                 netsnmp_iterator_info* info);               \
    ZAN_EXPORT void* name##_context_convert_function(void* loopContext, netsnmp_iterator_info* info);        \
    ZAN_EXPORT void name##_data_free(void* dataContext, netsnmp_iterator_info* info);                        \
    ZAN_EXPORT void name##_loop_free(void* loopContext, netsnmp_iterator_info* info);                        \
    ZAN_EXPORT int name##_handler(netsnmp_mib_handler* handler, netsnmp_handler_registration* registration,  \
                                  netsnmp_agent_request_info* requestInfo, netsnmp_request_info* requests);  \
    }

// NOLINTBEGIN(bugprone-macro-parentheses): the check takes a pointer's asterisk for a multiplication.

/// Defines what ZAN_DECLARE_TABLE(name) declares, on the zansnmp::Table object `table`.
#define ZAN_DEFINE_TABLE(name, table)                                                                        \
    void zansnmp::init_##name()                                                                              \
    {                                                                                                        \
        (table).registerWith({name##_get_first_data_point, name##_get_next_data_point,                       \
                              name##_context_convert_function, name##_data_free, name##_loop_free,           \
                              name##_handler});                                                              \
    }                                                                                                        \
    netsnmp_variable_list* name##_get_first_data_point(void** loopContext, void**,                           \
                                                       netsnmp_variable_list* index, netsnmp_iterator_info*) \
    {                                                                                                        \
        return (table).getFirst(loopContext, index);                                                         \
    }                                                                                                        \
    netsnmp_variable_list* name##_get_next_data_point(void** loopContext, void**,                            \
                                                      netsnmp_variable_list* index, netsnmp_iterator_info*)  \
    {                                                                                                        \
        return zansnmp::nextRow(loopContext, index);                                                         \
    }                                                                                                        \
    void* name##_context_convert_function(void* loopContext, netsnmp_iterator_info*)                         \
    {                                                                                                        \
        return zansnmp::copyRow(loopContext);                                                                \
    }                                                                                                        \
    void name##_data_free(void* dataContext, netsnmp_iterator_info*)                                         \
    {                                                                                                        \
        zansnmp::freeRow(dataContext);                                                                       \
    }                                                                                                        \
    void name##_loop_free(void* loopContext, netsnmp_iterator_info*)                                         \
    {                                                                                                        \
        (table).freeLoop(loopContext);                                                                       \
    }                                                                                                        \
    int name##_handler(netsnmp_mib_handler*, netsnmp_handler_registration*,                                  \
                       netsnmp_agent_request_info* requestInfo, netsnmp_request_info* requests)              \
    {                                                                                                        \
        return (table).handle(requestInfo, requests);                                                        \
    }

// NOLINTEND(bugprone-macro-parentheses)
