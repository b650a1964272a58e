"""Random states of the API, each walked whole and compared with what the model expects.

  ZAN_SEED     which states: the same seed makes the same states (default: a new one for each run, printed)
  ZAN_STATES   how many (default: 150)
"""

import os
import random
import re
from typing import Any, Dict, List, NamedTuple, Optional, Set, Union

import pytest

from harness import CACHE_LIFETIME, DEBUG, ERROR, MODULE_ROOT, WARNING, Agent, Api, Clock, SnmpTimeout
from harness.router import QUERIES, SCALARS, TABLES, Scalar, Table
from harness.snmp import Oid, dotted
from model.generator import FAILURE_MESSAGES, answer_with, make_state
from model.jsonvalue import encode
from model.shrink import shrink
from model.tables import Value
from model.tree import Failure, Result, State, expected_tree, instances, owner, succeeds

STATES = int(os.environ.get("ZAN_STATES") or 150)
SHOWN_FAILURES = 12
TRACE = re.compile(rb"zanjsondb:  executing \[http://[^/]+(/[^\]]*)\] request")
# What an agent that is gone, silent or stepping back raises.
BROKEN = (SnmpTimeout, AssertionError)

Entry = Union[Scalar, Table]
Tree = Dict[Oid, Value]


class Difference(NamedTuple):
    """The first state in which an object answered wrongly."""

    state: int
    entry: Entry
    result: Result


class Bench:
    """The agent with an API whose state can be changed."""

    def __init__(self, agent: Agent, api: Api, clock: Clock) -> None:
        self._agent = agent
        self._api = api
        self._clock = clock
        self._printed = 0

    def load(self, state: State, rng: Optional[random.Random] = None) -> None:
        """Let the API be in this state; what is cached stays cached."""
        self._api.bodies.clear()
        self._api.faults.clear()
        for query, result in state.items():
            answer_with(self._api, query, result, rng)
        self._api.requests.clear()
        self._agent.mark()
        self._printed = len(self._output())

    def expire(self, seconds: float = CACHE_LIFETIME) -> None:
        """Let everything cached expire."""
        self._clock.advance(seconds)

    def revive(self) -> None:
        """Start the agent again if it has ended."""
        if not self._agent.alive:
            self._api.down()
            self._agent.start()
            self._api.up()

    def tree(self, rng: random.Random) -> Tree:
        """All that lies below the module root, by GETNEXT or by GETBULK."""
        repetitions = rng.choice((0, rng.randrange(1, 80)))
        return {varbind.oid: (varbind.tag, varbind.value)
                for varbind in self._agent.client.walk(MODULE_ROOT, repetitions)}

    def answers(self, entry: Entry) -> Tree:
        """What one scalar or table answers."""
        client = self._agent.client
        varbinds = client.walk(entry.oid) if isinstance(entry, Table) else client.get(entry.instance)
        return {varbind.oid: (varbind.tag, varbind.value) for varbind in varbinds}

    def is_wrong(self, entry: Entry, result: Result) -> bool:
        """Whether a result of its query alone makes the object answer wrongly, or ends the agent."""
        self.revive()
        self.load(alone(entry, result))
        self.expire()
        try:
            return self.answers(entry) != instances(entry, alone(entry, result))
        except BROKEN:
            return True

    def complaints(self, state: State, cached: Set[str]) -> List[str]:
        """Which queries were asked too often or not at all; what should not have been logged or printed."""
        asked = self._api.targets()
        wrong = [f"{query} was asked {asked.count(query)} times" for query in QUERIES
                 if succeeds(state[query]) and asked.count(query) != (0 if query in cached else 1)]
        traced = self._agent.take(DEBUG)
        if TRACE.findall(traced) != [target.encode() for target in asked] or TRACE.sub(b"", traced):
            wrong.append(f"the trace is not one line for each request: {traced!r}")
        if self._agent.take(WARNING):
            wrong.append("a warning was logged")
        logged = self._agent.take(ERROR)
        for message in failure_messages(state):
            if message not in logged:
                wrong.append(f"not logged: {message!r}")
            logged = logged.replace(message, b"")
        if logged:
            wrong.append(f"logged at priority 3: {logged!r}")
        printed = self._output()[self._printed:]
        return wrong + ([f"printed: {printed!r}"] if printed else [])

    def _output(self) -> bytes:
        return (self._agent.folder / "output").read_bytes()


def alone(entry: Entry, result: Result) -> State:
    """The state in which only the object's own query has a result to speak of."""
    return {entry.query: result} if entry.query is not None else {}


def failure_messages(state: State) -> List[bytes]:
    """What the failed queries of a state put into the log."""
    how = [result.how if isinstance(result, Failure) else "not JSON"
           for result in state.values() if not succeeds(result)]
    return sorted({FAILURE_MESSAGES[each].encode() for each in how if FAILURE_MESSAGES[each]})


