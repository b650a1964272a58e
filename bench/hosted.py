#!/usr/bin/python3
"""Measures what hosting costs and what it is good for; scripts/bench --hosted starts it.

Two agents answer side by side, one with the module inside, one with a host. First both get the same load in
rounds, in turn; then the API hangs, the host is killed and the agent restarted, each some times. Makes
Markdown tables, and puts them into docs/hosting.md when asked to.
"""

import argparse
import json
import os
import signal
import statistics
import subprocess
import sys
import time
from pathlib import Path
from typing import Any, Callable, Dict, List, Optional

import report
from measure import SNMPD, resident, wait_for

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tests" / "integration"))
from harness.snmp import NO_SUCH_OBJECT, SYS_UPTIME, SnmpClient, SnmpError, SnmpTimeout, dotted  # noqa: E402

DOCUMENT = Path(__file__).resolve().parents[1] / "docs" / "hosting.md"
BEGIN = "<!-- measured: written by scripts/bench --hosted -->\n"
END = "<!-- end of measured -->\n"

API_SOCKET = "/var/run/api/http.sock"
ROWS = 100

#: After how many seconds a host that died is started again, as its unit does.
RESTART_SECONDS = 1


class Process:
    """One snmpd with a configuration of its own."""

    def __init__(self, folder: Path, name: str, lines: List[str], *options: str) -> None:
        self.folder = folder / name
        (self.folder / "persistent").mkdir(parents=True)
        self.configuration = self.folder / "snmpd.conf"
        self.configuration.write_text("\n".join(lines) + "\n", encoding="ascii")
        self.options = options
        self.start()

    def start(self) -> None:
        """Start it."""
        environment = {**os.environ, "MIBS": "", "SNMP_PERSISTENT_DIR": str(self.folder / "persistent")}
        self.process = subprocess.Popen(
            [SNMPD, "-f", "-r", "-C", "-c", str(self.configuration), *self.options, "-LF", "4",
             str(self.folder / "log")], env=environment, stdin=subprocess.DEVNULL)

    def end(self, number: int = signal.SIGTERM) -> None:
        """End it and wait for that."""
        self.process.send_signal(number)
        self.process.wait()


class Stage:
    """The API, and the agents."""

    def __init__(self, build: Path, folder: Path, number: int) -> None:
        self.build = build
        self.root = (1, 3, 6, 1, 4, 1, number, 14, 1, 1)
        self.api = subprocess.Popen([str(build / "bench" / "zan-bench-api"), API_SOCKET, str(ROWS)],
                                    stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        wait_for(lambda: os.path.exists(API_SOCKET), "the API")
        module = f"dlmod zansnmpext {build / 'zansnmpext.so'}"
        self.socket = folder / "agentx"
        self.inside = Process(folder, "inside", [*self.access(1161), module], "-I", "-smux")
        self.master = Process(folder, "master", [*self.access(1162), *self.installed("master.conf")],
                              "-I", "-smux")
        self.host = Process(folder, "host", [
            *self.installed("host.conf"), f"dlmod zanhost {build / 'host' / 'zanhost.so'}", module],
            "-X", "-I", "dlmod")
        self.clients = {"inside": SnmpClient(1161, timeout=10), "hosted": SnmpClient(1162, timeout=10)}
        for client in self.clients.values():
            wait_for(lambda: self.serves(client), "the objects")

    @staticmethod
    def access(port: int) -> List[str]:
        """What every agent has."""
        return [f"agentaddress udp:127.0.0.1:{port}", "rocommunity public 127.0.0.1",
                "dontLogTCPWrappersConnects yes", "sysName router"]

    def installed(self, name: str) -> List[str]:
        """The lines of an installed configuration, but for what is of another place or user here."""
        lines = (self.build / "host" / name).read_text(encoding="ascii").splitlines()
        kept = [line for line in lines
                if line and not line.startswith(("#", "agentXSocket", "agentXPerms", "dlmod"))]
        return [*kept, f"agentXSocket {self.socket}"]

    def serves(self, client: SnmpClient) -> bool:
        """Whether the module's objects are there."""
        try:
            return client.get(self.root + (8, 2, 0))[0].tag != NO_SUCH_OBJECT
        except (SnmpError, SnmpTimeout):
            return False

    def load(self, port: int, *arguments: str) -> Dict[str, Any]:
        """What the load client says."""
        done = subprocess.run([str(self.build / "bench" / "zan-bench-load"), "--port", str(port), *arguments],
                              stdout=subprocess.PIPE, text=True, check=True)
        return json.loads(done.stdout)

    def end(self) -> None:
        """End everything."""
        for process in (self.host, self.master, self.inside):
            process.end()
        self.api.terminate()
        self.api.wait()


def percentile(values: List[float], part: float) -> float:
    """A percentile, by the nearest rank."""
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(len(ordered) * part))]


