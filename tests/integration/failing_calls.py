"""Calls into the system that fail in a real snmpd, one at a time, in the agent and hosted: what
tests/trust/failingcalls.cpp does in an agent of its own.

Needs a library of the build, tests/trust/zanfailingcalls.so, and so is none of the tests that run on other
processors, too. CTest knows it as trust.failing_calls_agent and trust.failing_calls_host.

Environment:
  ZAN_BUILD_DIR    where that library is (default: the source tree's build)
  ZAN_CALLS_WHOLE  when set, every manner and every call, instead of a sample
"""

import ctypes
import itertools
import mmap
import os
from pathlib import Path
from typing import Iterator, List, NamedTuple

import pytest

from harness import CACHE_LIFETIME, ERROR, OBJECTS, SOURCE_ROOT, WARNING, shim
from harness.messages import NO_QUEUE, PERFORM_FAILED, SWITCH_UNREAD
from harness.router import SCALAR, expected_tree, triples

BUILD = Path(os.environ.get("ZAN_BUILD_DIR") or SOURCE_ROOT / "build")
LIBRARY = BUILD / "tests" / "trust" / "zanfailingcalls.so"

WHOLE = "ZAN_CALLS_WHOLE" in os.environ

SERIAL_NUMBER = SCALAR["zanRouterSerialNumber"]

#: What a start may log when a call has failed: one of the request, none (the clock's leave no line), and the
#: queue's own.
START_LINES = (b"", PERFORM_FAILED + SWITCH_UNREAD, NO_QUEUE)


class _Row(ctypes.Structure):
    _fields_ = [("name", ctypes.c_char * 16), ("manners", ctypes.c_int32), ("made", ctypes.c_int32)]


class _Control(ctypes.Structure):
    """The record of tests/trust/calls.h."""

    _fields_ = [("kind", ctypes.c_int32), ("manner", ctypes.c_int32), ("nth", ctypes.c_int32),
                ("reached", ctypes.c_int32), ("rows", _Row * 25)]


class Place(NamedTuple):
    """A call that is to fail."""

    kind: int
    manner: int
    nth: int


class Calls:
    """What the preloaded library is told through the file that it shares with this process."""

    def __init__(self, folder: Path) -> None:
        self.path = folder / "calls"
        self.path.write_bytes(bytes(ctypes.sizeof(_Control)))
        with open(self.path, "r+b") as file:
            self._control = _Control.from_buffer(mmap.mmap(file.fileno(), 0))
        self._control.kind = -1
        self.points = 0

    def environment(self) -> dict:
        """For the agent whose calls fail."""
        return {"ZAN_CALLS": str(self.path),
                "LD_PRELOAD": f"{LIBRARY}:{shim.shared_object()}"}

    def arm(self, place: Place) -> None:
        """From now on this call fails."""
        for row in self._control.rows:
            row.made = 0
        self._control.manner, self._control.nth, self._control.reached = place.manner, place.nth, 0
        self._control.kind = place.kind

    def disarm(self) -> bool:
        """No more; whether the call was made."""
        self._control.kind = -1
        self.points += self._control.reached
        return bool(self._control.reached)

    @property
    def kinds(self) -> int:
        """How many kinds of calls there are."""
        return len(self._control.rows)

    def name(self, place: Place) -> str:
        """For the reader of a failure."""
        return f"{self._control.rows[place.kind].name.decode()} number {place.nth}, manner {place.manner}"

    def places(self, most: int) -> Iterator[Place]:
        """Every kind of call in each manner; of each the first call, the second and so on, until one is
        not made. A sample has the first two manners, and `most` calls."""
        rows: List[_Row] = list(self._control.rows)
        assert rows[-1].name == b"msgrcv", "the record is laid out otherwise than in calls.h"
        for kind, row in enumerate(rows):
            for manner in range(row.manners if WHOLE else min(row.manners, 2)):
                for nth in itertools.count(1) if WHOLE else range(1, most + 1):
                    yield Place(kind, manner, nth)
                    if not self._control.reached:
                        break


@pytest.fixture
def calls(tmp_path: Path, measured, request) -> Iterator[Calls]:
    """The calls of the test's agents; at the end, how many have failed."""
    calls = Calls(tmp_path)
    yield calls
    operation = request.node.name.partition("_")[2].replace("_", " ")
    measured(f"calls that fail {operation}", f"{calls.points} points")
    assert calls.points > 20


