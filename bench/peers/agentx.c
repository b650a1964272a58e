/*
 * What an operator may use instead of the module: an AgentX subagent. It serves scalars of all groups and the
 * leases table from the same API below an OID of its own, with a cache that lives as long as the module's.
 *
 * usage: zan-bench-agentx MASTER-SOCKET API-SOCKET BASE-OID LIFETIME
 */
#include "leasetable.h"

#include <curl/curl.h>
#include <jansson.h>

#include <signal.h>
#include <stdlib.h>

enum { RADIO_MEID_OR_IMEI = 2, RADIO_RSSI = 5, RADIO_OBJECTS = 10, TEXT_SIZE = 64 };

/* The queries, and their URLs in the same order. */
enum query { RADIO, ROUTER, LEASES, REMOTE, WAN, CELLULAR, ETHERNET, WIFI, SERIAL, SERVICES, ACCESS, FIREWALL };
static const char* const urls[] = {
    "http://localhost/api?fields=system/capabilities,stats/radio",
    "http://localhost/api?fields=system",
    "http://localhost/api?fields=dhcp",
    "http://localhost/api/remoteManagement/enabled",
    "http://localhost/api?fields=wanmngr,waninfo",
    "http://localhost/api?fields=system/capabilities,ppp,stats/ppp,stats/pppTotal",
    "http://localhost/api?fields=system,stats/eth,dhcp,dns",
    "http://localhost/api?fields=system,stats/wlan,wifi",
    "http://localhost/api?fields=ipPipes/SERIAL2IP,stats/serial,serial",
    "http://localhost/api?fields=sntp/enabled,smtp,sms,dns,ddns,radius,syslog/remote,stats/service,stats/dns",
    "http://localhost/api?fields=remoteAccess",
    "http://localhost/api?fields=filters,nat",
};

enum kind { TEXT, FLAG, TRANSPORT, RULES };

