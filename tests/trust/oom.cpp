// Memory that runs out at every point of a GET, of a walk of a table and of a notification.
//
// For each operation, the first allocation fails, then the second, and so on, until the operation completes
// without reaching the one that would fail. No crash and no exception may come out of it; the answer is the
// right one or the one for a failure; and when there is memory again, the same operation gives the right
// answer, with no block more in use than without the failure.

#include "memory.h"
#include "sink.h"

#include "support/world.h"

#include "zanjsondb.h"
#include "zantable.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <execinfo.h>
#include <functional>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace world;
using memory::Failing;
using memory::Times;

/// What an operation gave: the encoded values of its variables.
using Outcome = std::vector<std::string>;

struct Operation {
    std::string name;
    std::function<void()> prepare; ///< what has to be so before the operation
    std::function<Outcome()> run;  ///< the operation; what of it is the module's runs without memory
};

/// Calls the module, or what is to run without memory like it.
template <class Call>
auto inside(const Call& call)
{
    const memory::Inside scope;
    return call();
}

/// The value of a variable, encoded as the agent would send it, so that a half-made one is noticed.
std::string encoded(const netsnmp_variable_list& variable)
{
    u_char* packet = nullptr;
    std::size_t size = 0;
    std::size_t used = 0;
    const oid name[] = {1, 3};
    std::size_t nameLength = std::size(name);
    if (snmp_realloc_rbuild_var_op(&packet, &size, &used, 1, name, &nameLength, variable.type,
                                   variable.val.string, variable.val_len) == 0) {
        std::free(packet);
        return "not to be encoded";
    }
    std::string value(reinterpret_cast<const char*>(packet) + size - used, used); // it is built backwards
    std::free(packet);
    return value;
}

/// The answer of a handler to a GET.
std::string answer(netsnmp_handler_registration* registration, HandlerRequest& request)
{
    AgentRequest info(MODE_GET);
    netsnmp_mib_handler* handler = moduleHandler(registration);
    inside([&] { return handler->access_method(handler, registration, info.get(), &request.info()); });
    return encoded(request.variable());
}

Outcome get(std::size_t scalar)
{
    HandlerRequest request;
    return {answer(scalars()[scalar], request)};
}

Operation getOperation(std::size_t scalar, Answer how, const std::string& text)
{
    return {std::string("GET of ") + scalars()[scalar]->handlerName +
                (how == Answer::raw ? ", with libcurl" : ""),
            [=] {
                passTime(5);
                api().answer = how;
                api().text = text;
            },
            [=] { return get(scalar); }};
}

std::string cellOf(const Table& table, void* loop, unsigned column)
{
    netsnmp_iterator_info* hooks = table.iterator;
    void* context = inside([&] { return hooks->make_data_context(loop, hooks); });
    HandlerRequest request;
    if (context != nullptr) {
        request.setRow(context);
    }
    request.setColumn(column);
    std::string outcome = answer(table.registration, request);
    hooks->free_data_context(context, hooks);
    return outcome;
}

/// A walk through a table's hooks as the agent's helper does it, every cell of every row.
Outcome walk(const Table& table)
{
    Outcome outcome;
    Variable index;
    void* loop = nullptr;
    void* unused = nullptr;
    netsnmp_iterator_info* hooks = table.iterator;
    netsnmp_variable_list* row =
        inside([&] { return hooks->get_first_data_point(&loop, &unused, index.get(), hooks); });
    while (row != nullptr) {
        for (unsigned column = 1; column <= hooks->table_reginfo->max_column; ++column) {
            outcome.push_back(cellOf(table, loop, column));
        }
        row = inside([&] { return hooks->get_next_data_point(&loop, &unused, index.get(), hooks); });
    }
    inside([&] { hooks->free_loop_context_at_end(loop, hooks); });
    return outcome;
}

Sink& sink()
{
    static Sink sink;
    return sink;
}

