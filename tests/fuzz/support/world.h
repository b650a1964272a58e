#pragma once

// The module's surroundings in one process, without an agent, an API and a queue: what the module calls of
// them is wrapped by the linker (see ZAN_WORLD_WRAPS in CMakeLists.txt) and answered here.

#include "agentrequest.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace world {

/// How the next transfers end.
enum class Answer {
    body, ///< at once, with `Api::text` as the body of the answer: no part of libcurl takes part
    raw,  ///< `Api::text` is all that the API sends on its connection, then it says no more: libcurl's
          ///< business
    none, ///< there is no API
};

/// The management API.
struct Api {
    Answer answer = Answer::none;
    std::string text;
    std::size_t piece = 0;    ///< bytes that the write function gets at once; 0: all of them (`Answer::body`)
    std::size_t requests = 0; ///< transfers so far
    int verdict = 0;          ///< libcurl's own of the last transfer (`Answer::raw`)
};
Api& api();

/// The envelope of a good answer around the JSON text of a result.
std::string envelope(std::string_view result);

/// The clock of the caches: seconds that the next call of the module sees as gone by.
void passTime(unsigned seconds);

/// A line of the log.
struct LogLine {
    int priority;
    std::string text;
};

/// What was logged; recorded only on request, as most runs do not look.
struct Log {
    bool record = false;
    std::vector<LogLine> lines;
};
Log& log();

/// What the module has registered.
struct Table {
    netsnmp_handler_registration* registration;
    netsnmp_iterator_info* iterator;
};
const std::vector<netsnmp_handler_registration*>& scalars();
const std::vector<Table>& tables();
SNMPAlarmCallback* alarm();
void* alarmArgument();

/// The module's own handler of a registration: the last of its chain.
netsnmp_mib_handler* moduleHandler(const netsnmp_handler_registration* registration);

/// The event queue: what reading it gives, one after the other; nothing after the last.
struct Reading {
    int error; ///< errno of a failed reading; 0 for a message
    long type; ///< the message's type
};
struct Queue {
    std::deque<Reading> readings;
    std::size_t read = 0; ///< readings so far
};
Queue& queue();

/// A notification that was sent.
using Trap = std::vector<oid>;
std::vector<Trap>& traps();

/// From now on what the module registers is also registered in the agent of this process.
void registerInAgent();

/// Starts the module with the traps switch as given; once per process.
void startModule(bool trapsEnabled);

/// The six tables' query members, in the order of `tables()`: the result is a way to its rows.
std::string resultWithRows(std::string_view rows, std::string_view syslog);

/// Ends the process with a message for libFuzzer to report.
[[noreturn]] void fail(const std::string& what);

/// Ends the process unless `holds`.
inline void require(bool holds, const char* what)
{
    if (!holds) {
        fail(what);
    }
}

} // namespace world
