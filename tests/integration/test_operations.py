"""What docs/operations.md says of the log and of trouble, tried, where no other test holds it."""

import re
import socket
import subprocess
from contextlib import ExitStack
from typing import Callable, Dict, List, NamedTuple

import pytest

from harness import (CACHE_LIFETIME, ERROR, MODULE, OBJECTS, SOURCE_ROOT, WARNING, Agent, Api, EventQueue,
                     SnmpTimeout, TrapListener, deadline, faults, kernel_limit, tools)
from harness.messages import NO_QUEUE, PERFORM_FAILED, unknown
from harness.router import DHCP, SCALAR, SYSTEM, TABLE, TRAPS_SWITCH
from harness.snmp import OCTET_STRING, RESPONSE, TOO_BIG, encode, encode_message

SERIAL_NUMBER = SCALAR["zanRouterSerialNumber"]


# --- the lines of the log -----------------------------------------------------------------------------------

PAGE = (SOURCE_ROOT / "docs" / "operations.md").read_text(encoding="utf-8")


def documented_lines() -> Dict[str, int]:
    """The texts of the document's headings, with their priorities."""
    sections = re.findall(r"^### Priority (\d)(.*?)(?=^### Priority|^## |\Z)", PAGE, re.MULTILINE | re.DOTALL)
    return {text: int(priority) for priority, section in sections
            for text in re.findall(r"^#### `(.*)`$", section, re.MULTILINE)}


class World(NamedTuple):
    """What a condition is made of."""

    agent: Agent
    api: Api
    queue: EventQueue
    stack: ExitStack


def started(world: World) -> None:
    """Nothing is wrong."""
    world.agent.start()


def api_down(world: World) -> None:
    """The socket is not there."""
    world.api.down()
    world.agent.start()


def answering(body: str) -> Callable[[World], None]:
    """The API answers each request with this."""
    def condition(world: World) -> None:
        world.api.fault = faults.body_instead("odd", body.encode())
        world.agent.start()
    return condition


def switch_a_text(world: World) -> None:
    """The traps switch is no boolean."""
    world.api.results[TRAPS_SWITCH] = {"snmp": {"traps": {"enabled": "on"}}}
    world.agent.start()


def no_room_for_a_queue(world: World) -> None:
    """The system makes no queue more."""
    world.stack.enter_context(kernel_limit("msgmni", 0))
    world.agent.start()


def event(number: int, enabled: bool = True) -> Callable[[World], None]:
    """A process posts an event."""
    def condition(world: World) -> None:
        world.api.fields["snmp"]["traps"]["enabled"] = enabled
        world.agent.start()
        world.queue.post(number)
        world.agent.fire_alarm()
    return condition


def queue_removed(world: World) -> None:
    """Somebody removes the queue."""
    world.agent.start()
    world.queue.remove()
    world.agent.fire_alarm()


#: What has to happen for a line.
CONDITIONS = {
    " curl_easy_perform failed": api_down,
    " failed to parse json response": answering("busy"),
    " wrong format of json response": answering('{"code": 200}'),
    " bad json response code": answering('{"code": 404, "result": {}}'),
    "exception caught": switch_a_text,
    r"Failed to obtain traps configuration.\n": api_down,
    r"message dispatcher is not created. Notifications will be disabled.\n": api_down,
    r"system message queue hasn't created. Notifications will be disabled.\n": no_room_for_a_queue,
    r"unknown notification received [%ld].\n": event(12),
    "failed to pull from message queue [errno=%d]": queue_removed,
    "zanjsondb:  executing [%s] request": started,
    "zansnmpext:  initialization complete": started,
    r"%s: registering table %s as a table iterator\n": started,
    "zanmsgreceiver: event [%ld] received": event(1),
    "zanmsgdispatcher: SNMP traps disabled in configuration. Ignoring event.": event(12, enabled=False),
}

#: Lines that want a broken library, no memory or another agent, and what of each stands in its own test.
OF_OTHER_TESTS = {
    " curl_easy_setopt(%s) failed": " curl_easy_setopt(CURLOPT_URL) failed",
    "failed to create curl instance": "failed to create curl instance",
    "malloc failed in %s": "malloc failed in ",
    r"unknown mode (%d) in %s\n": "unknown mode (",
    r"problem encountered in %s_handler: unsupported mode\n": r"_handler: unsupported mode\n",
    r"problem encountered in %s: unknown column\n": r": unknown column\n",
    r"module and agent are built for different agent libraries. Nothing will be served.\n":
        "module and agent are built for different agent libraries",
}