def differences(state: State, actual: Tree, index: int, known: List[Difference]) -> List[Difference]:
    """Every object that answers wrongly and has not done so before, with the result that it read."""
    expected = expected_tree(state)
    names = {difference.entry.name for difference in known}
    found: Dict[str, Difference] = {}
    for name in sorted({*expected, *actual}):
        if expected.get(name) != actual.get(name):
            entry = owner(name)
            assert entry is not None, f"{dotted(name)} belongs to no object"
            if entry.name not in names:
                found[entry.name] = Difference(index, entry, state[entry.query] if entry.query else None)
    return list(found.values())


def culprits(bench: Bench, state: State, index: int) -> List[Difference]:
    """Which objects, each asked alone, answer wrongly or end the agent in this state."""
    return [Difference(index, entry, state[entry.query]) for entry in [*SCALARS, *TABLES]
            if entry.query is not None and bench.is_wrong(entry, state[entry.query])]


def readable(value: Any) -> str:
    return "nothing" if value is None else f"type {value[0]} {value[1]!r}"


def readable_json(result: Result) -> str:
    if isinstance(result, Failure):
        return f"(fails: {result.how})"
    return encode(result).decode("ascii", "backslashreplace")


def explained(bench: Bench, difference: Difference, seed: str) -> str:
    """The failure with the smallest result that shows it, to paste into a unit test."""
    entry, result = difference.entry, difference.result
    where = f"{entry.name}, state {difference.state} of ZAN_SEED={seed}"
    if not bench.is_wrong(entry, result):
        return (f"{where}: right when asked alone, so what was asked before matters; the result was\n"
                f"  {readable_json(result)}")
    if not isinstance(result, Failure):
        result = shrink(result, lambda smaller: bench.is_wrong(entry, smaller))
    lines = [where, f"  {entry.query} -> {readable_json(result)}"]
    bench.is_wrong(entry, result)
    expected = instances(entry, alone(entry, result))
    try:
        actual = bench.answers(entry)
    except BROKEN as failure:
        return "\n".join([*lines, f"  no answer: {failure}"])
    return "\n".join([*lines, *(f"  {dotted(name)}: expected {readable(expected.get(name))}, "
                                f"read {readable(actual.get(name))}"
                                for name in sorted({*expected, *actual})
                                if expected.get(name) != actual.get(name))])


class Run:
    """Goes through the states and collects what is wrong."""

    def __init__(self, bench: Bench, seed: str) -> None:
        self._bench = bench
        self._seed = seed
        self._compared = 0
        self._wrong: List[Difference] = []
        self._complaints: List[str] = []

    def go(self) -> None:
        """All states, or as many as it takes to find enough failures."""
        for index in range(STATES):
            if not self._one_state(index) or len(self._wrong) + len(self._complaints) >= SHOWN_FAILURES:
                break
        print(f"{self._compared} values compared")

    def report(self) -> str:
        """What was wrong; nothing if nothing was. The agent runs afterwards, whatever has happened to it."""
        wrong = self._wrong[:SHOWN_FAILURES]
        lines = [explained(self._bench, difference, self._seed) for difference in wrong]
        self._bench.revive()
        return "\n".join(lines + self._complaints[:SHOWN_FAILURES])

    def _one_state(self, index: int) -> bool:
        rng = random.Random(f"{self._seed}/{index}")
        state = make_state(rng)
        self._bench.load(state, rng)
        self._bench.expire(rng.choice((CACHE_LIFETIME, CACHE_LIFETIME + 0.5, 3600)))
        try:
            self._one_walk(f"state {index}", index, state, set(), rng)
            if rng.random() < 0.25:
                # Another state within the lifetime: what succeeded stays, what failed is asked again.
                other = make_state(rng)
                self._bench.load(other, rng)
                cached = {query for query in state if succeeds(state[query])}
                state = {query: state[query] if query in cached else other[query] for query in state}
                self._one_walk(f"state {index}, cached", index, state, cached, rng)
        except BROKEN as failure:
            self._complaints.append(f"state {index}: {failure}")
            self._wrong += culprits(self._bench, state, index)
            return False
        return True

    def _one_walk(self, where: str, index: int, state: State, cached: Set[str], rng: random.Random) -> None:
        actual = self._bench.tree(rng)
        self._compared += len(actual)
        self._wrong += differences(state, actual, index, self._wrong)
        self._complaints += [f"{where}: {complaint}" for complaint in self._bench.complaints(state, cached)]


def test_every_state_is_answered_as_the_model_says(agent, api, clock):
    seed = os.environ.get("ZAN_SEED") or str(random.SystemRandom().randrange(10**9))
    print(f"ZAN_SEED={seed} ZAN_STATES={STATES}")
    bench = Bench(agent, api, clock)
    run = Run(bench, seed)
    run.go()
    report = run.report()
    bench.load({})
    if report:
        pytest.fail(f"ZAN_SEED={seed}\n{report}", pytrace=False)
