"""Long lives: what a year in a router does to the agent, in an hour or, in short, in seconds.

Each life ends with as many descriptors, as many mappings and as much memory as it had when it had settled, or
as an agent without the module has gained by the same.
"""

import itertools
import threading
from typing import Tuple

import pytest

from harness import (ALARM_PERIOD, CACHE_LIFETIME, ERROR, EVERYTHING, EXACT_MEMORY, HEAP_SLACK, OBJECTS,
                     WARNING, SnmpClient, SnmpError, SnmpTimeout, faults, lasting)
from harness.belongings import Belongings, assert_kept, belongings
from harness.messages import NO_QUEUE
from harness.router import QUERIES, SCALAR, SYSTEM, expected_tree, router, triples

SERIAL_NUMBER = SCALAR["zanRouterSerialNumber"]


def assert_serves_everything(agent, clock) -> None:
    """A fresh walk is the expected tree."""
    clock.advance(CACHE_LIFETIME)
    assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected_tree()


# --- reloads ------------------------------------------------------------------------------------------------

def test_reloads_gain_what_an_agent_without_the_module_gains(make_agent, api, queue, clock, measured):
    # Each destination of traps would cost either agent a descriptor at each reload.
    agent, bare = make_agent(trap_port=None).start(), make_agent(trap_port=None, module=None).start()

    def reload(times: int) -> Tuple[Belongings, Belongings]:
        for number in range(times):
            agent.hup()
            bare.hup()
            api.requests.clear()
            if number % 50 == 0:
                clock.advance(CACHE_LIFETIME)
                assert agent.client.value(SERIAL_NUMBER.instance) == SERIAL_NUMBER.expected
                agent.mark()
        return belongings(agent), belongings(bare)

    settled, bare_settled = reload(10)
    number = lasting(100, 10_000)
    now, bare_now = reload(number)
    measured(f"{number} reloads",
             f"{settled} at first; {now} at the end; "
             f"without the module {bare_settled}; {bare_now}")
    assert_kept(settled, now, max(0, bare_now.memory - bare_settled.memory))
    assert agent.log(ERROR).count(NO_QUEUE) == number + 10
    assert b"duplicate registration" not in agent.log(EVERYTHING)
    assert_serves_everything(agent, clock)


