# shellcheck shell=bash
# The demo for other people's tools, outside: says what can be tried, then shows the requests that reach the router's
# API. Sourced by scripts/demo.

print_serve_help() {
    local enter simulator mibs language=
    simulator=$(quoted "$ZAN_ROOT/tools/zan-router-sim")
    mibs=$(quoted "$BUILD_DIR/mibs"):$(quoted "$ZAN_ROOT/tools/demo/mibs")
    [[ $USER_CAPITAL_I == I ]] || language=" LC_ALL=$LC_ALL"
    enter=(nsenter -t "$(first_inside)" -i)
    if [[ $(id -u) -ne 0 ]]; then
        enter+=(-U --preserve-credentials)
    elif [[ -n ${ZAN_BUILT:-} ]]; then
        enter=(sudo "${enter[@]}") # the user is none, only the demo
    fi
    cat <<HELP

${GREEN}The agent answers on 127.0.0.1, UDP port $PORT.$PLAIN Ctrl-C ends it. To be tried in another terminal:

${CYAN}First, in each terminal, so that the tools know the names:$PLAIN
  export MIBDIRS=$mibs MIBS=ZAN-SNMPEXT-MIB:SNMPv2-MIB$language
${CYAN}SNMPv1, v2c and v3:$PLAIN
  snmpget -v1 -c public 127.0.0.1:$PORT zanRouterSerialNumber.0
  snmpwalk -v2c -c public 127.0.0.1:$PORT zanCellularInterface
  snmpbulkwalk -v2c -c public 127.0.0.1:$PORT zanObjects
  snmptable -v2c -c public -Ci -Cb 127.0.0.1:$PORT zanDHCPServerLeasesTable
  snmpget -v3 -u demo -l authPriv -a SHA-256 -A demo-auth-phrase -x AES -X demo-priv-phrase \\
      127.0.0.1:$PORT zanRouterModelId.0
${CYAN}Change the router (or edit the file; an edit is in force at once):$PLAIN
  $simulator --scenario $(quoted "$SCENARIO") --set stats/ppp/rssiDbm=-113
  $simulator --scenario $(quoted "$SCENARIO") --set fault=down
  $simulator --help
${CYAN}Receive the router's events (here), and post one (in a third terminal):$PLAIN
  /usr/sbin/snmptrapd -f -Lo -C -M "\$MIBDIRS" -m \$MIBS --disableAuthorization=yes udp:127.0.0.1:1162
  $(quoted "${enter[@]}" "$BUILD_DIR/tools/zan-post-event") 7

The requests that reach the router's API:
HELP
}

if until_ready; then
    print_serve_help
    tail -n +1 -F --pid=$$ "$ZAN_TEMP/requests" 2>/dev/null |
        sed -u -E "s/ (200 .*[^)])$/ $GREEN\1$PLAIN/; s/ ([^ ]+ +GET .*\))$/ $YELLOW\1$PLAIN/" &
    at_exit kill "$!"
fi
