"""Every failure of the API, at every moment of the module's life, and the recovery after it.

After each: the agent lives, the values are right, the log holds exactly the failure's line for each request
that was made, and no descriptor, mapping or memory has been gained.
"""

import itertools
import json
import os
import re
import resource
from typing import Any, Callable, Dict, List, Tuple

import pytest

from harness import (CACHE_LIFETIME, DEBUG, ERROR, EVERYTHING, EXACT_MEMORY, HEAP_SLACK, OBJECTS,
                     SOCKET_PATH, WARNING, envelope, faults, lasting)
from harness.failures import FAILURES
from harness.messages import BAD_CODE, PERFORM_FAILED, SWITCH_EXCEPTION, SWITCH_UNREAD, executing
from harness.router import SCALAR, SCALARS, TABLE, TRAPS_SWITCH, Scalar, expected_tree, triples
from harness.snmp import GET, NULL, encode

DHCP_ENABLED, SERIAL_NUMBER = SCALAR["zanDHCPServerEnabled"], SCALAR["zanRouterSerialNumber"]
LEASES = TABLE["zanDHCPServerLeasesTable"]

#: A walk's tree while every query fails: all scalars with their fallbacks, and no row of any table.
FAILED_TREE = [scalar.failed for scalar in SCALARS]

#: How many variables of a walk come before the failure begins: within the scalars, at the border of a table,
#: within a table, near the end.
BORDERS = (1, 40, 68, 75, 110, 130) if EXACT_MEMORY else (40, 75)

#: How often every scalar fails: more than 600 failures for agents whose memory is measured.
ROUNDS = 6 if EXACT_MEMORY else 1


def requests_logged(agent) -> int:
    """How many requests the module has traced since the last look."""
    return agent.take(DEBUG).count(executing("")[:-len("] request")])


def assert_recovered(agent, clock) -> None:
    """Everything is served again, and silently."""
    clock.advance(CACHE_LIFETIME)
    agent.mark()
    assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected_tree()
    assert agent.take(ERROR) == agent.take(WARNING) == b""


@pytest.mark.parametrize("failure", FAILURES, ids=str)
def test_at_start_up(make_agent, api, queue, clock, failure):
    failure.apply(api)
    agent = make_agent().start()
    start = failure.log if failure.log else SWITCH_EXCEPTION
    assert agent.take(ERROR) == start + SWITCH_UNREAD
    assert agent.take(WARNING) == b""
    assert queue.state() is None
    descriptors = agent.descriptors()
    agent.mark()
    assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == FAILED_TREE
    assert agent.take(ERROR) == failure.log * requests_logged(agent)
    failure.end(api)
    assert_recovered(agent, clock)
    assert agent.descriptors() == descriptors


@pytest.mark.parametrize("failure", FAILURES, ids=str)
def test_at_a_reload(make_agent, api, queue, traps, clock, failure):
    agent = make_agent().start()
    agent.mark()
    failure.apply(api)
    agent.hup()
    start = failure.log if failure.log else SWITCH_EXCEPTION
    assert agent.take(ERROR) == start + SWITCH_UNREAD
    queue.post(7)
    agent.fire_alarm()
    assert traps.events() == [7]
    failure.end(api)
    assert_recovered(agent, clock)


@pytest.mark.parametrize("failure", FAILURES, ids=str)
def test_in_service(agent, api, clock, failure):
    agent.client.walk(OBJECTS, max_repetitions=50)
    descriptors = agent.descriptors()
    for _ in range(2 if EXACT_MEMORY else 1):
        clock.advance(CACHE_LIFETIME)
        agent.mark()
        failure.apply(api)
        assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == FAILED_TREE
        assert agent.take(ERROR) == failure.log * requests_logged(agent)
        assert agent.take(WARNING) == b""
        failure.end(api)
        # Nothing of the failure is kept: the next request succeeds without any time having passed.
        assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected_tree()
        assert agent.take(ERROR) == b""
    assert agent.descriptors() == descriptors


