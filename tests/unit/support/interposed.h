#pragma once

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <curl/curl.h>

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace zantest {

/// A line of the agent's log: its syslog priority and its exact bytes.
struct LogLine {
    int priority;
    std::string text;

    bool operator==(const LogLine& other) const { return priority == other.priority && text == other.text; }
};
std::ostream& operator<<(std::ostream& out, const LogLine& line);
using LogLines = std::vector<LogLine>;

using Oid = std::vector<oid>;

/// One option set on a transfer handle. `value` is the number or the text as it stands; the name of the
/// append callback for that function, and otherwise "pointer" or "null".
struct CurlOption {
    CURLoption option;
    std::string value;

    bool operator==(const CurlOption& other) const { return option == other.option && value == other.value; }
};
std::ostream& operator<<(std::ostream& out, const CurlOption& option);

/// A handler registration made by the module.
struct Created {
    std::string name;
    Oid oid;
    int modes;
    Netsnmp_Node_Handler* handler;
    netsnmp_handler_registration* registration;
};

/// A registration handed to the agent: a scalar's when `info` is null, else a table's.
struct Registered {
    netsnmp_handler_registration* registration;
    netsnmp_iterator_info* info;
};

struct Alarm {
    unsigned seconds;
    unsigned flags;
    SNMPAlarmCallback* callback;
    void* clientArgument;
};

/// A value set into a variable: the type, and the length that was passed along.
struct TypedValue {
    u_char type;
    std::size_t length;
};

struct Varbind {
    Oid name;
    u_char type;
    std::string bytes;
};

/// A call of msgrcv.
struct QueueRead {
    std::size_t size;
    long type;
    int flags;
};

/// What the units asked of the libraries and of the system since the last reset, and which of it is to fail.
/// Calls are passed on to the real functions unless said otherwise.
struct Interposed {
    LogLines log; ///< not passed on

    // All of the log, of the requests and of the start-up calls below, as one text each, in their order.
    std::vector<std::string> journal;

    bool failCurlInit = false;
    std::optional<CURLoption> failCurlOption;
    int curlInits = 0; ///< handles made
    int curlCleanups = 0;
    int transfers = 0;
    long transferSeconds = 0; ///< of uptime, that pass while a transfer is under way
    std::vector<CurlOption> curlOptions;

    bool watchCalloc = false;
    std::set<std::size_t> failCallocs; ///< which of the callocs since watchCalloc was set, counted from 0
    std::vector<std::size_t> callocs;  ///< the sizes asked for
    std::set<void*> callocated;        ///< not freed yet
    bool failCreation = false;
    bool failTable = false; ///< the agent has such a table already
    std::vector<Created> created;
    std::vector<netsnmp_handler_registration*> freedRegistrations;
    std::vector<Registered> registered; ///< the agent is not told, and reset() frees what it would own

    std::size_t failTypedValues = 0; ///< how many of the next values cannot be set, for want of memory
    std::vector<TypedValue> typedValues;

    bool failAlarm = false;
    std::vector<Alarm> alarms; ///< not passed on

    std::vector<std::vector<Varbind>> traps; ///< not passed on
    std::vector<const netsnmp_variable_list*> trapLists;
    std::vector<const netsnmp_variable_list*> freedLists;

    int failQueueOpen = 0; ///< the errno that msgget fails with; 0: it does not
    int failQueueRead = 0; ///< the same for msgrcv
    std::vector<QueueRead> queueReads;
};

Interposed& interposed();

/// Frees what reset() says, and starts over with nothing recorded and nothing failing.
void resetInterposed();

/// The log since the last call.
LogLines takeLog();

/// From now on the agent's log goes to Interposed::log and nowhere else.
void captureLog();

} // namespace zantest
