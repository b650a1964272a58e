#include "world.h"

#include "zanjsondb.h"
#include "zansnmpext.h"

#include <curl/curl.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/msg.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using namespace world;

long uptime = 100000; // hundredths of a second
// Never destroyed: the leak checker, which looks after the destructors, finds through them what the agent
// keeps.
auto& scalarRegistrations = *new std::vector<netsnmp_handler_registration*>;
auto& tableRegistrations = *new std::vector<Table>;
bool agentTakesPart = false;
SNMPAlarmCallback* alarmCallback = nullptr;
void* alarmClient = nullptr;

// Of the handle in use; there is never more than one.
curl_write_callback writeFunction = nullptr;
void* writeData = nullptr;

constexpr int queueId = 1;

/// The API's end of the connection in use; -1: none.
int apiEnd = -1;

/// Puts a connection in the place of the socket, on which the API has said all that it will say.
/// @return 0; -1 with errno
int connectAnswered(int socket, const std::string& answer)
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) {
        return -1;
    }
    apiEnd = ends[0];
    const int replaced = dup2(ends[1], socket);
    close(ends[1]);
    const int size = 1 << 20;
    setsockopt(apiEnd, SOL_SOCKET, SO_SNDBUF, &size, sizeof(size));
    for (std::size_t sent = 0; sent < answer.size();) {
        const ssize_t count = send(apiEnd, answer.data() + sent, answer.size() - sent, MSG_NOSIGNAL);
        require(count > 0, "an answer larger than the socket's buffer");
        sent += static_cast<std::size_t>(count);
    }
    shutdown(apiEnd, SHUT_WR);
    return replaced < 0 ? -1 : 0;
}

} // namespace

extern "C" {

long get_uptime()
{
    return uptime;
}

// The option as an int: C's variadic functions cannot follow a parameter of an enumeration's type.
CURLcode __real_curl_easy_setopt(CURL* handle, int option, ...);
CURLcode __real_curl_easy_perform(CURL* handle);
int __real_netsnmp_register_read_only_scalar(netsnmp_handler_registration* registration);
int __real_netsnmp_register_table_iterator(netsnmp_handler_registration* registration,
                                           netsnmp_iterator_info* iterator);

/// Instead of the C library's, also for libcurl.
int connect(int socket, const sockaddr* address, socklen_t length)
{
    const auto* path = reinterpret_cast<const sockaddr_un*>(address);
    if (address->sa_family == AF_UNIX && std::strcmp(path->sun_path, zansnmp::apiSocket) == 0) {
        return connectAnswered(socket, api().text);
    }
    return static_cast<int>(syscall(SYS_connect, socket, address, length));
}

CURLcode __wrap_curl_easy_setopt(CURL* handle, int option, ...)
{
    std::va_list arguments;
    va_start(arguments, option);
    CURLcode result = CURLE_UNKNOWN_OPTION;
    if (option < CURLOPTTYPE_OBJECTPOINT) {
        result = __real_curl_easy_setopt(handle, option, va_arg(arguments, long));
    } else {
        void* value = va_arg(arguments, void*);
        if (option == CURLOPT_WRITEFUNCTION) {
            writeFunction = reinterpret_cast<curl_write_callback>(value);
        } else if (option == CURLOPT_WRITEDATA) {
            writeData = value;
        }
        result = __real_curl_easy_setopt(handle, option, value);
    }
    va_end(arguments);
    return result;
}

namespace {

CURLcode giveBody()
{
    const Api& source = api();
    const std::size_t piece = source.piece == 0 ? source.text.size() : source.piece;
    for (std::size_t at = 0; at < source.text.size(); at += piece) {
        std::string part = source.text.substr(at, piece); // a copy, so that reading beyond it is noticed
        if (writeFunction(part.data(), 1, part.size(), writeData) != part.size()) {
            return CURLE_WRITE_ERROR;
        }
    }
    return CURLE_OK;
}

CURLcode giveRaw(CURL* handle)
{
    const CURLcode result = __real_curl_easy_perform(handle);
    api().verdict = result;
    if (apiEnd >= 0) {
        close(apiEnd);
        apiEnd = -1;
    }
    return result;
}

} // namespace

CURLcode __wrap_curl_easy_perform(CURL* handle)
{
    ++api().requests;
    switch (api().answer) {
    case Answer::body:
        return giveBody();
    case Answer::raw:
        return giveRaw(handle);
    case Answer::none:
        break;
    }
    return CURLE_COULDNT_CONNECT;
}

int __wrap_snmp_log(int priority, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    // Formatted even when nobody looks: the arguments have to fit the format.
    char text[512];
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    if (log().record) {
        log().lines.push_back({priority, text});
    }
    return 0;
}

int __wrap_netsnmp_register_read_only_scalar(netsnmp_handler_registration* registration)
{
    scalarRegistrations.push_back(registration);
    return agentTakesPart ? __real_netsnmp_register_read_only_scalar(registration) : SNMPERR_SUCCESS;
}

int __wrap_netsnmp_register_table_iterator(netsnmp_handler_registration* registration,
                                           netsnmp_iterator_info* iterator)
{
    if (agentTakesPart) {
        tableRegistrations.push_back({registration, iterator});
        return __real_netsnmp_register_table_iterator(registration, iterator);
    }
    // The helpers that the real function puts in front; the agent is not told.
    netsnmp_inject_handler(registration, netsnmp_get_table_iterator_handler(iterator));
    netsnmp_inject_handler(registration, netsnmp_get_table_handler(iterator->table_reginfo));
    tableRegistrations.push_back({registration, iterator});
    return MIB_REGISTERED_OK;
}

unsigned int __wrap_snmp_alarm_register(unsigned int, unsigned int, SNMPAlarmCallback* callback, void* client)
{
    alarmCallback = callback;
    alarmClient = client;
    return 1;
}

void __wrap_send_v2trap(netsnmp_variable_list* variables)
{
    require(variables == nullptr || variables->next_variable == nullptr, "a trap of more than one variable");
    Trap trap;
    if (variables != nullptr) {
        const oid* value = variables->val.objid;
        require(variables->type == ASN_OBJECT_ID, "a trap whose value is no OID");
        trap.assign(value, value + variables->val_len / sizeof(oid));
    }
    traps().push_back(trap);
}

int __wrap_msgget(key_t, int)
{
    return queueId;
}

ssize_t __wrap_msgrcv(int queue, void* message, std::size_t size, long type, int flags)
{
    require(queue == queueId && size == 0 && type == 0, "another reading than the first message's header");
    require(flags == (IPC_NOWAIT | MSG_NOERROR), "a reading that waits or refuses a body");
    Queue& source = world::queue();
    ++source.read;
    if (source.readings.empty()) {
        errno = ENOMSG;
        return -1;
    }
    const Reading reading = source.readings.front();
    source.readings.pop_front();
    if (reading.error != 0) {
        errno = reading.error;
        return -1;
    }
    *static_cast<long*>(message) = reading.type;
    return 0;
}

} // extern "C"