@pytest.mark.parametrize("failure", FAILURES, ids=str)
def test_in_a_walk(agent, api, clock, failure):
    whole = expected_tree()
    for border in BORDERS:
        clock.advance(CACHE_LIFETIME)
        walking = agent.client.walking(OBJECTS)
        seen = triples(list(itertools.islice(walking, border)))
        clock.advance(CACHE_LIFETIME)
        failure.apply(api)
        agent.mark()
        seen += triples(list(walking))
        last = whole[border - 1][0]
        assert seen == whole[:border] + [row for row in FAILED_TREE if row[0] > last]
        assert agent.take(ERROR) == failure.log * requests_logged(agent)
        failure.end(api)
    assert_recovered(agent, clock)


@pytest.mark.parametrize("failure", FAILURES, ids=str)
def test_over_in_the_middle_of_a_walk(agent, api, clock, failure):
    for border in filter(len(FAILED_TREE).__gt__, BORDERS):
        clock.advance(CACHE_LIFETIME)
        failure.apply(api)
        agent.mark()
        walking = agent.client.walking(OBJECTS)
        seen = triples(list(itertools.islice(walking, border)))
        assert agent.take(ERROR) == failure.log * requests_logged(agent)
        failure.end(api)
        seen += triples(list(walking))
        last = FAILED_TREE[border - 1][0]
        assert seen == FAILED_TREE[:border] + [row for row in expected_tree() if row[0] > last]
        assert agent.take(ERROR) == b""
    assert_recovered(agent, clock)


@pytest.mark.parametrize("failure", FAILURES, ids=str)
def test_of_the_traps_switch_alone(make_agent, api, queue, failure):
    if failure.absence or failure.fault.early:
        failure.apply(api)  # there is no telling whose connection it is
    else:
        api.faults[TRAPS_SWITCH] = failure.fault
    agent = make_agent().start()
    assert agent.log(ERROR) == (failure.log if failure.log else SWITCH_EXCEPTION) + SWITCH_UNREAD
    failure.end(api)
    assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected_tree()


@pytest.mark.parametrize("failure", FAILURES, ids=str)
def test_over_and_over(agent, api, clock, failure):
    """No descriptor, mapping or memory is gained by a failure, however often it comes."""
    failure.apply(api)
    names = [scalar.instance for scalar in SCALARS]

    def fail(times: int) -> None:
        for _ in range(times):
            agent.client.get(*names)

    memory = 0
    for _ in range(4 if EXACT_MEMORY else 1):
        fail(1)
        memory = max(memory, agent.rss())
    descriptors, mappings = agent.descriptors(), agent.mappings()
    fail(ROUNDS)
    assert (agent.descriptors(), agent.mappings()) == (descriptors, mappings)
    if EXACT_MEMORY:
        assert agent.rss() - memory < HEAP_SLACK
    assert agent.take(ERROR) == failure.log * requests_logged(agent)
    failure.end(api)
    assert_recovered(agent, clock)


def leases() -> List[Dict[str, Any]]:
    """Up to a million of them."""
    return [{"ip": f"10.0.{i // 256}.{i % 256}", "mac": f"mac-{i}", "expiration": i}
            for i in range(lasting(20_000, 1_000_000))]


def text(short: int, whole: int) -> str:
    """So long a text."""
    return "x" * lasting(short, whole)


#: An answer of a megabyte and more, of which more or less is kept: the object whose query it answers, and it.
LARGE: Dict[str, Tuple[Scalar, Callable[[], bytes]]] = {
    "rows": (DHCP_ENABLED, lambda: envelope({"dhcp": {"enabled": True, "leases": leases()}})),
    "a text": (DHCP_ENABLED, lambda: envelope(
        {"dhcp": {"enabled": True, "text": text(4_000_000, 100_000_000)}})),
    "beside the result": (DHCP_ENABLED, lambda: json.dumps(
        {"code": 200, "result": {"dhcp": {"enabled": True}}, "other": leases()}).encode()),
    "refused": (DHCP_ENABLED, lambda: envelope({"dhcp": {"leases": leases()}}, 404)),
    "a value": (SERIAL_NUMBER, lambda: envelope({"system": {"deviceId": text(2_000_000, 10_000_000)}})),
}


