#include "zanmsgdispatcher.h"

#include "zangetter.h"
#include "zanjsondb.h"
#include "zanroot.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <net-snmp/agent/agent_trap.h>

#include <array>
#include <memory>

namespace zansnmp {

namespace {

/// snmpTrapOID.0 of SNMPv2-MIB
constexpr std::array<oid, 11> snmpTrapOid{1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};

/// Sends a notification without variables of its own: the agent adds sysUpTime.0 in front. Nobody could be
/// told of a failure, so that none is looked for.
void sendTrap(const ModuleOid& notification)
{
    netsnmp_variable_list* list = nullptr;
    snmp_varlist_add_variable(&list, snmpTrapOid.data(), snmpTrapOid.size(), ASN_OBJECT_ID,
                              notification.arcs.data(), notification.length * sizeof(oid));
    const std::unique_ptr<netsnmp_variable_list, decltype(&snmp_free_varbind)> variables(list,
                                                                                         snmp_free_varbind);
    send_v2trap(variables.get());
}

} // namespace

ZanTrapsConfig& ZanTrapsConfig::instance()
{
    static ZanTrapsConfig config;
    return config;
}

bool ZanTrapsConfig::Read() noexcept
{
    try {
        ZanCachedData query(apiUrl("/api?fields=snmp"), cacheLifetime); // a new one each time: never cached
        Json::Value result;
        if (!query.get(result)) {
            return false;
        }
        trapsEnabled = memberAt(result, {"snmp", "traps", "enabled"}).asBool();
        return true;
    } catch (...) {
        snmp_log(LOG_ERR, "exception caught");
        return false;
    }
}

ZanMsgDispatcher* ZanMsgDispatcher::instance()
{
    static ZanMsgDispatcher dispatcher;
    return &dispatcher;
}

int ZanMsgDispatcher::init() noexcept
{
    if (ZanTrapsConfig::instance().Read()) {
        return 0;
    }
    snmp_log(LOG_ERR, "Failed to obtain traps configuration.\n");
    return -1;
}

void ZanMsgDispatcher::dispatchMessage(long id) noexcept
{
    if (!ZanTrapsConfig::instance().isTrapsEnabled()) {
        snmp_log(LOG_DEBUG, "zanmsgdispatcher: SNMP traps disabled in configuration. Ignoring event.");
        return;
    }
    if (id < event1 || id > event11) {
        snmp_log(LOG_WARNING, "unknown notification received [%ld].\n", id);
        return;
    }
    sendTrap(belowRoot(notificationsArc, id, 1));
}

} // namespace zansnmp
