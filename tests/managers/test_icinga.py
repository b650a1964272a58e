"""Icinga 2 with the check commands and services, asked through its REST API."""

import base64
import contextlib
import json
import re
import ssl
import subprocess
import urllib.error
import urllib.parse
import urllib.request
from pathlib import Path
from typing import Any, Dict, Iterator, List, Optional

import pytest

from checks_support import (ALL_RIGHT, API, EVENTS, OK, USER, router_fixture,  # noqa: F401
                            time_passes_fixture)
from harness import Agent
from monitoring_support import MADE, free_port, until

CONFIGURATION = """\
include <itl>
include <plugins>
const PluginDir = "/usr/lib/nagios/plugins"
const NodeName = "manager"
const ZoneName = NodeName
object Endpoint NodeName {{ }}
object Zone ZoneName {{ endpoints = [ NodeName ] }}
object ApiListener "api" {{ bind_host = "127.0.0.1", bind_port = {port} }}
object ApiUser "test" {{ password = "test", permissions = [ "*" ] }}
object CheckerComponent "checker" {{ }}
include "{services}"
object Host "v3" {{
  import "zan-router"
  address = "127.0.0.1"
  vars.zan_port = {agent}
  vars.zan_user = "manager"
  vars.zan_auth_phrase = "a passphrase of 8 or more"
  vars.zan_priv_phrase = "another passphrase"
}}
object Host "v2c" {{
  import "zan-router"
  address = "127.0.0.1"
  vars.zan_port = {agent}
}}
object Host "nobody" {{
  import "zan-router"
  address = "127.0.0.1"
  vars.zan_port = 9
}}
"""


