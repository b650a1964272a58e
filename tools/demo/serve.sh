# shellcheck shell=bash
# The demo for other people's tools, inside: router and agent run until somebody ends them. Sourced by
# tools/demo/inside.

touch "$ZAN_TEMP/ready"
wait -n "$ROUTER" "$SNMPD" || true
die "the router or the agent has ended; the last lines of their logs:" "$(tail -n 5 "$ZAN_TEMP/router.out")" \
    "$(tail -n 5 "$AGENT_LOG")"
