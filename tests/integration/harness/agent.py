"""A real snmpd with the module in it."""

import itertools
import os
import re
import shlex
import signal
import socket
import subprocess
import time
from pathlib import Path
from typing import Callable, Dict, List, Mapping, Optional, Sequence, Union

from . import sanitizer, shim
from .clock import AlarmClock
from .settings import ALARM_PERIOD, MODULE, SANITIZED, deadline
from .snmp import SYS_UPTIME, SnmpClient, SnmpTimeout

SNMPD = os.environ.get("ZAN_AGENT") or "/usr/sbin/snmpd"
#: What runs the agent: an emulator, a memory checker, or nothing.
RUNNER = shlex.split(os.environ.get("ZAN_AGENT_WRAPPER", ""))

ERROR, WARNING, INFO, DEBUG = 3, 4, 6, 7

#: In place of a priority: all of them in one log, in the order of logging.
EVERYTHING = -1

_PRIORITIES = [EVERYTHING, *range(8)]

#: What stands before each message in the file that the system's log is for the agent: priority and length.
_HEAD = re.compile(rb"(\d) (\d+)\n")

#: Parts of the agent that are left out: the first logs at priority 3 that it registers twice when the
#: configuration is read again, the second wants a fixed TCP port, which only one agent can have, and the
#: third keeps the last thousand notifications in memory, which hides what the module does with it. The last
#: two log at priority 3, in older agents, that the kernel has more to tell of IP than they know.
_LEFT_OUT = "-ipAddressTable,smux,notification_log,ipSystemStatsTable,ipIfStatsTable"

V3_USER, V3_AUTH, V3_PRIV = "zanuser", "authentication", "encryption"


class AgentDied(AssertionError):
    """The agent is not running, and nobody stopped it."""


