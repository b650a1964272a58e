"""The module in a host: what a hang of the API, an end of the host and a restart of its agent cost, and whom.

Host and agent are real processes with the configurations that are installed; time is the machine's own.
"""

import contextlib
import os
import signal
import socket
import threading
from typing import Callable, Iterator, List

import pytest

from harness import (ALARM_PERIOD, CACHE_LIFETIME, ERROR, EXACT_MEMORY, HEAP_SLACK, INFO, OBJECTS, WARNING,
                     deadline, faults)
from harness.hosted import CONNECTED, REOPENED, HostedAgent
from harness.messages import NO_QUEUE
from harness.router import SCALAR, SCALARS, TRAPS_SWITCH, expected_tree, triples
from harness.snmp import (GEN_ERR, NO_SUCH_OBJECT, OCTET_STRING, SYS_UPTIME, TIMETICKS, TOO_BIG, SnmpClient,
                          SnmpError, SnmpTimeout)
from patience import until

SERIAL_NUMBER = SCALAR["zanRouterSerialNumber"]

#: How many questions are asked while the API hangs under pollers.
QUESTIONS = int(os.environ.get("ZAN_HOSTED_QUESTIONS") or 400)

#: What a host without an agent says, once a second.
UNCONNECTED = b"Warning: Failed to connect to the agentx master agent ("


@pytest.fixture
def make_hosted(tmp_path_factory, _traps, api, clock) -> Iterator[Callable[..., HostedAgent]]:
    """Makes hosts with an agent in front, not yet started; both must stop in good order."""
    made: List[HostedAgent] = []

    def make(**options) -> HostedAgent:
        options.setdefault("trap_port", _traps.port)
        made.append(HostedAgent(tmp_path_factory.mktemp("hosted"), **options))
        return made[-1]

    yield make
    api.release()
    try:
        assert not any([hosted.stop() for hosted in made if hosted.alive])
    finally:
        for hosted in made:
            hosted.kill()
            hosted.client.close()


@pytest.fixture
def hosted(make_hosted, queue, traps) -> HostedAgent:
    """A host that serves, and its agent."""
    return make_hosted().start()


def serves(hosted: HostedAgent) -> bool:
    """Whether the host's objects are there."""
    try:
        return hosted.client.get(SERIAL_NUMBER.instance)[0].tag == OCTET_STRING
    except (SnmpError, SnmpTimeout):
        return False


def wait_until_it_serves(hosted: HostedAgent) -> None:
    """Everything is there again."""
    hosted.wait_for(lambda: serves(hosted), "the objects to be back")
    assert triples(hosted.client.walk(OBJECTS, max_repetitions=50)) == expected_tree()


def wait_until_it_does_not(hosted: HostedAgent) -> None:
    """The agent has noticed that the host is not there."""
    hosted.master.wait_for(lambda: hosted.client.get(SERIAL_NUMBER.instance)[0].tag == NO_SUCH_OBJECT,
                           "the objects to be gone")


def fire_alarm_without_agent(hosted: HostedAgent) -> None:
    """Let the alarm of a host that has no agent fire, and return when it has."""
    hosted.alarm_clock.advance(ALARM_PERIOD)
    # The host tries to connect in the same turns, and the second of them comes after all that was due then.
    for _ in range(2):
        tried = hosted.log(WARNING).count(UNCONNECTED)
        until(lambda: hosted.log(WARNING).count(UNCONNECTED) > tried, deadline(20), "a try to connect")


class Asking:
    """Somebody asks again and again while a with statement lasts; what came of it is counted."""

    def __init__(self, hosted: HostedAgent, ask: Callable[[SnmpClient], object]) -> None:
        self.answered = self.refused = self.unanswered = 0
        self._client = SnmpClient(hosted.port, timeout=5)
        self._ask = ask
        self._over = threading.Event()
        self._thread = threading.Thread(target=self._run)

    @property
    def asked(self) -> int:
        """How many questions have come to an end."""
        return self.answered + self.refused + self.unanswered

    def _run(self) -> None:
        while not self._over.wait(0.01):
            try:
                self._ask(self._client)
                self.answered += 1
            except SnmpError as error:
                assert error.status == GEN_ERR
                self.refused += 1
            except SnmpTimeout:
                self.unanswered += 1

    def __enter__(self) -> "Asking":
        self._thread.start()
        return self

    def __exit__(self, *_: object) -> None:
        self._over.set()
        self._thread.join()
        self._client.close()


