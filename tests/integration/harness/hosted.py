"""The module in a host: a second snmpd, an AgentX subagent of the first, which answers the managers.

A HostedAgent is used as an Agent is. What concerns the module's process (signals, logs, memory, descriptors,
the alarm's clock) is the host's; what concerns the managers is the master's. The configurations are those
that are installed, but for the places of the socket and of the modules.
"""

import os
from pathlib import Path
from typing import List

import pytest

from .agent import ERROR, INFO, RUNNER, SNMPD, WARNING, Agent
from .settings import MODULE, OBJECTS, deadline

HOSTED = bool(os.environ.get("ZAN_HOSTED"))

#: Where the build has put the configurations and what the host loads beside the module.
INSTALLED = MODULE.parent / "host"

#: What the host says of itself at its start, once it is connected and has registered everything.
CONNECTED = b" AgentX subagent connected\nNET-SNMP version "

#: What the host says of itself at each reload: it is connected already.
REOPENED = b"AgentX session to master agent attempted to be re-opened.\n"

#: No instance of a scalar, which the host can tell without asking the API.
_NO_INSTANCE = OBJECTS + (21, 6, 1)


def in_process_only(reason: str):
    """Marks a test that is by its nature about the module inside the agent; the reason is for the reader."""
    return pytest.mark.in_process_only(reason)


def _settings(name: str) -> List[str]:
    lines = (INSTALLED / name).read_text(encoding="ascii").splitlines()
    return [line for line in lines if line and not line.startswith("#")]


class _Master(Agent):
    """The agent in front of a host."""

    def __init__(self, host: "HostedAgent", **options) -> None:
        super().__init__(host.folder / "master", module=None, **options)
        self._host = host

    def agent_lines(self) -> List[str]:
        """As the host's class has them, and what the installation adds."""
        # Without agentXPerms: the host is run by the master's user.
        hosting = [line for line in _settings("master.conf")
                   if not line.startswith(("agentXSocket", "agentXPerms"))]
        return [*self._host.agent_lines(), *hosting, *self._host.master_lines,
                f"agentXSocket {self._host.socket}"]


class HostedAgent(Agent):
    """A host and its master."""

    sync_name = _NO_INSTANCE

    #: What stands in the two configurations behind what is installed.
    master_lines: List[str] = []
    host_lines: List[str] = []

    def __init__(self, folder: Path, **options) -> None:
        super().__init__(folder, **options)
        self.socket = folder / "agentx"
        options.pop("module", None)
        for of_the_host in ("environment", "wrapper"):
            options.pop(of_the_host, None)
        self.master = _Master(self, **options)
        self.client.close()
        self.client, self.port = self.master.client, self.master.port

    def agent_lines(self) -> List[str]:
        """The master's, for its own port."""
        self.port = self.master.port
        return super().agent_lines()

    def write_configuration(self) -> None:
        """Write both configurations."""
        self.master.write_configuration()
        module = [] if self.module is None else [f"dlmod zansnmpext {self.loadable(self.module)}"]
        kept = [line for line in _settings("host.conf")
                if not line.startswith(("agentXSocket", "dlmod"))]
        self.configuration_path.parent.mkdir(exist_ok=True)
        self.configuration_path.write_text("\n".join([
            *kept, *self.host_lines, f"agentXSocket {self.socket}",
            f"dlmod zanhost {self.loadable(INSTALLED / 'zanhost.so')}", *module, ""]), encoding="ascii")

    def command(self) -> List[str]:
        """The host's command line."""
        return [*RUNNER, SNMPD, "-X", "-f", "-C", "-c", str(self.configuration_path),
                "-I", "dlmod", *self.log_options()]

    def start(self, wait: bool = True) -> "HostedAgent":
        """Start the master, unless it runs, and the host."""
        if not self.master.alive:
            self.master.start()
        super().start(wait)
        return self

    def wait_ready(self, timeout: float = 30) -> None:
        """Return when the host has registered everything, and is idle."""
        self.wait_for(lambda: CONNECTED in self.log(INFO), "the host to be connected", timeout)
        self.synchronise()

    def check_alive(self) -> None:
        """AgentDied unless both run."""
        super().check_alive()
        self.master.check_alive()

    def wait_end(self, timeout: float = 20) -> int:
        """The end of the host, and then of the master; the exit status of the first that has a bad one."""
        status = super().wait_end(timeout)
        return self.master.stop() or status

    def kill(self) -> None:
        """End both the hard way."""
        super().kill()
        self.master.kill()

    def log(self, priority: int) -> bytes:
        """The host's log; of warnings and worse the master's as well, which has none of its own."""
        both = super().log(priority).replace(REOPENED, b"")
        return both + self.master.log(priority) if priority in (ERROR, WARNING) else both

    def take(self, priority: int) -> bytes:
        """What is new in log()."""
        both = super().take(priority).replace(REOPENED, b"")
        return both + self.master.take(priority) if priority in (ERROR, WARNING) else both

    def report(self) -> str:
        """Of both."""
        return super().report() + "\n=== master\n" + self.master.report()


class PatientHostedAgent(HostedAgent):
    """For tests that are not about the mode: the master waits for its host as long as they for an answer."""

    master_lines = [f"agentXTimeout {deadline(20):.0f}"]
