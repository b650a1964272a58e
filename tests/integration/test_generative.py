"""Random states of the API, each walked whole and compared with what the model expects.

  ZAN_SEED     which states: the same seed makes the same states (default: a new one for each run, printed)
  ZAN_STATES   how many (default: 150)
"""

import os
import random
import re
from typing import Any, Dict, List, NamedTuple, Optional, Union

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
Tree = Dict[Oid, Value]


class Difference(NamedTuple):
    """The first state in which an object answered wrongly."""

    state: int
    entry: Union[Scalar, Table]
    result: Result


class Bench:
    """The agent with an API whose state can be changed."""

    def __init__(self, agent: Agent, api: Api, clock: Clock) -> None:
        self.agent = agent
        self.client = agent.client
        self._api = api
        self._clock = clock

    def load(self, state: State, rng: Optional[random.Random] = None) -> None:
        """Let the API be in this state, and let everything cached expire."""
        self._api.bodies.clear()
        self._api.faults.clear()
        for query, result in state.items():
            answer_with(self._api, query, result, rng)
        self._clock.advance(rng.choice((CACHE_LIFETIME, 5.5, 3600)) if rng else CACHE_LIFETIME)
        self._api.requests.clear()
        self.agent.mark()

    def tree(self, rng: random.Random) -> Tree:
        """All that lies below the module root."""
        repetitions = rng.choice((0, rng.randrange(1, 80)))
        return {varbind.oid: (varbind.tag, varbind.value)
                for varbind in self.client.walk(MODULE_ROOT, repetitions)}

    def answers(self, entry: Union[Scalar, Table]) -> Tree:
        """What one scalar or table answers."""
        walked = isinstance(entry, Table)
        varbinds = self.client.walk(entry.oid) if walked else self.client.get(entry.instance)
        return {varbind.oid: (varbind.tag, varbind.value) for varbind in varbinds}

    def is_wrong(self, entry: Union[Scalar, Table], result: Result) -> bool:
        """Whether a result of its query alone makes the object answer wrongly, or ends the agent."""
        if not self.agent.alive:
            self.agent.start()
        state = {entry.query: result} if entry.query else {}
        self.load(state)
        try:
            return self.answers(entry) != instances(entry, state)
        except (SnmpTimeout, AssertionError):
            return True

    def complaints(self, state: State) -> List[str]:
        """What was asked too often, and what should not have been logged."""
        asked = self._api.targets()
        wrong = [f"{query} was asked {asked.count(query)} times" for query in QUERIES
                 if succeeds(state[query]) and asked.count(query) != 1]
        if TRACE.findall(self.agent.take(DEBUG)) != [target.encode() for target in asked]:
            wrong.append("the trace is not one line for each request")
        if self.agent.take(WARNING):
            wrong.append("a warning was logged")
        logged, expected = self.agent.take(ERROR), failure_messages(state)
        for message in expected:
            if message not in logged:
                wrong.append(f"not logged: {message!r}")
            logged = logged.replace(message, b"")
        if logged:
            wrong.append(f"logged at priority 3: {logged!r}")
        return wrong


def failure_messages(state: State) -> List[bytes]:
    """What the failed queries of a state put into the log."""
    how = [result.how if isinstance(result, Failure) else "not JSON"
           for result in state.values() if not succeeds(result)]
    return sorted({FAILURE_MESSAGES[each].encode() for each in how if FAILURE_MESSAGES[each]})


def readable(value: Any) -> str:
    return "nothing" if value is None else f"type {value[0]} {value[1]!r}"


def readable_json(result: Result) -> str:
    if isinstance(result, Failure):
        return f"(fails: {result.how})"
    return encode(result).decode("ascii", "backslashreplace")


def differences(state: State, actual: Tree, index: int, known: List[Difference]) -> List[Difference]:
    """For every object that answered wrongly and has not done so before, the result that it read."""
    expected = expected_tree(state)
    names = {difference.entry.name for difference in known}
    found: Dict[str, Difference] = {}
    for name in {*expected, *actual}:
        if expected.get(name) != actual.get(name):
            entry = owner(name)
            assert entry is not None, f"{dotted(name)} belongs to no object"
            if entry.name not in names:
                found[entry.name] = Difference(index, entry, state[entry.query] if entry.query else None)
    return list(found.values())


def explained(bench: Bench, difference: Difference, seed: str) -> str:
    """The failure as something to paste into a unit test."""
    entry, result = difference.entry, difference.result
    where = f"{entry.name}, state {difference.state} of ZAN_SEED={seed}"
    if not bench.is_wrong(entry, result):
        return f"{where}: right when asked alone; the query's result was\n  {readable_json(result)}"
    if not isinstance(result, Failure):
        result = shrink(result, lambda smaller: bench.is_wrong(entry, smaller))
    bench.is_wrong(entry, result)
    state = {entry.query: result} if entry.query else {}
    expected = instances(entry, state)
    try:
        actual = bench.answers(entry)
    except (SnmpTimeout, AssertionError) as failure:
        return f"{where}\n  {entry.query} -> {readable_json(result)}\n  {failure}"
    lines = [f"  {dotted(name)}: expected {readable(expected.get(name))}, read {readable(actual.get(name))}"
             for name in sorted({*expected, *actual}) if expected.get(name) != actual.get(name)]
    return "\n".join([where, f"  {entry.query} -> {readable_json(result)}", *lines])


def culprits(bench: Bench, state: State, index: int) -> List[Difference]:
    """Which objects, each asked alone, answer wrongly or end the agent in this state."""
    return [Difference(index, entry, state[entry.query]) for entry in [*SCALARS, *TABLES]
            if entry.query and bench.is_wrong(entry, state[entry.query])]


def test_every_state_is_answered_as_the_model_says(agent, api, clock):
    seed = os.environ.get("ZAN_SEED") or str(random.SystemRandom().randrange(10**9))
    print(f"ZAN_SEED={seed} ZAN_STATES={STATES}")
    bench = Bench(agent, api, clock)
    wrong: List[Difference] = []
    complaints: List[str] = []
    for index in range(STATES):
        rng = random.Random(f"{seed}/{index}")
        state = make_state(rng)
        bench.load(state, rng)
        try:
            actual = bench.tree(rng)
        except (SnmpTimeout, AssertionError) as failure:
            complaints.append(f"state {index}: {failure}")
            wrong += culprits(bench, state, index)
            break
        wrong += differences(state, actual, index, wrong)
        complaints += [f"state {index}: {complaint}" for complaint in bench.complaints(state)]
        if len(wrong) + len(complaints) >= SHOWN_FAILURES:
            break
    report = [explained(bench, difference, seed) for difference in wrong[:SHOWN_FAILURES]]
    bench.load({})
    if report or complaints:
        pytest.fail(f"ZAN_SEED={seed}\n" + "\n".join(report + complaints), pytrace=False)
