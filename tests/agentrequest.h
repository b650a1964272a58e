#pragma once

// Shared by all programs that call the module's handlers without an agent.

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

/// What the agent tells handlers of a manager's request: another request each time.
class AgentRequest {
public:
    explicit AgentRequest(int mode)
    {
        static long transaction = 0;
        pdu.transid = ++transaction;
        session.pdu = &pdu;
        info.asp = &session;
        info.mode = mode;
    }

    ~AgentRequest() = default;

    AgentRequest(const AgentRequest&) = delete;
    AgentRequest& operator=(const AgentRequest&) = delete;

    netsnmp_agent_request_info* get() { return &info; }

private:
    netsnmp_pdu pdu{};
    netsnmp_agent_session session{};
    netsnmp_agent_request_info info{};
};