/// What the alarm does with the events that wait: how many notifications come of it.
Outcome drain()
{
    inside([] { alarm()(1, alarmArgument()); });
    require(queue().readings.empty(), "an event is left in the queue");
    return Outcome(sink().received(), "notification");
}

/// The frames of a crash, for the report.
void reportCrash(int signal)
{
    void* frames[64];
    const int count = backtrace(frames, 64);
    std::fprintf(stderr, "signal %d\n", signal);
    backtrace_symbols_fd(frames, count, STDERR_FILENO);
    _exit(99);
}

/// A value that stands for none: of a text, of a number in a scalar and in a table, of a row that cannot be
/// had, and of a variable that could not be set.
bool standsForNone(const std::string& value)
{
    static const std::vector<std::string> values = [] {
        std::vector<std::string> made;
        const auto add = [&](u_char type, const void* bytes, std::size_t size) {
            Variable variable;
            snmp_set_var_typed_value(variable.get(), type, bytes, size);
            made.push_back(encoded(*variable.get()));
        };
        const long zero = 0;
        const long minusOne = -1;
        add(ASN_OCTET_STR, "Unknown", 7);
        add(ASN_INTEGER, &zero, sizeof(zero));
        add(ASN_INTEGER, &minusOne, sizeof(minusOne));
        add(ASN_TIMETICKS, &zero, sizeof(zero));
        add(SNMP_NOSUCHINSTANCE, nullptr, 0);
        add(ASN_NULL, nullptr, 0);
        return made;
    }();
    return std::find(values.begin(), values.end(), value) != values.end();
}

/// Whether an outcome is sane: nothing, or each value the right one or one that stands for none.
bool isSane(const Outcome& outcome, const Outcome& right)
{
    if (outcome.size() > right.size()) {
        return false;
    }
    for (std::size_t i = 0; i < outcome.size(); ++i) {
        if (outcome[i] != right[i] && !standsForNone(outcome[i])) {
            return false;
        }
    }
    return true;
}

/// One operation under one way of failing.
class Sweep {
public:
    Sweep(const Operation& swept, Failing kind, Times often) : operation(swept), failing(kind), times(often)
    {}

    const Operation& operation;
    Failing failing;
    Times times;
    std::size_t nth = 0;
    std::size_t unharmed = 0;
    bool good = true;

    void complain(const std::string& what)
    {
        std::printf("  allocation %zu: %s\n", nth, what.c_str());
        good = false;
    }

    /// Lets the next allocation fail.
    /// @return whether it was reached
    bool failNext()
    {
        ++nth;
        operation.prepare();
        memory::arm(failing, times, nth);
        const Outcome outcome = operation.run();
        const bool failed = memory::disarm();
        operation.prepare();
        const Outcome again = operation.run();
        if (right.empty()) {
            right = again;
        }
        if (again != right) {
            complain("the next answer is another");
        }
        if (!isSane(outcome, right)) {
            complain("an answer that is neither right nor stands for none");
        }
        if (!failed && outcome != right) {
            complain("was not reached, but the answer is another");
        }
        unharmed += failed && outcome == right ? 1 : 0;
        return failed;
    }

    /// Whether the same failure loses blocks once more: what is kept on first use is not lost.
    bool losesAgain()
    {
        const long before = memory::liveBlocks();
        --nth;
        failNext();
        return memory::liveBlocks() > before;
    }

    void run()
    {
        failNext();
        bool failed = failNext();
        while (failed) {
            const long before = memory::liveBlocks();
            failed = failNext();
            const long lost = memory::liveBlocks() - before;
            if (lost > 0 && losesAgain()) {
                complain("fails, and " + std::to_string(lost) + " blocks are lost");
            }
        }
        std::printf("%-55s %4zu allocations, %2zu of them dispensable%s\n", operation.name.c_str(), nth - 1,
                    unharmed, good ? "" : ": NOT GOOD");
    }

private:
    Outcome right;
};

