/*
 * What an operator may use instead of the module: an AgentX subagent. It serves the radio group, the serial
 * number and the leases table from the same API below an OID of its own, with a cache that lives as long as
 * the module's.
 *
 * usage: zan-bench-agentx MASTER-SOCKET API-SOCKET BASE-OID LIFETIME
 */
#include "leasetable.h"

#include <curl/curl.h>
#include <jansson.h>

#include <signal.h>
#include <stdlib.h>

#define RADIO_QUERY "http://localhost/api?fields=system/capabilities,stats/radio"
#define ROUTER_QUERY "http://localhost/api?fields=system"
#define LEASES_QUERY "http://localhost/api?fields=dhcp"

enum { RADIO_MEID_OR_IMEI = 2, RADIO_RSSI = 5, RADIO_OBJECTS = 10, TEXT_SIZE = 64 };
static const char* api_socket;
static char radio[RADIO_OBJECTS][TEXT_SIZE]; /* by object, from 1 */
static char serial_number[TEXT_SIZE];
static netsnmp_tdata* leases;
static CURL* api;
static netsnmp_cache* caches[3];
static size_t cache_count;
static volatile sig_atomic_t running = 1;

struct buffer {
    char* data;
    size_t size;
};

static size_t append(char* data, size_t size, size_t count, void* target)
{
    struct buffer* buffer = target;
    char* grown = realloc(buffer->data, buffer->size + size * count);
    if (grown == NULL) {
        return 0;
    }
    memcpy(grown + buffer->size, data, size * count);
    buffer->data = grown;
    buffer->size += size * count;
    return size * count;
}

