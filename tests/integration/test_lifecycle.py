"""The module's life in the agent: reloads, an API that comes and goes, and the end."""

import signal
import threading

import pytest

from harness import (CACHE_LIFETIME, DEBUG, ERROR, EVERYTHING, OBJECTS, WARNING, SnmpError, SnmpTimeout,
                     deadline, faults)
from harness.hosted import in_process_only
from harness.messages import (COMPLETE, NO_QUEUE, PARSE_FAILED, PERFORM_FAILED, PULL_FAILED, SWITCH_UNREAD,
                              TRAPS_DISABLED, executing, received)
from harness.router import SCALAR, TABLES, TRAPS_SWITCH, expected_tree, triples
from harness.snmp import GETBULK, NULL, SYS_UPTIME, encode

SERIAL_NUMBER = SCALAR["zanRouterSerialNumber"]


def assert_serves_everything(agent, clock) -> None:
    """A fresh walk is the expected tree."""
    clock.advance(CACHE_LIFETIME)
    assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected_tree()


# --- the configuration read again ---------------------------------------------------------------------------

def test_ten_reloads_with_the_switch_changed_in_between(make_agent, api, queue, traps, clock):
    agent = make_agent().start()
    queue_made = queue.state().identifier
    for reload in range(10):
        agent.mark()
        enabled = reload % 3 != 1
        api.fields["snmp"]["traps"]["enabled"] = enabled
        api.requests.clear()
        agent.hup()
        assert api.targets() == [TRAPS_SWITCH]
        # The queue is open already, which the start-up takes for a failure; the one alarm goes on.
        assert agent.take(ERROR) == NO_QUEUE
        assert agent.take(DEBUG) == executing(TRAPS_SWITCH) + COMPLETE
        assert agent.take(WARNING) == b""
        assert_serves_everything(agent, clock)
        agent.mark()
        traps.clear()
        queue.post(reload + 1)
        agent.fire_alarm()
        assert traps.events() == ([reload + 1] if enabled else [])
        assert agent.take(EVERYTHING) == received(reload + 1) + (b"" if enabled else TRAPS_DISABLED)
    assert queue.state().identifier == queue_made
    assert b"duplicate registration" not in agent.log(EVERYTHING)


def test_reloads_leave_one_alarm(make_agent, api, queue):
    agent = make_agent().start()
    for _ in range(3):
        agent.hup()
    queue.remove()
    agent.mark()
    agent.fire_alarm()
    assert agent.take(WARNING) == PULL_FAILED


def test_a_reload_without_the_api_leaves_the_switch_as_it_was(make_agent, api, queue, traps, clock):
    agent = make_agent().start()
    agent.mark()
    api.down()
    agent.hup()
    assert agent.take(ERROR) == PERFORM_FAILED + SWITCH_UNREAD
    assert agent.take(DEBUG) == executing(TRAPS_SWITCH) + COMPLETE
    queue.post(7)
    agent.fire_alarm()
    assert traps.events() == [7]
    api.up()
    assert_serves_everything(agent, clock)


def test_a_reload_opens_what_a_start_without_the_api_left_closed(make_agent, api, queue, traps, clock):
    api.down()
    agent = make_agent().start()
    assert queue.state() is None
    api.up()
    agent.mark()
    agent.hup()
    assert agent.take(ERROR) == b""
    queue.post(7)
    agent.fire_alarm()
    assert traps.events() == [7]
    agent.hup()
    assert agent.take(ERROR) == NO_QUEUE
    queue.post(8)
    agent.fire_alarm()
    assert traps.events() == [7, 8]
    assert_serves_everything(agent, clock)


def test_a_reload_in_the_middle_of_a_walk(make_agent, api, queue, clock):
    agent = make_agent().start()
    seen = []
    for number, varbind in enumerate(agent.client.walking(OBJECTS)):
        seen.append(varbind)
        if number in (30, 90, 120):
            agent.hup()
            clock.advance(CACHE_LIFETIME)
    assert triples(seen) == expected_tree()


