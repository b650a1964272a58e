#!/usr/bin/python3
"""Measures the module beside what could be used instead, in one run; scripts/bench starts it.

Everything runs in private namespaces: one agent carries the module and its rivals, a second one, otherwise
alike, the plain build of the module. Each measurement of each contender takes a fraction of a second and is
repeated in rounds, all contenders in turn, so that a disturbance of the machine hits them alike. What counts
are ratios within a round, to the own objects of the same agent.
"""

import argparse
import json
import os
import re
import subprocess
import sys
import time
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any, Callable, Dict, Iterable, List, Optional, Sequence

import report

HERE = Path(__file__).resolve().parent
SNMPD = "/usr/sbin/snmpd"
API_SOCKET = "/var/run/api/http.sock"

#: The agent's own scalar, which no object that has to ask somebody can beat.
SYS_NAME = "1.3.6.1.2.1.1.5.0"

#: The objects that an overview of a router would ask for, below the module's root or a rival's base.
SCALARS = [f"3.{number}.0" for number in range(1, 11)] + ["8.2.0"]

#: Scalars of all groups: of the radio and what else the subagent has; the scripts have none of these.
ALL_GROUPS = SCALARS[:10] + [".".join(arcs.split(", ")) + ".0" for arcs in re.findall(
    r"^ *{[A-Z]+, [A-Z]+, {([0-9, ]+)}", (HERE / "peers" / "agentx.c").read_text(encoding="ascii"), re.M)]
assert len(ALL_GROUPS) == 60, "the titles of report.py say how many"

LEASES_ENTRY = "11.1.2.1"
SCALAR_OF_LEASES = "11.1.1.0"  # whose query's answer holds all leases
LEASES_COLUMNS = 4
SIZES = (10, 100, 1000)

ALL_PROCESSORS = os.sched_getaffinity(0)

LIMIT, MODULE, PLAIN = "agent's own", "module", "plain build"
PLAIN_LIMIT = "agent's own, beside the plain build"
PYTHON, PERL, AGENTX = "pass_persist, Python", "pass_persist, Perl", "AgentX, C"
CONTENDERS = [LIMIT, MODULE, PLAIN_LIMIT, PLAIN, PYTHON, PERL, AGENTX]
RIVALS = [PYTHON, PERL, AGENTX]
SCRIPTS = {PYTHON: ["/usr/bin/python3", str(HERE / "peers" / "pass_persist.py")],
           PERL: ["/usr/bin/perl", str(HERE / "peers" / "pass_persist.pl")]}

#: Where the objects of each lie, below the enterprise number's arc 14.
ARCS = {LIMIT: "90.1", PLAIN_LIMIT: "90.1", MODULE: "1.1", PLAIN: "1.1",
        PYTHON: "91.1", PERL: "92.1", AGENTX: "93.1"}


@dataclass(frozen=True)
class Plan:
    """How thorough a run is."""

    rounds: int
    seconds: float  # of one measurement
    cold: int  # requests of one measurement of cold requests


QUICK = Plan(rounds=5, seconds=0.1, cold=50)
FULL = Plan(rounds=25, seconds=0.15, cold=100)


@dataclass(frozen=True)
class Settings:
    """Where everything is."""

    build: Path
    folder: Path  # for configurations, logs and sockets
    enterprise_number: int

    def base(self, contender: str) -> str:
        """The OID that a contender's objects lie below."""
        return f"1.3.6.1.4.1.{self.enterprise_number}.14.{ARCS[contender]}"

    def program(self, name: str) -> str:
        """A program or module of this folder, as built."""
        return str(self.build / "bench" / name)


class Agent:
    """One snmpd in the foreground."""

    def __init__(self, settings: Settings, name: str, port: int, lines: Iterable[str], rows: int) -> None:
        self.port = port
        folder = settings.folder / name
        (folder / "persistent").mkdir(parents=True, exist_ok=True)
        configuration = folder / "snmpd.conf"
        configuration.write_text(
            "\n".join([f"agentaddress udp:127.0.0.1:{port}", "rocommunity public 127.0.0.1",
                       "dontLogTCPWrappersConnects yes", "sysName router", *lines]) + "\n", encoding="ascii")
        environment = {**os.environ, "SNMP_PERSISTENT_DIR": str(folder / "persistent"),
                       "SNMPCONFPATH": str(folder), "ZAN_LIMIT_ROWS": str(rows)}
        # snmpd ends its scripts itself; smux would want a TCP port that only one agent can have.
        self.process = subprocess.Popen([SNMPD, "-f", "-r", "-C", "-c", str(configuration), "-I", "-smux",
                                         "-LF", "4", str(folder / "log")],
                                        env=environment, stdin=subprocess.DEVNULL)