def resources(hosted: HostedAgent) -> List[List[str]]:
    """Open descriptors of both."""
    return [hosted.descriptors(), hosted.master.descriptors()]


# --- the API hangs ------------------------------------------------------------------------------------------

def test_while_the_api_hangs_everything_else_is_answered(hosted, api, clock):
    names = [scalar.instance for scalar in SCALARS[:11]]
    pollers = [Asking(hosted, lambda client: client.get(*names)),
               Asking(hosted, lambda client: client.walk(OBJECTS, max_repetitions=25))]
    before = resources(hosted)
    memory = [hosted.rss(), hosted.master.rss()]
    api.fault = faults.hang()
    clock.advance(CACHE_LIFETIME)
    with Asking(hosted, lambda client: client.get(SYS_UPTIME)) as others, pollers[0], pollers[1]:
        api.wait_until_hung()
        until(lambda: others.asked >= QUESTIONS, deadline(QUESTIONS), "so many answers")
    assert others.unanswered == others.refused == 0
    assert not any(poller.unanswered for poller in pollers)
    assert sum(poller.refused for poller in pollers) >= 1
    assert sum(poller.answered for poller in pollers) >= 1  # that there is no such object
    api.fault = None
    api.release()
    clock.advance(CACHE_LIFETIME)
    wait_until_it_serves(hosted)
    assert resources(hosted) == before
    if EXACT_MEMORY:
        assert hosted.master.rss() - memory[1] < HEAP_SLACK
        assert hosted.rss() - memory[0] < 2 * HEAP_SLACK  # the relay's thread has a heap of its own


def test_who_asks_a_hung_object_gets_an_error(hosted, api, clock):
    api.fault = faults.hang(then_answer=True)
    clock.advance(CACHE_LIFETIME)
    with pytest.raises(SnmpError) as error:
        hosted.client.get(SERIAL_NUMBER.instance)
    assert error.value.status == GEN_ERR
    # From then on the agent knows, and says so at once.
    assert hosted.client.get(SERIAL_NUMBER.instance)[0].tag == NO_SUCH_OBJECT
    assert hosted.client.get(SYS_UPTIME)[0].tag == TIMETICKS
    api.fault = None
    api.release()
    wait_until_it_serves(hosted)


def test_the_host_is_back_as_soon_as_the_api(make_hosted, api, queue, clock):
    hosted = make_hosted()
    hosted.host_lines = ["agentXPingInterval 3600"]  # later than any patience, had it to wait for that
    hosted.start()
    api.fault = faults.hang()
    clock.advance(CACHE_LIFETIME)
    with pytest.raises(SnmpError):
        hosted.client.get(SERIAL_NUMBER.instance)
    api.fault = None
    api.release()
    wait_until_it_serves(hosted)


def test_a_flood_of_questions_during_a_hang_does_not_hold_up_the_agent(hosted, api, clock):
    """More than the socket between them holds."""
    api.fault = faults.hang()
    clock.advance(CACHE_LIFETIME)
    asking = SnmpClient(hosted.port)
    asking.send_get(SERIAL_NUMBER.instance)
    api.wait_until_hung()
    for _ in range(20):
        for _ in range(50):
            asking.send_get(SERIAL_NUMBER.instance)
        assert hosted.client.get(SYS_UPTIME)[0].tag == TIMETICKS
    asking.close()
    api.fault = None
    api.release()
    wait_until_it_serves(hosted)


def test_the_api_hangs_when_the_host_starts(make_hosted, api, queue, traps):
    api.faults[TRAPS_SWITCH] = faults.hang(then_answer=True)
    hosted = make_hosted().start(wait=False)
    api.wait_until_hung()
    assert hosted.client.get(SERIAL_NUMBER.instance)[0].tag == NO_SUCH_OBJECT
    api.release()
    hosted.wait_ready()
    wait_until_it_serves(hosted)