def test_the_module_taken_out_of_the_configuration_leaves_the_agent_alive(
        make_agent, api, queue, traps, clock):
    agent = make_agent().start()
    module, agent.module = agent.module, None
    agent.write_configuration()
    for _ in range(2):
        agent.hup()
        # What was registered stays registered: the agent's loader has no way to take it back.
        assert_serves_everything(agent, clock)
    queue.post(7)
    agent.fire_alarm()
    assert traps.events() == [7]
    agent.module = module
    agent.write_configuration()
    agent.hup()
    assert_serves_everything(agent, clock)
    queue.post(8)
    agent.fire_alarm()
    assert traps.events() == [7, 8]
    assert b"duplicate registration" not in agent.log(EVERYTHING)


def test_a_reload_while_the_api_hangs_happens_when_it_lets_go(make_agent, api, queue, clock):
    agent = make_agent().start()
    api.fault = faults.hang()
    request = agent.client.send_get(SERIAL_NUMBER.instance)
    api.wait_until_hung()
    agent.process.send_signal(signal.SIGHUP)
    api.fault = None
    api.release()
    assert agent.client.receive(request).varbinds[0].value == b"Unknown"
    agent.wait_for(lambda: b" restarted\n" in agent.log(6), "the reload")
    agent.synchronise()
    assert_serves_everything(agent, clock)


# --- an API that is slow, hung, down and back ---------------------------------------------------------------

@in_process_only("a host's master is up already, and says that there is no such object: see test_hosted.py")
def test_a_hung_api_stalls_the_start_up_until_it_answers(make_agent, api, queue, traps, clock):
    api.faults[TRAPS_SWITCH] = faults.hang(then_answer=True)
    agent = make_agent().start(wait=False)
    api.wait_until_hung()
    with pytest.raises(SnmpTimeout):
        agent.client.receive(agent.client.send_get(SERIAL_NUMBER.instance), timeout=0.2)
    assert agent.alive
    api.release()
    agent.wait_ready()
    assert agent.log(ERROR) == b""
    queue.post(7)
    agent.fire_alarm()
    assert traps.events() == [7]
    assert_serves_everything(agent, clock)


@pytest.mark.parametrize("sent, log", [
    (0, PERFORM_FAILED),
    (30, PARSE_FAILED),  # an answer that ends within its headers is an empty one to the HTTP library
    (120, PERFORM_FAILED)])
def test_a_hung_api_that_dies_at_start_up_leaves_notifications_off(make_agent, api, queue, clock, sent, log):
    api.faults[TRAPS_SWITCH] = faults.hang(sent)
    agent = make_agent().start(wait=False)
    api.wait_until_hung()
    api.release()
    agent.wait_ready()
    assert agent.log(ERROR) == log + SWITCH_UNREAD
    assert queue.state() is None
    assert_serves_everything(agent, clock)


def test_a_hung_api_in_service_stalls_one_answer_and_the_agent_comes_back(
        make_agent, api, queue, traps, clock):
    agent = make_agent().start()
    api.fault = faults.hang(sent=60, then_answer=True)
    request = agent.client.send_get(SERIAL_NUMBER.instance)
    api.wait_until_hung()
    queue.post(7)
    agent.alarm_clock.advance()
    with pytest.raises(SnmpTimeout):
        agent.client.receive(request, timeout=0.2)
    assert queue.count() == 1
    api.fault = None
    api.release()
    assert agent.client.receive(request).varbinds[0].value == SERIAL_NUMBER.expected
    agent.synchronise()
    assert traps.events() == [7]
    assert_serves_everything(agent, clock)


def test_an_api_that_comes_late_serves_scalars_and_tables_but_no_notifications(
        make_agent, api, queue, traps, clock):
    api.down()
    agent = make_agent().start()
    assert agent.client.value(SERIAL_NUMBER.instance) == b"Unknown"
    api.up()
    assert_serves_everything(agent, clock)
    queue.create()
    queue.post(7)
    agent.fire_alarm(2)
    assert traps.traps() == [] and queue.count() == 1


