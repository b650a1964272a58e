# shellcheck shell=bash
# The demo inside its namespaces: router, agent and manager. Sourced after scripts/lib.sh.
# shellcheck disable=SC2034 # what is set here is used by the modes

DEMO=/run/demo
API_SOCKET=/run/api/http.sock
API_LOG=${ZAN_TEMP:?}/requests
AGENT_LOG=$ZAN_TEMP/agent.log
HOST_LOG=$ZAN_TEMP/host.log
MODULE_LOG=$AGENT_LOG
if [[ -n ${HOSTED:-} ]]; then
    MODULE_LOG=$HOST_LOG
fi
TRAP_LOG=$ZAN_TEMP/traps
TRAP_PORT=1162
AGENT=127.0.0.1:$PORT
CACHE_SECONDS=5

# The agent splits its configuration at blanks, and MIBDIRS at colons: what is read from the tree is read from here,
# wherever the tree lies.
MODULE=$DEMO/zansnmpext.so
MIB_FOLDER=$DEMO/mibs

# The manager's settings, for the tools of the package snmp.
V2C=(-v2c -c public)

enter_demo() {
    # A network of its own starts with nothing up; the host's is up, and not ours to touch.
    [[ -n $(ip link show up dev lo) ]] || ip link set lo up
    mkdir -p "$DEMO/conf" "$DEMO/persistent" "$MIB_FOLDER" "$(dirname -- "$API_SOCKET")"
    ln -s "$BUILD_DIR/zansnmpext.so" "$MODULE"
    ln -s "$BUILD_DIR"/mibs/*.txt "$ZAN_ROOT"/tools/demo/mibs/* "$MIB_FOLDER"
    # Apart from the folder of snmpd.conf, which the agent would rewrite otherwise.
    export SNMP_PERSISTENT_DIR=$DEMO/persistent
    export SNMPCONFPATH=$DEMO/conf MIBDIRS=$MIB_FOLDER MIBS=ZAN-SNMPEXT-MIB:SNMPv2-MIB
}

# until_true SECONDS COMMAND...: waits for the command to succeed.
until_true() {
    local end=$((SECONDS + $1))
    shift
    until "$@"; do
        ((SECONDS < end)) || return 1
        sleep 0.1
    done
}

api_listens() {
    [[ -S $API_SOCKET ]]
}

start_router() {
    "$ZAN_ROOT/tools/zan-router-sim" --socket "$API_SOCKET" --scenario "$SCENARIO" --log "$API_LOG" \
        >"$ZAN_TEMP/router.out" 2>&1 &
    ROUTER=$!
    until_true 20 router_says_something || true
    if ! kill -0 "$ROUTER" 2>/dev/null; then
        die "the simulated router did not start:" "$(cat "$ZAN_TEMP/router.out")"
    fi
}

router_says_something() {
    ! kill -0 "$ROUTER" 2>/dev/null || grep -q 'serving' "$API_LOG" 2>/dev/null
}

# The enterprise number that the build was made with.
enterprise_number() {
    sed -n 's/^ZAN_ENTERPRISE_NUMBER:[A-Z]*=//p' "$BUILD_DIR/CMakeCache.txt"
}

# What the installation has in a configuration, but for what is of another place or another user here.
installed_settings() {
    grep -Ev '^(#|$|agentXSocket|agentXPerms|dlmod)' "$BUILD_DIR/host/$1"
    printf 'agentXSocket %s\n' "$DEMO/agentx"
}

# Where the agent has the module from.
print_loading() {
    if [[ -n ${HOSTED:-} ]]; then
        installed_settings master.conf
        printf 'view router included .1.3.6.1.2.1.1.3\n'
    else
        printf 'dlmod zansnmpext %s\n' "$MODULE"
    fi
}

write_agent_configuration() {
    cat >"$DEMO/conf/snmpd.conf" <<CONF
agentaddress udp:$AGENT
$(print_loading)

# Managers may read the module's objects and nothing else.
view router included .1.3.6.1.4.1.$(enterprise_number).14.1
rocommunity public 127.0.0.1 -V router
createUser demo SHA-256 demo-auth-phrase AES demo-priv-phrase
rouser demo authpriv -V router

trap2sink 127.0.0.1:$TRAP_PORT public
CONF
}

# Whether the agent answers, with or without the module.
agent_answers() {
    ! kill -0 "$SNMPD" 2>/dev/null ||
        snmpget "${V2C[@]}" -r 0 -t 0.5 "$AGENT" zanDiagnosticsSNMP.0 >/dev/null 2>&1
}

# Whether the module gives its value for an object that it asks nobody about.
module_answers() {
    [[ $(snmpget "${V2C[@]}" -Oqv "$AGENT" zanDiagnosticsSNMP.0 2>/dev/null) == SNMP* ]]
}

# The host, started again a second after it has ended; its process id is in the file host.pid.
keep_host() {
    ln -s "$BUILD_DIR/host/zanhost.so" "$DEMO/zanhost.so"
    {
        installed_settings host.conf
        printf 'dlmod zanhost %s\ndlmod zansnmpext %s\n' "$DEMO/zanhost.so" "$MODULE"
    } >"$DEMO/host.conf"
    while :; do
        /usr/sbin/snmpd -X -f -C -c "$DEMO/host.conf" -I dlmod -A -Lf "$HOST_LOG" &
        echo "$!" >"$DEMO/host.pid"
        wait "$!" || true
        sleep 1
    done 2>/dev/null
}

start_agent() {
    write_agent_configuration
    # Debian's agent would listen on TCP port 199, on every address, for what it calls smux.
    /usr/sbin/snmpd -f -r -C -c "$DEMO/conf/snmpd.conf" -I -smux -Lf "$AGENT_LOG" &
    SNMPD=$!
    until_true 20 agent_answers || true
    if ! kill -0 "$SNMPD" 2>/dev/null; then
        die "snmpd did not start; its log:" "$(cat "$AGENT_LOG")"
    fi
    agent_answers || die "snmpd does not answer; its log:" "$(tail -n 20 "$AGENT_LOG")"
    if [[ -n ${HOSTED:-} ]]; then
        keep_host &
        until_true 20 module_answers || die "the host does not serve; its log:" "$(tail -n 20 "$HOST_LOG")"
    fi
    module_answers || die "snmpd answers, but has not loaded $BUILD_DIR/zansnmpext.so; its log:" \
        "$(tail -n 20 "$AGENT_LOG")"
}

# set_router PATH=VALUE...: edits the scenario, as a person would from a shell.
set_router() {
    local options=() assignment
    for assignment in "$@"; do
        options+=(--set "$assignment")
    done
    "$ZAN_ROOT/tools/zan-router-sim" --scenario "$SCENARIO" "${options[@]}"
}