def in_the_log(text: str) -> "re.Pattern[bytes]":
    """What a documented text looks like there."""
    escaped = re.escape(text).replace(r"\\n", "\n").replace("%ld", "[0-9]+").replace("%d", "[0-9]+")
    return re.compile(escaped.replace("%s", "[^ ]+").encode())


def test_every_documented_line_has_its_condition():
    assert documented_lines().keys() == CONDITIONS.keys() | OF_OTHER_TESTS.keys()
    tests = SOURCE_ROOT / "tests"
    places = [*(tests / "unit").rglob("*.*"), tests / "integration" / "harness" / "messages.py"]
    sources = "".join(path.read_text("utf-8") for path in places)
    assert [part for part in OF_OTHER_TESTS.values() if part not in sources] == []


@pytest.mark.parametrize("text", CONDITIONS)
def test_the_condition_of_a_line(make_agent, api, queue, text):
    with ExitStack() as stack:
        agent = make_agent()
        CONDITIONS[text](World(agent, api, queue, stack))
        assert in_the_log(text).search(agent.log(documented_lines()[text]))


# --- where the lines go -------------------------------------------------------------------------------------

class LoggingAgent(Agent):
    """An agent whose log goes where one option says."""

    log_option = ""

    def log_options(self) -> List[str]:
        """That option; where it says the system's log, that is the real one."""
        return [self.log_option]

    def output(self) -> bytes:
        """What has come out of its standard output."""
        return (self.folder / "output").read_bytes()


@pytest.fixture
def logging_agent(tmp_path, traps):
    """Starts an agent with a log option, and ends it."""
    agent = LoggingAgent(tmp_path / "agent", trap_port=traps.port, environment={"ZAN_SYSTEM_LOG": ""})

    def start(option: str) -> LoggingAgent:
        agent.log_option = option
        return agent.start()

    yield start
    assert agent.stop() == 0


@pytest.fixture
def system_log(tmp_path):
    """A /dev of the test's own with a system log in it: the socket that syslog(3) sends to."""
    folder = tmp_path / "dev"
    folder.mkdir()
    for name in ("null", "urandom"):
        (folder / name).touch()
        subprocess.run(["mount", "--bind", f"/dev/{name}", folder / name], check=True)
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as log:
        log.bind(str(folder / "log"))
        log.settimeout(deadline(20))
        subprocess.run(["mount", "--rbind", folder, "/dev"], check=True)
        yield log
    subprocess.run(["umount", "--lazy", "/dev"], check=True)
    for name in ("null", "urandom"):
        subprocess.run(["umount", folder / name], check=True)


#: The option that the document has in place of Debian's.
OPTION = re.search(r"^ExecStart=/usr/sbin/snmpd (-L\S+) ", PAGE, re.MULTILINE)[1]


def test_lines_without_a_line_feed_wait_in_the_standard_output_of_debian_s_agent(logging_agent, api, queue):
    agent = logging_agent("-LOw")
    api.down()
    for _ in range(3):
        agent.client.get(SERIAL_NUMBER.instance)
    assert PERFORM_FAILED not in agent.output()
    assert agent.stop() == 0
    assert agent.output().count(PERFORM_FAILED) == 3


def test_the_system_s_log_has_each_of_them_at_once(logging_agent, api, queue, system_log):
    agent = logging_agent(OPTION)
    api.down()
    for _ in range(3):
        agent.client.get(SERIAL_NUMBER.instance)
        # musl's syslog ends each message with a line feed.
        assert system_log.recv(1000).rstrip(b"\n").endswith(b"]: " + PERFORM_FAILED)


# --- trouble that leaves no line, or another program's ------------------------------------------------------

def test_a_reload_whose_line_means_a_loss_and_one_whose_line_means_nothing(make_agent, api, queue, traps):
    api.down()
    agent = make_agent().start()
    api.up()
    agent.mark()
    queue.create()
    with kernel_limit("msgmni", 0):
        queue.remove()
        agent.hup()
        assert agent.take(ERROR) == NO_QUEUE
    queue.create()
    queue.post(12)
    agent.fire_alarm()
    assert queue.count() == 1 and agent.take(WARNING) == b""  # what the page has somebody look at
    agent.hup()
    assert agent.take(ERROR) == b""
    agent.fire_alarm()
    assert queue.count() == 0 and agent.take(WARNING) == unknown(12)
    agent.hup()
    assert agent.take(ERROR) == NO_QUEUE
    queue.post(12)
    queue.post(7)
    agent.fire_alarm()
    assert queue.count() == 0 and traps.events() == [7]