/* The answer to a query, to be released by the caller; null when there is none. */
static json_t* fetch(const char* url)
{
    struct buffer buffer = {NULL, 0};
    json_t* root = NULL;
    curl_easy_setopt(api, CURLOPT_UNIX_SOCKET_PATH, api_socket);
    curl_easy_setopt(api, CURLOPT_URL, url);
    curl_easy_setopt(api, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(api, CURLOPT_WRITEDATA, &buffer);
    if (curl_easy_perform(api) == CURLE_OK) {
        root = json_loadb(buffer.data, buffer.size, 0, NULL);
    }
    free(buffer.data);
    if (json_integer_value(json_object_get(root, "code")) != 200) {
        json_decref(root);
        return NULL;
    }
    return root;
}

static void copy_text(char* target, const json_t* object, const char* member, const char* unit)
{
    const char* text = json_string_value(json_object_get(object, member));
    if (text == NULL || *text == '\0') {
        *target = '\0';
    } else {
        snprintf(target, TEXT_SIZE, "%s%s", text, unit);
    }
}

static void copy_radio(const json_t* stats)
{
    static const char* const members[RADIO_OBJECTS] = {
        "type", NULL, "imsi", "firmware", "rssidBm", "network", "service", "carrier", "msid", "mdn",
    };
    for (int i = 0; i < RADIO_OBJECTS; ++i) {
        const char* member = members[i];
        if (i + 1 == RADIO_MEID_OR_IMEI) {
            member = strcmp(radio[0], "CDMA") == 0 ? "meid" : "imei";
        }
        copy_text(radio[i], stats, member, i + 1 == RADIO_RSSI ? "dBm" : "");
    }
}

static int load_radio(netsnmp_cache* cache, void* magic)
{
    json_t* root = fetch(RADIO_QUERY);
    const json_t* result = json_object_get(root, "result");
    (void)cache;
    (void)magic;
    if (root == NULL) {
        return -1;
    }
    if (json_is_true(json_object_get(json_object_get(result, "system_capabilities"), "cell"))) {
        copy_radio(json_object_get(result, "stats_radio"));
    } else {
        for (int i = 0; i < RADIO_OBJECTS; ++i) {
            snprintf(radio[i], TEXT_SIZE, "Unknown");
        }
    }
    json_decref(root);
    return 0;
}

static int load_router(netsnmp_cache* cache, void* magic)
{
    json_t* root = fetch(ROUTER_QUERY);
    (void)cache;
    (void)magic;
    if (root == NULL) {
        return -1;
    }
    copy_text(serial_number, json_object_get(json_object_get(root, "result"), "system"), "deviceId", "");
    json_decref(root);
    return 0;
}

static void free_nothing(netsnmp_cache* cache, void* magic)
{
    (void)cache;
    (void)magic;
}

static int load_leases(netsnmp_cache* cache, void* magic)
{
    json_t* root = fetch(LEASES_QUERY);
    const json_t* rows = json_object_get(json_object_get(json_object_get(root, "result"), "dhcp"), "leases");
    (void)cache;
    (void)magic;
    if (root == NULL) {
        return -1;
    }
    for (size_t i = 0; i < json_array_size(rows); ++i) {
        const json_t* row = json_array_get(rows, i);
        char ip[TEXT_SIZE];
        char mac[TEXT_SIZE];
        copy_text(ip, row, "ip", "");
        copy_text(mac, row, "mac", "");
        lease_table_add(leases, ip, mac, (u_long)json_integer_value(json_object_get(row, "expiration")));
    }
    json_decref(root);
    return 0;
}

static void free_leases(netsnmp_cache* cache, void* magic)
{
    (void)cache;
    (void)magic;
    lease_table_clear(leases);
}

static int handle_radio(netsnmp_mib_handler* handler, netsnmp_handler_registration* registration,
                        netsnmp_agent_request_info* request_info, netsnmp_request_info* requests)
{
    (void)handler;
    (void)request_info;
    for (netsnmp_request_info* request = requests; request != NULL; request = request->next) {
        const char* text = radio[request->requestvb->name[registration->rootoid_len - 2] - 1];
        snmp_set_var_typed_value(request->requestvb, ASN_OCTET_STR, text, strlen(text));
    }
    return SNMP_ERR_NOERROR;
}

static int handle_router(netsnmp_mib_handler* handler, netsnmp_handler_registration* registration,
                         netsnmp_agent_request_info* request_info, netsnmp_request_info* requests)
{
    (void)handler;
    (void)registration;
    (void)request_info;
    snmp_set_var_typed_value(requests->requestvb, ASN_OCTET_STR, serial_number, strlen(serial_number));
    return SNMP_ERR_NOERROR;
}

static netsnmp_mib_handler* cached(int lifetime, NetsnmpCacheLoad* load, NetsnmpCacheFree* release)
{
    netsnmp_cache* cache = netsnmp_cache_create(lifetime, load, release, NULL, 0);
    cache->flags |= NETSNMP_CACHE_DONT_AUTO_RELEASE;
    caches[cache_count++] = cache;
    return netsnmp_cache_handler_get(cache);
}

/* Registers below the base, whose memory has room for more arcs. */
static void register_objects(oid* base, size_t length, int lifetime)
{
    netsnmp_handler_registration* registration = NULL;

    base[length] = 3;
    registration =
        netsnmp_create_handler_registration("radio", handle_radio, base, length + 1, HANDLER_CAN_RONLY);
    netsnmp_register_scalar_group(registration, 1, RADIO_OBJECTS);
    netsnmp_inject_handler(registration, cached(lifetime, load_radio, free_nothing));

    base[length] = 8;
    base[length + 1] = 2;
    registration =
        netsnmp_create_handler_registration("serial", handle_router, base, length + 2, HANDLER_CAN_RONLY);
    netsnmp_register_scalar(registration);
    netsnmp_inject_handler(registration, cached(lifetime, load_router, free_nothing));

    base[length] = 11;
    base[length + 1] = 1;
    base[length + 2] = 2;
    leases = lease_table_register("leases", base, length + 3, &registration);
    netsnmp_inject_handler(registration, cached(lifetime, load_leases, free_leases));
}

static void stop(int number)
{
    (void)number;
    running = 0;
}

int main(int argc, char** argv)
{
    oid base[MAX_OID_LEN];
    size_t length = MAX_OID_LEN - 3;
    netsnmp_init_mib();
    if (argc != 5 || read_objid(argv[3], base, &length) == 0) {
        fprintf(stderr, "usage: %s MASTER-SOCKET API-SOCKET BASE-OID LIFETIME\n", argv[0]);
        return 2;
    }
    api_socket = argv[2];
    api = curl_easy_init();
    signal(SIGTERM, stop);
    snmp_enable_stderrlog();
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, argv[1]);
    const int lifetime = (int)strtol(argv[4], NULL, 10);
    init_agent("zan-bench-agentx");
    register_objects(base, length, lifetime);
    init_snmp("zan-bench-agentx");
    while (running) {
        agent_check_and_process(1);
        /* The cache helper takes no lifetime of 0. */
        for (size_t i = 0; lifetime == 0 && i < cache_count; ++i) {
            caches[i]->valid = 0;
        }
    }
    snmp_shutdown("zan-bench-agentx");
    curl_easy_cleanup(api);
    return 0;
}
