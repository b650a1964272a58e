#include "support/interposed.h"

#include "support/allocations.h"
#include "support/clock.h"

#include "zanjsondb.h"

#include <cerrno>
#include <cstdarg>
#include <new>
#include <ostream>
#include <sstream>
#include <string>
#include <sys/msg.h>
#include <utility>

namespace zantest {

namespace {

template <class... Parts>
void journalize(const Parts&... parts)
{
    std::ostringstream text;
    (text << ... << parts);
    interposed().journal.push_back(text.str());
}

int recordLogLine(int, int, void* serverArgument, void*)
{
    const OwnAllocations own;
    const auto* message = static_cast<const snmp_log_message*>(serverArgument);
    interposed().log.push_back({message->priority, message->msg});
    journalize("log ", message->priority, " ", message->msg);
    return 0;
}

void release(const Registered& registered)
{
    if (registered.info != nullptr) {
        netsnmp_table_registration_info_free(registered.info->table_reginfo);
        std::free(registered.info);
    }
    netsnmp_handler_registration_free(registered.registration);
}

} // namespace

std::ostream& operator<<(std::ostream& out, const LogLine& line)
{
    return out << "<" << line.priority << "> \"" << line.text << "\"";
}

std::ostream& operator<<(std::ostream& out, const CurlOption& option)
{
    return out << option.option << "=" << option.value;
}

Interposed& interposed()
{
    // Never destroyed, as memory is freed until the very end; not on the heap, where it would look like a
    // leak.
    alignas(Interposed) static unsigned char storage[sizeof(Interposed)];
    static auto* const instance = new (storage) Interposed;
    return *instance;
}

void resetInterposed()
{
    for (const Registered& registered : interposed().registered) {
        release(registered);
    }
    interposed() = Interposed();
}

LogLines takeLog()
{
    return std::exchange(interposed().log, {});
}

void captureLog()
{
    snmp_disable_log();
    snmp_enable_calllog();
    snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, recordLogLine, nullptr, 0);
    snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, recordLogLine, nullptr);
}

} // namespace zantest

using zantest::interposed;
using zantest::journalize;
using zantest::OwnAllocations;