def end(process: subprocess.Popen) -> None:
    """End a process, politely first."""
    process.terminate()
    try:
        process.wait(10)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


def wait_for(condition: Callable[[], bool], what: str) -> None:
    """Poll until the condition holds."""
    limit = time.monotonic() + 30
    while not condition():
        if time.monotonic() > limit:
            raise RuntimeError(f"waited in vain for {what}")
        time.sleep(0.02)


def resident(pid: int) -> Dict[str, float]:
    """Resident memory of a process in MB: all of it, and without the pages of mapped files."""
    with open(f"/proc/{pid}/status", encoding="ascii") as file:
        fields = dict(line.split(":", 1) for line in file)
    return {name: int(fields[key].split()[0]) * 1024 / 1e6
            for name, key in (("all", "VmRSS"), ("own", "RssAnon"))}


def processor_seconds(pid: int) -> float:
    """Processor time so far of a process of one thread."""
    return int(Path(f"/proc/{pid}/schedstat").read_text(encoding="ascii").split()[0]) / 1e9


def pids_running(script: str) -> List[int]:
    """The processes that have this script in their command line."""
    found = []
    for folder in Path("/proc").glob("[0-9]*"):
        try:
            words = (folder / "cmdline").read_text(encoding="utf-8", errors="replace")
        except OSError:
            continue
        if script in words:
            found.append(int(folder.name))
    return found


class Stage:
    """The API with a number of leases, and the agents that ask it."""

    def __init__(self, settings: Settings, rows: int, lifetime: int = 5) -> None:
        self.settings = settings
        self.rows = rows
        self.lifetime = lifetime
        self.processes: List[subprocess.Popen] = []
        self.agents: Dict[str, Agent] = {}
        self.helpers: Dict[str, List[int]] = {}  # the processes that work for a rival beside the agent

    def __enter__(self) -> "Stage":
        Path(API_SOCKET).unlink(missing_ok=True)
        self.start([self.settings.program("zan-bench-api"), API_SOCKET, str(self.rows)])
        wait_for(lambda: os.path.exists(API_SOCKET), "the API")
        return self

    def __exit__(self, *_: object) -> None:
        for agent in self.agents.values():
            end(agent.process)
        for process in self.processes:
            end(process)

    def start(self, command: List[str]) -> int:
        """Start a process that ends with the stage; its id."""
        with open(self.settings.folder / "output", "ab") as output:
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        self.processes.append(process)
        return process.pid

    def start_agent(self, contender: str, port: int, lines: Iterable[str]) -> Agent:
        """Start an agent that ends with the stage, and wait until it answers."""
        agent = self.agents[contender] = Agent(self.settings, contender, port, lines, self.rows)
        wait_for(lambda: self.answers(port, SYS_NAME), f"the agent with {contender}")
        return agent

    def start_contenders(self) -> None:
        """Start the agent with the module and its rivals, and the same once more with the plain build."""
        subagent = self.start_agent_with_rivals(MODULE, 1161, self.settings.build / "zansnmpext.so")
        scripts = {rival: pids_running(command[-1]) for rival, command in SCRIPTS.items()}
        self.start_agent_with_rivals(PLAIN, 1162, Path(self.settings.program("zansnmpext-plain.so")))
        self.helpers = {AGENTX: [subagent], **scripts}

    def start_agent_with_rivals(self, contender: str, port: int, module: Path) -> int:
        """Start an agent with this module beside the limit and all rivals; the subagent's process id.

        All of them, even where the rivals are not measured: an agent that has more to look after answers more
        slowly, whatever it is asked for.
        """
        settings = self.settings
        agentx = settings.folder / f"agentx-{port}"
        lines = [f"dlmod zansnmpext {module}", f"dlmod zanlimit {settings.program('zanlimit.so')}",
                 "master agentx", f"agentXSocket {agentx}", "agentXTimeout 10"]
        for rival, command in SCRIPTS.items():
            base = "." + settings.base(rival)
            lines.append(f"pass_persist {base} {' '.join(command)} {API_SOCKET} {base} {self.lifetime}")
        self.start_agent(contender, port, lines)
        subagent = self.start([settings.program("zan-bench-agentx"), str(agentx), API_SOCKET,
                               "." + settings.base(AGENTX), str(self.lifetime)])
        for name in (LIMIT, contender, *RIVALS):
            oid = f"{LEASES_ENTRY}.1.1" if name == LIMIT else SCALARS[0]
            wait_for(lambda: self.answers(port, f"{settings.base(name)}.{oid}"), name)
        return subagent

    def answers(self, port: int, oid: str) -> bool:
        """Whether this object has a value."""
        command = [self.settings.program("zan-bench-load"), "--port", str(port), "--count", "1", oid]
        return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              check=False).returncode == 0

    def agent(self, contender: str) -> Agent:
        """The agent that has this contender in it."""
        return self.agents[PLAIN if contender in (PLAIN, PLAIN_LIMIT) else MODULE]

    def load(self, contender: str, arguments: Sequence[str]) -> Dict[str, Any]:
        """One measurement: what the load client says, and the processor time of all who worked for it."""
        agent = self.agent(contender)
        pids = [agent.process.pid, *self.helpers.get(contender, [])]
        before = sum(map(processor_seconds, pids))
        command = [self.settings.program("zan-bench-load"), "--port", str(agent.port), *arguments]
        done = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False)
        if done.returncode != 0:
            raise RuntimeError(f"{contender}: the load client failed: {' '.join(command)}")
        result: Dict[str, Any] = json.loads(done.stdout)
        result["processorSeconds"] = sum(map(processor_seconds, pids)) - before
        return result

    def share_one_processor(self, share: bool) -> None:
        """Let everybody, the load client included, run on one processor, or on all of them again."""
        processors = {max(ALL_PROCESSORS)} if share else ALL_PROCESSORS
        for pid in (os.getpid(), *(process.pid for process in self.processes),
                    *(agent.process.pid for agent in self.agents.values()),
                    *(pid for helpers in self.helpers.values() for pid in helpers)):
            os.sched_setaffinity(pid, processors)