/* A scalar beside those of the radio. */
static struct object {
    enum query query;
    enum kind kind;
    oid arcs[3]; /* below the base, filled with 0 */
    const char* path[3]; /* members of the result; of RULES the list, the selector and its value */
    char text[TEXT_SIZE];
    int number;
} objects[] = {
    {REMOTE, FLAG, {1, 1}, {NULL}, "", 0},
    {WAN, TRANSPORT, {2, 1}, {"waninfo", "wans"}, "", 0},
    {CELLULAR, FLAG, {4, 1}, {"ppp", "enabled"}, "", 0},
    {CELLULAR, TEXT, {4, 2}, {"stats_ppp", "link"}, "", 0},
    {CELLULAR, TEXT, {4, 3}, {"ppp", "modem", "apnString"}, "", 0},
    {CELLULAR, FLAG, {4, 6}, {"stats_ppp", "roaming"}, "", 0},
    {CELLULAR, TEXT, {4, 7}, {"stats_ppp", "tower"}, "", 0},
    {CELLULAR, TEXT, {4, 8}, {"stats_ppp", "localIp"}, "", 0},
    {CELLULAR, TEXT, {4, 10}, {"ppp", "protocol"}, "", 0},
    {CELLULAR, FLAG, {4, 11, 1}, {"ppp", "keepAlive", "enabled"}, "", 0},
    {CELLULAR, TEXT, {4, 11, 2}, {"ppp", "keepAlive", "hostname"}, "", 0},
    {CELLULAR, FLAG, {4, 12, 1}, {"ppp", "wakeUpOnCall", "enabled"}, "", 0},
    {CELLULAR, FLAG, {4, 12, 2}, {"ppp", "wakeUpOnCall", "onRing"}, "", 0},
    {CELLULAR, FLAG, {4, 12, 3}, {"ppp", "wakeUpOnCall", "onCallerId"}, "", 0},
    {CELLULAR, FLAG, {4, 12, 4}, {"ppp", "wakeUpOnCall", "onSms"}, "", 0},
    {ETHERNET, TEXT, {5, 1}, {"system", "macAddress"}, "", 0},
    {ETHERNET, TEXT, {5, 2}, {"stats_eth", "ip"}, "", 0},
    {ETHERNET, TEXT, {5, 3}, {"stats_eth", "mask"}, "", 0},
    {WIFI, TEXT, {6, 3}, {"system", "macWifi"}, "", 0},
    {SERIAL, FLAG, {7, 1}, {"ipPipes_SERIAL2IP", "enabled"}, "", 0},
    {SERIAL, TEXT, {7, 2}, {"ipPipes_SERIAL2IP", "mode"}, "", 0},
    {SERIAL, TEXT, {7, 3}, {"ipPipes_SERIAL2IP", "protocol"}, "", 0},
    {SERIAL, TEXT, {7, 8}, {"stats_serial", "dcd"}, "", 0},
    {SERIAL, FLAG, {7, 9}, {"serial", "modbus"}, "", 0},
    {ROUTER, TEXT, {8, 1}, {"system", "productId"}, "", 0},
    {ROUTER, TEXT, {8, 2}, {"system", "deviceId"}, "", 0},
    {ROUTER, TEXT, {8, 3}, {"system", "firmware"}, "", 0},
    {SERVICES, FLAG, {9, 1, 1}, {"dns", "enabled"}, "", 0},
    {SERVICES, TEXT, {9, 2}, {"dns", "primary"}, "", 0},
    {SERVICES, TEXT, {9, 3}, {"dns", "secondary"}, "", 0},
    {SERVICES, FLAG, {10, 1}, {"ddns", "enabled"}, "", 0},
    {SERVICES, TEXT, {10, 2}, {"ddns", "server"}, "", 0},
    {LEASES, FLAG, {11, 1, 1}, {"dhcp", "enabled"}, "", 0},
    {SERVICES, FLAG, {12, 1}, {"sms", "enabled"}, "", 0},
    {SERVICES, FLAG, {13, 1}, {"smtp", "enabled"}, "", 0},
    {SERVICES, FLAG, {14, 1}, {"sntp_enabled"}, "", 0},
    {SERVICES, TEXT, {15, 1, 1}, {"stats_service", "ddns", "status"}, "", 0},
    {SERVICES, TEXT, {15, 1, 2}, {"stats_service", "sntp", "status"}, "", 0},
    {SERVICES, TEXT, {15, 1, 3}, {"stats_service", "keepAlive", "status"}, "", 0},
    {SERVICES, TEXT, {15, 1, 4}, {"stats_service", "dialOnDemand", "status"}, "", 0},
    {SERVICES, TEXT, {15, 1, 5}, {"stats_service", "smtp", "status"}, "", 0},
    {SERVICES, TEXT, {15, 1, 6}, {"stats_service", "sms", "status"}, "", 0},
    {FIREWALL, RULES, {16, 1}, {"nat", "target", "DNAT"}, "", 0},
    {FIREWALL, RULES, {16, 2}, {"filters", "chain", "INPUT"}, "", 0},
    {SERVICES, FLAG, {19, 1}, {"radius", "authEnabled"}, "", 0},
    {SERVICES, FLAG, {19, 2}, {"radius", "acctEnabled"}, "", 0},
    {SERVICES, TEXT, {19, 3}, {"radius", "host"}, "", 0},
    {SERVICES, TEXT, {19, 4}, {"radius", "secondaryHost"}, "", 0},
    {SERVICES, TEXT, {19, 5}, {"radius", "authType"}, "", 0},
    {ACCESS, FLAG, {21, 2, 1}, {"remoteAccess", "ssh", "enabled"}, "", 0},
};

enum { OBJECTS = sizeof(objects) / sizeof(objects[0]), URLS = sizeof(urls) / sizeof(urls[0]) };

static const char* api_socket;
static char radio[RADIO_OBJECTS][TEXT_SIZE]; /* by object, from 1 */
static netsnmp_tdata* leases;
static CURL* api;
static netsnmp_cache* caches[URLS]; /* by query; the objects of a query share its cache */
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

static const json_t* at(const json_t* value, const char* const* path, size_t length)
{
    for (size_t i = 0; i < length && path[i] != NULL; ++i) {
        value = json_object_get(value, path[i]);
    }
    return value;
}

static const char* transport(const json_t* links)
{
    for (size_t i = 0; i < json_array_size(links); ++i) {
        const json_t* link = json_array_get(links, i);
        const char* name = json_string_value(json_object_get(link, "interface"));
        if (json_is_true(json_object_get(link, "current")) && name != NULL) {
            if (strcmp(name, "ppp0") == 0) {
                return "Cellular";
            }
            if (strcmp(name, "wlan0") == 0) {
                return "WiFi";
            }
        }
    }
    return "None";
}

static int enabled_rules(const json_t* rules, const char* selector, const char* value)
{
    int count = 0;
    for (size_t i = 0; i < json_array_size(rules); ++i) {
        const json_t* rule = json_array_get(rules, i);
        const char* text = json_string_value(json_object_get(rule, selector));
        count += text != NULL && strcmp(text, value) == 0 && json_is_true(json_object_get(rule, "enabled"));
    }
    return count;
}