// The linker sends the units' calls of f() to __wrap_f(), and calls of __real_f() to the library. Both names
// are the linker's.
extern "C" {

void* __real_calloc(std::size_t count, std::size_t size);
void __real_free(void* memory);
CURL* __real_curl_easy_init();
// The option as an integer: an enumeration may not stand in front of variable arguments in C++.
CURLcode __real_curl_easy_setopt(CURL* handle, int option, ...);
CURLcode __real_curl_easy_perform(CURL* handle);
void __real_curl_easy_cleanup(CURL* handle);
netsnmp_handler_registration* __real_netsnmp_create_handler_registration(const char* name,
                                                                         Netsnmp_Node_Handler* handler,
                                                                         const oid* arcs, std::size_t length,
                                                                         int modes);
void __real_netsnmp_handler_registration_free(netsnmp_handler_registration* registration);
int __real_snmp_set_var_typed_value(netsnmp_variable_list* variable, u_char type, const void* value,
                                    std::size_t length);
void __real_snmp_free_varbind(netsnmp_variable_list* list);
int __real_msgget(key_t key, int flags);
ssize_t __real_msgrcv(int queue, void* message, std::size_t size, long type, int flags);

void* __wrap_calloc(std::size_t count, std::size_t size)
{
    const OwnAllocations own;
    zantest::Interposed& state = interposed();
    if (!state.watchCalloc) {
        return __real_calloc(count, size);
    }
    state.callocs.push_back(count * size);
    if (state.failCallocs.count(state.callocs.size() - 1) != 0) {
        return nullptr;
    }
    void* memory = __real_calloc(count, size);
    state.callocated.insert(memory);
    return memory;
}

void __wrap_free(void* memory)
{
    if (interposed().watchCalloc) {
        const OwnAllocations own;
        interposed().watchCalloc = false; // the set's own nodes come here too
        interposed().callocated.erase(memory);
        interposed().watchCalloc = true;
    }
    __real_free(memory);
}

CURL* __wrap_curl_easy_init()
{
    if (interposed().failCurlInit) {
        return nullptr;
    }
    CURL* handle = __real_curl_easy_init();
    interposed().curlInits += handle != nullptr ? 1 : 0;
    return handle;
}

CURLcode __wrap_curl_easy_setopt(CURL* handle, int option, ...)
{
    const OwnAllocations own;
    zantest::Interposed& state = interposed();
    const bool fails = state.failCurlOption == option;
    std::string value;
    CURLcode result = CURLE_OK;
    va_list arguments;
    va_start(arguments, option);
    if (option < CURLOPTTYPE_OBJECTPOINT) {
        const long number = va_arg(arguments, long);
        value = std::to_string(number);
        result = fails ? CURLE_UNKNOWN_OPTION : __real_curl_easy_setopt(handle, option, number);
    } else {
        // A pointer to a function is passed like one to an object on every platform that the agent runs on.
        void* pointer = va_arg(arguments, void*);
        if (option == CURLOPT_URL || option == CURLOPT_UNIX_SOCKET_PATH) {
            value = static_cast<const char*>(pointer);
        } else if (pointer == reinterpret_cast<void*>(&zansnmp::appendResponse)) {
            value = "appendResponse";
        } else {
            value = pointer != nullptr ? "pointer" : "null";
        }
        result = fails ? CURLE_OUT_OF_MEMORY : __real_curl_easy_setopt(handle, option, pointer);
    }
    va_end(arguments);
    state.curlOptions.push_back({static_cast<CURLoption>(option), value});
    return result;
}

CURLcode __wrap_curl_easy_perform(CURL* handle)
{
    {
        const OwnAllocations own;
        ++interposed().transfers;
        journalize("request");
    }
    zantest::passSeconds(interposed().transferSeconds);
    return __real_curl_easy_perform(handle);
}

void __wrap_curl_easy_cleanup(CURL* handle)
{
    ++interposed().curlCleanups;
    __real_curl_easy_cleanup(handle);
}

netsnmp_handler_registration* __wrap_netsnmp_create_handler_registration(const char* name,
                                                                         Netsnmp_Node_Handler* handler,
                                                                         const oid* arcs, std::size_t length,
                                                                         int modes)
{
    const OwnAllocations own;
    zantest::Interposed& state = interposed();
    netsnmp_handler_registration* registration =
        state.failCreation ? nullptr
                           : __real_netsnmp_create_handler_registration(name, handler, arcs, length, modes);
    state.created.push_back({name, zantest::Oid(arcs, arcs + length), modes, handler, registration});
    journalize("create ", name);
    return registration;
}

void __wrap_netsnmp_handler_registration_free(netsnmp_handler_registration* registration)
{
    {
        const OwnAllocations own;
        interposed().freedRegistrations.push_back(registration);
    }
    __real_netsnmp_handler_registration_free(registration);
}

int __wrap_netsnmp_register_read_only_scalar(netsnmp_handler_registration* registration)
{
    const OwnAllocations own;
    journalize("register scalar ", registration->handlerName);
    interposed().registered.push_back({registration, nullptr});
    return MIB_REGISTERED_OK;
}

int __wrap_netsnmp_register_table_iterator(netsnmp_handler_registration* registration,
                                           netsnmp_iterator_info* info)
{
    const OwnAllocations own;
    journalize("register table ", registration->handlerName);
    interposed().registered.push_back({registration, info});
    return interposed().failTable ? MIB_DUPLICATE_REGISTRATION : MIB_REGISTERED_OK;
}

int __wrap_snmp_set_var_typed_value(netsnmp_variable_list* variable, u_char type, const void* value,
                                    std::size_t length)
{
    {
        const OwnAllocations own;
        interposed().typedValues.push_back({type, length});
    }
    if (interposed().failTypedValues > 0) {
        --interposed().failTypedValues;
        return 1;
    }
    return __real_snmp_set_var_typed_value(variable, type, value, length);
}

unsigned __wrap_snmp_alarm_register(unsigned seconds, unsigned flags, SNMPAlarmCallback* callback,
                                    void* clientArgument)
{
    const OwnAllocations own;
    journalize("alarm ", seconds, " ", flags);
    if (interposed().failAlarm) {
        return 0;
    }
    interposed().alarms.push_back({seconds, flags, callback, clientArgument});
    return static_cast<unsigned>(interposed().alarms.size());
}

void __wrap_send_v2trap(netsnmp_variable_list* list)
{
    const OwnAllocations own;
    std::vector<zantest::Varbind> varbinds;
    for (const netsnmp_variable_list* variable = list; variable != nullptr;
         variable = variable->next_variable) {
        varbinds.push_back(
            {zantest::Oid(variable->name, variable->name + variable->name_length), variable->type,
             std::string(reinterpret_cast<const char*>(variable->val.string), variable->val_len)});
    }
    interposed().traps.push_back(varbinds);
    interposed().trapLists.push_back(list);
}

void __wrap_snmp_free_varbind(netsnmp_variable_list* list)
{
    {
        const OwnAllocations own;
        interposed().freedLists.push_back(list);
    }
    __real_snmp_free_varbind(list);
}

int __wrap_msgget(key_t key, int flags)
{
    const OwnAllocations own;
    journalize("msgget ", key, " 0", std::oct, flags);
    if (interposed().failQueueOpen != 0) {
        errno = interposed().failQueueOpen;
        return -1;
    }
    return __real_msgget(key, flags);
}

ssize_t __wrap_msgrcv(int queue, void* message, std::size_t size, long type, int flags)
{
    const OwnAllocations own;
    interposed().queueReads.push_back({size, type, flags});
    if (interposed().failQueueRead != 0) {
        errno = interposed().failQueueRead;
        return -1;
    }
    return __real_msgrcv(queue, message, size, type, flags);
}
}