@pytest.mark.parametrize("due_in", [ALARM_PERIOD, 0.5], ids=["later", "before the host asks for its agent"])
def test_an_event_that_comes_during_a_hang_is_sent_after_it(hosted, api, queue, traps, clock, due_in):
    hosted.fire_alarm()
    hosted.alarm_clock.advance(ALARM_PERIOD - due_in)
    hosted.synchronise()
    api.fault = faults.hang()
    clock.advance(CACHE_LIFETIME)
    with pytest.raises(SnmpError):
        hosted.client.get(SERIAL_NUMBER.instance)
    wait_until_it_does_not(hosted)  # the agent answers before it hangs up
    queue.post(7)
    hosted.alarm_clock.advance(ALARM_PERIOD)
    api.fault = None
    api.release()
    wait_until_it_serves(hosted)
    hosted.fire_alarm()
    assert traps.events() == [7] and queue.count() == 0


# --- long answers -------------------------------------------------------------------------------------------

@pytest.mark.parametrize("names", [[SERIAL_NUMBER], [SCALARS[-1], SERIAL_NUMBER]], ids=["alone", "two"])
def test_an_answer_longer_than_the_agent_takes_is_refused_at_once(hosted, api, names):
    api.fields["system"]["deviceId"] = "x" * 70_000
    for ask in (hosted.client.get, hosted.client.get_next):
        with pytest.raises(SnmpError) as error:
            ask(*((scalar.instance if ask == hosted.client.get else scalar.oid) for scalar in names))
        assert error.value.status == TOO_BIG
    assert hosted.client.get(SCALARS[0].instance)[0].tag == OCTET_STRING
    assert hosted.log(WARNING) == b""


def test_the_longest_value_that_fits_into_a_datagram_is_served(hosted, api):
    api.fields["system"]["deviceId"] = "x" * 65_430
    assert len(hosted.client.value(SERIAL_NUMBER.instance)) == 65_430


# --- the host stops, dies, starts ---------------------------------------------------------------------------

def test_a_stopped_host_costs_its_asker_an_error_and_is_back_when_it_goes_on(hosted):
    hosted.process.send_signal(signal.SIGSTOP)
    try:
        with pytest.raises(SnmpError):
            hosted.client.get(SERIAL_NUMBER.instance)
        wait_until_it_does_not(hosted)
        assert hosted.client.get(SYS_UPTIME)[0].tag == TIMETICKS
    finally:
        hosted.process.send_signal(signal.SIGCONT)
    wait_until_it_serves(hosted)


def test_events_that_come_while_the_host_is_stopped_are_sent_when_it_goes_on(hosted, queue, traps):
    """Whether the agent has noticed or not."""
    for event, asked in enumerate([False, True, False, True], 1):
        hosted.fire_alarm()
        hosted.alarm_clock.advance(ALARM_PERIOD - 0.5)
        hosted.synchronise()
        hosted.process.send_signal(signal.SIGSTOP)
        try:
            queue.post(event)
            hosted.alarm_clock.advance(ALARM_PERIOD)
            if asked:
                with pytest.raises(SnmpError):
                    hosted.client.get(SERIAL_NUMBER.instance)
                wait_until_it_does_not(hosted)
        finally:
            hosted.process.send_signal(signal.SIGCONT)
        wait_until_it_serves(hosted)
        hosted.fire_alarm()
        assert traps.events() == list(range(1, event + 1)) and queue.count() == 0


def test_a_host_that_dies_again_and_again(hosted, queue, traps):
    """Its events wait for the next one."""
    for event in range(1, 6):
        hosted.process.kill()
        hosted.process.wait()
        wait_until_it_does_not(hosted)
        queue.post(event)
        hosted.start()
        wait_until_it_serves(hosted)
        hosted.fire_alarm()
        assert traps.events() == list(range(1, event + 1))
    assert hosted.master.log(WARNING) == b""


def test_the_host_may_start_before_its_agent(make_hosted, queue, traps):
    hosted = make_hosted()
    hosted.write_configuration()
    super(HostedAgent, hosted).start(wait=False)
    until(lambda: UNCONNECTED in hosted.log(WARNING), deadline(20), "a host without an agent")
    queue.post(3)
    fire_alarm_without_agent(hosted)
    hosted.master.start()
    wait_until_it_serves(hosted)
    hosted.fire_alarm()
    assert traps.events() == [3]