@pytest.mark.parametrize("answer", LARGE)
def test_memory_of_a_large_answer_goes_when_ordinary_ones_come(make_agent, api, clock, measured, answer):
    # A value that no datagram holds is answered with an error, and not with silence.
    agent = make_agent(extra_configuration="[snmp] sendMessageMaxSize 65507").start()
    agent.client.timeout = 300
    scalar, large = LARGE[answer]

    def ask() -> int:
        clock.advance(CACHE_LIFETIME)
        agent.client.request(GET, [(scalar.instance, encode(NULL, b""))])
        memory = agent.rss()
        agent.client.get_next(LEASES.oid)
        return max(memory, agent.rss())

    before = max(ask() for _ in range(3))
    agent.mark()
    api.bodies = {scalar.query: large()}
    size = len(api.bodies[scalar.query])
    meanwhile = ask()
    if EXACT_MEMORY and answer in ("beside the result", "refused"):  # nothing is kept of these
        assert meanwhile - before < HEAP_SLACK
    api.bodies = {}
    after = [ask() for _ in range(10)][1:]
    measured(f"an answer of {size / 1e6:.1f} MB, {answer}",
             f"{before / 1e6:.2f} MB before; {meanwhile / 1e6:.2f} MB with it in the cache; "
             f"{agent.peak() / 1e6:.2f} MB at most; "
             f"{min(after) / 1e6:.2f} to {max(after) / 1e6:.2f} MB afterwards")
    assert set(agent.take(ERROR).split(BAD_CODE)) == {b""}
    assert triples(agent.client.get(scalar.instance)) == [scalar.served]
    if EXACT_MEMORY:
        assert max(after) - before < HEAP_SLACK


# --- failures that are not the API's ------------------------------------------------------------------------

#: What the agent says, every few seconds, of the interfaces, addresses and disks that it cannot look at while
#: it has no descriptor left. Its lines end; the module's texts do not.
OF_THE_AGENT = re.compile(
    rb"[^\n]*(Too many open files|couldn't create socket|could not open netlink socket)\n")


@pytest.mark.parametrize("left", [1, 2, 3])
def test_almost_out_of_descriptors(agent, api, clock, left):
    """The agent needs one descriptor to take a request, and the HTTP library one or more to pass it on."""
    agent.client.walk(OBJECTS, max_repetitions=50)
    clock.advance(CACHE_LIFETIME)
    agent.mark()
    soft, hard = resource.prlimit(agent.pid, resource.RLIMIT_NOFILE)
    descriptors = agent.descriptors()
    resource.prlimit(agent.pid, resource.RLIMIT_NOFILE, (len(descriptors) + left, hard))
    try:
        answers = [triples(agent.client.get(scalar.instance))[0] for scalar in SCALARS]
    finally:
        resource.prlimit(agent.pid, resource.RLIMIT_NOFILE, (soft, hard))
    assert all(answer in (scalar.served, scalar.failed) for answer, scalar in zip(answers, SCALARS))
    logged = agent.take(ERROR).split(PERFORM_FAILED)
    assert b"".join(OF_THE_AGENT.sub(b"", piece) for piece in logged) == b""
    assert agent.descriptors() == descriptors
    assert_recovered(agent, clock)


def test_socket_is_a_link_to_nowhere(agent, api, clock):
    api.down()
    os.symlink("/nonexistent/http.sock", SOCKET_PATH)
    scalar = SCALARS[0]
    assert triples(agent.client.get(scalar.instance)) == [scalar.failed]
    assert agent.take(EVERYTHING).endswith(PERFORM_FAILED)
    agent.mark()
    api.up()
    assert_recovered(agent, clock)


def test_socket_folder_vanishes_and_comes_back(agent, api, clock):
    api.down()
    os.rename(os.path.dirname(SOCKET_PATH), "/run/moved-away")
    scalar = SCALARS[0]
    assert triples(agent.client.get(scalar.instance)) == [scalar.failed]
    assert agent.take(ERROR) == PERFORM_FAILED
    os.rename("/run/moved-away", os.path.dirname(SOCKET_PATH))
    api.up()
    assert_recovered(agent, clock)


def test_a_slow_answer_is_awaited(agent, api, clock):
    scalar = SCALARS[0]
    api.fault = faults.hang(sent=10, then_answer=True)
    request = agent.client.send_get(scalar.instance)
    api.wait_until_hung()
    api.release()
    assert triples(agent.client.receive(request).varbinds) == [scalar.served]
    api.fault = None
    assert_recovered(agent, clock)
