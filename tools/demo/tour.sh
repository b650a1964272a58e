# shellcheck shell=bash
# The demo that ends by itself: what a manager sees of a router, step by step. Sourced by tools/demo/inside.

# shown_as TEXT COMMAND...: prints a command as a person would type it, and runs it.
shown_as() {
    printf '%s$ %s%s\n' "$BOLD" "$1" "$PLAIN"
    shift
    "$@" || true
}

shown() {
    shown_as "$*" "$@"
}

# from_tree PATH: a path as a person in the source tree would type it.
from_tree() {
    quoted "${1#"$ZAN_ROOT/"}"
}

# What the router's API was asked since the last mark_api; nothing is said of edits and faults.
mark_api() {
    API_MARK=$(wc -l <"$API_LOG")
}

requests_since_mark() {
    tail -n "+$((API_MARK + 1))" "$API_LOG" | grep ' GET ' || true
}

# Indents and dims what comes in.
dimmed() {
    sed "s/.*/  $DIM&$PLAIN/"
}

show_requests() {
    local requests
    requests=$(requests_since_mark)
    if [[ -z $requests ]]; then
        say "${DIM}The router's API was asked nothing.$PLAIN"
    else
        say "${DIM}The router's API was asked:$PLAIN"
        printf '%s\n' "$requests" | dimmed
    fi
}

value_of() {
    snmpget "${V2C[@]}" -Oqv "$AGENT" "$1"
}

# Whether reading the serial number made the agent ask the API.
fetched_just_now() {
    mark_api
    value_of zanRouterSerialNumber.0 >/dev/null
    [[ -n $(requests_since_mark) ]]
}

reads_unknown() {
    [[ $(value_of zanRouterSerialNumber.0) == Unknown ]]
}

# waiting TEXT SECONDS COMMAND...: waits with a sign of life.
waiting() {
    local text=$1 status=0
    shift
    [[ -z $ON_TERMINAL ]] || printf '%s%s ...%s' "$DIM" "$text" "$PLAIN"
    until_true "$@" || status=$?
    [[ -z $ON_TERMINAL ]] || printf '\r\e[K'
    return "$status"
}

show_values() {
    heading "Values of the router, read with snmpget"
    mark_api
    shown snmpget "${V2C[@]}" "$AGENT" zanRouterModelId.0 zanRouterSerialNumber.0 zanRouterUptime.0 \
        zanWanManagerTransport.0 zanCellularInterfaceSignal.0
    show_requests
}

show_cache() {
    heading "Once more within $CACHE_SECONDS seconds: answered from the cache"
    value_of zanRouterModelId.0 >/dev/null
    mark_api
    shown snmpget "${V2C[@]}" "$AGENT" zanRouterSerialNumber.0 zanRouterFirmware.0
    show_requests
}

show_walk() {
    heading "A walk of one group"
    shown snmpwalk "${V2C[@]}" "$AGENT" zanRadio
}

# The scalars of a walk with full names, as "object = value" below the name of their MIB group.
print_groups() {
    awk -v bold="$BOLD" -v plain="$PLAIN" '
        match($0, /\.zanObjects\./) && / = / {
            split(substr($0, RSTART + RLENGTH), sides, " = ")
            count = split(sides[1], names, ".")
            if (names[count] != "0")
                next
            if (names[1] != group)
                printf "%s%s%s\n", bold, group = names[1], plain
            printf "  %-46s %s\n", names[count - 1], substr($0, index($0, " = ") + 3)
        }'
}

show_groups() {
    local walk=$ZAN_TEMP/walk requests
    heading "All groups, from one walk of the module"
    mark_api
    printf '%s$ snmpbulkwalk %s %s zanObjects%s\n' "$BOLD" "${V2C[*]}" "$AGENT" "$PLAIN"
    local start=${EPOCHREALTIME/./}
    snmpbulkwalk "${V2C[@]}" -OQf "$AGENT" zanObjects | grep -v 'No more variables left' >"$walk"
    local took=$(((${EPOCHREALTIME/./} - start) / 1000))
    print_groups <"$walk"
    requests=$(requests_since_mark | sed 's/.* GET //')
    say "$DIM$(wc -l <"$walk") values, with those of the tables, in $took ms. The router's API was asked" \
        "$(wc -l <<<"$requests") times, no query twice.$PLAIN"
    [[ $(sort <<<"$requests" | uniq -d) == '' ]] || warn "a query was asked twice"
}

show_tables() {
    local table
    heading "The six tables, read with snmptable"
    for table in zanOpenVpnTunnelsTable zanIpsecTunnelsTable zanGreTunnelsTable zanStaticRoutesTable \
        zanDHCPServerLeasesTable zanRemoteSyslogDestTable; do
        shown snmptable "${V2C[@]}" -Ci -Cb "$AGENT" "$table" | sed '/^SNMP table:/d; /^$/d'
    done
}

show_versions() {
    heading "SNMPv1, and SNMPv3 with authentication and encryption"
    shown snmpget -v1 -c public "$AGENT" zanRouterSerialNumber.0
    shown snmpget -v3 -u demo -l authPriv -a SHA-256 -A demo-auth-phrase -x AES -X demo-priv-phrase "$AGENT" \
        zanRouterSerialNumber.0
}

start_trap_listener() {
    printf 'disableAuthorization yes\n' >"$DEMO/conf/snmptrapd.conf"
    : >"$TRAP_LOG"
    /usr/sbin/snmptrapd -f -C -c "$DEMO/conf/snmptrapd.conf" -n -OQ -Lo \
        -F '%02.2h:%02.2j:%02.2k  %v\n' "udp:127.0.0.1:$TRAP_PORT" >"$TRAP_LOG" 2>&1 &
    until_true 10 trap_port_open || die "snmptrapd did not start:" "$(cat "$TRAP_LOG")"
}

