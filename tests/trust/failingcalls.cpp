// Calls into the system that fail, at every point of a start, a reload, a GET, a walk and a notification.
//
// An agent in this process has loaded the module as the file that it is; what a manager asks comes as a
// datagram. For each operation, each kind of call and each way in which it can fail, the first call of the
// kind fails, then the second, and so on, until the operation completes without reaching the one that would
// fail. The agent has to live, with an answer that is right or the one for a failure, and in the log nothing
// but what docs/operations.md tells of; the same operation then gives the right answer, with no descriptor
// and no block of memory more in use.

#include "calls.h"
#include "memory.h"
#include "sink.h"

#include "zanroot.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <new>
#include <regex>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/msg.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

// --- The world around the module
// -------------------------------------------------------------------------------

[[noreturn]] void fail(const std::string& what)
{
    std::fprintf(stderr, "failing_calls: %s (%s)\n", what.c_str(), std::strerror(errno));
    std::_Exit(2);
}

void require(bool holds, const char* what)
{
    if (!holds) {
        fail(what);
    }
}

std::string contentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    require(file.good(), path.c_str());
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The clock of the module's caches: a file over /proc/uptime.
class Clock {
public:
    Clock()
    {
        const char* path = "/run/uptime";
        file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        pass(100000);
        require(mount(path, "/proc/uptime", nullptr, MS_BIND, nullptr) == 0, "/proc/uptime stays as it is");
    }

    void pass(unsigned seconds)
    {
        now += seconds;
        std::array<char, 40> text{};
        std::snprintf(text.data(), text.size(), "%lu.00 0.00", now);
        std::fill(text.begin() + static_cast<long>(std::strlen(text.data())), text.end() - 1, ' ');
        text.back() = '\n';
        require(pwrite(file, text.data(), text.size(), 0) > 0, "the uptime cannot be written");
    }

private:
    int file = -1;
    unsigned long now = 0;
};

/// The API, in a process of its own: every request is answered with the same bytes.
void serveApi(const std::string& answer)
{
    const char* path = "/var/run/api/http.sock";
    mkdir("/var/run/api", 0755);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof(address.sun_path) - 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
                listen(listener, 64) == 0,
            path);
    if (fork() != 0) {
        close(listener);
        return;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGPIPE, SIG_IGN);
    while (true) {
        const int connection = accept(listener, nullptr, nullptr);
        std::string head;
        std::array<char, 4096> part{};
        ssize_t count = 1;
        while (head.find("\r\n\r\n") == std::string::npos && count > 0) {
            count = recv(connection, part.data(), part.size(), 0);
            head.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
        if (count > 0) {
            send(connection, answer.data(), answer.size(), 0);
        }
        close(connection);
    }
}

/// The lines of the log since the last look, without tracing.
std::vector<std::string>& lines()
{
    static std::vector<std::string> lines;
    return lines;
}

/// The module's texts as docs/operations.md heads them, to be matched.
std::vector<std::regex>& documented()
{
    static std::vector<std::regex> patterns;
    return patterns;
}

void readDocumented(const std::string& path)
{
    std::istringstream page(contentOf(path));
    const std::regex special(R"([.*+?^$(){}\[\]|\\])");
    for (std::string line; std::getline(page, line);) {
        if (line.rfind("#### `", 0) == 0) {
            std::string text = line.substr(6, line.rfind('`') - 6);
            text = std::regex_replace(text, std::regex(R"(\\n)"), "\n");
            text = std::regex_replace(text, special, R"(\$&)");
            text = std::regex_replace(text, std::regex("%l?d"), "-?[0-9]+");
            text = std::regex_replace(text, std::regex("%s"), R"([^\n]*)");
            documented().emplace_back(text);
        }
    }
    require(documented().size() > 10, "docs/operations.md names no lines of the log");
}

/// What was logged and is not documented.
std::string& strange()
{
    static std::string text;
    return text;
}

