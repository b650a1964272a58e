#include "inprocess.h"

#include "agentrequest.h"
#include "answers.h"
#include "zanjsondb.h"
#include "zanroot.h"
#include "zansnmpext.h"

#include <curl/curl.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>

#undef curl_easy_setopt

namespace {

/// A transfer as the module sets it up.
struct Transfer {
    std::string target;
    curl_write_callback write = nullptr;
    void* writeData = nullptr;
};

unsigned leases = 0;

/// The OID below the module's root.1.
std::vector<oid> nameOf(std::initializer_list<oid> arcs)
{
    std::vector<oid> name(zansnmp::moduleRoot.begin(), zansnmp::moduleRoot.end());
    name.push_back(zansnmp::objectsArc);
    name.insert(name.end(), arcs);
    return name;
}

/// Uptimes are hundredths of a second.
long passed = 0;
long stoppedAt = 0; ///< 0: the clock runs

long uptimeOfLibrary()
{
    using Function = long (*)();
    static const auto function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "get_uptime"));
    return function();
}

/// The bodies of the answers, each made at the first request for it.
const std::string& bodyOf(const std::string& target)
{
    static std::map<std::pair<std::string, unsigned>, std::string> bodies;
    std::string& body = bodies[{target, leases}];
    if (body.empty()) {
        body = zanbench::Router(leases).bodyOf(target);
    }
    return body;
}

} // namespace

// What the module calls of libcurl. The answer arrives in one piece.
extern "C" {

CURL* curl_easy_init()
{
    return new Transfer;
}

CURLcode curl_easy_setopt(CURL* curl, CURLoption option, ...)
{
    auto* transfer = static_cast<Transfer*>(curl);
    std::va_list arguments;
    // Clang dislikes an enumeration in front of the dots, which is how libcurl has it, and its analyzer then
    // takes the list for uninitialised. NOLINTBEGIN(clang-analyzer-valist.Uninitialized)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wvarargs"
    va_start(arguments, option);
#pragma GCC diagnostic pop
    if (option == CURLOPT_URL) {
        const char* url = va_arg(arguments, const char*);
        transfer->target = std::strchr(std::strstr(url, "://") + 3, '/');
    } else if (option == CURLOPT_WRITEFUNCTION) {
        transfer->write = va_arg(arguments, curl_write_callback);
    } else if (option == CURLOPT_WRITEDATA) {
        transfer->writeData = va_arg(arguments, void*);
    }
    va_end(arguments);
    // NOLINTEND(clang-analyzer-valist.Uninitialized)
    return CURLE_OK;
}

CURLcode curl_easy_perform(CURL* curl)
{
    const auto* transfer = static_cast<const Transfer*>(curl);
    std::string body = bodyOf(transfer->target);
    return transfer->write(body.data(), 1, body.size(), transfer->writeData) == body.size()
               ? CURLE_OK
               : CURLE_WRITE_ERROR;
}

void curl_easy_cleanup(CURL* curl)
{
    delete static_cast<Transfer*>(curl);
}

long get_uptime()
{
    return (stoppedAt != 0 ? stoppedAt : uptimeOfLibrary()) + passed;
}
}

namespace zanbench {

void setLeaseCount(unsigned leaseCount)
{
    leases = leaseCount;
    expireCaches();
}

void stopClock()
{
    stoppedAt = uptimeOfLibrary();
}

void expireCaches()
{
    passed += 100 * static_cast<long>(zansnmp::cacheLifetime);
}

void startAgent(unsigned leaseCount)
{
    setLeaseCount(leaseCount);
    netsnmp_register_loghandler(NETSNMP_LOGHANDLER_NONE, LOG_DEBUG);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
    init_agent("zan-bench");
    init_zansnmpext();
}

Request::Request(int mode, std::initializer_list<oid> arcs)
    : requestMode(mode), name(nameOf(arcs)),
      subtree(netsnmp_subtree_find(name.data(), name.size(), nullptr, ""))
{
    if (subtree == nullptr || subtree->reginfo == nullptr) {
        throw std::runtime_error("no object is registered there");
    }
}

Variable Request::ask() const
{
    Variable variable(SNMP_MALLOC_TYPEDEF(netsnmp_variable_list));
    snmp_set_var_objid(variable.get(), name.data(), name.size());
    variable->type = ASN_NULL;
    AgentRequest agentRequest(requestMode);
    netsnmp_request_info request{};
    request.requestvb = variable.get();
    request.agent_req_info = agentRequest.get();
    request.subtree = subtree;
    request.range_end = subtree->end_a;
    request.range_end_len = subtree->end_len;
    netsnmp_call_handlers(subtree->reginfo, agentRequest.get(), &request);
    netsnmp_free_request_data_sets(&request);
    netsnmp_free_agent_data_sets(agentRequest.get());
    return variable;
}

} // namespace zanbench
