"""A plugin of Munin."""

from typing import Dict

from zanobjects import Managed

#: What the plugin asks for, by the names that it has for them; in the order of the variables of one request.
_ASKED = {
    "serial_enabled": "zanSerialToIPEnabled", "signal": "zanCellularInterfaceSignal",
    "wifi_signal": "zanWiFiInterfaceSignal", "sent": "zanCellularInterfaceStatsTxBytes",
    "received": "zanCellularInterfaceStatsRxBytes", "serial_sent": "zanSerialToIPTx",
    "serial_received": "zanSerialToIPRx", "uptime": "zanRouterUptime",
    "link_uptime": "zanCellularInterfaceUptime",
}

_PLUGIN = r"""#!/bin/sh
# Made by monitoring/generate from the MIB module: change that, and not this file.
: <<'POD'

=head1 NAME

zan_router_ - the signal, traffic and uptime of a cellular router

=head1 CONFIGURATION

A link to this file for each router: F</etc/munin/plugins/zan_router_192.0.2.1>. It needs snmpget (Debian's
package snmp), and in F</etc/munin/plugin-conf.d> who asks, over SNMPv3 or SNMPv2c:

  [zan_router_*]
  env.user manager
  env.auth_protocol SHA-256
  env.auth_phrase a passphrase of 8 or more
  env.priv_protocol AES
  env.priv_phrase another passphrase

  [zan_router_*]
  env.community public

The router is asked by its name in the link's, or by env.router.

=head1 MAGIC MARKERS

  #%# family=manual
  #%# capabilities=multigraph

=cut

POD
set -eu

name=${0##*/zan_router_}
router=${router:-$name}

config() {
    cat <<CONFIG
host_name $name
multigraph zan_signal
graph_title Signal
graph_category wireless
graph_vlabel dBm
signal.label cellular
signal.warning -100:
wifi_signal.label WiFi
multigraph zan_traffic
graph_title Cellular traffic
graph_category network
graph_vlabel bytes per second
received.label received
received.type DERIVE
received.min 0
sent.label sent
sent.type DERIVE
sent.min 0
multigraph zan_serial
graph_title Serial port
graph_category network
graph_vlabel bytes per second
serial_received.label received
serial_received.type DERIVE
serial_received.min 0
serial_sent.label sent
serial_sent.type DERIVE
serial_sent.min 0
multigraph zan_uptime
graph_title Uptime
graph_category system
graph_vlabel days
uptime.label router
link_uptime.label cellular link
CONFIG
}

# The values, one a line: in numbers, and nothing but the value.
ask() {
    if [ -n "${user:-}" ]; then
        set -- -v3 -l authPriv -u "$user" -a "${auth_protocol:-SHA-256}" -A "${auth_phrase:?}" \
            -x "${priv_protocol:-AES}" -X "${priv_phrase:?}"
    else
        set -- -v2c -c "${community:-public}"
    fi
    MIBS='' snmpget "$@" -t 4 -r 1 -Oqvt "$router" @OIDS@
}

# A number out of a text: a signal's, a traffic line's count of all time.
dbm() {
    printf '%s\n' "$1" | sed -n -E 's/^"(-[0-9]+(\.[0-9]+)?) ?(dBm)?"$/\1/p' | grep . || echo U
}
total() {
    printf '%s\n' "$1" | sed -n -E 's/^".*, total : ([0-9]+)"$/\1/p' | grep . || echo U
}
# What an unsigned number was that is sent as a signed one; it reads 0 while its switch is unknown.
unsigned() {
    if [ "$serial_enabled" = '"Unknown"' ]; then echo U; else echo $(($1 < 0 ? $1 + 4294967296 : $1)); fi
}
# Days of hundredths of a second; 0 is an uptime that is not known.
days() {
    if [ "$1" = 0 ]; then echo U; else echo "$1" | awk '{ printf "%.4f\n", $1 / 8640000 }'; fi
}

fetch() {
    { @READS@; } <<VALUES
$values
VALUES
    cat <<FETCH
multigraph zan_signal
signal.value $(dbm "$signal")
wifi_signal.value $(dbm "$wifi_signal")
multigraph zan_traffic
received.value $(total "$received")
sent.value $(total "$sent")
multigraph zan_serial
serial_received.value $(unsigned "$serial_received")
serial_sent.value $(unsigned "$serial_sent")
multigraph zan_uptime
uptime.value $(days "$uptime")
link_uptime.value $(days "$link_uptime")
FETCH
}

if [ "${1:-}" = config ]; then
    config
else
    values=$(ask)
    fetch
fi
"""


def files(managed: Managed) -> Dict[str, str]:
    """The files of this part."""
    oids = " \\\n        ".join(f".{managed.item(name).oid}" for name in _ASKED.values())
    reads = " && ".join(f"read -r {name}" for name in _ASKED)
    return {"munin/zan_router_": _PLUGIN.replace("@OIDS@", f"\\\n        {oids}").replace("@READS@", reads)}