def test_a_start_with_the_queue_of_another_process(make_agent, api, queue):
    """Root, which the agent is when it starts, is not shut out by a mode."""
    queue.create(0o600)
    assert make_agent().start().log(ERROR) == b""


def test_without_the_uptime_nothing_is_fetched_twice(make_agent, api, queue, traps):
    agent = make_agent().start()
    agent.client.get(SERIAL_NUMBER.instance)
    subprocess.run(["mount", "--bind", "/dev/null", "/proc/uptime"], check=True)
    try:
        api.requests.clear()
        agent.mark()
        agent.client.get(SERIAL_NUMBER.instance)
        api.fields["system"]["deviceId"] = "changed"
        assert agent.client.value(SERIAL_NUMBER.instance) == SERIAL_NUMBER.expected
        assert agent.client.value(SCALAR["zanSMSEnabled"].instance) == b"False"
        agent.hup()
        assert api.targets() == [SYSTEM]
        assert (agent.take(ERROR), agent.take(WARNING)) == (NO_QUEUE, b"")
    finally:
        subprocess.run(["umount", "/proc/uptime"], check=True)
    queue.post(7)
    agent.fire_alarm()
    assert traps.events() == []
    assert agent.client.value(SERIAL_NUMBER.instance) == b"changed"
    agent.hup()
    queue.post(8)
    agent.fire_alarm()
    assert traps.events() == [8]


def test_an_api_as_slow_as_the_cache_lives_is_asked_each_time(make_agent, api, queue, clock):
    def act(connection, body, _api) -> None:
        clock.advance(CACHE_LIFETIME)
        connection.sendall(faults.http_answer(body))

    agent = make_agent().start()
    api.requests.clear()
    api.fault = faults.Fault("slow", act)
    for scalar in (SERIAL_NUMBER, SCALAR["zanRouterModelId"], SERIAL_NUMBER):
        assert agent.client.value(scalar.instance) == scalar.expected
    assert api.targets() == [SYSTEM] * 3
    agent.client.get(*[SCALAR[name].instance for name in ("zanRouterModelId", "zanRouterFirmware")])
    assert api.targets() == [SYSTEM] * 4


def test_a_walk_in_the_middle_of_which_the_cache_expires_shows_two_answers(make_agent, api, queue, clock):
    agent = make_agent().start()
    assert agent.client.value(SCALAR["zanRouterModelId"].instance) == SCALAR["zanRouterModelId"].expected
    clock.advance(CACHE_LIFETIME - 1)
    walk = agent.client.walking(OBJECTS + (8,))
    api.fields["system"].update(productId="new model", deviceId="new number")
    assert next(walk).value == SCALAR["zanRouterModelId"].expected
    clock.advance(1)
    assert next(walk).value == b"new number"


@pytest.mark.parametrize("body, messages", [(b"", 1), (b"x", 1), (b"x" * 100, 100)], ids=["none", "1", "100"])
def test_a_queue_holds_as_many_bytes_or_messages_as_the_posters_are_told(queue, body, messages):
    page = (SOURCE_ROOT / "docs" / "integrating-events.md").read_text(encoding="utf-8")
    limit = int(re.search(r"(\d+) bytes of bodies or as many messages", page)[1])
    queue.create()
    assert queue.post_until_full(1, body) == limit // messages


# --- the agent's own ----------------------------------------------------------------------------------------

DROP_IN = (SOURCE_ROOT / "packaging" / "snmpd.conf.in").read_text("ascii")
LIMIT = re.search(r"^\[snmp\] sendMessageMaxSize (\d+)$", DROP_IN, re.MULTILINE)

#: What a UDP datagram of IPv4 carries.
DATAGRAM = 65535 - 20 - 8


def serial_number_of(api, clock, length: int) -> None:
    """A serial number of so many letters, and an expired cache."""
    api.results[SYSTEM] = {"system": {"deviceId": "x" * length}}
    clock.advance(CACHE_LIFETIME)


