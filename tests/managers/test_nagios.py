"""Debian's Nagios with its own configuration, our file in it, and the routers as that file's head says."""

import re
import shutil
import subprocess
import time
from pathlib import Path
from typing import Dict, Iterator, List

import pytest

from checks_support import (ALL_RIGHT, API, EVENTS, OK, USER, router_fixture,  # noqa: F401
                            time_passes_fixture)
from harness import Agent
from monitoring_support import MADE, until

SHIPPED = MADE / "nagios" / "zansnmpext.cfg"
CONFIGURATION = Path("/etc/nagios4/nagios.cfg")
COMMANDS = Path("/var/lib/nagios4/rw/nagios.cmd")
STATUS = Path("/var/lib/nagios4/status.dat")

#: It writes its status every ten seconds.
PATIENCE = 240


def head() -> List[str]:
    """What the file says of the rest of the configuration: lines of resource.cfg, and a router."""
    lines = re.match(r"(?:#.*\n)+", SHIPPED.read_text())[0].splitlines()
    return [line[len("#   "):] for line in lines if line.startswith("#   ")]


class Nagios:
    """Debian's nagios4 with its folders to itself."""

    def __init__(self, folder: Path) -> None:
        for number, place in enumerate(["/etc/nagios4", "/var/lib/nagios4", "/var/log/nagios4"]):
            own = folder / str(number)
            subprocess.run(["cp", "-a", place, own], check=True)
            subprocess.run(["mount", "--bind", own, place], check=True)
        # Of a Nagios that has been running on this machine.
        subprocess.run(["find", "/var/lib/nagios4", "!", "-type", "d", "-delete"], check=True)
        Path("/run/nagios4").mkdir()
        shutil.chown("/run/nagios4", "nagios")
        shutil.copy(SHIPPED, "/etc/nagios4/conf.d/")
        passphrases = [line for line in head() if line.startswith("$USER")]
        with open("/etc/nagios4/resource.cfg", "a", encoding="ascii") as resource:
            resource.write("".join(f"{line}\n" for line in passphrases))
        router = "".join(f"{line}\n" for line in head() if line not in passphrases)
        Path("/etc/nagios4/conf.d/routers.cfg").write_text("".join(
            router.replace("router.example.net", name, 1).replace("router.example.net", address)
            for name, address in [("router", "127.0.0.1"), ("nobody", "127.0.0.2")]), encoding="ascii")
        checked = subprocess.run(["/usr/sbin/nagios4", "-v", CONFIGURATION], stdin=subprocess.DEVNULL,
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        self.verdict = (checked.returncode, checked.stdout)
        self._output = folder / "output"
        with open(self._output, "wb") as output:
            self._process = subprocess.Popen(["/usr/sbin/nagios4", CONFIGURATION], stdin=subprocess.DEVNULL,
                                             stdout=output, stderr=output)
        until(self._ready, "Nagios", PATIENCE)

    def _ready(self) -> bool:
        assert self._process.poll() is None, self._output.read_text()
        return COMMANDS.exists() and STATUS.exists()

    @staticmethod
    def known(kind: str, host: str) -> List[Dict[str, str]]:
        """What its status says of a host, or of its services."""
        blocks = re.findall(rf"^{kind}status \{{\n(.*?)^\t\}}", STATUS.read_text(), re.M | re.S)
        found = [dict(line.strip().split("=", 1) for line in block.splitlines()) for block in blocks]
        return [each for each in found if each["host_name"] == host]

    def services(self) -> Dict[str, Dict[str, str]]:
        """The router's services by their names."""
        return {each["service_description"]: each for each in self.known("service", "router")}

    @staticmethod
    def tell(command: str, *arguments: object) -> int:
        """An external command, for now; when that was."""
        now = int(time.time())
        with open(COMMANDS, "w", encoding="ascii") as pipe:
            pipe.write(f"[{now}] " + ";".join(map(str, [command, *arguments, now])) + "\n")
        return now

    def states(self) -> Dict[str, int]:
        """The states of the router's services, all looked at again."""
        begin = self.tell("SCHEDULE_FORCED_HOST_SVC_CHECKS", "router")

        def again() -> Dict[str, Dict[str, str]]:
            found = self.services()
            return found if all(int(each["last_check"]) >= begin for each in found.values()) else {}

        return {name: int(each["current_state"]) for name, each in until(again, "checks", PATIENCE).items()}

    def wait_for(self, expected: Dict[str, int]) -> None:
        """Return when the router's services have these states."""
        found: Dict[str, int] = {}

        def just_these() -> bool:
            found.update(self.states())
            return found == expected

        try:
            until(just_these, "states", PATIENCE)
        except AssertionError as error:
            said = {name: each["plugin_output"] for name, each in self.services().items()}
            raise AssertionError(f"{found} and not {expected}; {said}") from error

    def host_state(self, host: str) -> int:
        """The state of a host itself, looked at again."""
        begin = self.tell("SCHEDULE_FORCED_HOST_CHECK", host)

        def again() -> List[Dict[str, str]]:
            return [each for each in self.known("host", host) if int(each["last_check"]) >= begin]

        return int(until(again, "a check", PATIENCE)[0]["current_state"])

    def stop(self) -> None:
        """End it."""
        self._process.terminate()
        self._process.wait()


@pytest.fixture(name="nagios", scope="module")
def nagios_fixture(tmp_path_factory, router, clock, _traps) -> Iterator[Nagios]:  # noqa: F811
    folder = tmp_path_factory.mktemp("nagios")
    folder.parent.chmod(0o755)
    # The file's checks ask the port that every agent has.
    agent = Agent(folder / "agent", trap_port=_traps.port,
                  extra_configuration=f"{USER}\nagentaddress udp:127.0.0.1:161").start()
    nagios = Nagios(folder)
    yield nagios
    nagios.stop()
    agent.stop()


def test_the_objects_are_well_defined(nagios):
    status, said = nagios.verdict
    assert status == 0 and "Total Warnings: 0\nTotal Errors:   0\n" in said, said


def test_what_goes_wrong_is_told_and_is_over(nagios, router):  # noqa: F811
    assert nagios.host_state("router") == OK
    nagios.wait_for(ALL_RIGHT)
    wrong = {name: event for name, event in EVENTS.items() if name != API}
    router.set(*(assignment for assignments, _ in wrong.values() for assignment in assignments))
    try:
        nagios.wait_for({API: OK, **{name: state for name, (_, state) in wrong.items()}})
    finally:
        router.reset()
    nagios.wait_for(ALL_RIGHT)


def test_nothing_else_is_looked_at_while_the_api_is_down(nagios, router):  # noqa: F811
    router.set(*EVENTS[API][0])
    try:
        # Three checks make a problem, and a dependency looks at problems only.
        until(lambda: nagios.states()[API] == EVENTS[API][1] and nagios.services()[API]["state_type"] == "1",
              "a problem", PATIENCE)
        before = nagios.services()
        begin = nagios.tell("SCHEDULE_HOST_SVC_CHECKS", "router")

        def put_off() -> bool:
            after = nagios.services()
            again = {name for name in after if int(after[name]["last_check"]) >= begin}
            moved = {name for name in after if after[name]["next_check"] != before[name]["next_check"]
                     and int(after[name]["next_check"]) > begin}
            assert again <= {API}
            return bool(again) and moved == set(after)

        until(put_off, "all but one put off", PATIENCE)
    finally:
        router.reset()


def test_a_router_that_nobody_is_there_for_is_down(nagios):
    assert nagios.host_state("nobody") != OK