@dataclass
class Measure:
    """One kind of load, which all contenders get."""

    arguments: List[str]
    oids: List[str]  # below the contender's base
    limit: Optional[List[str]] = None  # whole OIDs of the agent's own; none: the same below the limit's base
    one_processor: bool = False  # shared by the agent, its helpers, the API and the load client
    contenders: Sequence[str] = tuple(CONTENDERS)
    results: Dict[str, List[Dict[str, Any]]] = field(default_factory=dict)  # by contender, one a round

    def run(self, stage: Stage, contender: str, extra: Sequence[str]) -> None:
        """Measure one contender once."""
        if contender in (LIMIT, PLAIN_LIMIT) and self.limit is not None:
            oids = self.limit
        else:
            oids = [f"{stage.settings.base(contender)}.{oid}" for oid in self.oids]
        result = stage.load(contender, [*self.arguments, *extra, *oids])
        self.results.setdefault(contender, []).append(result)


def walk(rows: int, bulk: int = 0, one_processor: bool = False) -> Measure:
    """A walk of the leases, by GETNEXT unless there is a number of repetitions for GETBULK."""
    arguments = ["--rows", str(rows), "--columns", str(LEASES_COLUMNS)]
    return Measure([*arguments, "--bulk", str(bulk)] if bulk else arguments, [LEASES_ENTRY],
                   one_processor=one_processor)


