"""Who may see the router's objects: nobody after an installation, then whom the example lets in.

The agent has the access lines of Debian's own configuration, and those of the example that is installed with
the module. Whoever is kept out is kept out before the module is asked: no request reaches the API.
"""

import os
import re
import subprocess
from typing import Dict, List

import pytest

from harness import (CACHE_LIFETIME, ENTERPRISE_NUMBER, MODULE_ROOT, OBJECTS, SOURCE_ROOT, Agent, deadline,
                     tools)
from harness.router import SCALAR, TABLES, expected_tree
from harness.snmp import dotted

#: The access lines of the configuration that Debian's snmpd comes with.
STOCK = """
view systemonly included .1.3.6.1.2.1.1
view systemonly included .1.3.6.1.2.1.25.1
rocommunity public default -V systemonly
rouser authPrivUser authpriv -V systemonly
"""

EXAMPLE = SOURCE_ROOT / "packaging" / "snmpd-access.conf.in"

#: The example's addresses and passwords.
MANAGER_ADDRESS, OTHER_ADDRESS = "192.0.2.10", "192.0.2.11"
MANAGER = ["-u", "manager", "-a", "SHA-256", "-A", "a passphrase of 8 or more", "-x", "AES",
           "-X", "another passphrase"]
OPERATOR = ["-u", "operator", "-a", "SHA-256", "-A", "a third passphrase", "-x", "AES",
            "-X", "a fourth passphrase"]
POLLER = ["-u", "poller", "-a", "SHA", "-A", "a fifth passphrase", "-x", "AES", "-X", "a sixth passphrase"]
PRIVATE = ["-v", "3", "-l", "authPriv"]
SIGNED = ["-v", "3", "-l", "authNoPriv"]
OPEN = ["-v", "3", "-l", "noAuthNoPriv"]
WORD = ["-v", "2c", "-c", "a-secret-word"]

SERIAL_NUMBER = dotted(SCALAR["zanRouterSerialNumber"].instance)
SYS_NAME = ".1.3.6.1.2.1.1.5.0"

#: What tells who the subscriber is.
IDENTITIES = ("zanRadioMEIDorIMEI", "zanRadioIMSI", "zanRadioMSID", "zanRadioMDN")


def example_lines() -> str:
    """The example with its access lines in force."""
    text = EXAMPLE.read_text(encoding="ascii").replace("@ZAN_ENTERPRISE_NUMBER@", str(ENTERPRISE_NUMBER))
    lines = re.findall(r"^#((?:sysObjectID|view|createUser|r[ow]user|r[ow]community6?) .*)$", text,
                       re.MULTILINE)
    assert len(lines) >= 10 and not [line for line in lines if line.startswith("rw")]
    return "\n".join(lines)


class PlainAgent(Agent):
    """An agent with no access lines but those that it is given."""

    access = ""

    def agent_lines(self) -> List[str]:
        """As an installation has it: the stock configuration, then what is dropped in."""
        return [f"agentaddress udp:127.0.0.1:{self.port}", self.access]


@pytest.fixture(scope="module")
def addresses():
    """Two hosts of the same network, in the tests' own."""
    for address in (MANAGER_ADDRESS, OTHER_ADDRESS):
        subprocess.run(["ip", "address", "add", f"{address}/32", "dev", "lo"], check=True)
    yield
    for address in (MANAGER_ADDRESS, OTHER_ADDRESS):
        subprocess.run(["ip", "address", "del", f"{address}/32", "dev", "lo"], check=True)


@pytest.fixture(scope="module")
def serve(tmp_path_factory, clock):
    """Starts an agent with the access lines given, or finds the one that has them."""
    agents: Dict[str, Agent] = {}

    def start(access: str) -> Agent:
        if access not in agents:
            agent = PlainAgent(tmp_path_factory.mktemp("access"))
            agent.access = access
            agents[access] = agent.start()
            clock.advance(CACHE_LIFETIME)
        return agents[access]

    yield start
    for agent in agents.values():
        assert agent.stop() == 0, agent.report()


@pytest.fixture
def stock(api, serve) -> Agent:
    """An agent as the installation leaves it."""
    agent = serve(STOCK)
    api.requests.clear()
    return agent


@pytest.fixture
def example(api, serve) -> Agent:
    """An agent with the example in force."""
    agent = serve(STOCK + example_lines())
    api.requests.clear()
    return agent


def ask(agent: Agent, login: List[str], *arguments: str, tool: str = "snmpget",
        patience: float = 5) -> subprocess.CompletedProcess:
    """The answer to one question."""
    command = [tool, *login, *tools.FORMAT, "-t", str(deadline(patience)), "-r", "0",
               f"127.0.0.1:{agent.port}", *arguments]
    environment = {**os.environ, "MIBS": "", "SNMP_PERSISTENT_DIR": str(agent.folder / "tools"),
                   "SNMPCONFPATH": str(agent.folder)}
    return subprocess.run(command, env=environment, capture_output=True, text=True, check=False)


def walk(agent: Agent, login: List[str]) -> List[str]:
    """The lines of a walk over the objects, which ends where the view does."""
    *lines, last = tools.lines(ask(agent, login, dotted(OBJECTS), tool="snmpbulkwalk"))
    assert "No more variables left in this MIB View" in last
    return lines


def reads(agent: Agent, login: List[str], name: str = SERIAL_NUMBER, patience: float = 5) -> bool:
    """Whether a login gets a value; one that gets none is told that there is nothing, or nothing at all."""
    completed = ask(agent, login, name, patience=patience)
    if " = STRING: " in completed.stdout:
        return True
    assert completed.returncode != 0 or "No Such Object" in completed.stdout, completed
    return False