int logged(int, int, void* argument, void*)
{
    const auto& message = *static_cast<const snmp_log_message*>(argument);
    if (std::none_of(documented().begin(), documented().end(),
                     [&](const std::regex& text) { return std::regex_match(message.msg, text); })) {
        strange() = message.msg;
    }
    if (message.priority < LOG_DEBUG) {
        lines().emplace_back(message.msg);
    }
    return 0;
}

/// What an operation gives: names and values, or notifications, one text each.
using Outcome = std::vector<std::string>;

constexpr std::uint16_t agentPort = 16100;

/// The module's alarm, which is run by hand.
SNMPAlarmCallback* alarmCallback = nullptr;
void* alarmArgument = nullptr;

/// The agent, and a manager beside it in the same process.
class Agent {
public:
    Agent()
    {
        netsnmp_register_loghandler(NETSNMP_LOGHANDLER_CALLBACK, LOG_DEBUG);
        snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, logged, nullptr);
        netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
        netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
        netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_PORTS,
                              ("udp:127.0.0.1:" + std::to_string(agentPort)).c_str());
        netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_DONT_LOG_TCPWRAPPERS_CONNECTS, 1);
        init_agent("calls");
        init_snmp("calls");
        require(init_master_agent() == 0, "the agent has no port");
        std::string line = "rocommunity public";
        netsnmp_config(line.data());
        netsnmp_session session{};
        snmp_sess_init(&session);
        session.version = SNMP_VERSION_2c;
        std::string peer = "udp:127.0.0.1:" + std::to_string(agentPort);
        std::string community = "public";
        session.peername = peer.data();
        session.community = reinterpret_cast<u_char*>(community.data());
        session.community_len = community.size();
        manager = snmp_open(&session);
        require(manager != nullptr, "the manager has no session");
    }

    /// The answers to a request; none, and no end of it, when the agent does not give any.
    std::vector<std::pair<std::vector<oid>, std::string>> ask(int command, const std::vector<oid>& name)
    {
        netsnmp_pdu* request = snmp_pdu_create(command);
        if (command == SNMP_MSG_GETBULK) {
            request->non_repeaters = 0;
            request->max_repetitions = 60;
        }
        snmp_add_null_var(request, name.data(), name.size());
        answers.clear();
        answered = false;
        require(snmp_async_send(manager, request, received, this) != 0, "nothing can be asked");
        while (!answered) {
            agent_check_and_process(1);
        }
        return answers;
    }

private:
    static int received(int operation, netsnmp_session*, int, netsnmp_pdu* answer, void* self)
    {
        auto* agent = static_cast<Agent*>(self);
        require(operation == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE, "no answer");
        require(answer->errstat == SNMP_ERR_NOERROR, "an error instead of an answer");
        for (const netsnmp_variable_list* variable = answer->variables; variable != nullptr;
             variable = variable->next_variable) {
            const std::string value(reinterpret_cast<const char*>(variable->val.string), variable->val_len);
            agent->answers.emplace_back(
                std::vector<oid>(variable->name, variable->name + variable->name_length),
                std::to_string(variable->type) + " " + value);
        }
        agent->answered = true;
        return 1;
    }

    netsnmp_session* manager = nullptr;
    std::vector<std::pair<std::vector<oid>, std::string>> answers;
    bool answered = false;
};

struct World {
    Clock clock;
    Agent agent;
    Sink sink;
    std::string module;
};

World& world()
{
    static World world;
    return world;
}

/// What the agent's loader does, at a start and at a reload: the module is never unmapped.
void load()
{
    void* module = dlopen(world().module.c_str(), RTLD_NOW);
    if (module == nullptr) {
        fail(dlerror());
    }
    reinterpret_cast<void (*)()>(dlsym(module, "init_zansnmpext"))();
    dlclose(module);
}

std::vector<oid> objectsRoot()
{
    std::vector<oid> name(zansnmp::moduleRoot.begin(), zansnmp::moduleRoot.end());
    name.push_back(zansnmp::objectsArc);
    return name;
}

