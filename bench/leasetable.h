/* A table of leases in memory, with the module's columns, served by the agent library's sorted table helper.
 */
#pragma once

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

/* An empty table, registered at the OID; the agent keeps both for good. The registration is for adding
 * helpers. */
netsnmp_tdata* lease_table_register(const char* name, const oid* table_oid, size_t length,
                                    netsnmp_handler_registration** registration);

/* Adds the next row; the texts are copied. The expiration is in seconds. */
void lease_table_add(netsnmp_tdata* table, const char* ip, const char* mac, u_long expiration);

/* Removes all rows. */
void lease_table_clear(netsnmp_tdata* table);
