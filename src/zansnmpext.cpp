#include "zansnmpext.h"

#include "zangre.h"
#include "zanipsec.h"
#include "zanmsgdispatcher.h"
#include "zanmsgreceiver.h"
#include "zanopenvpn.h"
#include "zanproviders.h"
#include "zanroot.h"
#include "zanrsyslog.h"
#include "zanstaticroutes.h"
#include "zantable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <variant>

#include <link.h>

namespace zansnmp {

namespace {

using Provider = std::variant<std::string (*)(), std::int32_t (*)(), std::uint32_t (*)()>;

/// One read-only scalar object.
struct Scalar {
    const char* name;
    Provider provider;
    ModuleOid oid; ///< without the instance arc 0, which the agent's scalar helper adds
    u_char type;   ///< the ASN.1 type of the value
};

template <class... Arcs>
constexpr Scalar text(const char* name, std::string (*provider)(), Arcs... arcs)
{
    return {name, provider, objectOid(arcs...), ASN_OCTET_STR};
}

template <class Number, class... Arcs>
constexpr Scalar integer(const char* name, Number (*provider)(), Arcs... arcs)
{
    return {name, provider, objectOid(arcs...), ASN_INTEGER};
}

template <class Number, class... Arcs>
constexpr Scalar timeTicks(const char* name, Number (*provider)(), Arcs... arcs)
{
    return {name, provider, objectOid(arcs...), ASN_TIMETICKS};
}

// An object and its provider share one name; only the preprocessor can write it once.
#define ZAN_NAMED(name) #name, &zansnmp::name

/// All scalars, in ascending order of their OIDs: name and provider, then the arcs below root.1.
constexpr std::array scalars{
    text(ZAN_NAMED(zanRemoteManagementEnabled), 1, 1),
    text(ZAN_NAMED(zanWanManagerTransport), 2, 1),
    text(ZAN_NAMED(zanWanManagerPriority), 2, 2),
    text(ZAN_NAMED(zanRadioType), 3, 1),
    text(ZAN_NAMED(zanRadioMEIDorIMEI), 3, 2),
    text(ZAN_NAMED(zanRadioIMSI), 3, 3),
    text(ZAN_NAMED(zanRadioFirmware), 3, 4),
    text(ZAN_NAMED(zanRadioRSSI), 3, 5),
    text(ZAN_NAMED(zanRadioNetwork), 3, 6),
    text(ZAN_NAMED(zanRadioService), 3, 7),
    text(ZAN_NAMED(zanRadioHomeNetwork), 3, 8),
    text(ZAN_NAMED(zanRadioMSID), 3, 9),
    text(ZAN_NAMED(zanRadioMDN), 3, 10),
    text(ZAN_NAMED(zanRadioTemperature), 3, 11),
    text(ZAN_NAMED(zanCellularInterfaceEnabled), 4, 1),
    text(ZAN_NAMED(zanCellularInterfaceConnectionStatus), 4, 2),
    text(ZAN_NAMED(zanCellularInterfaceAPN), 4, 3),
    timeTicks(ZAN_NAMED(zanCellularInterfaceUptime), 4, 4),
    text(ZAN_NAMED(zanCellularInterfaceSignal), 4, 5),
    text(ZAN_NAMED(zanCellularInterfaceRoaming), 4, 6),
    text(ZAN_NAMED(zanCellularInterfaceTower), 4, 7),
    text(ZAN_NAMED(zanCellularInterfaceIP), 4, 8),
    text(ZAN_NAMED(zanCellularInterfaceDNS), 4, 9),
    text(ZAN_NAMED(zanCellularInterfaceMode), 4, 10),
    text(ZAN_NAMED(zanCellularInterfaceKeepAliveCheckEnabled), 4, 11, 1),
    text(ZAN_NAMED(zanCellularInterfaceKeepAliveCheckHostname), 4, 11, 2),
    integer(ZAN_NAMED(zanCellularInterfaceKeepAliveCheckInterval), 4, 11, 3),
    text(ZAN_NAMED(zanCellularInterfaceWakeUpOnCallEnabled), 4, 12, 1),
    text(ZAN_NAMED(zanCellularInterfaceWakeUpOnCallOnRing), 4, 12, 2),
    text(ZAN_NAMED(zanCellularInterfaceWakeUpOnCallerId), 4, 12, 3),
    text(ZAN_NAMED(zanCellularInterfaceWakeUpOnSMS), 4, 12, 4),
    text(ZAN_NAMED(zanCellularInterfaceStatsTxBytes), 4, 13, 1),
    text(ZAN_NAMED(zanCellularInterfaceStatsRxBytes), 4, 13, 2),
    text(ZAN_NAMED(zanCellularInterfaceStatsTxPkts), 4, 13, 3),
    text(ZAN_NAMED(zanCellularInterfaceStatsRxPkts), 4, 13, 4),
    text(ZAN_NAMED(zanEthernetInterfaceMAC), 5, 1),
    text(ZAN_NAMED(zanEthernetInterfaceIP), 5, 2),
    text(ZAN_NAMED(zanEthernetInterfaceMask), 5, 3),
    text(ZAN_NAMED(zanEthernetInterfaceGateway), 5, 4),
    text(ZAN_NAMED(zanEthernetInterfaceDNS), 5, 5),
    text(ZAN_NAMED(zanWiFiInterfaceEnabled), 6, 1),
    text(ZAN_NAMED(zanWiFiInterfaceMode), 6, 2),
    text(ZAN_NAMED(zanWiFiInterfaceMAC), 6, 3),
    text(ZAN_NAMED(zanWiFiInterfaceSSID), 6, 4),
    text(ZAN_NAMED(zanWiFiInterfaceConnectionStatus), 6, 5),
    text(ZAN_NAMED(zanWiFiInterfaceIP), 6, 6),
    text(ZAN_NAMED(zanWiFiInterfaceSignal), 6, 7),
    text(ZAN_NAMED(zanWiFiInterfaceSecurity), 6, 8),
    text(ZAN_NAMED(zanSerialToIPEnabled), 7, 1),
    text(ZAN_NAMED(zanSerialToIPMode), 7, 2),
    text(ZAN_NAMED(zanSerialToIPProtocol), 7, 3),
    integer(ZAN_NAMED(zanSerialToIPPort), 7, 4),
    text(ZAN_NAMED(zanSerialToIPServerIP), 7, 5),
    integer(ZAN_NAMED(zanSerialToIPTx), 7, 6),
    integer(ZAN_NAMED(zanSerialToIPRx), 7, 7),
    text(ZAN_NAMED(zanSerialToIPDCD), 7, 8),
    text(ZAN_NAMED(zanSerialToIPModbusGatewayEnabled), 7, 9),
    text(ZAN_NAMED(zanRouterModelId), 8, 1),
    text(ZAN_NAMED(zanRouterSerialNumber), 8, 2),
    text(ZAN_NAMED(zanRouterFirmware), 8, 3),
    timeTicks(ZAN_NAMED(zanRouterUptime), 8, 4),
    text(ZAN_NAMED(zanDNSForwarderEnabled), 9, 1, 1),
    text(ZAN_NAMED(zanDNSStaticPrimaryHost), 9, 2),
    text(ZAN_NAMED(zanDNSStaticSecondaryHost), 9, 3),
    text(ZAN_NAMED(zanDNSWanServers), 9, 4),
    text(ZAN_NAMED(zanDdnsEnabled), 10, 1),
    text(ZAN_NAMED(zanDdnsServiceProvider), 10, 2),
    text(ZAN_NAMED(zanDHCPServerEnabled), 11, 1, 1),
    text(ZAN_NAMED(zanSMSEnabled), 12, 1),
    text(ZAN_NAMED(zanSMTPEnabled), 13, 1),
    text(ZAN_NAMED(zanSNTPEnabled), 14, 1),
    text(ZAN_NAMED(zanDiagnosticsServiceDDNS), 15, 1, 1),
    text(ZAN_NAMED(zanDiagnosticsServiceSNTP), 15, 1, 2),
    text(ZAN_NAMED(zanDiagnosticsServiceKeepAlive), 15, 1, 3),
    text(ZAN_NAMED(zanDiagnosticsServiceDialOnDemand), 15, 1, 4),
    text(ZAN_NAMED(zanDiagnosticsServiceSMTP), 15, 1, 5),
    text(ZAN_NAMED(zanDiagnosticsServiceSMS), 15, 1, 6),
    text(ZAN_NAMED(zanDiagnosticsSNMP), 15, 1, 7),
    text(ZAN_NAMED(zanDiagnosticsRemoteSyslog), 15, 1, 8),
    integer(ZAN_NAMED(zanFirewallPreroutingRulesNumEnabled), 16, 1),
    integer(ZAN_NAMED(zanFirewallInputFilterRulesNumEnabled), 16, 2),
    integer(ZAN_NAMED(zanFirewallForwardFilterRulesNumEnabled), 16, 3),
    integer(ZAN_NAMED(zanFirewallOutputFilterRulesNumEnabled), 16, 4),
    integer(ZAN_NAMED(zanFirewallPostroutingRulesNumEnabled), 16, 5),
    text(ZAN_NAMED(zanRadiusAuthEnabled), 19, 1),
    text(ZAN_NAMED(zanRadiusAccountingEnabled), 19, 2),
    text(ZAN_NAMED(zanRadiusPrimaryHost), 19, 3),
    text(ZAN_NAMED(zanRadiusSecondaryHost), 19, 4),
    text(ZAN_NAMED(zanRadiusAuthType), 19, 5),
    integer(ZAN_NAMED(zanRadiusConnectTimeout), 19, 6),
    text(ZAN_NAMED(zanRemoteAccessIpDefenseEnabled), 21, 1, 1),
    text(ZAN_NAMED(zanRemoteAccessDoSPreventEnabled), 21, 1, 2),
    text(ZAN_NAMED(zanRemoteAccessPingLimitEnabled), 21, 1, 3),
    text(ZAN_NAMED(zanRemoteAccessBruteForcePrevEnabled), 21, 1, 4),
    text(ZAN_NAMED(zanRemoteAccessSSHEnabled), 21, 2, 1),
    text(ZAN_NAMED(zanRemoteAccessSSHWan), 21, 2, 2),
    text(ZAN_NAMED(zanRemoteAccessSSHLan), 21, 2, 3),
    text(ZAN_NAMED(zanRemoteAccessIcmpEnabled), 21, 3, 1),
    text(ZAN_NAMED(zanRemoteAccessIcmpWan), 21, 3, 2),
    text(ZAN_NAMED(zanRemoteAccessIcmpLan), 21, 3, 3),
    text(ZAN_NAMED(zanRemoteAccessHTTPEnabled), 21, 4, 1),
    text(ZAN_NAMED(zanRemoteAccessHTTPWan), 21, 4, 2),
    text(ZAN_NAMED(zanRemoteAccessHTTPLan), 21, 4, 3),
    text(ZAN_NAMED(zanRemoteAccessHTTPtoHTTPs), 21, 4, 4),
    text(ZAN_NAMED(zanRemoteAccessHTTPsEnabled), 21, 5, 1),
    text(ZAN_NAMED(zanRemoteAccessHTTPsWan), 21, 5, 2),
    text(ZAN_NAMED(zanRemoteAccessHTTPsLan), 21, 5, 3),
    integer(ZAN_NAMED(zanRemoteAccessHTTPSessionTimeout), 21, 6),
};

#undef ZAN_NAMED

constexpr bool allAscend()
{
    for (std::size_t i = 1; i < scalars.size(); ++i) {
        const auto& arcs = scalars[i].oid.arcs;
        const auto& before = scalars[i - 1].oid.arcs;
        std::size_t arc = 0;
        while (arc + 1 < arcs.size() && before[arc] == arcs[arc]) {
            ++arc;
        }
        if (before[arc] >= arcs[arc]) {
            return false;
        }
    }
    return true;
}

static_assert(allAscend(), "the scalars are registered in ascending order of their OIDs, each once");

void setValue(netsnmp_variable_list* variable, u_char, const std::string& value)
{
    setText(variable, value);
}

template <class Number>
void setValue(netsnmp_variable_list* variable, u_char type, Number value)
{
    static_assert(sizeof(value) == 4, "the library takes the 32 bits as they are by this length");
    snmp_set_var_typed_value(variable, type, &value, sizeof(value));
}

/// The GET handler of all scalars: which one is meant stands in its registration. Answers the first request
/// of the list only: the agent's scalar helper passes one at a time.
// NOLINTNEXTLINE(bugprone-exception-escape): no provider throws, and no variant is without a value.
int scalarHandler(netsnmp_mib_handler*, netsnmp_handler_registration* registration,
                  netsnmp_agent_request_info* requestInfo, netsnmp_request_info* requests) noexcept
{
    const Scalar& scalar = *static_cast<const Scalar*>(registration->my_reg_void);
    if (requestInfo->mode != MODE_GET) {
        snmp_log(LOG_ERR, "unknown mode (%d) in %s\n", requestInfo->mode, scalar.name);
        return SNMP_ERR_GENERR;
    }
    const Question question(requestInfo->asp->pdu->transid);
    std::visit([&](auto provider) { setValue(requests->requestvb, scalar.type, provider()); },
               scalar.provider);
    return SNMP_ERR_NOERROR;
}

void registerScalars()
{
    for (const Scalar& scalar : scalars) {
        netsnmp_handler_registration* registration = netsnmp_create_handler_registration(
            scalar.name, scalarHandler, scalar.oid.arcs.data(), scalar.oid.length, HANDLER_CAN_RONLY);
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the agent's type; it is only read.
        registration->my_reg_void = const_cast<Scalar*>(&scalar);
        netsnmp_register_read_only_scalar(registration);
    }
}

/// The agent keeps every registration over a reload of its configuration.
void registerObjectsOnce()
{
    static bool registered = false;
    if (registered) {
        return;
    }
    registered = true;
    registerScalars();
    init_zanIpsecTunnelsTable();
    init_zanGreTunnelsTable();
    init_zanOpenVpnTunnelsTable();
    init_zanStaticRoutesTable();
    init_zanDHCPServerLeasesTable();
    init_zanRemoteSyslogDestTable();
}

/// Whether the agent is linked to the library that the module was built for. If not, the loader has brought
/// that one along as a second, and every call still goes to the agent's, whose records may be laid out
/// otherwise.
bool madeForThisAgent()
{
    int libraries = 0;
    const auto count = [](dl_phdr_info* object, std::size_t, void* found) noexcept {
        *static_cast<int*>(found) += std::strstr(object->dlpi_name, "/libnetsnmpagent.so") != nullptr ? 1 : 0;
        return 0;
    };
    dl_iterate_phdr(count, &libraries);
    return libraries <= 1;
}

/// Seconds between two readings of the event queue.
constexpr unsigned alarmInterval = 5;

/// The alarm: drains the event queue of the receiver that is its client argument.
void consumeEvents(unsigned, void* clientArgument)
{
    if (clientArgument != nullptr) {
        static_cast<ZanMsgReceiver*>(clientArgument)->consumeMessages();
    }
}

void startNotifications(ZanMsgDispatcher* dispatcher, ZanMsgReceiver* receiver)
{
    if (dispatcher->init() != 0) {
        snmp_log(LOG_ERR, "message dispatcher is not created. Notifications will be disabled.\n");
        return;
    }
    if (!receiver->init(ZAN_ENTERPRISE_NUMBER, dispatcher)) {
        snmp_log(LOG_ERR, "system message queue hasn't created. Notifications will be disabled.\n");
        return;
    }
    // Once only: the receiver opens its queue no second time, and the alarm outlives a reload.
    snmp_alarm_register(alarmInterval, SA_REPEAT, consumeEvents, receiver);
}

} // namespace

} // namespace zansnmp

void init_zansnmpext(void)
{
    using namespace zansnmp;
    if (!madeForThisAgent()) {
        snmp_log(LOG_ERR,
                 "module and agent are built for different agent libraries. Nothing will be served.\n");
        return;
    }
    static ZanMsgDispatcher* const dispatcher = ZanMsgDispatcher::instance();
    static ZanMsgReceiver* const receiver = ZanMsgReceiver::instance();
    registerObjectsOnce();
    startNotifications(dispatcher, receiver);
    snmp_log(LOG_DEBUG, "zansnmpext:  initialization complete");
}