def test_an_agent_that_hangs_up_on_everybody(make_hosted, api, queue):
    """The host tries again and again, and ends all the same when it is told to."""
    hosted = make_hosted()
    hosted.write_configuration()
    with socket.socket(socket.AF_UNIX) as listening:
        listening.bind(str(hosted.socket))
        listening.listen()
        listening.settimeout(deadline(20))
        super(HostedAgent, hosted).start(wait=False)
        for _ in range(3):
            listening.accept()[0].close()
        hosted.process.terminate()
        listening.settimeout(0.01)

        def ended() -> bool:
            with contextlib.suppress(socket.timeout):
                listening.accept()[0].close()
            return not hosted.alive

        until(ended, deadline(20), "the end of the host")
    assert hosted.process.returncode == 0


def test_a_socket_that_the_host_may_not_use(make_hosted, queue):
    # Without root's right to pass over modes, which serves as another user where there is only one.
    powerless = "-dac_override,-dac_read_search"
    hosted = make_hosted(wrapper=["setpriv", f"--bounding-set={powerless}", f"--inh-caps={powerless}"])
    hosted.master.start()
    hosted.socket.chmod(0)
    hosted.start(wait=False)
    until(lambda: UNCONNECTED in hosted.log(WARNING), deadline(20), "a host without an agent")
    assert hosted.client.get(SERIAL_NUMBER.instance)[0].tag == NO_SUCH_OBJECT
    hosted.socket.chmod(0o600)
    wait_until_it_serves(hosted)


def test_a_reload_of_the_host_reads_the_traps_switch(hosted, api, queue, traps):
    for event, enabled in enumerate([False, True, False, True], 1):
        api.fields["snmp"]["traps"]["enabled"] = enabled
        hosted.mark()
        hosted.hup()
        assert hosted.take(ERROR) == NO_QUEUE
        traps.clear()
        queue.post(event)
        hosted.fire_alarm()
        assert traps.events() == ([event] if enabled else [])
    # The line feeds in between are the agent's, at each opening of the log.
    assert super(HostedAgent, hosted).log(WARNING).replace(b"\n", b"") == 4 * REOPENED.strip()


# --- the agent restarts and reloads -------------------------------------------------------------------------

@pytest.mark.parametrize("end", ["stop", "kill"])
def test_the_agent_restarts_again_and_again_and_no_event_is_lost(hosted, queue, traps, end):
    """Neither those before nor those that come while there is no agent."""
    for first in (1, 4, 7):
        queue.post(first)
        hosted.fire_alarm()
        getattr(hosted.master, end)()
        queue.post(first + 1)
        fire_alarm_without_agent(hosted)
        queue.post(first + 2)
        assert queue.count() == 2
        hosted.master.start()
        wait_until_it_serves(hosted)
        hosted.fire_alarm()
        assert traps.events() == list(range(1, first + 3)) and queue.count() == 0


def test_a_hundred_reloads_of_the_agent(hosted, queue, traps):
    for _ in range(5):
        hosted.master.hup()
    before, memory = hosted.descriptors(), hosted.rss()
    for reload in range(100):
        hosted.master.hup()
        if reload % 10 == 0:
            queue.post(reload // 10 + 1)
            hosted.fire_alarm()
    assert hosted.descriptors() == before
    wait_until_it_serves(hosted)
    assert traps.events() == list(range(1, 11))
    assert CONNECTED in hosted.log(INFO) and hosted.log(INFO).count(b"AgentX subagent connected") == 1
    assert hosted.log(WARNING).strip() == hosted.log(ERROR).strip() == b""
    if EXACT_MEMORY:
        assert hosted.rss() - memory < HEAP_SLACK


def test_a_hundred_reloads_cost_the_agent_nothing(make_hosted, queue):
    # A trap destination costs it a socket at each reload, with or without a host.
    hosted = make_hosted(trap_port=None).start()
    for _ in range(5):
        hosted.master.hup()
    before, memory = resources(hosted), hosted.master.rss()
    for _ in range(100):
        hosted.master.hup()
    assert resources(hosted) == before
    if EXACT_MEMORY:
        assert hosted.master.rss() - memory < HEAP_SLACK
