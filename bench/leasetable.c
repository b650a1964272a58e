#include "leasetable.h"

#include <stdlib.h>

enum { COLUMN_POSITION = 1, COLUMN_IP, COLUMN_MAC, COLUMN_EXPIRATION };

struct lease {
    char ip[16];
    char mac[18];
    u_long expiration; /* hundredths of a second */
};

static void answer(netsnmp_variable_list* variable, const netsnmp_tdata_row* row, unsigned column)
{
    const struct lease* lease = row->data;
    switch (column) {
    case COLUMN_POSITION:
        snmp_set_var_typed_integer(variable, ASN_INTEGER, *row->indexes->val.integer - 1);
        break;
    case COLUMN_IP:
        snmp_set_var_typed_value(variable, ASN_OCTET_STR, lease->ip, strlen(lease->ip));
        break;
    case COLUMN_MAC:
        snmp_set_var_typed_value(variable, ASN_OCTET_STR, lease->mac, strlen(lease->mac));
        break;
    default:
        snmp_set_var_typed_integer(variable, ASN_TIMETICKS, (long)lease->expiration);
    }
}

static int handle(netsnmp_mib_handler* handler, netsnmp_handler_registration* registration,
                  netsnmp_agent_request_info* request_info, netsnmp_request_info* requests)
{
    (void)handler;
    (void)registration;
    for (netsnmp_request_info* request = requests; request != NULL; request = request->next) {
        const netsnmp_tdata_row* row = netsnmp_tdata_extract_row(request);
        const netsnmp_table_request_info* cell = netsnmp_extract_table_info(request);
        if (row != NULL && cell != NULL) {
            answer(request->requestvb, row, cell->colnum);
        } else {
            netsnmp_set_request_error(request_info, request, SNMP_NOSUCHINSTANCE);
        }
    }
    return SNMP_ERR_NOERROR;
}

netsnmp_tdata* lease_table_register(const char* name, const oid* table_oid, size_t length,
                                    netsnmp_handler_registration** registration)
{
    netsnmp_tdata* table = netsnmp_tdata_create_table(name, 0);
    netsnmp_table_registration_info* info = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
    *registration = netsnmp_create_handler_registration(name, handle, table_oid, length, HANDLER_CAN_RONLY);
    netsnmp_table_helper_add_indexes(info, ASN_INTEGER, 0);
    info->min_column = COLUMN_POSITION;
    info->max_column = COLUMN_EXPIRATION;
    netsnmp_tdata_register(*registration, table, info);
    return table; /* the library owns the info now. NOLINT(clang-analyzer-unix.Malloc) */
}

void lease_table_add(netsnmp_tdata* table, const char* ip, const char* mac, u_long expiration)
{
    const long index = netsnmp_tdata_row_count(table) + 1;
    netsnmp_tdata_row* row = netsnmp_tdata_create_row();
    struct lease* lease = calloc(1, sizeof(*lease));
    if (row == NULL || lease == NULL) {
        abort();
    }
    snprintf(lease->ip, sizeof(lease->ip), "%s", ip);
    snprintf(lease->mac, sizeof(lease->mac), "%s", mac);
    lease->expiration = 100 * expiration;
    row->data = lease;
    netsnmp_tdata_row_add_index(row, ASN_INTEGER, &index, sizeof(index));
    netsnmp_tdata_add_row(table, row);
}

void lease_table_clear(netsnmp_tdata* table)
{
    netsnmp_tdata_row* row = NULL;
    while ((row = netsnmp_tdata_row_first(table)) != NULL) {
        free(netsnmp_tdata_remove_and_delete_row(table, row));
    }
}
