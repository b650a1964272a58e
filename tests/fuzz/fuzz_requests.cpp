// Whatever a manager sends, as a datagram, through the agent to the module and back.
//
// The agent of this process has the module's objects registered and lets everybody read and write them; its
// transport is the input. There is one answer at most, a well-formed one; the module logs nothing but its
// requests to the API; and a GET of the serial number gives the same answer as ever after it.

#include "support/bermutator.h"
#include "support/world.h"

#include "zanroot.h"

#include <net-snmp/agent/agent_callbacks.h>
#include <net-snmp/agent/ds_agent.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <sys/eventfd.h>
#include <unistd.h>

// The agent's access control, which is not asked here.
extern "C" int vacm_in_view_callback(int major, int minor, void* serverarg, void* clientarg);

namespace {

using namespace world;

/// A transport of one datagram, which is given by the fuzzer, and what is sent in return.
struct Exchange {
    std::string request;
    std::size_t answers = 0;
    std::string answer;
};

Exchange& exchange()
{
    static Exchange exchange;
    return exchange;
}

const oid ownDomain[] = {1, 3, 6, 1, 6, 1, 32473};

/// The peer's address, without which the agent answers nobody.
void* anAddress()
{
    return calloc(1, 64);
}

int receiveRequest(netsnmp_transport*, void* buffer, int size, void** address, int* addressLength)
{
    const std::size_t length = std::min(exchange().request.size(), static_cast<std::size_t>(size));
    std::memcpy(buffer, exchange().request.data(), length);
    *address = anAddress();
    *addressLength = 64;
    return static_cast<int>(length);
}

int sendAnswer(netsnmp_transport*, const void* buffer, int size, void**, int*)
{
    ++exchange().answers;
    exchange().answer.assign(static_cast<const char*>(buffer), static_cast<std::size_t>(size));
    return size;
}

int closeTransport(netsnmp_transport* transport)
{
    return close(transport->sock);
}

char* formatAddress(netsnmp_transport*, const void*, int)
{
    return strdup("callback: the fuzzer");
}

int descriptor = -1;

void openTransport()
{
    auto* transport = static_cast<netsnmp_transport*>(calloc(1, sizeof(netsnmp_transport)));
    descriptor = eventfd(0, EFD_CLOEXEC);
    transport->sock = descriptor;
    transport->domain = ownDomain;
    transport->domain_length = static_cast<int>(std::size(ownDomain));
    transport->msgMaxSize = 65507;
    transport->f_recv = receiveRequest;
    transport->f_send = sendAnswer;
    transport->f_close = closeTransport;
    transport->f_fmtaddr = formatAddress;
    require(netsnmp_register_agent_nsap(transport) > 0, "the agent does not take the transport");
}

/// Gives the agent a datagram, and looks at what it sends.
void ask(const std::string& datagram)
{
    exchange() = {datagram, 0, {}};
    fd_set ready;
    FD_ZERO(&ready);
    FD_SET(descriptor, &ready);
    snmp_read(&ready);
    netsnmp_check_outstanding_agent_requests();
    require(exchange().answers <= 1, "more than one answer");
}

/// A GET of the serial number.
std::string probe;
std::string rightAnswer;

/// The answer to it.
std::string askProbe()
{
    ask(probe);
    return exchange().answer;
}

std::string encodedProbe()
{
    const auto name = zansnmp::belowRoot(zansnmp::objectsArc, 8, 2, 0);
    netsnmp_pdu* pdu = snmp_pdu_create(SNMP_MSG_GET);
    snmp_add_null_var(pdu, name.arcs.data(), name.length);
    netsnmp_session session{};
    snmp_sess_init(&session);
    session.version = pdu->version = SNMP_VERSION_2c;
    pdu->reqid = 7;
    pdu->community = reinterpret_cast<u_char*>(strdup("public"));
    pdu->community_len = 6;
    u_char* packet = static_cast<u_char*>(std::malloc(256));
    std::size_t size = 256;
    std::size_t used = 0;
    require(snmp_build(&packet, &size, &used, &session, pdu) == 0, "a GET that cannot be encoded");
    std::string encoded(reinterpret_cast<const char*>(packet) + size - used, used); // it is built backwards
    std::free(packet);
    snmp_free_pdu(pdu);
    return encoded;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    setenv("MIBS", "", 1);
    setenv("SNMP_PERSISTENT_DIR", "/dev/null", 1); // nothing is kept there
    netsnmp_register_loghandler(NETSNMP_LOGHANDLER_NONE, LOG_DEBUG);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
    init_agent("fuzz");
    init_snmp("fuzz");
    for (const int question : {SNMPD_CALLBACK_ACM_CHECK_INITIAL, SNMPD_CALLBACK_ACM_CHECK}) {
        snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, question, vacm_in_view_callback, nullptr, 0);
    }
    registerInAgent();
    startModule(true);
    openTransport();
    const std::string rows =
        R"([{"name":"a","enabled":true,"ip":"10.0.0.2","mac":"02:00:5e:00:00:01","expiration":3600},{"name":"b"}])";
    std::string result = resultWithRows(rows, R"({"ipAddress":"10.0.0.5","enabled":true,"logLevel":35})");
    result.back() = ',';
    api().text = envelope(result + R"("system":{"deviceId":"SN0012345678","uptime":"12345.67"}})");
    passTime(5);
    log().record = true;
    probe = encodedProbe();
    rightAnswer = askProbe();
    require(rightAnswer.find("SN0012345678") != std::string::npos, "the agent does not answer");
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed)
{
    return mutateBer(data, size, maxSize, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    passTime(1);
    log().lines.clear();
    ask(std::string(reinterpret_cast<const char*>(data), size));
    if (exchange().answers == 1) {
        require(isBer(exchange().answer), "an answer that is not well-formed");
    }
    require(askProbe() == rightAnswer, "the next answer is another");
    require(std::all_of(log().lines.begin(), log().lines.end(),
                        [](const LogLine& line) { return line.priority == LOG_DEBUG; }),
            "a request leaves a line in the log");
    return 0;
}