def test_an_api_that_flaps_is_followed_step_by_step(make_agent, api, queue, clock):
    agent = make_agent().start()
    for _ in range(10):
        for failing in (api.down, api.refuse):
            failing()
            clock.advance(CACHE_LIFETIME)
            assert agent.client.value(SERIAL_NUMBER.instance) == b"Unknown"
            api.up()
            assert agent.client.value(SERIAL_NUMBER.instance) == SERIAL_NUMBER.expected
    assert_serves_everything(agent, clock)


def test_a_slow_walk_is_still_the_whole_tree(make_agent, api, queue):
    agent = make_agent().start()
    api.fault = faults.BYTE_BY_BYTE
    assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected_tree()


# --- the end ------------------------------------------------------------------------------------------------

def stopped_in(agent, api) -> int:
    """SIGTERM while the API holds the agent up, which notices it when the API lets go; the exit status."""
    api.wait_until_hung()
    agent.process.terminate()
    agent.client.send_get(SYS_UPTIME)  # or the agent may sleep until its next alarm before it ends
    api.release()
    return agent.wait_end()


def test_sigterm_in_service_ends_the_agent_in_order(make_agent, api, queue):
    agent = make_agent().start()
    agent.client.walk(OBJECTS, max_repetitions=50)
    assert agent.stop() == 0


def test_sigterm_with_the_api_down_ends_the_agent_in_order(make_agent, api, queue):
    api.down()
    agent = make_agent().start()
    assert agent.stop() == 0


@pytest.mark.parametrize("then_answer", [True, False], ids=["answered after all", "never answered"])
@pytest.mark.parametrize("sent", [0, 60])
def test_sigterm_while_the_api_hangs_in_service_ends_the_agent_in_order(
        make_agent, api, queue, sent, then_answer):
    agent = make_agent().start()
    api.fault = faults.hang(sent, then_answer)
    agent.client.send_get(SERIAL_NUMBER.instance)
    assert stopped_in(agent, api) == 0


def test_sigterm_while_the_api_hangs_in_a_table_walk_ends_the_agent_in_order(make_agent, api, queue):
    agent = make_agent().start()
    api.faults[TABLES[0].query] = faults.hang()
    agent.client.send(GETBULK, [(OBJECTS, encode(NULL, b""))], 0, 200)
    assert stopped_in(agent, api) == 0


def test_sigterm_while_the_api_hangs_at_start_up_ends_the_agent(make_agent, api, queue):
    api.faults[TRAPS_SWITCH] = faults.hang()
    agent = make_agent().start(wait=False)
    # The agent takes over the signal once it is up; until then the system ends it.
    assert stopped_in(agent, api) in (0, -signal.SIGTERM)


def test_sigterm_while_the_api_hangs_in_a_reload_ends_the_agent_in_order(make_agent, api, queue):
    agent = make_agent().start()
    api.faults[TRAPS_SWITCH] = faults.hang()
    agent.process.send_signal(signal.SIGHUP)
    assert stopped_in(agent, api) == 0


def test_sigterm_in_the_middle_of_walks_ends_the_agent_in_order(make_agent, api, queue, clock):
    agent = make_agent().start()
    walks = 0
    enough = threading.Event()

    def walk_on() -> None:
        nonlocal walks
        agent.client.timeout = 1
        try:
            while True:
                clock.advance(CACHE_LIFETIME)
                agent.client.walk(OBJECTS, max_repetitions=20)
                walks += 1
                if walks == 3:
                    enough.set()
        except (SnmpTimeout, SnmpError):
            return

    walker = threading.Thread(target=walk_on)
    walker.start()
    assert enough.wait(deadline(20))
    assert agent.stop() == 0
    walker.join()


def test_sigterm_with_events_waiting_leaves_them_to_the_next_life(make_agent, api, queue, traps):
    agent = make_agent().start()
    for event in (1, 2, 3):
        queue.post(event)
    assert agent.stop() == 0
    assert queue.count() == 3
    agent.start()
    agent.fire_alarm()
    assert traps.events() == [1, 2, 3]
