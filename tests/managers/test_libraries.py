"""What scripts of a manager's own are written with: Perl's Net::SNMP, and snimpy for Python."""

import json
import subprocess
from typing import Any, Dict

import pytest

from collectd_support import USER
from harness import OBJECTS
from harness.router import expected_tree
from harness.snmp import dotted
from mib_support import MIB_FILE, base_fixture  # noqa: F401

#: The user of the example who has what these know.
ACCESS = ["poller", "a fifth passphrase", "a sixth passphrase"]

PERL = """\
use Net::SNMP qw(:snmp);
my ($port, $root, $user, $auth, $priv) = @ARGV;
my ($session, $error) = Net::SNMP->session(
    -hostname => "127.0.0.1", -port => $port, -version => "snmpv3", -username => $user,
    -authprotocol => "sha", -authpassword => $auth, -privprotocol => "aes", -privpassword => $priv,
    -translate => [-timeticks => 0]);
die $error unless $session;
my $found = $session->get_table(-baseoid => $root) or die $session->error();
print "$_=$found->{$_}\\n" for oid_lex_sort(keys %$found);
"""

#: Without its first line, what Debian 13's snimpy is built on does not find that part of Python.
SNIMPY = """\
import importlib.util
import sys
from snimpy import snmp
port, root, user, auth, priv = sys.argv[1:]
session = snmp.Session(f"127.0.0.1:{port}", version=3, secname=user, authprotocol="SHA", authpassword=auth,
                       privprotocol="AES", privpassword=priv)
found = session.walk(tuple(map(int, root.strip(".").split("."))))
for name, value in found:
    print("." + ".".join(map(str, name)), value.decode() if isinstance(value, bytes) else int(value), sep="=")
"""

SNIMPY_BY_NAME = """\
import importlib.util
import json, sys
from snimpy import manager, mib
port, folders, module, user, auth, priv = sys.argv[1:]
mib.path(folders)
manager.load(module)
router = manager.Manager(f"127.0.0.1:{port}", version=3, secname=user, authprotocol="SHA", authpassword=auth,
                         privprotocol="AES", privpassword=priv)
print(json.dumps({
    "model": str(router.zanRouterModelId), "port": int(router.zanSerialToIPPort),
    "uptime": int(router.zanRouterUptime),
    "tunnels": {str(row): str(router.zanGreTunnelsName[row]) for row in router.zanGreTunnelsName}}))
"""


def run(*command: object) -> str:
    """What a program prints; it has to succeed."""
    done = subprocess.run([str(word) for word in command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True, check=False)
    assert done.returncode == 0, done.stderr
    return done.stdout


@pytest.fixture(name="port")
def port_fixture(make_agent, api) -> int:
    return make_agent(extra_configuration=USER).start().port


@pytest.mark.parametrize("program", [["perl", "-we", PERL], ["/usr/bin/python3", "-c", SNIMPY]],
                         ids=["Net::SNMP", "snimpy"])
def test_a_walk_is_read_right(program, port):
    expected = [f"{dotted(name)}={value.decode() if isinstance(value, bytes) else value}"
                for name, _, value in expected_tree()]
    separator = ["--"] if program[0] == "perl" else []
    assert run(*program, *separator, port, dotted(OBJECTS), *ACCESS).splitlines() == expected


def test_snimpy_reads_by_the_names_of_the_mib_module(port, base):  # noqa: F811
    found: Dict[str, Any] = json.loads(run("/usr/bin/python3", "-c", SNIMPY_BY_NAME, port,
                                           f"{base}:{MIB_FILE.parent}", MIB_FILE, *ACCESS))
    assert found == {"model": "ZR-4400", "port": 2101, "uptime": 1234567,
                     "tunnels": {"1": "gre-a", "2": "gre-b", "3": ""}}