def latencies(client: SnmpClient, seconds: float) -> List[Optional[float]]:
    """Milliseconds of each answer about sysUpTime, None for none within a second."""
    found: List[Optional[float]] = []
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        begin = time.monotonic()
        try:
            client.receive(client.send_get(SYS_UPTIME), timeout=1)
            found.append((time.monotonic() - begin) * 1000)
        except SnmpTimeout:
            found.append(None)
        time.sleep(0.005)
    return found


def seconds_until(condition: Callable[[], bool]) -> float:
    """How long it takes."""
    begin = time.monotonic()
    wait_for(condition, "the objects to be back")
    return time.monotonic() - begin


class Run:
    """All measurements."""

    def __init__(self, stage: Stage, rounds: int, seconds: float) -> None:
        self.stage = stage
        self.rounds = rounds
        self.seconds = seconds

    def speed(self, *arguments: str) -> Dict[str, List[float]]:
        """Variables per second, by place, in rounds."""
        found: Dict[str, List[float]] = {"inside": [], "hosted": []}
        for _ in range(self.rounds):
            for place, port in (("inside", 1161), ("hosted", 1162)):
                result = self.stage.load(port, "--seconds", "0.3", *arguments)
                found[place].append(result["variablesPerSecond"])
        return found

    def hang(self) -> Dict[str, Any]:
        """The API stops, and somebody asks for the module's objects all the time."""
        stage, client = self.stage, self.stage.clients["hosted"]
        idle = latencies(client, self.seconds)
        back = []
        hung: List[Optional[float]] = []
        for _ in range(3):
            time.sleep(5.1)  # the lifetime of the caches
            os.kill(stage.api.pid, signal.SIGSTOP)
            asking = SnmpClient(1162)
            asking.send_get(stage.root + (8, 2, 0))
            hung += latencies(client, self.seconds)
            os.kill(stage.api.pid, signal.SIGCONT)
            back.append(seconds_until(lambda: stage.serves(client)))
            asking.close()
        answered = [value for value in hung if value is not None]
        return {"idle": percentile([value for value in idle if value is not None], 0.999),
                "hung": percentile(answered, 0.999), "asked": len(hung), "lost": len(hung) - len(answered),
                "back": max(back)}

    def killed(self) -> float:
        """Seconds until the objects are back after the host was killed, at worst."""
        stage, client = self.stage, self.stage.clients["hosted"]
        found = []
        for _ in range(self.rounds):
            begin = time.monotonic()
            stage.host.end(signal.SIGKILL)
            time.sleep(RESTART_SECONDS)
            stage.host.start()
            wait_for(lambda: stage.serves(client), "the host")
            found.append(time.monotonic() - begin)
        return max(found)

    def restarted(self) -> float:
        """Seconds until the objects are back after the agent was restarted, the host left alone, at worst."""
        stage, client = self.stage, SnmpClient(1162, timeout=0.2)
        found = []
        for _ in range(self.rounds):
            stage.master.end()
            stage.master.start()
            found.append(seconds_until(lambda: stage.serves(client)))
        client.close()
        return max(found)


