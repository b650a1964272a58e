"""One question, one moment: the clock runs while questions are answered, and no answer is made of two.

Each answer of the API is another, with its number in every value, and the uptime passes the cache's lifetime
again and again, much faster than an object is answered: whatever asks the clock twice within a question sees
a cache that has expired meanwhile.
"""

import itertools
import threading
import time
from typing import Any, Callable, Iterator

import pytest

from harness import CACHE_LIFETIME, Clock, Fault, envelope, http_answer
from harness.router import DHCP, SCALAR, SCALARS, SYSTEM, TABLE

RADIO = SCALAR["zanRadioType"].query
REMOTE_ACCESS = SCALAR["zanRemoteAccessHTTPSessionTimeout"].query
LEASES = TABLE["zanDHCPServerLeasesTable"]
ROWS = 10
QUESTIONS = 100


def numbered(result_of: Callable[[int], Any]) -> Fault:
    """Another answer each time, made of its number."""
    numbers = itertools.count(1)
    return Fault("numbered", lambda connection, _body, _api: connection.sendall(
        http_answer(envelope(result_of(next(numbers))))))


def radio(number: int) -> Any:
    """The radio, every text of it the number."""
    names = ("type", "imei", "imsi", "firmware", "network", "service", "carrier", "msid", "mdn")
    return {"system_capabilities": {"cell": True}, "stats_radio": {name: str(number) for name in names}}


def dhcp(number: int) -> Any:
    """The DHCP server: on when the number is odd; in every lease the number."""
    lease = {"ip": str(number), "mac": str(number), "expiration": number}
    return {"dhcp": {"enabled": bool(number % 2), "leases": [lease] * ROWS}}


@pytest.fixture
def questions(api, clock: Clock) -> Iterator[Iterator[int]]:
    """Questions to ask while the clock runs and the answers are numbered; a lifetime passes before each."""
    api.faults = {
        RADIO: numbered(radio),
        SYSTEM: numbered(lambda number: {"system": {name: str(number)
                                                    for name in ("productId", "deviceId", "firmware")}}),
        REMOTE_ACCESS: numbered(lambda number: {"remoteAccess": {"timeoutSeconds": number}}),
        DHCP: numbered(dhcp),
    }
    stop = threading.Event()

    def run() -> None:
        while not stop.is_set():
            clock.advance(CACHE_LIFETIME)

    thread = threading.Thread(target=run)
    thread.start()

    def numbers() -> Iterator[int]:
        for number in range(QUESTIONS):
            expired = clock.now + 2 * CACHE_LIFETIME  # the last step may still have to be written
            while clock.now < expired:
                time.sleep(0)
            yield number

    yield numbers()
    stop.set()
    thread.join()


def values(variables) -> set:
    """The numbers in the values."""
    return {int(variable.value) for variable in variables}


def test_scalars_of_several_queries_in_one_get(agent, questions):
    ours = [scalar for scalar in SCALARS if scalar.query in (RADIO, SYSTEM)
            and scalar.name not in ("zanRadioRSSI", "zanRadioTemperature", "zanRouterUptime")]
    # One of each query in turn, so that their questions are not over before those of the others begin.
    of_query = {query: [scalar for scalar in ours if scalar.query == query] for query in (RADIO, SYSTEM)}
    order = [scalar for pair in itertools.zip_longest(*of_query.values()) for scalar in pair if scalar]
    order.append(SCALAR["zanRemoteAccessHTTPSessionTimeout"])
    seen = set()
    for _ in questions:
        answers = agent.client.get(*(scalar.instance for scalar in order))
        for query in of_query:
            moments = values(answer for answer, scalar in zip(answers, order) if scalar.query == query)
            assert len(moments) == 1, f"{query}: {moments}"
            seen |= moments
    assert len(seen) == QUESTIONS, "a question was answered from an expired cache"


def test_a_scalar_and_rows_of_the_same_query_in_one_get(agent, questions):
    switch = SCALAR["zanDHCPServerEnabled"].instance
    cells = [LEASES.oid + (1, 2, row + 1) for row in range(ROWS)]
    moments_seen = set()
    for _ in questions:
        first, *rows, last = agent.client.get(switch, *cells, switch)
        moments = values(rows)
        assert len(moments) == 1
        moment = moments.pop()
        assert first.value == last.value == (b"True" if moment % 2 else b"False")
        moments_seen.add(moment)
    assert len(moments_seen) == QUESTIONS, "a question was answered from an expired cache"


def test_all_rows_and_columns_of_a_table_in_one_getbulk(agent, questions):
    entry = LEASES.oid + (1,)
    moments_seen = set()
    for _ in questions:
        answers = agent.client.get_bulk(entry + (2,), entry + (3,), max_repetitions=ROWS)
        moments = values(answers)
        assert len(answers) == 2 * ROWS and len(moments) == 1
        moments_seen |= moments
    assert len(moments_seen) == QUESTIONS, "a question was answered from an expired cache"


def test_each_step_of_a_walk_is_a_question_of_its_own(agent, questions):
    steps = [agent.client.get_next(LEASES.oid + (1, 2, row))[0] for row, _ in zip(range(ROWS), questions)]
    assert len(values(steps)) == ROWS


def test_requests_of_the_agent_to_itself_are_no_question(make_agent, api, clock):
    """The agent gives all of them one number: taken for one question, they would read one answer for ever."""
    watched = SCALAR["zanSerialToIPPort"]
    agent = make_agent(extra_configuration="\n".join([
        "createUser _internal", "iquerySecName _internal", "rouser _internal noauth",
        f"monitor -r 5 port .{'.'.join(map(str, watched.instance))} > 60000"])).start()
    for _ in range(3):
        clock.advance(CACHE_LIFETIME)
        api.requests.clear()
        for _ in range(5):  # the watching began at a time of its own
            agent.fire_alarm()
        assert api.targets() == [watched.query]