bool sweep(const Operation& operation, Failing failing, Times times)
{
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE}) {
            std::signal(signal, &reportCrash);
        }
        Sweep sweep(operation, failing, times);
        sweep.run();
        std::fflush(stdout);
        _exit(sweep.good ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status) || WEXITSTATUS(status) > 1) {
        std::printf("%s: CRASHED\n", operation.name.c_str());
    }
    return status == 0;
}

std::string router()
{
    const std::string row = R"({"name":"a name longer than fifteen letters","enabled":true,"ip":"10.0.0.1",)"
                            R"("mac":"02:00:5e:10:00:01 and more","expiration":3600})";
    std::string result =
        resultWithRows("[" + row + "," + row + "]",
                       R"({"ipAddress":"an address of some length","enabled":true,"logLevel":35})");
    result.pop_back();
    return result +
           R"(,"system":{"deviceId":"a serial number longer than fifteen letters","uptime":"12345.67"},)"
           R"("system_capabilities":{"cell":true},"stats_ppp":{"dnsServers":["10.0.0.1","10.0.0.2"],"tx":{"bytes":1}},)"
           R"("stats_pppTotal":{"todayTx":1,"totalTx":2},"filters":[{"chain":"INPUT","enabled":true}],)"
           R"("wanmngr":{"wans":[{"priority":2},{"priority":1}]},"waninfo":{"wans":[)"
           R"({"interface":"ppp0","available":true,"enabled":true},{"interface":"wlan0","available":true}]}})";
}

std::string rawAnswer(const std::string& body)
{
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::vector<Operation> operations()
{
    const std::string body = envelope(router());
    std::vector<Operation> all;
    for (std::size_t scalar = 0; scalar < scalars().size(); ++scalar) {
        all.push_back(getOperation(scalar, Answer::body, body));
        if (std::strcmp(scalars()[scalar]->handlerName, "zanRouterSerialNumber") == 0) {
            all.push_back(getOperation(scalar, Answer::raw, rawAnswer(body)));
        }
    }
    for (const Table& table : tables()) {
        all.push_back({std::string("walk of ") + table.registration->handlerName,
                       [=] {
                           passTime(5);
                           api().answer = Answer::body;
                           api().text = body;
                       },
                       [&table] { return walk(table); }});
    }
    all.push_back({"a notification", [] { queue().readings = {{0, 7}, {0, 12}, {0, 1}}; }, &drain});
    return all;
}

/// Whether an operation is swept in every way of failing: one scalar of each shape, and all that is no
/// scalar.
bool isThorough(const Operation& operation)
{
    if (operation.name.rfind("GET of ", 0) != 0 || operation.name.find("libcurl") != std::string::npos) {
        return true;
    }
    for (const char* chosen :
         {"zanWanManagerPriority", "zanRadioIMSI", "zanCellularInterfaceDNS",
          "zanCellularInterfaceStatsTxBytes", "zanRouterSerialNumber", "zanRouterUptime",
          "zanDiagnosticsSNMP", "zanDiagnosticsRemoteSyslog", "zanFirewallInputFilterRulesNumEnabled"}) {
        if (operation.name == std::string("GET of ") + chosen) {
            return true;
        }
    }
    return false;
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): one that comes so far ends the test, as it should.
int main()
{
    setenv("SNMP_PERSISTENT_DIR", "/dev/null", 1); // nothing is kept there
    snmp_enable_filelog("/dev/null", 0);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
    init_agent("oom");
    init_snmp("oom");
    sink();
    startModule(true);

    bool good = true;
    for (const Operation& operation : operations()) {
        good = sweep(operation, Failing::operatorNew, Times::once) && good;
        if (isThorough(operation)) {
            good = sweep(operation, Failing::operatorNew, Times::forever) && good;
            good = sweep(operation, Failing::everything, Times::once) && good;
            good = sweep(operation, Failing::everything, Times::forever) && good;
        }
    }
    return good ? 0 : 1;
}