class Run:
    """All measurements of one run."""

    def __init__(self, settings: Settings, plan: Plan) -> None:
        self.settings = settings
        self.plan = plan
        self.scalars = {
            "scalar": Measure(["--each"], SCALARS, [SYS_NAME]),
            "scalar, 8 outstanding": Measure(["--each", "--outstanding", "8"], SCALARS, [SYS_NAME]),
            "11 scalars": Measure([], SCALARS, [SYS_NAME] * len(SCALARS)),
            "scalar, one processor": Measure(["--each"], SCALARS, [SYS_NAME], one_processor=True),
            "11 scalars, one processor": Measure([], SCALARS, [SYS_NAME] * len(SCALARS), one_processor=True),
            "all groups": self.all_groups(),
            "all groups, one processor": self.all_groups(one_processor=True),
        }
        self.walks = {rows: {f"GETNEXT, {rows} rows": walk(rows), f"GETBULK, {rows} rows": walk(rows, 25),
                             f"GETNEXT, {rows} rows, one processor": walk(rows, one_processor=True)}
                      for rows in SIZES}
        self.repetitions = {f"{bulk} of 100 rows": walk(100, bulk) for bulk in (0, 10, 25, 50)}
        self.cold = {"cold scalar": Measure(["--each"], SCALARS, [SYS_NAME])}
        self.memory: Dict[str, Dict[str, float]] = {}

    @staticmethod
    def all_groups(one_processor: bool = False) -> Measure:
        """Scalars of all groups in one GET."""
        return Measure([], ALL_GROUPS, [SYS_NAME] * len(ALL_GROUPS), one_processor=one_processor,
                       contenders=[LIMIT, MODULE, PLAIN_LIMIT, PLAIN, AGENTX])

    def run(self) -> Dict[str, Any]:
        """Everything, stage by stage; the results, for report.py."""
        for rows, walks in self.walks.items():
            with Stage(self.settings, rows) as stage:
                stage.start_contenders()
                self.rounds(stage, {**(self.scalars if rows == SIZES[0] else {}), **walks}, CONTENDERS)
                if rows == 100:
                    self.rounds(stage, self.repetitions, [MODULE])
                if rows == SIZES[-1]:
                    self.rivals_memory(stage)
        self.module_memory()
        self.cold_requests()
        measures = {**self.scalars, **self.cold, **self.repetitions,
                    **{title: measure for walks in self.walks.values() for title, measure in walks.items()}}
        return {"rounds": self.plan.rounds, "memory": self.memory,
                "measures": {title: measure.results for title, measure in measures.items()}}

    def rounds(self, stage: Stage, measures: Dict[str, Measure], contenders: List[str]) -> None:
        """All contenders in turn, again and again."""
        for number in range(self.plan.rounds):
            progress(f"{stage.rows} leases, round {number + 1} of {self.plan.rounds}")
            # A slow walk does not come to its end in the time, so each round goes on elsewhere in the table.
            extra = ["--seconds", str(self.plan.seconds), "--from", str(number / self.plan.rounds)]
            for measure in measures.values():
                stage.share_one_processor(measure.one_processor)
                for contender in contenders:
                    if contender in measure.contenders:
                        measure.run(stage, contender, extra)
        stage.share_one_processor(False)

    def rivals_memory(self, stage: Stage) -> None:
        """What the rivals' own processes take; the agent's share is left out."""
        for rival, pids in stage.helpers.items():
            sizes = [resident(pid) for pid in pids]
            self.memory[rival] = {name: sum(size[name] for size in sizes) for name in ("all", "own")}

    def module_memory(self) -> None:
        """What module and plain build add to an agent that has served 1000 rows over more than one fetch."""
        progress("memory")
        with Stage(self.settings, SIZES[-1]) as stage:
            bare = resident(stage.start_agent(LIMIT, 1163, []).process.pid)
            for contender, port, module in ((MODULE, 1161, self.settings.build / "zansnmpext.so"),
                                            (PLAIN, 1162, self.settings.program("zansnmpext-plain.so"))):
                agent = stage.start_agent(contender, port, [f"dlmod zansnmpext {module}"])
                walk(SIZES[-1]).run(stage, contender, ["--seconds", "1"])
                walk(SIZES[-1], 25).run(stage, contender, ["--seconds", "6"])
                Measure(["--each"], [*SCALARS, SCALAR_OF_LEASES]).run(stage, contender, ["--seconds", "0.1"])
                loaded = resident(agent.process.pid)
                self.memory[contender] = {name: loaded[name] - bare[name] for name in bare}

    def cold_requests(self) -> None:
        """Requests that each find every cache expired.

        The module's clock is a file here; the rivals are told that their caches live for no time at all.
        """
        clock = self.settings.folder / "uptime"
        clock.write_text("1000000.00 0.00\n", encoding="ascii")
        subprocess.run(["mount", "--bind", str(clock), "/proc/uptime"], check=True)
        try:
            with Stage(self.settings, SIZES[0], lifetime=0) as stage:
                stage.start_contenders()
                for number in range(self.plan.rounds):
                    progress(f"cold requests, round {number + 1} of {self.plan.rounds}")
                    for measure in self.cold.values():
                        for contender in CONTENDERS:
                            measure.run(stage, contender, ["--count", str(self.plan.cold), "--seconds", "5",
                                                           "--clock", str(clock)])
        finally:
            subprocess.run(["umount", "/proc/uptime"], check=True)


def progress(text: str) -> None:
    """A sign of life."""
    print(text, flush=True)


def main() -> None:
    """Measure, keep the results in a file, and write the report."""
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=Path, required=True, help="the build folder")
    parser.add_argument("--folder", type=Path, required=True, help="for the agents' files")
    parser.add_argument("--enterprise-number", type=int, required=True)
    parser.add_argument("--results", type=Path, required=True, help="the file for the results")
    parser.add_argument("--quick", action="store_true", help="few and short rounds")
    arguments = parser.parse_args()
    os.environ["MIBS"] = ""
    arguments.folder.mkdir(parents=True, exist_ok=True)
    machine = report.machine()
    run = Run(Settings(arguments.build, arguments.folder, arguments.enterprise_number),
              QUICK if arguments.quick else FULL)
    results = {**run.run(), "machine": machine}
    arguments.results.write_text(json.dumps(results), encoding="ascii")


if __name__ == "__main__":
    sys.exit(main())