bool isBelow(const std::vector<oid>& root, const std::vector<oid>& name)
{
    return name.size() > root.size() && std::equal(root.begin(), root.end(), name.begin());
}

std::string textOf(const std::vector<oid>& name, const std::string& value)
{
    std::string text;
    for (const oid arc : name) {
        text += "." + std::to_string(arc);
    }
    return text + " = " + value;
}

/// The serial number's value.
Outcome get()
{
    std::vector<oid> name = objectsRoot();
    name.insert(name.end(), {8, 2, 0});
    const auto answers = world().agent.ask(SNMP_MSG_GET, name);
    require(answers.size() == 1, "not one value");
    return {textOf(name, answers[0].second)};
}

/// All objects, by GETBULK, in ascending order.
Outcome walk()
{
    const std::string endOfView = std::to_string(SNMP_ENDOFMIBVIEW) + " ";
    const std::vector<oid> root = objectsRoot();
    std::vector<oid> name = root;
    Outcome outcome;
    while (true) {
        for (const auto& [next, value] : world().agent.ask(SNMP_MSG_GETBULK, name)) {
            if (!isBelow(root, next) || value == endOfView) {
                return outcome;
            }
            require(name < next, "a walk that goes backwards");
            name = next;
            outcome.push_back(textOf(next, value));
        }
    }
}

/// The queue's identifier; -1 when there is none. Not by msgget, whose calls are the module's.
int queue()
{
    return static_cast<int>(syscall(SYS_msgget, ZAN_ENTERPRISE_NUMBER, 0));
}

void post(long event)
{
    struct {
        long type;
    } message{event};
    require(msgsnd(queue(), &message, 0, 0) == 0, "no event can be posted");
}

std::size_t waitingEvents()
{
    msqid_ds state{};
    require(msgctl(queue(), IPC_STAT, &state) == 0, "there is no queue");
    return state.msg_qnum;
}

/// Runs the alarm that reads the queue.
void runAlarm()
{
    require(alarmCallback != nullptr, "nobody reads the queue");
    alarmCallback(1, alarmArgument);
}

/// Two events, and what comes of them at an alarm.
Outcome notify()
{
    post(7);
    post(1);
    runAlarm();
    return Outcome(world().sink.received(), "notification");
}

} // namespace

/// The module finds this one before the library's; nobody else here has alarms that matter.
extern "C" unsigned snmp_alarm_register(unsigned seconds, unsigned /*flags*/, SNMPAlarmCallback* callback,
                                        void* argument)
{
    if (seconds == 5) {
        alarmCallback = callback;
        alarmArgument = argument;
    }
    return 1;
}

namespace {

// --- What is held against each operation
// -----------------------------------------------------------------------

enum class Operation { start, reload, get, walk, notification };

constexpr std::array<const char*, 5> operationNames{"a start", "a reload", "a GET", "a walk",
                                                    "a notification"};

/// What the children have done of one operation, in memory shared with them.
struct Total {
    unsigned points; ///< calls that have failed, each in each manner
    unsigned felt;   ///< of these, how many have cost an answer or a line of the log
    unsigned made;   ///< calls that one operation makes, at most
};
struct Shared {
    std::array<std::array<Total, calls::kindCount>, operationNames.size()> totals;
    std::size_t rightWalk; ///< after a start without a failure: a digest
};
Shared* shared = nullptr;

std::size_t digest(const Outcome& outcome)
{
    std::string all;
    for (const std::string& line : outcome) {
        all += line + '\n';
    }
    return std::hash<std::string>()(all);
}

/// The values that stand for none: of a text, a number in a scalar or a table, and an absent cell.
bool standsForNone(const std::string& line)
{
    const std::string value = line.substr(line.find(" = ") + 3);
    const auto number = [](u_char type, long content) {
        return std::to_string(type) + " " +
               std::string(reinterpret_cast<const char*>(&content), sizeof(content));
    };
    return value == "4 Unknown" || value == number(ASN_INTEGER, 0) || value == number(ASN_INTEGER, -1) ||
           value == number(ASN_TIMETICKS, 0);
}

/// Whether each value is the right one or stands for none, and only rows of tables are missing.
std::string complaintAbout(const Outcome& outcome, const Outcome& right)
{
    auto expected = right.begin();
    for (const std::string& line : outcome) {
        const std::string name = line.substr(0, line.find(" = ") + 3);
        expected = std::find_if(expected, right.end(),
                                [&](const std::string& other) { return other.rfind(name, 0) == 0; });
        if (expected == right.end()) {
            return "an object that is not there: " + line;
        }
        if (line != *expected && !standsForNone(line)) {
            return "neither right nor standing for none: " + line;
        }
    }
    return outcome.empty() ? "no answer" : "";
}

std::size_t descriptors()
{
    std::size_t count = 0;
    for (int descriptor = 0; descriptor < 64; ++descriptor) {
        count += fcntl(descriptor, F_GETFD) != -1 ? 1 : 0;
    }
    return count;
}

/// One kind of call in one operation.
class Sweep {
public:
    Sweep(Operation swept, std::size_t failing, bool briefly)
        : operation(swept), kind(failing), brief(briefly),
          total(shared->totals[static_cast<std::size_t>(swept)][failing])
    {}

