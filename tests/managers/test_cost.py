"""What a poll costs: packets and octets between manager and router, as docs/managers.md has them."""

import contextlib
import re
import shlex
import socket
import struct
import subprocess
import threading
from typing import Callable, Dict, Iterator, List, NamedTuple

import pytest

from checks_support import USER
from collectd_support import USER as POLLER
from collectd_support import collectd
from harness import ENTERPRISE_NUMBER, SOCKET_PATH, SOURCE_ROOT, Agent
from monitoring_support import MADE, Exporter, Router

DOCUMENT = SOURCE_ROOT / "docs" / "managers.md"
OBJECTS = f".1.3.6.1.4.1.{ENTERPRISE_NUMBER}.14.1.1"

#: Ethernet's own part of a frame, which the loopback interface has as well.
ETHERNET = 14

_ALL_PROTOCOLS = 3
_UDP = 17

# Of linux/if_packet.h
_SOL_PACKET = 263
_PACKET_STATISTICS = 6


class Cost(NamedTuple):
    """What one poll is on the wire, and the largest of the router's answers."""

    packets: int
    octets: int
    largest: int


class Capture:
    """Counts an agent's UDP packets on the loopback interface."""

    def __init__(self, port: int) -> None:
        self._port = port

    @contextlib.contextmanager
    def counting(self) -> Iterator[List[Cost]]:
        """The cost of what happens inside is in the list afterwards, unless packets went by uncounted."""
        found: List[Cost] = []
        lengths: List[int] = []
        answers: List[int] = [0]
        ended = threading.Event()
        with socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(_ALL_PROTOCOLS)) as tap:
            tap.bind(("lo", 0))
            tap.settimeout(0.1)

            def listen() -> None:
                while True:
                    try:
                        frame, address = tap.recvfrom(65535)
                    except socket.timeout:
                        if ended.is_set():
                            return
                        continue
                    # Each packet is seen going out and coming in.
                    if address[2] != socket.PACKET_OUTGOING or frame[ETHERNET + 9] != _UDP:
                        continue
                    source, target = struct.unpack_from("!HH", frame, ETHERNET + 20)
                    if self._port in (source, target):
                        lengths.append(len(frame))
                    if source == self._port:
                        answers.append(len(frame))

            thread = threading.Thread(target=listen)
            thread.start()
            try:
                yield found
            finally:
                ended.set()
                thread.join()
            _, dropped = struct.unpack("II", tap.getsockopt(_SOL_PACKET, _PACKET_STATISTICS, 8))
        if not dropped:
            found.append(Cost(len(lengths), sum(lengths), max(answers)))


@pytest.fixture(name="agent_port", scope="module")
def agent_port_fixture(tmp_path_factory, clock, _traps) -> Iterator[int]:
    """An agent with the simulator's router."""
    folder = tmp_path_factory.mktemp("router")
    router = Router(folder, SOCKET_PATH)
    agent = Agent(folder / "agent", trap_port=_traps.port, extra_configuration=f"{USER}\n{POLLER}").start()
    yield agent.port
    agent.stop()
    router.stop()


def run(command: List[str]) -> None:
    """A tool, which has to succeed."""
    subprocess.run(command, env={"PATH": "/usr/bin:/bin", "MIBS": ""}, stdout=subprocess.DEVNULL, check=True)


def checks(port: int) -> None:
    """All commands of the file for Nagios, once each."""
    macros = {"$USER1$": "/usr/lib/nagios/plugins", "$HOSTADDRESS$": "127.0.0.1", "$USER11$": "manager",
              "$USER12$": r"a\ passphrase\ of\ 8\ or\ more", "$USER13$": r"another\ passphrase"}
    commands = re.findall(r"command_line  (.*)", (MADE / "nagios" / "zansnmpext.cfg").read_text())
    assert len(commands) == 8
    for command in commands:
        for macro, value in macros.items():
            command = command.replace(macro, value)
        run([*shlex.split(command), "-p", str(port)])


@pytest.fixture(name="costs", scope="module")
def costs_fixture(agent_port, tmp_path_factory) -> Dict[str, Cost]:
    """What each kind of manager costs."""
    exporter = Exporter(tmp_path_factory.mktemp("exporter"))
    address = f"127.0.0.1:{agent_port}"
    plugin = tmp_path_factory.mktemp("munin") / "zan_router_lab"
    plugin.symlink_to(MADE / "munin" / "zan_router_")

    def munin() -> None:
        subprocess.run(["sh", plugin], stdout=subprocess.DEVNULL, check=True,
                       env={"PATH": "/usr/bin:/bin", "router": address, "community": "public"})

    def collect() -> None:
        with collectd(tmp_path_factory.mktemp("collectd"), agent_port):
            pass

    polls: Dict[str, Callable[[], object]] = {
        "Prometheus's exporter, SNMPv2c": lambda: exporter.text(agent_port),
        "Prometheus's exporter, SNMPv3": lambda: exporter.text(agent_port, access="v3"),
        "a walk by GETBULK, 10 repetitions": lambda: run(
            ["snmpbulkwalk", "-v2c", "-cpublic", "-Cr10", address, OBJECTS]),
        "a walk by GETBULK, 25 repetitions": lambda: run(
            ["snmpbulkwalk", "-v2c", "-cpublic", "-Cr25", address, OBJECTS]),
        "a walk by GETBULK, 50 repetitions": lambda: run(
            ["snmpbulkwalk", "-v2c", "-cpublic", "-Cr50", address, OBJECTS]),
        "a walk by GETNEXT": lambda: run(["snmpwalk", "-v2c", "-cpublic", address, OBJECTS]),
        "Nagios, Icinga: eight checks, SNMPv3": lambda: checks(agent_port),
        "Munin's plugin, SNMPv2c": munin,
        "collectd, SNMPv3": collect,
    }
    measured = {}
    for name, poll in polls.items():
        # The first request of a user finds out the agent's engine ID, which some programs remember.
        poll()
        costs: List[Cost] = []
        while len(costs) < 3:
            with Capture(agent_port).counting() as found:
                poll()
            costs += found
        # On a busy machine a question may be asked again.
        measured[name] = min(costs)
    exporter.stop()
    return measured


def documented() -> Dict[str, List[float]]:
    """The figures of the document: packets, bytes, megabytes a day, the largest answer."""
    rows = re.findall(r"^\| ([^|]+) \| (\d+) \| ([\d,]+) \| ([\d.]+) \| ([\d,]+) \|$",
                      DOCUMENT.read_text(encoding="utf-8"), re.M)
    return {name: [float(figure.replace(",", "")) for figure in figures] for name, *figures in rows}


def test_the_document_has_what_is_measured(costs):
    written = documented()
    assert set(costs) <= set(written)
    for name, cost in costs.items():
        packets, octets, a_day, largest = written[name]
        # Values differ by some digits from one time to the next.
        assert packets == cost.packets, (name, cost)
        assert octets == pytest.approx(cost.octets, rel=0.03), (name, cost)
        assert a_day == pytest.approx(cost.octets * 24 * 60 / 1e6, rel=0.03, abs=0.06), (name, cost)
        assert largest == pytest.approx(cost.largest, rel=0.05), (name, cost)


def test_what_is_shipped_stays_below_one_frame(costs):
    shipped = {name: cost.largest for name, cost in costs.items() if not name.startswith("a walk")}
    assert len(shipped) == 5 and max(shipped.values()) <= ETHERNET + 1500