class Agent:
    """One agent, from its configuration to its end.

    It logs to the log of the system, which for it is a file, divided here by priority into exactly the bytes
    that were logged: no time stamps, texts without a line feed glued to what follows. log() gives all of it,
    take() what came since the last take().
    """

    #: What the module's process is asked to find out whether it has done everything else.
    sync_name = SYS_UPTIME

    def __init__(self, folder: Path, *, trap_port: Optional[int] = None,
                 module: Union[Path, str, None] = MODULE, extra_configuration: str = "",
                 environment: Optional[Mapping[str, str]] = None,
                 wrapper: Optional[Sequence[str]] = None) -> None:
        self.folder = folder
        folder.mkdir(parents=True, exist_ok=True)
        (folder / "persistent").mkdir(exist_ok=True)
        self.port = free_port()
        self.trap_port = trap_port
        self.module = module
        self.extra_configuration = extra_configuration
        self.alarm_clock = AlarmClock(folder)
        self.environment: Dict[str, str] = dict(environment or {})
        self.wrapper: List[str] = list(wrapper or [])
        self.client = SnmpClient(self.port)
        self.process: Optional[subprocess.Popen] = None
        self._forget_log()

    # --- configuration --------------------------------------------------------------------------------------

    @property
    def configuration_path(self) -> Path:
        """The agent's only configuration file."""
        return self.folder / "agent" / "snmpd.conf"

    def agent_lines(self) -> List[str]:
        """The configuration but for the module."""
        lines = [
            f"agentaddress udp:127.0.0.1:{self.port}",
            "rocommunity public 127.0.0.1",
            "rwcommunity private 127.0.0.1",
            f"createUser {V3_USER} SHA {V3_AUTH} AES {V3_PRIV}",
            f"rouser {V3_USER} priv",
            "dontLogTCPWrappersConnects yes",
        ]
        if self.trap_port is not None:
            lines.append(f"trap2sink 127.0.0.1:{self.trap_port} public")
        if self.extra_configuration:
            lines.append(self.extra_configuration)
        return lines

    def write_configuration(self) -> None:
        """Write the configuration from this object's fields; a running agent reads it at the next hup()."""
        lines = self.agent_lines()
        if self.module is not None:
            lines.append(f"dlmod zansnmpext {self.loadable(self.module)}")
        self.configuration_path.parent.mkdir(exist_ok=True)
        self.configuration_path.write_text("\n".join(lines) + "\n", encoding="ascii")

    def loadable(self, module: Union[Path, str]) -> Path:
        """A module by a path that the agent can read: it splits lines at blanks."""
        link = self.folder / Path(module).name
        link.unlink(missing_ok=True)
        link.symlink_to(str(module))
        return link

    def log_options(self) -> List[str]:
        """The part of the command line that says where the log goes."""
        return ["-Lsd"]

    def command(self) -> List[str]:
        """The command line."""
        return [*RUNNER, SNMPD, "-f", "-r", "-C", "-c", str(self.configuration_path),
                "-I", _LEFT_OUT, *self.log_options()]

    # --- life -----------------------------------------------------------------------------------------------

    def start(self, wait: bool = True) -> "Agent":
        """Start the agent; unless told otherwise, return when it answers."""
        self.write_configuration()
        self._log_path.unlink(missing_ok=True)
        self._forget_log()
        preload = os.environ.get("ZAN_AGENT_PRELOAD", "").split()
        environment = {
            **os.environ,
            "MIBS": "",
            "SNMP_PERSISTENT_DIR": str(self.folder / "persistent"),
            "SNMPCONFPATH": str(self.configuration_path.parent),
            "ZAN_MONOTONIC_OFFSET": str(self.alarm_clock.path),
            "ZAN_SYSTEM_LOG": str(self._log_path),
            "LD_PRELOAD": ":".join([*preload, str(shim.shared_object())]),
            **(sanitizer.options(self.folder) if SANITIZED else {}),
            **dict(pair.split("=", 1) for pair in shlex.split(os.environ.get("ZAN_AGENT_ENV", ""))),
            **self.environment,
        }
        command = self.command()
        if self.wrapper:
            # A program of this machine, which the agent's libraries may not fit.
            command = [*self.wrapper, "env", f"LD_PRELOAD={environment.pop('LD_PRELOAD')}", *command]
        with open(self.folder / "output", "ab") as output:
            self.process = subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL,
                                            stdout=output, stderr=output, cwd=self.folder)
        if wait:
            self.wait_ready()
        return self

    def wait_ready(self, timeout: float = 30) -> None:
        """Return when the agent answers."""
        end = time.monotonic() + deadline(timeout)
        while True:
            request = self.client.send_get(SYS_UPTIME)
            try:
                self.client.receive(request, timeout=0.02)
                self.synchronise()  # earlier requests may be waiting yet
                return
            except SnmpTimeout:
                self.check_alive()
                if time.monotonic() > end:
                    raise

    @property
    def alive(self) -> bool:
        """Whether the process runs."""
        return self.process is not None and self.process.poll() is None

    def check_alive(self) -> None:
        """AgentDied unless the process runs."""
        if not self.alive:
            raise AgentDied(f"the agent ended with {self.process.returncode if self.process else None}\n"
                            + self.report())

    @property
    def pid(self) -> int:
        """The process id."""
        return self.process.pid

    def synchronise(self) -> None:
        """Return when the agent has done all that it had been given to do, an alarm run included."""
        # Alarms run after the packets of the same turn of the agent's loop, hence the second question.
        for _ in range(2):
            self.client.get(self.sync_name)

    def hup(self) -> None:
        """Make the agent read its configuration again, and return when it has."""
        restarts = self._restarts()
        self.process.send_signal(signal.SIGHUP)
        self.wait_for(lambda: self._restarts() > restarts, "the agent to read its configuration again")
        self.synchronise()

    def stop(self, timeout: float = 20) -> int:
        """SIGTERM, and the exit status; a running agent that ignores it is killed and the test fails."""
        if self.process is None:
            return 0
        if self.alive:
            self.process.terminate()
        return self.wait_end(timeout)

    def wait_end(self, timeout: float = 20) -> int:
        """Wait for the end of the process; its exit status."""
        try:
            status = self.process.wait(deadline(timeout))
            self.check_sanitizers()
            return status
        except subprocess.TimeoutExpired as error:
            self.kill()
            raise AssertionError("the agent did not stop\n" + self.report()) from error

    def check_sanitizers(self) -> None:
        """Fails when a sanitizer has found something that the module has done."""
        found = sanitizer.findings(self.folder) if SANITIZED else []
        assert not found, "\n".join(found)

    def kill(self) -> None:
        """End the process the hard way, if it still runs."""
        if self.process is not None and self.alive:
            self.process.kill()
            self.process.wait()

    def wait_for(self, condition: Callable[[], bool], what: str, timeout: float = 20) -> None:
        """Poll until the condition holds; fails when the agent ends or the time is over."""
        end = time.monotonic() + deadline(timeout)
        while not condition():
            self.check_alive()
            if time.monotonic() > end:
                raise AssertionError(f"waited in vain for {what}\n" + self.report())
            time.sleep(0.002)

    # --- the alarm ------------------------------------------------------------------------------------------

    def fire_alarm(self, times: int = 1) -> None:
        """Let the alarm fire so many times, and return when it has."""
        for _ in range(times):
            self.alarm_clock.advance(ALARM_PERIOD)
            self.synchronise()

    # --- the log --------------------------------------------------------------------------------------------

    def log(self, priority: int) -> bytes:
        """All that was logged at a priority since the start."""
        self._read_log()
        return bytes(self._log[priority])

    def take(self, priority: int) -> bytes:
        """What was logged at a priority since the last take(), mark() or the start."""
        self._read_log()
        taken = bytes(self._log[priority][self._taken[priority]:])
        self._taken[priority] += len(taken)
        return taken

    def mark(self) -> None:
        """Let take() forget everything so far."""
        for priority in _PRIORITIES:
            self.take(priority)

    @property
    def _log_path(self) -> Path:
        return self.folder / "log"

    def _forget_log(self) -> None:
        self._log: Dict[int, bytearray] = {priority: bytearray() for priority in _PRIORITIES}
        self._taken = {priority: 0 for priority in _PRIORITIES}
        self._read = 0

    def _read_log(self) -> None:
        """Divide the messages that have come since the last time."""
        if not self._log_path.exists():
            return
        with open(self._log_path, "rb") as file:
            file.seek(self._read)
            new = file.read()
        begin = 0
        while head := _HEAD.match(new, begin):
            end = head.end() + int(head[2])
            if end > len(new):
                break  # in the middle of being written
            for priority in (int(head[1]), EVERYTHING):
                self._log[priority] += new[head.end():end]
            begin = end
        self._read += begin

    def _restarts(self) -> int:
        return Agent.log(self, INFO).count(b" restarted\n")

    # --- resources ------------------------------------------------------------------------------------------

    def rss(self) -> int:
        """Resident memory in bytes, without the pages of mapped files."""
        return int(self._status()["RssAnon"].split()[0]) * 1024

    def descriptors(self) -> List[str]:
        """What the open descriptors of the idle agent point to: paths, and kinds such as "socket"."""
        kinds: List[str] = []

        def counted_asleep() -> bool:
            # At work the agent has files open, if only for a moment: it must have slept all the while.
            before = self._status()
            try:
                kinds[:] = sorted(os.readlink(descriptor).split(":[")[0]
                                  for descriptor in Path(f"/proc/{self.pid}/fd").iterdir())
            except FileNotFoundError:
                return False  # closed since it was listed
            return before["State"].split()[0] == "S" and self._status() == before

        self.wait_for(counted_asleep, "the agent to be idle")
        return kinds

    def peak(self) -> int:
        """The most resident memory that it has ever had, in bytes."""
        return int(self._status()["VmHWM"].split()[0]) * 1024

    def mappings(self) -> int:
        """How often the agent has a file, or a part of one, mapped."""
        with open(f"/proc/{self.pid}/maps", encoding="ascii", errors="replace") as file:
            return sum("/" in line for line in file)

    def _status(self) -> Dict[str, str]:
        with open(f"/proc/{self.pid}/status", encoding="ascii") as file:
            return dict(line.split(":", 1) for line in file)

    # --- for the reader of a failure ------------------------------------------------------------------------

    def report(self) -> str:
        """Configuration, command and the ends of all outputs."""
        parts = ["command: " + shlex.join(self.command()),
                 f"status: {self.process.poll() if self.process else 'not started'}"]
        outputs = {path.name: path.read_bytes() for path in (self.configuration_path, self.folder / "output")
                   if path.exists()}
        for name, text in {**outputs, "log": Agent.log(self, EVERYTHING)}.items():
            parts.append(f"--- {name}\n{text[-1500:].decode(errors='backslashreplace')}")
        return "\n".join(parts)


#: Below those that the kernel gives to sockets that name none, such as the agent's own for its traps: between
#: choosing a port and binding it, nobody in the tests' own network can come and take it.
_PORTS = itertools.count(20000)


def free_port() -> int:
    """A port that nobody has, over UDP or TCP, and that nobody has been given yet."""
    for port in _PORTS:
        with socket.socket(type=socket.SOCK_DGRAM) as udp, socket.socket(type=socket.SOCK_STREAM) as tcp:
            try:
                udp.bind(("127.0.0.1", port))
                tcp.bind(("127.0.0.1", port))
                return port
            except OSError:
                continue
    raise AssertionError("there is no port left")
