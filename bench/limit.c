/*
 * The limit of the comparison: the leases lie in the agent's own memory. No module that has to ask somebody
 * else can be faster.
 *
 * ZAN_LIMIT_ROWS in the agent's environment is the number of rows.
 */
#include "leasetable.h"
#include "zanconfig.h"

#include <stdlib.h>

/* The entry that the agent's loader calls. */
void init_zanlimit(void);
void init_zanlimit(void)
{
    const oid table_oid[] = {1, 3, 6, 1, 4, 1, ZAN_ENTERPRISE_NUMBER, 14, 90, 1, 11, 1, 2};
    const char* rows = getenv("ZAN_LIMIT_ROWS");
    netsnmp_handler_registration* registration = NULL;
    netsnmp_tdata* table = lease_table_register("zanlimit", table_oid, OID_LENGTH(table_oid), &registration);
    for (long i = 0; rows != NULL && i < strtol(rows, NULL, 10); ++i) {
        const unsigned high = (unsigned)i / 256 % 256;
        const unsigned low = (unsigned)i % 256;
        char ip[16];
        char mac[18];
        snprintf(ip, sizeof(ip), "10.20.%u.%u", high, low);
        snprintf(mac, sizeof(mac), "00:00:5e:00:%02x:%02x", high, low);
        lease_table_add(table, ip, mac, 3600 + (u_long)i);
    }
}
