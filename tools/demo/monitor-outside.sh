# shellcheck shell=bash
# The demo with monitoring, outside: says where the router is to be seen and what can be tried. Sourced by
# scripts/demo.

# address NAME: one of the addresses that the inside has written down.
address() {
    /usr/bin/python3 -c 'import json, sys; print(json.load(open(sys.argv[1]))[sys.argv[2]])' "$ZAN_TEMP/ready" "$1"
}

print_monitor_help() {
    local set
    set="$(quoted "$ZAN_ROOT/tools/zan-router-sim" --scenario "$SCENARIO") --set"
    cat <<HELP

${GREEN}The router is to be seen at$PLAIN
  $BOLD$(address console)$PLAIN
Ctrl-C ends it. To be tried in another terminal, with an eye on that page and on this terminal:

${CYAN}Pull the signal down: within ten seconds there is an alert. Put it back: the alert is over.$PLAIN
  $set stats/ppp/rssiDbm=-113
  $set stats/ppp/rssiDbm=-67
${CYAN}Or edit the router in an editor; an edit is in force at once:$PLAIN
  $(quoted "$SCENARIO")
${CYAN}Other things that go wrong:$PLAIN
  $set stats/ppp/roaming=true
  $set waninfo/wans/1/available=false --set waninfo/wans/1/current=false --set waninfo/wans/2/current=true
  $set ipsecTunnels/0/enabled=false
  $set fault=down
${CYAN}More to look at:$PLAIN
  alerts            $(address alerts)
  all routers       $(address prometheus)consoles/zan-routers.html
  what is scraped   $(address exporter)
  $(quoted "$ZAN_ROOT/docs/monitoring.md")

A condition is an alert here after some seconds, in the field after minutes. Alerts as they come and go:
HELP
}

say "Starting the router, its agent, the exporter and Prometheus ..."
if until_ready; then
    print_monitor_help
fi