@pytest.mark.parametrize("limited", [True, False], ids=["with the drop-in", "without"])
def test_a_value_that_is_too_long_for_a_datagram(make_agent, api, queue, clock, limited):
    agent = make_agent(extra_configuration=LIMIT[0] if limited else "").start()
    agent.mark()
    serial_number_of(api, clock, 60000)
    request = agent.client.send_get(SERIAL_NUMBER.instance)
    agent.client.receive(request)
    around = len(encode_message(1, b"public", RESPONSE, request + 1, 0, 0, [
        (SERIAL_NUMBER.instance, encode(OCTET_STRING, b"x" * 60000))])) - 60000
    serial_number_of(api, clock, DATAGRAM - around)
    assert len(agent.client.value(SERIAL_NUMBER.instance)) == DATAGRAM - around
    serial_number_of(api, clock, DATAGRAM - around + 1)
    request = agent.client.send_get(SERIAL_NUMBER.instance)
    if limited:
        assert agent.client.receive(request).error_status == TOO_BIG
    else:
        agent.synchronise()
        assert agent.take(ERROR).startswith(b"send response: Failure in sendto\n")
        with pytest.raises(SnmpTimeout):
            agent.client.receive(request, timeout=0)
    assert agent.take(ERROR) == b""


@pytest.mark.parametrize("login, limited, arrives", [
    ("SNMPv2c", True, True), ("SNMPv2c", False, False), ("SNMPv3", True, False), ("SNMPv3", False, False)])
def test_a_getbulk_whose_answer_is_too_long(make_agent, api, queue, clock, login, limited, arrives):
    agent = make_agent(extra_configuration=LIMIT[0] if limited else "").start()
    table = TABLE["zanDHCPServerLeasesTable"]
    api.results[DHCP] = {"dhcp": {"leases": [{"ip": "x" * 2000}] * 60}}
    walk = [tools.dotted(table.oid + (1, 2))]
    done = tools.run("snmpbulkwalk", agent, tools.LOGINS[login], "-Cr50", *walk, check=False)
    assert (len(done.stdout.splitlines()) == 60) == arrives
    if login == "SNMPv3":
        assert "genError" in done.stderr
    done = tools.run("snmpbulkwalk", agent, tools.LOGINS[login], "-Cr25", *walk)
    assert len(done.stdout.splitlines()) == 60


@pytest.mark.parametrize("tool, name, login, limited, error", [
    ("snmpget", SERIAL_NUMBER.instance, "SNMPv3", False, "tooBig"),
    ("snmpbulkwalk", SERIAL_NUMBER.oid, "SNMPv2c", True, "genError")], ids=["GET over SNMPv3", "GETBULK"])
def test_not_even_one_value_has_room(make_agent, api, queue, clock, tool, name, login, limited, error):
    agent = make_agent(extra_configuration=LIMIT[0] if limited else "").start()
    serial_number_of(api, clock, 70000)
    done = tools.run(tool, agent, tools.LOGINS[login], tools.dotted(name), check=False)
    assert error in done.stderr


@pytest.mark.parametrize("module", [MODULE, None], ids=["with the module", "without"])
def test_a_reload_costs_a_descriptor_for_each_destination(make_agent, api, queue, traps, module):
    second = f"informsink 127.0.0.1:{traps.port} public"
    agent = make_agent(module=module, extra_configuration=second).start()
    before = len(agent.descriptors())
    for _ in range(3):
        agent.hup()
    assert len(agent.descriptors()) == before + 3 * 2


@pytest.mark.parametrize("sink, times, apart", [
    ("trap2sink 127.0.0.1:{} public", 1, 1), ("informsink 127.0.0.1:{} public", 6, 1),
    ("trapsess -Ci -r 2 -t 3 -v 2c -c public 127.0.0.1:{}", 3, 3)], ids=["trap", "inform", "with options"])
def test_how_often_a_notification_is_sent_that_nobody_confirms(make_agent, api, queue, sink, times, apart):
    listener = TrapListener()
    agent = make_agent(trap_port=None, extra_configuration=sink.format(listener.port)).start()
    queue.post(7)
    agent.fire_alarm()
    for number in range(1, times + 1):
        agent.wait_for(lambda: len(listener.events()) == number, f"time {number}")
        agent.alarm_clock.advance(apart)
        agent.synchronise()
    for _ in range(3):
        agent.alarm_clock.advance(apart)
        agent.synchronise()
    assert len(listener.events()) == times
