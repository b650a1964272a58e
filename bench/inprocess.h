#pragma once

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <initializer_list>
#include <memory>
#include <vector>

/// The module in an agent of this process: no packets, no socket. The executable stands in for libcurl
/// itself, so that the API's answers cost nothing but what the module makes of them, and puts itself in front
/// of the library's clock.
namespace zanbench {

struct FreeVariable {
    void operator()(netsnmp_variable_list* variable) const { snmp_free_varbind(variable); }
};
using Variable = std::unique_ptr<netsnmp_variable_list, FreeVariable>;

/// Starts the agent with the module in it. Once in a process.
/// @param leaseCount  how many leases the API knows
void startAgent(unsigned leaseCount);

/// Another number of leases; every cache is expired.
void setLeaseCount(unsigned leaseCount);

/// Stops the clock of the caches at this moment, so that reading it costs nothing.
void stopClock();

/// Lets every cache of the module expire.
void expireCaches();

/// One object below the module's root.1, asked for as the agent asks once it has found its registration.
class Request {
public:
    /// @param mode  MODE_GET or MODE_GETNEXT
    /// @param arcs  the object's, with its instance
    /// @throws std::runtime_error  when nothing is registered there
    Request(int mode, std::initializer_list<oid> arcs);

    /// Asks, and returns the answered variable.
    Variable ask() const;

private:
    int requestMode;
    std::vector<oid> name;
    netsnmp_subtree* subtree; ///< the agent's
};

} // namespace zanbench
