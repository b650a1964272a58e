# shellcheck shell=bash
# The demo with monitoring, inside: router, agent, exporter and Prometheus run until somebody ends them, and alerts are
# told as they come and go. Sourced by tools/demo/inside.

# Alerts wait for minutes in the field; nobody who tries this should. What is left when all of this is killed goes with the demo's own folder.
export TMPDIR=$ZAN_TEMP
"$ZAN_ROOT/monitoring/preview" "$AGENT" --modules "$BUILD_DIR/monitoring" --port "$WEB_PORT" \
    --interval 1 --alert-after 3 --addresses "$ZAN_TEMP/ready" &
PREVIEW=$!
wait -n "$ROUTER" "$SNMPD" "$PREVIEW" || true
kill -0 "$PREVIEW" 2>/dev/null || exit 1
die "the router or the agent has ended; the last lines of their logs:" "$(tail -n 5 "$ZAN_TEMP/router.out")" \
    "$(tail -n 5 "$AGENT_LOG")"
