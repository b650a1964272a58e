// Posts an event to the queue of the agent module, as the router's processes do.
//
// postEvent() is all that a process needs: it may be copied as it is, with the headers that it uses. The
// rest is the command line.

#include "zanconfig.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <getopt.h>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <sys/ipc.h>
#include <sys/msg.h>
#include <vector>

namespace {

/// Posts one event without waiting.
///
/// @param key    the key of the queue: the maker's enterprise number
/// @param event  the event id, above 0; the module knows 1 to 11
/// @param body   goes along with the event; the module discards it
/// @return 0, or the errno of the failure: ENOENT when there is no queue, for the module is what makes it;
///         EAGAIN when the queue is full, for nobody drains it; EACCES, EINVAL (event or size of the body)
int postEvent(key_t key, long event, std::string_view body = {})
{
    const int queue = msgget(key, 0);
    if (queue < 0) {
        return errno;
    }
    std::vector<char> message(sizeof(event) + body.size()); // the id, then the body
    std::memcpy(message.data(), &event, sizeof(event));
    std::copy(body.begin(), body.end(), message.begin() + sizeof(event));
    return msgsnd(queue, message.data(), body.size(), IPC_NOWAIT) == 0 ? 0 : errno;
}

constexpr const char* program = "zan-post-event";
constexpr key_t queueKey = ZAN_ENTERPRISE_NUMBER;
constexpr long lastEvent = 11;
constexpr int queueMode = 0666; // as the module makes it: readable and writable by all

/// The exit status: one for each thing that a script may want to treat in its own way.
enum Status {
    posted = 0,
    failed = 1,
    badUsage = 2,
    noQueue = 3,
    queueFull = 4,
    notPermitted = 5,
};

struct Options {
    long event = 0;
    std::string_view body;
    bool create = false;
};

/// What parsing the command line gives: options to go on with, or the exit status to end with.
struct Parsed {
    std::optional<Options> options;
    Status status = posted;
};

void printHelp()
{
    std::printf(R"(usage: %s [--any] [--create] EVENT [BODY]

Posts an event to the queue of the SNMP agent's module zansnmpext, which sends it to the managers as a
notification within 5 seconds, if the router's traps switch was on when the agent last started or was
reloaded.

  EVENT          the event's number, 1 to %ld, or its notification's name, zanEvent1 to zanEvent%ld
  BODY           a text that goes along with the event; the module discards it

  -a, --any      accept any number above 0 as EVENT; the module drops those from %ld on
  -c, --create   make the queue when there is none; events then wait in it until the agent starts
  -h, --help     print this help and end
  -V, --version  print version and enterprise number and end

The queue is the System V message queue with the key %ld (0x%08lx), this build's enterprise number.

exit status:
  %d  posted
  %d  another error
  %d  wrong arguments
  %d  no queue: an agent makes it that has the module and can read the traps switch
  %d  queue full
  %d  no permission
)",
                program, lastEvent, lastEvent, lastEvent + 1, static_cast<long>(queueKey),
                static_cast<unsigned long>(queueKey), posted, failed, badUsage, noQueue, queueFull,
                notPermitted);
}

/// What was asked for has been printed, unless standard output took none of it.
Parsed printedOrNot()
{
    // The C library may have tried to write before, and thrown away what it could not.
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::perror(program);
        return {std::nullopt, failed};
    }
    return {std::nullopt, posted};
}

/// A complaint about the command line.
Parsed refuse(const std::string& complaint)
{
    std::fprintf(stderr, "%s: %s\nTry '%s --help'.\n", program, complaint.c_str(), program);
    return {std::nullopt, badUsage};
}

/// The number of the event that the text names; nothing when it names none.
std::optional<long> eventNumber(std::string_view text)
{
    constexpr std::string_view namePrefix = "zanEvent";
    if (text.substr(0, namePrefix.size()) == namePrefix) {
        text.remove_prefix(namePrefix.size());
    }
    long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

Parsed parseOperands(int count, char** operands, bool anyEvent, Options options)
{
    if (count < 1) {
        return refuse("which event?");
    }
    if (count > 2) {
        return refuse(std::string("one event and one body at most, but there is also '") + operands[2] + "'");
    }
    const long limit = anyEvent ? std::numeric_limits<long>::max() : lastEvent;
    const std::optional<long> event = eventNumber(operands[0]);
    if (!event || *event < 1 || *event > limit) {
        return refuse(std::string("'") + operands[0] + "' is no event: they are numbered 1 to " +
                      std::to_string(limit) + (anyEvent ? "" : " (--any accepts more)"));
    }
    options.event = *event;
    options.body = count == 2 ? operands[1] : "";
    return {options, posted};
}

Parsed parseCommandLine(int argc, char** argv)
{
    constexpr std::array<option, 5> longOptions{{
        {"any", no_argument, nullptr, 'a'},
        {"create", no_argument, nullptr, 'c'},
        {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'V'},
        {},
    }};
    Options options;
    bool anyEvent = false;
    int letter = 0;
    while ((letter = getopt_long(argc, argv, "+achV", longOptions.data(), nullptr)) != -1) {
        switch (letter) {
        case 'a':
            anyEvent = true;
            break;
        case 'c':
            options.create = true;
            break;
        case 'h':
            printHelp();
            return printedOrNot();
        case 'V':
            std::printf("%s %s (enterprise number %ld)\n", program, ZAN_VERSION, static_cast<long>(queueKey));
            return printedOrNot();
        default: // getopt_long has complained
            std::fprintf(stderr, "Try '%s --help'.\n", program);
            return {std::nullopt, badUsage};
        }
    }
    return parseOperands(argc - optind, argv + optind, anyEvent, options);
}

/// Explains a failure in the words of this queue.
Status report(int error, std::size_t bodySize)
{
    const auto key = static_cast<long>(queueKey);
    switch (error) {
    case ENOENT:
        std::fprintf(stderr,
                     "%s: there is no event queue (key %ld): the agent's module makes it when it starts"
                     " (--create makes it without)\n",
                     program, key);
        return noQueue;
    case EAGAIN:
        std::fprintf(stderr, "%s: the event queue (key %ld) is full: the agent's module has not drained it\n",
                     program, key);
        return queueFull;
    case EACCES:
    case EPERM:
        std::fprintf(stderr,
                     "%s: no permission to post to the event queue (key %ld): somebody else made it\n",
                     program, key);
        return notPermitted;
    case EINVAL:
        std::fprintf(stderr, "%s: the event queue (key %ld) takes no body of %zu bytes: see kernel.msgmax\n",
                     program, key, bodySize);
        return failed;
    default:
        std::fprintf(stderr, "%s: cannot post to the event queue (key %ld): %s\n", program, key,
                     std::strerror(error));
        return failed;
    }
}

} // namespace

int main(int argc, char** argv)
{
    const Parsed parsed = parseCommandLine(argc, argv);
    if (!parsed.options) {
        return parsed.status;
    }
    const Options& options = *parsed.options;
    if (options.create && msgget(queueKey, IPC_CREAT | queueMode) < 0) {
        return report(errno, options.body.size());
    }
    const int error = postEvent(queueKey, options.event, options.body);
    return error == 0 ? posted : report(error, options.body.size());
}