def test_an_installation_lets_nobody_see_the_router(stock, api):
    public = ["-v", "2c", "-c", "public"]
    assert reads(stock, public, SYS_NAME)
    assert not reads(stock, public)
    walked = ask(stock, public, dotted(MODULE_ROOT), tool="snmpwalk")
    assert "STRING" not in walked.stdout and "INTEGER" not in walked.stdout
    assert api.requests == []


def test_the_example_does_nothing_as_it_is():
    lines = EXAMPLE.read_text(encoding="ascii").splitlines()
    assert [line for line in lines if line and not line.startswith("#")] == []


def test_the_manager_sees_the_router_and_who_it_is(example):
    assert reads(example, PRIVATE + MANAGER) and reads(example, PRIVATE + MANAGER, SYS_NAME)
    assert walk(example, PRIVATE + MANAGER) == [tools.line(*entry) for entry in expected_tree()]
    for outside in (".1.3.6.1.2.1.2.1.0", ".1.3.6.1.2.1.25.1.1.0", ".1.3.6.1.6.3.15.1.1.1.0"):
        assert not reads(example, PRIVATE + MANAGER, outside)


@pytest.mark.parametrize("login", [OPERATOR, POLLER], ids=["operator", "poller"])
def test_who_is_no_manager_does_not_see_the_subscriber(login, example):
    hidden = {SCALAR[name].instance for name in IDENTITIES}
    seen = [tools.line(*entry) for entry in expected_tree() if entry[0] not in hidden]
    assert walk(example, PRIVATE + login) == seen
    for name in hidden:
        assert not reads(example, PRIVATE + login, dotted(name))
        assert reads(example, PRIVATE + MANAGER, dotted(name))


@pytest.mark.parametrize("login", [PRIVATE + MANAGER, PRIVATE + OPERATOR, PRIVATE + POLLER],
                         ids=["manager", "operator", "poller"])
def test_every_reader_is_told_what_it_is_talking_to(login, example):
    """The group system, without which managers call a device dead, and not the agent library's identity."""
    assert reads(example, login, SYS_NAME)
    identity = ".1.3.6.1.2.1.1.2.0"
    assert ask(example, login, identity).stdout == f"{identity} = OID: {dotted(MODULE_ROOT)}\n"


STRANGERS = {
    "another user": PRIVATE + ["-u", "stranger", *MANAGER[2:]],
    "no user": OPEN + ["-u", ""],
    "the user without a password": OPEN + ["-u", "manager"],
    "the user without encryption": SIGNED + MANAGER,
    "a wrong password": PRIVATE + [word.replace("8 or more", "8 or less") for word in MANAGER],
    "a wrong encryption": PRIVATE + [word.replace("another", "a wrong") for word in MANAGER],
    "another user's passwords": PRIVATE + ["-u", "manager", *OPERATOR[2:]],
    "an older digest": PRIVATE + [word.replace("SHA-256", "SHA") for word in MANAGER],
    "the stock user": PRIVATE + ["-u", "authPrivUser", *MANAGER[2:]],
    "the stock community": ["-v", "2c", "-c", "public"],
    "the stock community, SNMPv1": ["-v", "1", "-c", "public"],
    "a private community": ["-v", "2c", "-c", "private"],
    "the word from elsewhere": WORD,
    "no word": ["-v", "2c", "-c", ""],
}


@pytest.mark.parametrize("login", STRANGERS.values(), ids=[name.replace(" ", "-") for name in STRANGERS])
def test_strangers_see_nothing_and_do_not_reach_the_module(example, api, login):
    assert not reads(example, login, patience=0.3)
    assert not reads(example, login, dotted(TABLES[0].cell(1, 1)), patience=0.3)
    assert reads(example, PRIVATE + MANAGER, SYS_NAME)  # the agent has dealt with the strangers by now
    assert api.requests == []


def test_the_word_counts_from_one_address_only(example, addresses, api):
    assert not reads(example, [*WORD, "-Y", f"clientaddr={OTHER_ADDRESS}"], patience=0.3)
    assert reads(example, PRIVATE + MANAGER, SYS_NAME)
    assert api.requests == []
    assert reads(example, [*WORD, "-Y", f"clientaddr={MANAGER_ADDRESS}"])
    assert not reads(example, [*WORD, "-Y", f"clientaddr={MANAGER_ADDRESS}"], ".1.3.6.1.2.1.2.1.0")


@pytest.mark.parametrize("login", [PRIVATE + MANAGER, PRIVATE + OPERATOR], ids=["manager", "operator"])
def test_nobody_can_set(example, api, login):
    for name in (SERIAL_NUMBER, dotted(TABLES[0].cell(2, 1)), SYS_NAME):
        completed = ask(example, login, name, "s", "changed", tool="snmpset")
        assert completed.returncode != 0 and "noAccess" in completed.stderr, completed
    assert api.requests == []


def test_the_configuration_that_the_documents_begin_with_lets_its_user_in(api, serve):
    pages = [SOURCE_ROOT / "README.md", *sorted((SOURCE_ROOT / "docs").glob("*.md"))]
    texts = "".join(page.read_text(encoding="utf-8") for page in pages)
    (block,) = re.findall(r"^```\w*\n([^`]*^dlmod [^`]*^rouser [^`]*)^```", texts, re.MULTILINE)
    access = re.sub(r"^dlmod .*$", "", block, flags=re.MULTILINE).replace("32473", str(ENTERPRISE_NUMBER))
    agent = serve(STOCK + access)
    assert reads(agent, PRIVATE + MANAGER) and not reads(agent, PRIVATE + MANAGER, SYS_NAME)
    assert not reads(agent, ["-v", "2c", "-c", "public"])