def test_reloads_at_each_event_of_an_interface_while_the_agent_is_walked(
        make_agent, api, queue, traps, clock, measured):
    agent, bare = make_agent().start(), make_agent(module=None).start()
    for repetitions in (0, 10, 50):
        agent.client.walk(OBJECTS, repetitions)
        agent.hup()
        bare.hup()
    settled, bare_settled = belongings(agent), belongings(bare)
    stop, walks, wrong = threading.Event(), [0], []

    def walk_on() -> None:
        client = SnmpClient(agent.port)
        try:
            for repetitions in itertools.cycle((0, 10, 50)):
                if stop.is_set():
                    break
                seen = triples(client.walk(OBJECTS, repetitions))
                if seen != expected_tree():
                    wrong.append(seen)
                walks[0] += 1
        except (AssertionError, SnmpError, SnmpTimeout) as error:
            wrong.append(error)
        client.close()

    walkers = [threading.Thread(target=walk_on) for _ in range(2)]
    for walker in walkers:
        walker.start()
    number = lasting(30, 3600 // ALARM_PERIOD)
    events = []
    try:
        for reload in range(number):
            clock.advance(CACHE_LIFETIME)
            events.append(reload % 11 + 1)
            queue.post(events[-1])
            agent.hup()
            bare.hup()
            agent.fire_alarm()
    finally:
        stop.set()
        for walker in walkers:
            walker.join()
    now, bare_now = belongings(agent), belongings(bare)
    measured(f"{number} reloads in {walks[0]} walks",
             f"{settled} at first; {now} at the end; "
             f"without the module {bare_settled}; {bare_now}")
    assert wrong == [] and walks[0]
    assert traps.events() == events
    # What each reload costs either of them for the destination of traps.
    gained = len(bare_now.descriptors) - len(bare_settled.descriptors)
    assert len(now.descriptors) - len(settled.descriptors) == gained
    assert now.mappings == settled.mappings
    if EXACT_MEMORY:
        assert now.memory - settled.memory < bare_now.memory - bare_settled.memory + HEAP_SLACK
    assert_serves_everything(agent, clock)


# --- the clock ----------------------------------------------------------------------------------------------

def test_days_of_alarms_and_walks(make_agent, api, queue, traps, clock, measured):
    """Alarms at their five seconds, and a walk with all caches expired at each; failures and events, too."""
    agent = make_agent().start()
    troubles = [faults.CLOSED, faults.CUT_BODY, faults.NOT_HTTP, faults.body_instead("garbage", b"{]"),
                faults.body_instead("bad code", b'{"code": 500, "result": {}}'),
                faults.body_instead("silent", b'{"code": "x", "result": {}}')]
    changed = router()
    changed["ovpnTunnels"] = [{"name": f"tunnel {i}", "enabled": True} for i in range(40)]
    trees = {False: len(expected_tree()), True: len(expected_tree()) + 3 * 38}
    expected_events = []
    settled = None
    alarms = lasting(1440, 5 * 86400 // ALARM_PERIOD)
    for alarm in range(alarms):
        clock.advance(CACHE_LIFETIME)
        api.requests.clear()
        larger = alarm % 5 == 4
        api.fields = changed if larger else router()
        api.fault = troubles[alarm // 7 % len(troubles)] if alarm % 7 == 6 else None
        tree = agent.client.walk(OBJECTS, max_repetitions=100)
        assert len(tree) == trees[larger] or api.fault
        if alarm % 3 == 0:
            expected_events.append(alarm % 11 + 1)
            queue.post(expected_events[-1], b"x" * (alarm % 50))
        agent.fire_alarm()
        if alarm == 80:
            settled = belongings(agent)
    api.fault = None
    now = belongings(agent)
    measured(f"{alarms * ALARM_PERIOD / 3600:.1f} hours of alarms and walks",
             f"{settled} at first; {now} at the end")
    assert_kept(settled, now)
    assert traps.events() == expected_events
    api.fields = router()
    assert_serves_everything(agent, clock)
    api.requests.clear()
    clock.advance(CACHE_LIFETIME)
    agent.client.walk(OBJECTS, max_repetitions=100)
    assert sorted(api.targets()) == QUERIES and api.count(SYSTEM) == 1


class Watch:
    """Asks for a text that says when the API gave it."""

    def __init__(self, agent, api, clock) -> None:
        self.agent, self.api, self.clock = agent, api, clock

    def age(self) -> float:
        """How old, in seconds of the uptime, what the agent answers is."""
        self.api.fields["system"]["deviceId"] = repr(self.clock.now)
        tree = triples(self.agent.client.walk(OBJECTS, max_repetitions=50))
        text = next(value for name, _, value in tree if name == SERIAL_NUMBER.instance)
        others = [row for row in tree if row[0] != SERIAL_NUMBER.instance]
        assert others == [row for row in expected_tree() if row[0] != SERIAL_NUMBER.instance]
        return round(self.clock.now - float(text), 2)


#: Hundredths of a second around the moment, in the order of time.
AROUND = (-1200, -700, -501, -500, -499, -101, -100, -99, -1, 0, 1, 99, 100, 101, 399, 400, 499, 500, 501,
          999, 1000, 1001, 1500, 2000, 2001)


@pytest.mark.parametrize("bits", [31, 32])
def test_uptime_whose_hundredths_pass(make_agent, api, queue, traps, clock, measured, bits):
    """248 and 497 days: there a 32-bit agent's count of hundredths changes its sign, and begins anew."""
    moment = 1 << bits
    with clock.booted((moment + AROUND[0]) / 100):
        agent = make_agent().start()
        agent.alarm_clock.advance(moment / 100)  # the alarm's clock as late, and what was due fires
        watch = Watch(agent, api, clock)
        assert watch.age() == 0
        settled = belongings(agent)
        ages = {}
        for hundredths in AROUND[1:]:
            clock.set((moment + hundredths) / 100)
            ages[hundredths] = watch.age()
        # On 32 bits the second in which the count begins anew lasts for two.
        assert all(0 <= age < CACHE_LIFETIME + 1 for age in ages.values()), ages
        assert sum(age == 0 for age in ages.values()) >= 6
        now = belongings(agent)
        measured(f"{len(ages)} moments around {moment // 8640000} days of uptime",
                 f"no value older than {max(ages.values()):.2f} s; {settled} at first; {now} at the end")
        assert_kept(settled, now)
        agent.hup()
        queue.post(7)
        agent.fire_alarm()
        assert traps.events() == [7]
        assert agent.take(WARNING) == b""


@pytest.mark.parametrize("back", [0.01, 1, CACHE_LIFETIME, 86400, 999_990])
def test_uptime_that_goes_back(make_agent, api, queue, clock, back):
    """What was fetched in what is the future now is no answer: every query is asked again at once."""
    with clock.booted(1_000_000):
        agent = make_agent().start()
        watch = Watch(agent, api, clock)
        assert watch.age() == 0
        for _ in range(3):
            clock.set(1_000_000 - back)
            assert watch.age() == 0
            clock.set(1_000_000)
            assert watch.age() == (0 if back >= CACHE_LIFETIME else back)
            clock.advance(CACHE_LIFETIME)
            assert watch.age() == 0