def row(title: str, *cells: str) -> str:
    """One line of a table."""
    return f"| {title} | " + " | ".join(cells) + " |\n"


def render(machine: str, run: Run) -> str:
    """Measure, and make the tables."""
    root = dotted(run.stage.root)
    loads = {
        "warm scalar GET": [f"{root}.8.2.0"],
        "11 warm scalars in one GET": [*(f"{root}.3.{arc}.0" for arc in range(1, 11)), f"{root}.8.2.0"],
        "leases by GETBULK(25), 100 rows": ["--rows", str(ROWS), "--columns", "4", "--bulk", "25",
                                            f"{root}.11.1.2.1"],
    }
    text = f"Measured on {machine}.\n\n| | in the agent | hosted |\n|---|---:|---:|\n"
    for title, arguments in loads.items():
        found = run.speed(*arguments)
        inside, hosted = (statistics.median(found[place]) for place in ("inside", "hosted"))
        text += row(f"{title}, variables per second", f"{inside:,.0f}",
                    f"{hosted:,.0f} ({hosted / inside:.2f})")
    memory = {name: resident(getattr(run.stage, name).process.pid) for name in ("inside", "master", "host")}
    text += row("memory of its own", f"{memory['inside']['own']:.1f} MB",
                f"{memory['master']['own']:.1f} + {memory['host']['own']:.1f} MB")
    text += row("resident memory, shared libraries included", f"{memory['inside']['all']:.1f} MB",
                f"{memory['master']['all']:.1f} + {memory['host']['all']:.1f} MB")
    hang, killed, restarted = run.hang(), run.killed(), run.restarted()
    more = hang["hung"] - hang["idle"]
    goals = [
        ("latency of other objects while the API hangs, p99.9: less than 50 ms above idle",
         f"{hang['hung']:.1f} ms, idle {hang['idle']:.1f} ms", more < 50),
        ("answers about other objects lost while the API hangs: none", f"{hang['lost']} of {hang['asked']}",
         hang["lost"] == 0),
        ("back after a hang: within 1 s", f"{hang['back']:.2f} s", hang["back"] <= 1),
        (f"back after the host was killed: within its {RESTART_SECONDS} s plus 1 s", f"{killed:.2f} s",
         killed <= RESTART_SECONDS + 1),
        ("back after a restart of the agent alone: within 2 s", f"{restarted:.2f} s", restarted <= 2),
    ]
    text += "\n| goal | measured | met |\n|---|---:|---|\n"
    return text + "".join(row(goal, measured, "yes" if met else "no") for goal, measured, met in goals)


def write(text: str) -> None:
    """Put the tables into the document."""
    before, _, rest = DOCUMENT.read_text(encoding="utf-8").partition(BEGIN)
    _, found, after = rest.partition(END)
    if not found:
        sys.exit(f"{DOCUMENT} lacks the marks between which the tables belong")
    DOCUMENT.write_text(f"{before}{BEGIN}\n{text}\n{END}{after}", encoding="utf-8")


def main() -> None:
    """Measure, or write what has been measured."""
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--write", type=Path, metavar="FILE",
                        help=f"put these tables into {DOCUMENT.name}")
    parser.add_argument("--build", type=Path, help="the build folder")
    parser.add_argument("--folder", type=Path, help="for the agents' files")
    parser.add_argument("--enterprise-number", type=int)
    parser.add_argument("--results", type=Path, help="the file for the tables")
    parser.add_argument("--quick", action="store_true", help="few and short rounds")
    arguments = parser.parse_args()
    if arguments.write:
        write(arguments.write.read_text(encoding="utf-8"))
        return
    machine = report.machine()
    stage = Stage(arguments.build, arguments.folder, arguments.enterprise_number)
    try:
        text = render(machine, Run(stage, 3 if arguments.quick else 9, 2 if arguments.quick else 20))
    finally:
        stage.end()
    arguments.results.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