class Icinga:
    """Debian's icinga2 with its folders to itself."""

    def __init__(self, folder: Path, agent: int) -> None:
        for place in ("/etc/icinga2", "/var/lib/icinga2", "/var/log/icinga2", "/var/cache/icinga2"):
            Path(place).mkdir(parents=True, exist_ok=True)
            subprocess.run(["mount", "-t", "tmpfs", "tmpfs", place], check=True)
        Path("/run/icinga2").mkdir()
        self._url = f"https://127.0.0.1:{free_port()}/v1/"
        port = urllib.parse.urlparse(self._url).port
        (folder / "icinga2.conf").write_text(CONFIGURATION.format(
            port=port, agent=agent, services=MADE / "icinga" / "zansnmpext.conf"))
        self._environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "ICINGA2_USER": "root",
                             "ICINGA2_GROUP": "root"}
        certificates = Path("/var/lib/icinga2/certs")
        certificates.mkdir()
        for command in (["new-ca"], ["new-cert", "--cn", "manager", "--key", certificates / "manager.key",
                                     "--csr", certificates / "manager.csr"],
                        ["sign-csr", "--csr", certificates / "manager.csr",
                         "--cert", certificates / "manager.crt"]):
            self.run("pki", *command)
        (certificates / "ca.crt").write_bytes(Path("/var/lib/icinga2/ca/ca.crt").read_bytes())
        self._log = folder / "icinga2.log"
        self.run("daemon", "--validate", "-c", folder / "icinga2.conf")
        with open(self._log, "wb") as output:
            self._process = subprocess.Popen(
                ["/usr/sbin/icinga2", "daemon", "-c", str(folder / "icinga2.conf")], env=self._environment,
                stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        until(self._answers, "icinga2", 60)

    def run(self, *arguments: object) -> None:
        """One of its commands, which has to succeed and not to warn."""
        done = subprocess.run(["/usr/sbin/icinga2", *map(str, arguments)], env=self._environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, check=False)
        # What a newer Icinga says of its own interface's users is not about the configuration that is tried.
        warnings = [line for line in done.stdout.splitlines()
                    if "warning/" in line and "/ApiListener" not in line]
        assert (done.returncode, warnings) == (0, []), done.stdout

    def _answers(self) -> bool:
        assert self._process.poll() is None, self._log.read_text()
        with contextlib.suppress(OSError):
            return bool(self.ask("status"))
        return False

    def ask(self, path: str, **body: Any) -> List[Dict[str, Any]]:
        """The results of an answer of its API; with a body, of an action."""
        word = base64.b64encode(b"test:test").decode()
        request = urllib.request.Request(self._url + path, json.dumps(body).encode() if body else None,
                                         {"Accept": "application/json", "Authorization": f"Basic {word}"})
        with urllib.request.urlopen(request, context=ssl._create_unverified_context(), timeout=20) as answer:
            return json.loads(answer.read())["results"]

    def services(self, host: str) -> Dict[str, Dict[str, Any]]:
        """What is known of a host's services."""
        found = self.ask(f"objects/services?filter=host.name==%22{host}%22")
        return {each["attrs"]["display_name"]: each["attrs"] for each in found}

    def states(self, host: str) -> Dict[str, int]:
        """The states of a host's services, after they have all been asked to look again."""
        self.ask("actions/reschedule-check", type="Service", filter=f'host.name=="{host}"', force=True)
        return {name: int(service["state"]) for name, service in self.services(host).items()
                if service["last_check_result"]}

    def host_state(self, host: str) -> Optional[int]:
        """The state of a host itself, after it has been asked to look again."""
        self.ask("actions/reschedule-check", type="Host", filter=f'host.name=="{host}"', force=True)
        (found,) = self.ask(f"objects/hosts/{host}")
        return int(found["attrs"]["state"]) if found["attrs"]["last_check_result"] else None

    def stop(self) -> None:
        """End it."""
        self._process.terminate()
        self._process.wait()


@pytest.fixture(name="icinga", scope="module")
def icinga_fixture(tmp_path_factory, router, clock, _traps) -> Iterator[Icinga]:
    folder = tmp_path_factory.mktemp("icinga")
    agent = Agent(folder / "agent", trap_port=_traps.port, extra_configuration=USER).start()
    icinga = Icinga(folder, agent.port)
    yield icinga
    icinga.stop()
    agent.stop()


@pytest.mark.parametrize("host", ["v3", "v2c"])
def test_an_ordinary_router_is_all_right(host, icinga):
    until(lambda: icinga.states(host) == ALL_RIGHT, "a router that is all right", 60)
    until(lambda: icinga.host_state(host) == OK, "a host that is up", 60)


@pytest.mark.parametrize("service", EVENTS)
def test_what_goes_wrong_is_told_and_is_over(service, icinga, router):
    assignments, state = EVENTS[service]
    until(lambda: set(icinga.states("v3").values()) == {OK}, "a router that is all right", 60)
    router.set(*assignments)
    try:
        if service == API:
            until(lambda: icinga.states("v3")[service] == state, "the state")
        else:
            until(lambda: icinga.states("v3") == {**ALL_RIGHT, service: state},
                  "the state of this service alone")
    finally:
        router.reset()
    until(lambda: set(icinga.states("v3").values()) == {OK}, "the end of it", 60)


def test_nothing_else_is_looked_at_while_the_api_is_down(icinga):
    (dependency, *others) = [each["attrs"] for each in icinga.ask("objects/dependencies")
                             if each["attrs"]["child_host_name"] == "v3"]
    assert len(others) + 1 == len(EVENTS) - 1
    for each in (dependency, *others):
        assert each["parent_service_name"] == "zan-api" and each["disable_checks"]


def test_a_router_that_nobody_is_there_for_is_down(icinga):
    until(lambda: icinga.host_state("nobody") not in (None, OK), "a host that is down", 60)


def test_the_objects_are_those_of_nagios_as_well():
    """The same options of check_snmp, but for what Icinga takes from the host."""
    icinga = (MADE / "icinga" / "zansnmpext.conf").read_text()
    nagios = (MADE / "nagios" / "zansnmpext.cfg").read_text()
    oids = re.findall(r'arguments\["-o"\] = "(\S+)"', icinga)
    assert oids == re.findall(r" -o (\S+) ", nagios) and len(oids) == len(EVENTS) + 1
