"""What the tests of the monitoring share: the exporter, Prometheus and the simulated router."""

import contextlib
import json
import re
import signal
import socket
import subprocess
import threading
import urllib.error
import urllib.parse
import urllib.request
from pathlib import Path
from typing import Any, Callable, Dict, FrozenSet, Iterator, List, Sequence, Tuple

import patience
from harness import MODULE, SOURCE_ROOT, Clock, deadline
from harness.agent import free_port

MONITORING = SOURCE_ROOT / "monitoring"
SIMULATOR = SOURCE_ROOT / "tools" / "zan-router-sim"
SCENARIO = SOURCE_ROOT / "tools" / "scenarios" / "router.json"

#: The managers' files that are made for the enterprise number of the build.
MADE = MODULE.parent / "monitoring"

#: A metric as the exporter writes it: its name, and its labels with their values.
Series = Tuple[str, FrozenSet[Tuple[str, str]]]

_LABEL = re.compile(r'(\w+)="((?:[^"\\]|\\.)*)"')
_LINE = re.compile(r"(\w+)(?:\{(.*)\})? (\S+)")
_ESCAPES = {r"\\": "\\", r"\"": '"', r"\n": "\n"}


def series(name: str, **labels: str) -> Series:
    """A metric's identity."""
    return name, frozenset(labels.items())


def until(condition: Callable[[], Any], what: str, seconds: float = 40) -> Any:
    """Wait for a true value, and return it."""
    return patience.until(condition, deadline(seconds), what)


def get(url: str) -> str:
    """What an address answers; an error of HTTP with the body that came with it."""
    try:
        with urllib.request.urlopen(url, timeout=deadline(20)) as answer:
            return answer.read().decode()
    except urllib.error.HTTPError as error:
        raise AssertionError(f"{url}: {error}\n{error.read().decode(errors='replace')}") from error


def parse_metrics(text: str) -> Dict[Series, float]:
    """The module's metrics, out of a text that the exporter answers."""
    metrics = {}
    for line in text.splitlines():
        if line.startswith("zan"):
            name, labels, value = _LINE.fullmatch(line).groups()
            unescaped = {label: re.sub(r"\\.", lambda found: _ESCAPES[found[0]], content)
                         for label, content in _LABEL.findall(labels or "")}
            metrics[series(name, **unescaped)] = float(value)
    return metrics


