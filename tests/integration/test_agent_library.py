"""The module in an agent that is linked to another release of the agent library than the module."""

import re
import subprocess
from pathlib import Path
from typing import Dict

import pytest

from harness import ERROR, MODULE, OBJECTS
from harness.agent import SNMPD
from harness.messages import OTHER_LIBRARY
from harness.snmp import NO_SUCH_OBJECT, SYS_UPTIME

#: The files' own names of Net-SNMP's libraries, in the agent, in the libraries and in the module.
NAMED = re.compile(rb"(libnetsnmp\w*\.so\.)(\d+)\0")


def renamed(data: bytes) -> bytes:
    """A file of Net-SNMP's, as if of a release whose libraries have the next number."""
    return NAMED.sub(lambda match: match[1] + b"%0*d\0" % (len(match[2]), int(match[2]) + 1), data)


@pytest.fixture(scope="module")
def other_release(tmp_path_factory: pytest.TempPathFactory) -> Dict[str, str]:
    """An agent, with its libraries, whose numbers are others than those the module knows."""
    folder = tmp_path_factory.mktemp("release")
    listing = subprocess.run(["ldd", SNMPD], stdout=subprocess.PIPE, check=True, text=True).stdout
    libraries = re.findall(r"(libnetsnmp\S+) => (\S+)", listing)
    assert len(libraries) >= 2
    for name, path in libraries:
        (folder / renamed(name.encode() + b"\0")[:-1].decode()).write_bytes(renamed(Path(path).read_bytes()))
    agent = folder / "snmpd"
    agent.write_bytes(renamed(Path(SNMPD).read_bytes()))
    agent.chmod(0o755)
    return {"agent": str(agent), "LD_LIBRARY_PATH": str(folder)}


def mapped(pid: int) -> set:
    """The agent libraries in a process."""
    return set(re.findall(r"libnetsnmpagent\.so[.\d]*", Path(f"/proc/{pid}/maps").read_text("ascii")))


def test_an_agent_of_another_release_is_left_alone(make_agent, other_release, api, queue, monkeypatch):
    monkeypatch.setattr("harness.agent.SNMPD", other_release["agent"])
    agent = make_agent(environment={"LD_LIBRARY_PATH": other_release["LD_LIBRARY_PATH"]}).start()
    assert len(mapped(agent.pid)) == 2
    assert agent.log(ERROR) == OTHER_LIBRARY
    assert agent.client.get(OBJECTS + (8, 2, 0))[0].tag == NO_SUCH_OBJECT
    agent.mark()
    agent.hup()
    assert agent.take(ERROR) == OTHER_LIBRARY
    assert agent.client.value(SYS_UPTIME) > 0
    assert api.targets() == [] and queue.state() is None


def test_a_module_whose_library_is_missing_is_not_loaded(make_agent, api, tmp_path):
    module = tmp_path / "zansnmpext.so"
    module.write_bytes(renamed(MODULE.read_bytes()))
    agent = make_agent(module=module).start()
    said = rb"dlopen\(.*/zansnmpext\.so\) failed: libnetsnmp.*: cannot open shared object file"
    assert re.search(said, agent.log(ERROR))
    assert agent.client.get(OBJECTS + (8, 2, 0))[0].tag == NO_SUCH_OBJECT
    assert api.targets() == []