    /// Lets every call fail, in a process that has loaded the module.
    /// @return whether all was well
    bool run()
    {
        load();
        rightValue = get();
        world().clock.pass(5);
        rightWalk = walk();
        takeLines();
        everywhere([this] { return oneWithoutLoss(); });
        return good;
    }

    /// The same for a first start, which takes a process of its own each time.
    bool runStarts()
    {
        everywhere([this] {
            msgctl(queue(), IPC_RMID, nullptr);
            const int status = inChild([this] {
                const bool reached = start();
                return good ? (reached ? statusReached : 0) : 1;
            });
            good = good && (status == 0 || status == statusReached);
            return status == statusReached;
        });
        return good;
    }

    static constexpr int statusReached = 3;

    /// Runs a part of the work in a child.
    /// @return its exit status, or more than 255 when it has none
    template <class Part>
    static int inChild(const Part& part)
    {
        std::fflush(stdout);
        const pid_t child = fork();
        require(child >= 0, "no more processes");
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGALRM}) {
                std::signal(signal, &reportCrash);
            }
            const int status = part();
            std::fflush(stdout);
            _exit(status);
        }
        int status = 0;
        while (waitpid(child, &status, 0) == -1) {
            require(errno == EINTR, "a child is lost");
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + status;
    }

private:
    Operation operation;
    std::size_t kind;
    bool brief;
    Total& total;
    int manner = 0;
    int nth = 0;
    bool good = true;
    Outcome rightValue;
    Outcome rightWalk;
    std::vector<std::string> taken;              ///< from the log, last
    inline static std::array<char, 128> place{}; ///< what fails, for the report of a crash

    /// The frames of a crash, or of an agent that is stuck.
    static void reportCrash(int signal)
    {
        std::array<void*, 64> frames{};
        const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
        std::fprintf(stderr, "signal %d after %s\n", signal, place.data());
        backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
        _exit(99);
    }

    /// Every manner, and of each the first call of the kind, the second and so on, as far as it is reached.
    template <class One>
    void everywhere(const One& one)
    {
        const int manners = calls::control().rows[kind].manners;
        for (manner = 0; manner < (brief ? std::min(manners, 2) : manners); ++manner) {
            for (nth = 1; one() && good; nth += stride()) {
                ++total.points;
            }
        }
    }

    /// From one call to the next; in short, not through all the queries of a walk, which are alike.
    int stride() const { return brief && operation == Operation::walk ? 1 + nth / 4 : 1; }

    void expect(bool holds, const std::string& what)
    {
        if (!holds) {
            std::printf("  %s: %s\n", place.data(), what.c_str());
            for (const std::string& line : taken) {
                std::printf("    logged: %s\n", line.c_str());
            }
            good = false;
        }
    }

    /// How many lines were logged, which have to be documented ones.
    std::size_t takeLines()
    {
        taken = std::exchange(lines(), {});
        expect(strange().empty(), "a line that is not documented: " + std::exchange(strange(), {}));
        return taken.size();
    }

    bool start()
    {
        const std::size_t openBefore = descriptors();
        const bool reached = failOnce();
        expect(descriptors() == openBefore, "another number of descriptors");
        // Objects are served whatever has failed, and notifications from the next reload on.
        world().clock.pass(5);
        expect(digest(walk()) == shared->rightWalk, "the next walk is not right");
        expect(takeLines() == 0, "a line after the failure");
        load();
        expect(takeLines() <= 1, "the next reload logs other lines");
        expect(notify().size() == 2, "no notifications after the next reload");
        return reached;
    }

    /// @return whether the call was reached
    bool oneWithoutLoss()
    {
        const std::size_t openBefore = descriptors();
        const long blocksBefore = memory::liveBlocks();
        const bool reached = one();
        expect(descriptors() == openBefore, "another number of descriptors");
        const long blocksOnce = memory::liveBlocks();
        if (blocksOnce > blocksBefore) { // what is kept at the first use is not lost
            one();
            expect(memory::liveBlocks() <= blocksOnce, "blocks of memory are lost");
        }
        return reached;
    }

    bool one()
    {
        world().clock.pass(5);
        const bool reached = failOnce();
        recover();
        return reached;
    }

    bool failOnce()
    {
        std::snprintf(place.data(), place.size(), "%s, %s number %d, %s",
                      operationNames[static_cast<std::size_t>(operation)],
                      calls::control().rows[kind].name.data(), nth, calls::nameOf(kind, manner));
        alarm(120);
        Outcome outcome;
        calls::arm(kind, manner, nth);
        switch (operation) {
        case Operation::start:
        case Operation::reload:
            load();
            break;
        case Operation::get:
            outcome = get();
            break;
        case Operation::walk:
            outcome = walk();
            break;
        case Operation::notification:
            outcome = notify();
            break;
        }
        const bool reached = calls::disarm();
        if (std::strcmp(calls::nameOf(kind, manner), "byte by byte") != 0) { // those make more
            total.made = std::max(total.made, static_cast<unsigned>(calls::control().rows[kind].made));
        }
        judge(outcome, reached);
        return reached;
    }

    void judge(const Outcome& outcome, bool reached)
    {
        const std::size_t logged = takeLines();
        total.felt += logged > (operation == Operation::reload ? 1 : 0) ? 1 : 0;
        switch (operation) {
        case Operation::start:
            // Of the request, of the switch and of the notifications.
            expect(logged <= (reached ? 3 : 0), "other lines than one failure's");
            break;
        case Operation::reload:
            expect(reached ? logged <= 3 : logged == 1, "other lines than one failure's");
            break;
        case Operation::get:
            judgeValues(outcome, rightValue, reached, logged);
            break;
        case Operation::walk:
            judgeValues(outcome, rightWalk, reached, logged);
            break;
        case Operation::notification:
            expect(outcome.size() + waitingEvents() == 2, "an event is lost or came twice");
            expect(logged <= (reached ? 1 : 0), "other lines than one failure's");
            expect(reached || outcome.size() == 2, "an event waits without a failure");
            break;
        }
    }

    void judgeValues(const Outcome& outcome, const Outcome& right, bool reached, std::size_t logged)
    {
        const std::string complaint = complaintAbout(outcome, right);
        expect(complaint.empty(), complaint);
        expect(logged <= (reached ? 1 : 0), "other lines than one failure's");
        expect(outcome == right || logged == 1, "another answer, and no line that tells why");
    }

    /// The same again, and what else there is: all of it right.
    void recover()
    {
        world().clock.pass(5);
        if (operation == Operation::notification) {
            const std::size_t waiting = waitingEvents();
            runAlarm();
            expect(world().sink.received() == waiting, "what waited is not sent at the next alarm");
        } else if (operation == Operation::reload) {
            load();
            expect(takeLines() == 1, "the next reload logs other lines");
            expect(notify().size() == 2, "no notifications after the next reload");
        }
        expect(get() == rightValue, "the next answer is not right");
        if (operation == Operation::walk) {
            expect(walk() == rightWalk, "the next walk is not right");
        }
        expect(takeLines() == 0, "a line after the failure");
    }
};