namespace world {

Api& api()
{
    static Api api;
    return api;
}

std::string envelope(std::string_view result)
{
    return R"({"code":200,"result":)" + std::string(result) + "}";
}

void passTime(unsigned seconds)
{
    uptime += 100L * seconds;
}

Log& log()
{
    static Log log;
    return log;
}

const std::vector<netsnmp_handler_registration*>& scalars()
{
    return scalarRegistrations;
}

const std::vector<Table>& tables()
{
    return tableRegistrations;
}

SNMPAlarmCallback* alarm()
{
    return alarmCallback;
}

void* alarmArgument()
{
    return alarmClient;
}

Queue& queue()
{
    static Queue queue;
    return queue;
}

std::vector<Trap>& traps()
{
    static std::vector<Trap> traps;
    return traps;
}

void registerInAgent()
{
    agentTakesPart = true;
}

void startModule(bool trapsEnabled)
{
    curl_global_init(CURL_GLOBAL_ALL);
    api().answer = Answer::body;
    api().text = envelope(trapsEnabled ? R"({"snmp":{"traps":{"enabled":true}}})" : R"({"snmp":null})");
    init_zansnmpext();
    require(!scalars().empty() && !tables().empty() && alarm() != nullptr,
            "the module did not start in full");
}

std::string resultWithRows(std::string_view rows, std::string_view syslog)
{
    std::string result = "{";
    for (const char* name : {"ovpnTunnels", "ipsecTunnels", "greTunnels", "routes"}) {
        result.append("\"").append(name).append("\":").append(rows).append(",");
    }
    result.append(R"("dhcp":{"leases":)").append(rows).append(R"(},"syslog":)").append(syslog).append("}");
    return result;
}

void fail(const std::string& what)
{
    std::fprintf(stderr, "the module failed: %s\n", what.c_str());
    std::abort();
}

netsnmp_mib_handler* moduleHandler(const netsnmp_handler_registration* registration)
{
    netsnmp_mib_handler* handler = registration->handler;
    while (handler->next != nullptr) {
        handler = handler->next;
    }
    return handler;
}

} // namespace world
