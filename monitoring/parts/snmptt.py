"""The configuration of snmptt, the SNMP trap translator."""

from typing import Dict

import zanmib
from zanobjects import Managed

#: snmptt's own words, from which its users' scripts and colours choose.
_SEVERITIES = {"info": "Normal", "warning": "WARNING", "critical": "CRITICAL"}


def files(managed: Managed) -> Dict[str, str]:
    """The files of this part."""
    text = ("# Made by monitoring/generate from zan-events.conf: change that, and not this file.\n"
            "# For snmptt_conf_files in /etc/snmp/snmptt.ini. Each event has two OIDs: that of the MIB\n"
            "# module, and that of an SNMPv1 trap: its enterprise is the arc above, its number is 1.\n")
    for event, notification in zip(managed.events, managed.mib.notifications):
        arc = zanmib.dotted(notification.oid[:-1])
        for oid in (f"{arc}.1", f"{arc}.0.1"):
            text += (f'\nEVENT {event.name} .{oid} "Status Events" {_SEVERITIES[event.severity]}\n'
                     f"FORMAT router $aA: event {event.number} ({event.name}): {_escaped(event.text)}\n"
                     f"SDESC\n{event.text}\nEDESC\n")
    return {"snmptt.conf": text}


def _escaped(text: str) -> str:
    """What snmptt would take for a variable."""
    return text.replace("$", "$$")