@pytest.fixture
def failing_agent(make_agent, calls, api, queue):
    """An agent in service whose calls can fail."""
    agent = make_agent(environment=calls.environment()).start()
    agent.mark()
    return agent


def assert_lines(agent, *allowed: bytes) -> bytes:
    """The lines of failures since the last look, which have to be among these."""
    lines = agent.take(ERROR)
    assert lines in allowed and agent.take(WARNING) == b""
    return lines


def test_in_a_get(failing_agent, calls, clock):
    agent = failing_agent
    agent.client.get(SERIAL_NUMBER.instance)
    descriptors = agent.descriptors()
    for place in calls.places(40):
        clock.advance(CACHE_LIFETIME)
        calls.arm(place)
        answer = triples(agent.client.get(SERIAL_NUMBER.instance))
        reached = calls.disarm()
        lines = assert_lines(agent, b"", PERFORM_FAILED)
        assert answer == [SERIAL_NUMBER.failed if lines else SERIAL_NUMBER.served], calls.name(place)
        assert reached or not lines, calls.name(place)
        clock.advance(CACHE_LIFETIME)
        assert triples(agent.client.get(SERIAL_NUMBER.instance)) == [SERIAL_NUMBER.served], calls.name(place)
        assert agent.descriptors() == descriptors, calls.name(place)
    assert_lines(agent, b"")


def test_in_a_walk(failing_agent, calls, clock):
    agent = failing_agent
    whole = expected_tree()
    assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == whole
    failed = {scalar.instance: scalar.failed for scalar in SCALAR.values()}
    for place in calls.places(3):
        clock.advance(CACHE_LIFETIME)
        calls.arm(place)
        seen = triples(agent.client.walk(OBJECTS, max_repetitions=50))
        calls.disarm()
        lines = assert_lines(agent, b"", PERFORM_FAILED)
        right = {row[0]: row for row in whole}
        assert all(row in (right[row[0]], failed.get(row[0])) for row in seen), calls.name(place)
        assert seen == whole or lines, calls.name(place)
        assert {row[0] for row in seen} >= set(failed), calls.name(place)
        clock.advance(CACHE_LIFETIME)
        assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == whole, calls.name(place)
    assert_lines(agent, b"")


def test_in_a_reload(failing_agent, calls, queue, traps, clock):
    agent = failing_agent
    agent.client.get(SERIAL_NUMBER.instance)
    for place in calls.places(3):
        calls.arm(place)
        agent.hup()
        calls.disarm()
        # A clock that cannot be read takes the switch for off, without a line.
        assert_lines(agent, NO_QUEUE, PERFORM_FAILED + SWITCH_UNREAD)
        agent.hup()
        assert_lines(agent, NO_QUEUE)
        clock.advance(CACHE_LIFETIME)
        assert triples(agent.client.get(SERIAL_NUMBER.instance)) == [SERIAL_NUMBER.served], calls.name(place)
    traps.clear()
    queue.post(7)
    agent.fire_alarm()
    assert traps.events() == [7]
    assert_lines(agent, b"")


def test_in_a_notification(failing_agent, calls, queue, traps):
    agent = failing_agent
    for nth, manner in itertools.product((1, 2, 3), range(8)):
        place = Place(calls.kinds - 1, manner, nth)  # msgrcv, the only call of a notification's
        traps.clear()
        queue.post(7)
        queue.post(1)
        calls.arm(place)
        agent.fire_alarm()
        assert calls.disarm(), calls.name(place)
        warning = agent.take(WARNING)
        assert warning == b"" or warning.startswith(b"failed to pull from message queue [errno="), warning
        agent.fire_alarm()
        assert traps.events() == [7, 1], calls.name(place)
        assert agent.take(WARNING) == agent.take(ERROR) == b""


def test_at_a_start(make_agent, calls, api, queue, traps, clock):
    environment = calls.environment()
    make_agent(environment=environment).start().stop()
    for place in calls.places(1):
        queue.remove()
        traps.clear()
        clock.advance(CACHE_LIFETIME)
        agent = make_agent(environment=environment)
        calls.arm(place)
        agent.start()
        calls.disarm()
        assert agent.take(ERROR) in START_LINES, calls.name(place)
        clock.advance(CACHE_LIFETIME)
        assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected_tree(), calls.name(place)
        assert agent.take(ERROR) == b""
        agent.hup()
        assert agent.take(ERROR) in (b"", NO_QUEUE), calls.name(place)
        queue.post(7)
        agent.fire_alarm()
        assert traps.events() == [7], calls.name(place)
        assert agent.stop() == 0
