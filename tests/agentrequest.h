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

/// A variable of a request: owns what the library allocates in it.
class Variable {
public:
    Variable() { variable.type = ASN_NULL; }
    ~Variable() { snmp_free_var_internals(&variable); }

    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

    netsnmp_variable_list* get() { return &variable; }
    const netsnmp_variable_list* get() const { return &variable; }

private:
    netsnmp_variable_list variable{};
};

/// A request for one value, as it reaches a handler, with what the helpers in front of it attach.
class HandlerRequest {
public:
    HandlerRequest() { request.requestvb = answered.get(); }
    ~HandlerRequest() { netsnmp_free_request_data_sets(&request); }

    HandlerRequest(const HandlerRequest&) = delete;
    HandlerRequest& operator=(const HandlerRequest&) = delete;

    /// Attaches the row context that the iterator helper has chosen; not owned.
    void setRow(void* rowContext)
    {
        netsnmp_request_add_list_data(&request,
                                      netsnmp_create_data_list(TABLE_ITERATOR_NAME, rowContext, nullptr));
    }

    /// Attaches the table helper's idea of the cell.
    void setColumn(unsigned column)
    {
        tableInfo.colnum = column;
        netsnmp_request_add_list_data(&request,
                                      netsnmp_create_data_list(TABLE_HANDLER_NAME, &tableInfo, nullptr));
    }

    netsnmp_request_info& info() { return request; }
    const netsnmp_variable_list& variable() const { return *answered.get(); }

private:
    Variable answered;
    netsnmp_request_info request{};
    netsnmp_table_request_info tableInfo{};
};
