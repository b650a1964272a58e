"""The command-line tools that a person would use."""

import os
import subprocess
from typing import List, Sequence

from .agent import V3_AUTH, V3_PRIV, V3_USER, Agent
from .settings import deadline
from .snmp import INTEGER, OCTET_STRING, TIMETICKS, Oid, dotted

#: Arguments that log in, by the name of the protocol version.
LOGINS = {
    "SNMPv1": ["-v", "1", "-c", "public"],
    "SNMPv2c": ["-v", "2c", "-c", "public"],
    "SNMPv3": ["-v", "3", "-l", "authPriv", "-u", V3_USER, "-a", "SHA", "-A", V3_AUTH, "-x", "AES",
               "-X", V3_PRIV],
}

#: Numeric names, numeric TimeTicks, no names for enumerations.
FORMAT = ["-On", "-Ot", "-Oe"]


def run(tool: str, agent: Agent, login: Sequence[str], *arguments: str,
        check: bool = True, form: Sequence[str] = FORMAT) -> subprocess.CompletedProcess:
    """Run one of the tools against an agent."""
    address = f"127.0.0.1:{agent.port}"
    command = [tool, *login, *form, "-t", str(deadline(5)), "-r", "0", address, *arguments]
    environment = {**os.environ, "MIBS": "", "SNMP_PERSISTENT_DIR": str(agent.folder / "tools"),
                   "SNMPCONFPATH": str(agent.folder)}
    return subprocess.run(command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                          check=check)


def line(oid: Oid, tag: int, value) -> str:
    """How the tools print one variable in FORMAT."""
    if tag == OCTET_STRING:
        text = value.decode()
        return f'{dotted(oid)} = STRING: "{text}"' if text else f'{dotted(oid)} = ""'
    return f"{dotted(oid)} = " + {INTEGER: f"INTEGER: {value}", TIMETICKS: f"{value}"}[tag]


def lines(completed: subprocess.CompletedProcess) -> List[str]:
    """What a tool printed."""
    return completed.stdout.splitlines()
