"""snmptt, the SNMP trap translator, with its configuration as Debian ships it."""

import re
import subprocess
from pathlib import Path
from typing import List

import pytest

from harness import ENTERPRISE_NUMBER, deadline
from monitoring_support import MADE, free_port, until

EVENTS = range(1, 12)


def tmpfs(folder: str) -> Path:
    """A folder of this test's own in the place of the machine's; the mount goes with the test's namespace."""
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", folder], check=True)
    return Path(folder)


def writable(folder: str, changes: Path) -> None:
    """Let the folder take new files, for this namespace alone, which an ordinary user may not write into."""
    layers = [changes / "upper", changes / "work"]
    for layer in layers:
        layer.mkdir()
    options = f"lowerdir={folder},upperdir={layers[0]},workdir={layers[1]},userxattr"
    subprocess.run(["mount", "-t", "overlay", "overlay", "-o", options, folder], check=True)


@pytest.fixture(name="log", scope="module")
def log_fixture(workspace: Path) -> Path:
    """snmptt's log; our file lies where its configuration, Debian's, looks for one."""
    ini = Path("/etc/snmp/snmptt.ini").read_text()
    place = Path(re.search(r"snmptt_conf_files = <<END\n(\S+)\nEND", ini)[1])
    writable(str(place.parent if place.parent.exists() else place.parent.parent), workspace)
    place.parent.mkdir(exist_ok=True)
    place.unlink(missing_ok=True)  # somebody else's
    place.write_text((MADE / "snmptt.conf").read_text())
    return tmpfs("/var/log/snmptt") / "snmptt.log"


@pytest.mark.parametrize("sink", ["trap2sink", "trapsink"])
def test_each_event_is_translated(sink, log, make_agent, api, queue, tmp_path):
    log.unlink(missing_ok=True)
    port = free_port()
    (tmp_path / "snmptrapd.conf").write_text("authCommunity execute public\n"
                                             "traphandle default /usr/sbin/snmptt\n")
    (tmp_path / "persistent" / "cert_indexes").mkdir(parents=True)
    own = tmp_path / "snmptrapd.log"
    receiver = subprocess.Popen(
        ["/usr/sbin/snmptrapd", "-f", "-n", "-On", "-Lf", str(own), "-C", "-c",
         str(tmp_path / "snmptrapd.conf"), f"udp:127.0.0.1:{port}"],
        env={"PATH": "/usr/sbin:/usr/bin:/bin", "SNMPCONFPATH": str(tmp_path), "MIBS": "",
             "SNMP_PERSISTENT_DIR": str(tmp_path / "persistent")},
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        until(lambda: own.exists() and "NET-SNMP version" in own.read_text(), "snmptrapd")
        agent = make_agent(trap_port=None, extra_configuration=f"{sink} 127.0.0.1:{port} public").start()
        for event in EVENTS:
            queue.post(event)
        agent.fire_alarm()

        def translated() -> List[str]:
            lines = log.read_text().splitlines() if log.exists() else []
            # The agent's own start is a trap as well, of which the file says nothing.
            found = [line for line in lines if "(event-" in line]
            return found if len(found) >= len(EVENTS) else []

        found = until(translated, "all events in the log", deadline(60))
    finally:
        receiver.terminate()
        receiver.wait()
    assert [re.sub(r"^.*? \.1\.3\.6", ".1.3.6", line) for line in found] == [
        f'.1.3.6.1.4.1.{ENTERPRISE_NUMBER}.14.1.2.{event}{"" if sink == "trap2sink" else ".0"}.1 Normal '
        f'"Status Events" 127.0.0.1 - router 127.0.0.1: event {event} (event-{event}): '
        f"The router's event {event}, whose meaning is the firmware's matter." for event in EVENTS]