trap_port_open() {
    # Local address and port of every UDP socket, in hexadecimal.
    grep -qi "0100007F:$(printf '%04X' "$TRAP_PORT")" /proc/net/udp
}

all_traps_arrived() {
    (($(grep -c snmpTrapOID "$TRAP_LOG") >= 11))
}

post_events() {
    local event
    for event in {1..11}; do
        "$BUILD_DIR/tools/zan-post-event" "$event"
    done
}

show_events() {
    heading "Events of the router, arriving in snmptrapd"
    start_trap_listener
    say "${DIM}The router's other processes post events to a message queue;"
    say "the agent looks into it every 5 seconds.$PLAIN"
    shown_as "for event in {1..11}; do $(from_tree "$BUILD_DIR/tools/zan-post-event") \$event; done" post_events
    waiting "Waiting for the notifications" 20 all_traps_arrived || warn "not all notifications arrived: $(cat "$TRAP_LOG")"
    grep snmpTrapOID "$TRAP_LOG" | expand -t 1 || true
}

show_outage() {
    heading "The router's API goes down"
    waiting "Waiting for the cache to be filled anew" 20 fetched_just_now || warn "the cache did not expire"
    shown_as "tools/zan-router-sim --scenario $(from_tree "$SCENARIO") --set fault=down" set_router fault=down
    shown snmpget "${V2C[@]}" "$AGENT" zanRouterSerialNumber.0
    say "${DIM}That was the cache, which lasts for $CACHE_SECONDS seconds.$PLAIN"
    waiting "Waiting for the cache to expire" 20 reads_unknown || warn "the cache did not expire"
    say "Then texts read \"Unknown\", numbers 0, tables are empty, and nothing is an error:"
    shown snmpget "${V2C[@]}" "$AGENT" zanRouterSerialNumber.0 zanRouterUptime.0 zanSerialToIPPort.0
    shown snmptable "${V2C[@]}" -Ci -Cb "$AGENT" zanIpsecTunnelsTable
    say "${DIM}The agent's log says why:$PLAIN"
    grep -a -o 'curl_easy_perform failed' "$MODULE_LOG" | head -n 1 | dimmed || true

    heading "The API comes back: the next request has the values again"
    shown_as "tools/zan-router-sim --scenario $(from_tree "$SCENARIO") --set fault=none" set_router fault=none
    until_true 10 api_listens || warn "the API did not come back"
    shown snmpget "${V2C[@]}" "$AGENT" zanRouterSerialNumber.0 zanRouterUptime.0 zanSerialToIPPort.0
}

# asked OBJECT: what the agent answers, and how soon.
asked() {
    local answer start=${EPOCHREALTIME/./}
    answer=$(snmpget "${V2C[@]}" -r 0 -t 10 -Ov "$AGENT" "$1" 2>&1 | sed -n 's/^Reason: //; s/ available on.*//; /./p' |
        grep -v '^Error in packet\|^Failed object' | head -n 1) || true
    printf '%s in %d ms' "${answer:-no answer}" $(((${EPOCHREALTIME/./} - start) / 1000))
}

# One line: an object of the agent's own, and one of the module that has not been read for a while. The times are
# those of snmpget, from its start to its end.
show_both() {
    printf '%(%H:%M:%S)T  sysUpTime: %-40s zanRadioNetwork: %s\n' -1 "$(asked sysUpTime.0)" "$(asked zanRadioNetwork.0)"
}

module_is_back() {
    [[ $(snmpget "${V2C[@]}" "$AGENT" zanRadioNetwork.0 2>/dev/null) == *STRING* ]]
}

# until_back SINCE: waits for the module's values, and tells how long they were away.
until_back() {
    until_true 20 module_is_back || warn "the values did not come back"
    say "Values are back after $(((${EPOCHREALTIME/./} - $1) / 1000)) ms."
    show_both
}

show_hang() {
    local start
    heading "The router's API hangs: the agent answers everything else"
    shown_as "tools/zan-router-sim --scenario $(from_tree "$SCENARIO") --set fault=hang" set_router fault=hang
    for _ in {1..4}; do
        show_both
        sleep 1
    done
    heading "The API comes back"
    shown_as "tools/zan-router-sim --scenario $(from_tree "$SCENARIO") --set fault=none" set_router fault=none
    start=${EPOCHREALTIME/./}
    until_back "$start"
}

show_kill() {
    local start
    heading "The module's process is killed, and started again after a second"
    # shellcheck disable=SC2016 # the text is to be seen as it stands
    shown_as 'kill -KILL "$(cat host.pid)"' kill -KILL "$(cat "$DEMO/host.pid")"
    start=${EPOCHREALTIME/./}
    show_both
    until_back "$start"
}

say "${DIM}A simulated router listens on $API_SOCKET, snmpd with ${BUILD_DIR#"$ZAN_ROOT/"}/zansnmpext.so on $AGENT,"
say "both in namespaces of their own.$PLAIN"
show_values
show_cache
show_walk
show_versions
show_groups
show_tables
show_events
show_outage
if [[ -n $HOSTED ]]; then
    show_hang
    show_kill
fi
heading "That was all, in $SECONDS seconds."
say "To try it yourself: $ZAN_SCRIPT --serve keeps the agent running for your own tools."