/// @return whether a GET makes the calls that it cannot do without, which may go by other names in other
/// releases
bool allSeen()
{
    using calls::Kind;
    const auto& made = shared->totals[static_cast<std::size_t>(Operation::get)];
    bool good = true;
    for (const Kind kind : {Kind::socket, Kind::connect, Kind::poll, Kind::send, Kind::recv, Kind::close,
                            Kind::fopen, Kind::reading, Kind::clock_gettime}) {
        const auto index = static_cast<std::size_t>(kind);
        if (made[index].made == 0) {
            std::printf("no %s was seen in a GET\n", calls::control().rows[index].name.data());
            good = false;
        }
    }
    return good;
}

/// @return whether all was well with an operation
bool sweep(Operation operation, bool briefly)
{
    const auto index = static_cast<std::size_t>(operation);
    bool good = true;
    for (std::size_t kind = 0; kind < calls::kindCount; ++kind) {
        Sweep sweep(operation, kind, briefly);
        if (operation == Operation::start) {
            good = sweep.runStarts() && good;
        } else {
            msgctl(queue(), IPC_RMID, nullptr);
            good = Sweep::inChild([&] { return sweep.run() ? 0 : 1; }) == 0 && good;
        }
    }
    std::printf("%s%s\n", operationNames[index], good ? "" : ": NOT GOOD");
    for (std::size_t kind = 0; kind < calls::kindCount; ++kind) {
        const Total& total = shared->totals[index][kind];
        if (total.made > 0) {
            std::printf("  %-14s %4u calls, %5u points, %5u of them felt\n",
                        calls::control().rows[kind].name.data(), total.made, total.points, total.felt);
        }
    }
    return good;
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): one that comes so far ends the test, as it should.
int main(int argc, char** argv)
{
    if (argc != 4 || std::getenv("ZAN_PRIVATE_NAMESPACES") == nullptr) {
        std::fprintf(stderr,
                     "usage: tests/private %s MODULE ANSWER OPERATIONS.MD\n"
                     "environment: ZAN_CALLS_WHOLE for every manner and every call, instead of a sample\n",
                     argv[0]);
        return 2;
    }
    const bool briefly = std::getenv("ZAN_CALLS_WHOLE") == nullptr;
    serveApi(contentOf(argv[2]));
    readDocumented(argv[3]);
    setenv("MIBS", "", 1);                         // none is needed
    setenv("SNMP_PERSISTENT_DIR", "/dev/null", 1); // nothing is kept there
    world().module = argv[1];
    strange().clear(); // the agent's own, of its start
    lines().clear();
    void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    require(memory != MAP_FAILED, "no memory to share");
    shared = new (memory) Shared{};
    require(Sweep::inChild([] {
                load();
                shared->rightWalk = digest(walk());
                return notify().size() == 2 ? 0 : 1;
            }) == 0,
            "the module does not start");

    bool good = true;
    unsigned points = 0;
    unsigned felt = 0;
    for (std::size_t operation = 0; operation < operationNames.size(); ++operation) {
        good = sweep(static_cast<Operation>(operation), briefly) && good;
        for (const Total& total : shared->totals[operation]) {
            points += total.points;
            felt += total.felt;
        }
    }
    good = allSeen() && good;
    std::printf("%u points, %u of them felt: %s\n", points, felt, good ? "nothing found" : "NOT GOOD");
    return good && felt > 0 ? 0 : 1;
}