class Exporter:
    """Debian's SNMP exporter with the build's file of the form that it reads, as shipped.

    The agent has to know the community "public", and for SNMPv3 the user of the shipped file.
    """

    def __init__(self, folder: Path, command: Sequence[str] = ("prometheus-snmp-exporter",)) -> None:
        self._port = free_port()
        self._log = folder / "exporter.log"
        said = subprocess.run([*command, "--version"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, check=True).stdout
        self.version = tuple(map(int, re.search(r"version (\d+)\.(\d+)", said).groups()))
        self._has_auths = self.version >= (0, 23)
        name = "snmp.yml" if self._has_auths else "snmp-0.22.yml"
        command = [*command, f"--config.file={MADE / name}", f"--web.listen-address=127.0.0.1:{self._port}"]
        with open(self._log, "wb") as output:
            self._process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        until(self._answers, "the exporter")

    def _answers(self) -> bool:
        assert self._process.poll() is None, self._log.read_text()
        with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", self._port), 1):
            return True
        return False

    def text(self, agent_port: int, module: str = "zansnmpext", access: str = "v2c") -> str:
        """The exporter's whole answer about an agent."""
        parameters = {"module": module, "target": f"127.0.0.1:{agent_port}"}
        if self._has_auths:
            parameters["auth"] = f"zansnmpext_{access}"
        elif access == "v2c":
            parameters["module"] += "_v2c"
        return get(f"http://127.0.0.1:{self._port}/snmp?{urllib.parse.urlencode(parameters)}")

    def scrape(self, agent_port: int, module: str = "zansnmpext", access: str = "v2c") -> Dict[Series, float]:
        """The metrics of an agent."""
        return parse_metrics(self.text(agent_port, module, access))

    def stop(self) -> None:
        """End it."""
        self._process.terminate()
        self._process.wait()


class Router:
    """The simulated router on the API's real path, with a scenario to edit."""

    def __init__(self, folder: Path, path: str) -> None:
        self.scenario = folder / "router.json"
        self.scenario.write_text(SCENARIO.read_text(encoding="utf-8"), encoding="utf-8")
        Path(path).parent.mkdir(parents=True, exist_ok=True)
        log = folder / "requests"
        with open(folder / "simulator.log", "wb") as output:
            self._process = subprocess.Popen(
                [str(SIMULATOR), "--socket", path, "--scenario", str(self.scenario), "--log", str(log)],
                stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        until(lambda: log.exists() and "serving" in log.read_text(), "the simulator")

    def set(self, *assignments: str) -> None:
        """Edit the scenario as a person would from a shell."""
        options = [part for assignment in assignments for part in ("--set", assignment)]
        subprocess.run([str(SIMULATOR), "--scenario", str(self.scenario), *options], check=True)

    def reset(self) -> None:
        """Be the router of the scenario as it comes."""
        self.scenario.write_text(SCENARIO.read_text(encoding="utf-8"), encoding="utf-8")

    def stop(self) -> None:
        """End it."""
        self._process.terminate()
        self._process.wait()


@contextlib.contextmanager
def uptime_passes(clock: Clock, speed: float) -> Iterator[None]:
    """Inside, the agent's uptime goes on by itself, so many times as fast as it would."""
    ended = threading.Event()

    def advance() -> None:
        while not ended.wait(0.1):
            clock.advance(0.1 * speed)

    thread = threading.Thread(target=advance)
    thread.start()
    try:
        yield
    finally:
        ended.set()
        thread.join()


class Preview:
    """monitoring/preview for one agent: the exporter and Prometheus, with all files as they are shipped."""

    def __init__(self, folder: Path, agent_port: int, *options: str, **environment: str) -> None:
        self.instance = f"127.0.0.1:{agent_port}"
        self._addresses = folder / "addresses"
        self._output = folder / "preview.log"
        self._temporary = folder / "temporary"
        self._temporary.mkdir()
        with open(self._output, "wb") as output:
            self._process = subprocess.Popen(
                [str(MONITORING / "preview"), self.instance, "--modules", str(MADE), *options,
                 "--addresses", str(self._addresses)],
                env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "TMPDIR": str(self._temporary), **environment},
                stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        self.addresses = until(self._read_addresses, "Prometheus", 90)

    def _read_addresses(self) -> Dict[str, str]:
        assert self._process.poll() is None, self.output()
        return json.loads(self._addresses.read_text()) if self._addresses.exists() else {}

    def output(self) -> str:
        """What it has printed."""
        return self._output.read_text()

    def page(self, path: str) -> str:
        """A page of Prometheus."""
        return get(self.addresses["prometheus"] + path)

    def ask(self, path: str, **parameters: Any) -> Any:
        """The data of an answer of Prometheus's API."""
        answer = json.loads(self.page(f"api/v1/{path}?{urllib.parse.urlencode(parameters)}"))
        assert answer["status"] == "success", answer
        return answer["data"]

    def query(self, expression: str) -> List[Dict[str, Any]]:
        """The result of a query at this moment."""
        return self.ask("query", query=expression)["result"]

    def firing(self) -> Dict[str, str]:
        """The names of the alerts that are firing, but for notes, with their summaries."""
        return {alert["labels"]["alertname"]: alert["annotations"]["summary"]
                for alert in self.ask("alerts")["alerts"]
                if alert["state"] == "firing" and alert["labels"]["severity"] != "info"}

    def stop(self) -> int:
        """End it as Ctrl-C does; its status. Nothing of it may be left."""
        self._process.send_signal(signal.SIGINT)
        status = self._process.wait(deadline(40))
        assert list(self._temporary.iterdir()) == []
        return status