static void copy_object(struct object* object, const json_t* result)
{
    const json_t* value = at(result, object->path, object->kind == RULES ? 1 : 3);
    const char* text = NULL;
    switch (object->kind) {
    case TEXT:
        text = json_string_value(value);
        break;
    case FLAG:
        text = json_is_true(value) ? "True" : "False";
        break;
    case TRANSPORT:
        text = transport(value);
        break;
    case RULES:
        object->number = enabled_rules(value, object->path[1], object->path[2]);
        break;
    }
    snprintf(object->text, TEXT_SIZE, "%s", text != NULL ? text : "");
}

static void copy_leases(const json_t* result)
{
    const json_t* rows = json_object_get(json_object_get(result, "dhcp"), "leases");
    for (size_t i = 0; i < json_array_size(rows); ++i) {
        const json_t* row = json_array_get(rows, i);
        char ip[TEXT_SIZE];
        char mac[TEXT_SIZE];
        copy_text(ip, row, "ip", "");
        copy_text(mac, row, "mac", "");
        lease_table_add(leases, ip, mac, (u_long)json_integer_value(json_object_get(row, "expiration")));
    }
}

/* Asks a cache's query, and keeps what its objects need. */
static int load(netsnmp_cache* cache, void* magic)
{
    size_t query = 0;
    while (caches[query] != cache) {
        ++query;
    }
    (void)magic;
    json_t* root = fetch(urls[query]);
    const json_t* result = json_object_get(root, "result");
    if (root == NULL) {
        return -1;
    }
    if (query == RADIO) {
        copy_radio(json_object_get(result, "stats_radio"));
    }
    if (query == LEASES) {
        copy_leases(result);
    }
    for (size_t i = 0; i < OBJECTS; ++i) {
        if (objects[i].query == query) {
            copy_object(&objects[i], result);
        }
    }
    json_decref(root);
    return 0;
}

static void release(netsnmp_cache* cache, void* magic)
{
    (void)magic;
    if (cache == caches[LEASES]) {
        lease_table_clear(leases);
    }
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

static int handle_object(netsnmp_mib_handler* handler, netsnmp_handler_registration* registration,
                         netsnmp_agent_request_info* request_info, netsnmp_request_info* requests)
{
    const struct object* object = registration->my_reg_void;
    (void)handler;
    (void)request_info;
    if (object->kind == RULES) {
        snmp_set_var_typed_integer(requests->requestvb, ASN_INTEGER, object->number);
    } else {
        snmp_set_var_typed_value(requests->requestvb, ASN_OCTET_STR, object->text, strlen(object->text));
    }
    return SNMP_ERR_NOERROR;
}

static netsnmp_mib_handler* cached(int lifetime, enum query query)
{
    if (caches[query] == NULL) {
        caches[query] = netsnmp_cache_create(lifetime, load, release, NULL, 0);
        caches[query]->flags |= NETSNMP_CACHE_DONT_AUTO_RELEASE;
    }
    return netsnmp_cache_handler_get(caches[query]);
}

/* Registers below the base, whose memory has room for more arcs. */
static void register_objects(oid* base, size_t length, int lifetime)
{
    netsnmp_handler_registration* registration = NULL;

    base[length] = 3;
    registration =
        netsnmp_create_handler_registration("radio", handle_radio, base, length + 1, HANDLER_CAN_RONLY);
    netsnmp_register_scalar_group(registration, 1, RADIO_OBJECTS);
    netsnmp_inject_handler(registration, cached(lifetime, RADIO));

    for (size_t i = 0; i < OBJECTS; ++i) {
        size_t arcs = objects[i].arcs[2] != 0 ? 3 : 2;
        memcpy(base + length, objects[i].arcs, arcs * sizeof(oid));
        registration = netsnmp_create_handler_registration("object", handle_object, base, length + arcs,
                                                           HANDLER_CAN_RONLY);
        registration->my_reg_void = &objects[i];
        netsnmp_register_scalar(registration);
        netsnmp_inject_handler(registration, cached(lifetime, objects[i].query));
    }

    base[length] = 11;
    base[length + 1] = 1;
    base[length + 2] = 2;
    leases = lease_table_register("leases", base, length + 3, &registration);
    netsnmp_inject_handler(registration, cached(lifetime, LEASES));
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
        for (size_t i = 0; lifetime == 0 && i < URLS; ++i) {
            caches[i]->valid = 0;
        }
    }
    snmp_shutdown("zan-bench-agentx");
    curl_easy_cleanup(api);
    return 0;
}
