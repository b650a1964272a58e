"""Eight managers of different kinds at once, while each answer of the API is another and tables come and go.

Each answer has its number in every text, and the caches expire in the middle of whatever is asked: the
agent's answer shows whether it is made of one of the API, and a walk whether it goes forward in time.
"""

import bisect
import contextlib
import functools
import itertools
import re
import subprocess
import threading
import time
from typing import Any, Callable, Dict, Iterable, Iterator, List, Optional, Sequence, Tuple

import pytest

from harness import OBJECTS, Api, Clock, SnmpClient, deadline, envelope, lasting
from harness.router import DHCP, SCALAR, SCALARS, SYSTEM, TABLE, TABLES, router, triples, zanmib
from harness.snmp import INTEGER, NO_SUCH_INSTANCE, OCTET_STRING, TIMETICKS, Oid, dotted, oid
from harness.tools import LOGINS, lines, run
from mib_support import base_fixture, mib_file_fixture, netsnmp_options  # noqa: F401  (fixtures)
from model.tables import cells
from model.tree import scalar_value
from patience import until

#: So many times as fast as the tests' own clock goes that of the caches.
SPEED = 50

#: How many rows the tables have, in one answer of the API after the other.
SIZES = (3, 0, 40, 12, 1, 100, 2, 25)

LEASES = TABLE["zanDHCPServerLeasesTable"]
DEVICE = [SCALAR[name] for name in ("zanRouterModelId", "zanRouterSerialNumber", "zanRouterFirmware")]
ARRAYS = {table.query: table for table in TABLES if table.name != "zanRemoteSyslogDestTable"}

Value = Tuple[Oid, int, Any]


def numbered(query: str, number: int) -> Optional[Dict[str, Any]]:
    """The result of a query in the answer of this number; None for those that are always the same."""
    rows = range(SIZES[number % len(SIZES)])
    if query == DHCP:
        return {"dhcp": {"enabled": bool(number % 2), "leases": [
            {"ip": f"{number}-{row}", "mac": f"{number}-{row}", "expiration": number} for row in rows]}}
    if query in ARRAYS:
        return {query.partition("=")[2]: [{"name": f"{number}-{row}", "enabled": bool(number % 2)}
                                          for row in rows]}
    if query == SYSTEM:
        return {"system": {**router()["system"],
                           **{name: f"{number}-0" for name in ("productId", "deviceId", "firmware")}}}
    return None


@functools.lru_cache(maxsize=4096)
def tree_of(query: str, number: int) -> Dict[Oid, Tuple[int, Any]]:
    """What the agent answers of a query from the answer of this number, in the order of a walk."""
    result = numbered(query, number)
    tree = {scalar.instance: scalar_value(scalar, result) for scalar in SCALARS if scalar.query == query}
    if query in ARRAYS:
        tree.update(cells(ARRAYS[query], result))
    return dict(sorted(tree.items()))


class Moving(Api):
    """An API none of whose answers is like the one before."""

    def __init__(self) -> None:
        super().__init__(fields=router())
        self._numbers = itertools.count(1)

    def body(self, target: str) -> bytes:
        result = numbered(target, next(self._numbers))
        return super().body(target) if result is None else envelope(result)


@functools.lru_cache(maxsize=65536)
def query_of(name: Oid) -> Optional[str]:
    """The query behind a variable, if its answers have a number."""
    for entry in [*SCALARS, *TABLES]:
        if name[:len(entry.oid)] == entry.oid:
            return entry.query if entry.query == SYSTEM or entry.query in ARRAYS else None
    return None


def number_in(value: Any) -> Optional[int]:
    """The number of the answer that a value is from."""
    found = re.fullmatch(rb"(\d+)-\d+", value) if isinstance(value, bytes) else None
    return int(found[1]) if found else None


def numbers_of(variables: Iterable[Value]) -> Dict[str, set]:
    """For each query, the numbers in its variables."""
    numbers: Dict[str, set] = {}
    for name, _, value in variables:
        number = number_in(value)
        if number is not None:
            numbers.setdefault(query_of(name), set()).add(number)
    return numbers


def check_answer(variables: List[Value]) -> Dict[str, int]:
    """One answer of the agent: what is from one query is from one answer of the API; its number."""
    moments = {}
    for query, numbers in numbers_of(variables).items():
        assert len(numbers) == 1, f"{query} is torn: {numbers}"
        moments[query], = numbers
    for name, tag, value in variables:
        number = moments.get(query_of(name))
        if number is not None:
            expected = tree_of(query_of(name), number).get(name, (NO_SUCH_INSTANCE, None))
            assert (tag, value) == expected, f"{dotted(name)} in answer {number}"
    return moments


def check_steps(start: Oid, variables: List[Value]) -> None:
    """One answer to a GETNEXT or a GETBULK: no variable is left out, none comes twice."""
    moments = check_answer(variables)
    for before, (name, _, _) in zip([start, *(row[0] for row in variables)], variables):
        assert name > before, f"from {dotted(before)} back to {dotted(name)}"
        for table in ARRAYS.values():
            # From before a table or from within it, to within it or beyond.
            if table.query in moments and before < table.oid + (2,) and name > table.oid:
                names = [cell for cell in tree_of(table.query, moments[table.query])
                         if cell[:len(table.oid)] == table.oid]
                after = bisect.bisect_right(names, before)
                assert name == names[after] if after < len(names) else name > table.oid + (2,)


def check_walk(variables: List[Value]) -> None:
    """A walk of all objects goes forward in the tree and in time, and has each scalar."""
    names = [name for name, _, _ in variables]
    assert all(one < other for one, other in zip(names, names[1:])), "a walk that goes back"
    assert [name for name in names if name[-1] == 0] == [scalar.instance for scalar in SCALARS]
    latest: Dict[str, int] = {}
    for name, tag, value in variables:
        number = number_in(value)
        if number is not None:
            query = query_of(name)
            assert number >= latest.get(query, 0), f"{dotted(name)} is older than what came before it"
            latest[query] = number
            assert (tag, value) == tree_of(query, number).get(name), dotted(name)


def parsed(text: str) -> Value:
    """A variable as the tools print it."""
    name, _, value = text.partition(" = ")
    kind, _, rest = value.partition(": ")
    if kind == "STRING" or value == '""':
        return oid(name), OCTET_STRING, rest.strip('"').encode()
    if kind == "INTEGER":
        return oid(name), INTEGER, int(rest)
    if value.startswith("No Such"):
        return oid(name), NO_SUCH_INSTANCE, None
    return oid(name), TIMETICKS, int(value)


def printed(completed: subprocess.CompletedProcess) -> List[Value]:
    """What a tool printed, but for what SNMPv1's says of the end."""
    return [parsed(text) for text in lines(completed) if text.startswith(".")]


# --- the pollers --------------------------------------------------------------------------------------------

#: The cells that are asked for by name: some are there sometimes.
CELLS = [table.cell(column, row) for table in ARRAYS.values() for row in (1, 2, 30)
         for column in range(1, len(table.tags) + 1)]
NAMES = [scalar.instance for scalar in DEVICE] + CELLS


class Poller:
    """One manager: asks one thing again and again, and notes how long each answer took."""

    def __init__(self, name: str, ask: Callable[["Poller"], None]) -> None:
        self.name = name
        self._ask = ask
        self.rounds = 0
        self.seconds: List[float] = []
        self.moved = 0  # walks in which the answers of the API have changed
        self.error: Optional[BaseException] = None

    @contextlib.contextmanager
    def timed(self) -> Iterator[None]:
        """Notes how long the with statement takes."""
        begin = time.monotonic()
        yield
        self.seconds.append(time.monotonic() - begin)

    def walked(self, variables: List[Value]) -> None:
        """Judges a walk."""
        check_walk(variables)
        self.moved += any(len(numbers) > 1 for numbers in numbers_of(variables).values())

    def poll(self, stop: threading.Event) -> None:
        """Until it is told to stop, or finds something wrong."""
        try:
            while not stop.is_set():
                self._ask(self)
                self.rounds += 1
        except BaseException as error:  # pylint: disable=broad-except  # the test's own thread raises it
            self.error = error
            stop.set()

    def latencies(self) -> str:
        """In words."""
        times = sorted(self.seconds)
        p50, p99 = (times[int(part * (len(times) - 1))] * 1000 for part in (0.5, 0.99))
        return (f"{len(times)} answers: p50 {p50:.1f} ms, p99 {p99:.1f} ms, max {times[-1] * 1000:.1f} ms"
                + (f"; {self.moved} of {self.rounds} walks are of several answers" if self.moved else ""))


def walking_tool(agent, tool: str, version: str, *options: str) -> Callable[[Poller], None]:
    """A tool that walks everything; what is timed is its whole run."""
    def ask(poller: Poller) -> None:
        with poller.timed():
            completed = run(tool, agent, [*LOGINS[version], *options], dotted(OBJECTS))
        poller.walked(printed(completed))
    return ask


def getting_tool(agent, version: str) -> Callable[[Poller], None]:
    """snmpget for scalars and cells, in one request."""
    def ask(poller: Poller) -> None:
        with poller.timed():
            completed = run("snmpget", agent, LOGINS[version], *map(dotted, NAMES))
        answer = printed(completed)
        assert [row[0] for row in answer] == NAMES
        check_answer(answer)
    return ask


def table_tool(agent, options: Sequence[str]) -> Callable[[Poller], None]:
    """snmptable of the leases. By GETNEXT it asks for one row after the other, by itself for the columns."""
    ways = itertools.cycle((["-CB"], []))

    def ask(poller: Poller) -> None:
        by_row = next(ways)
        with poller.timed():
            completed = run("snmptable", agent, [*LOGINS["SNMPv2c"], *options, *by_row, "-Ci", "-Cf", "|"],
                            f"{zanmib.NAME}::{LEASES.name}", form=["-Ot"])
        for row in (text.split("|") for text in lines(completed) if re.match(r"\d+\|", text)):
            index, position, address, hardware, ticks = row
            place = int(index) - 1
            assert position in (str(place), "?")
            # A cell that is not there any more has a question mark.
            pairs = [text.split("-") for text in (address, hardware) if text != "?"]
            assert all(row_number == str(place) for _, row_number in pairs), row
            numbers = [int(number) for number, _ in pairs]
            if ticks != "?":
                numbers.append(int(ticks) // 100)
            assert numbers == sorted(numbers), row
            if by_row:
                assert len(numbers) == 3 and len(set(numbers)) == 1, row
                assert position != "?" and place < SIZES[numbers[0] % len(SIZES)]
    return ask


def stepping(client: SnmpClient) -> Callable[[Poller], None]:
    """GETNEXT from all columns of a table at once, as one reads tables row by row; then of the next table."""
    tables = itertools.cycle(ARRAYS.values())

    def ask(poller: Poller) -> None:
        table = next(tables)
        columns = [table.oid + (1, column) for column in range(1, len(table.tags) + 1)]
        names = columns
        while True:
            with poller.timed():
                answer = triples(client.get_next(*names))
            check_answer(answer)
            for before, variable in zip(names, answer):
                assert variable[0] > before
            if any(name[:len(column)] != column for column, (name, _, _) in zip(columns, answer)):
                break
            assert len({name[-1] for name, _, _ in answer}) == 1, "cells of different rows side by side"
            names = [name for name, _, _ in answer]
    return ask


def bulking(client: SnmpClient, repetitions: int) -> Callable[[Poller], None]:
    """A walk by GETBULK with more repetitions than an answer holds."""
    def ask(poller: Poller) -> None:
        seen: List[Value] = []
        while not seen or seen[-1][0][:len(OBJECTS)] == OBJECTS:
            name = seen[-1][0] if seen else OBJECTS
            with poller.timed():
                answer = triples(client.get_bulk(name, max_repetitions=repetitions))
            check_steps(name, answer)
            seen.extend(answer)
        poller.walked([row for row in seen if row[0][:len(OBJECTS)] == OBJECTS])
    return ask


@contextlib.contextmanager
def running(clock: Clock) -> Iterator[None]:
    """The caches' clock runs."""
    stop = threading.Event()

    def run_on() -> None:
        uptime, begin = clock.now, time.monotonic()
        while not stop.wait(0.02):
            clock.set(uptime + (time.monotonic() - begin) * SPEED)

    thread = threading.Thread(target=run_on)
    thread.start()
    yield
    stop.set()
    thread.join()


@pytest.fixture
def moving(api: Api) -> Iterator[Moving]:
    """The API none of whose answers is like the one before."""
    api.down()
    moving = Moving()
    moving.up()
    yield moving
    moving.down()


def test_eight_kinds_of_managers_at_once(make_agent, moving, queue, clock, mib_file, base, measured):
    agent = make_agent().start()
    descriptors = agent.descriptors()
    clients = [SnmpClient(agent.port) for _ in range(2)]
    pollers = [
        Poller("snmpwalk", walking_tool(agent, "snmpwalk", "SNMPv2c")),
        Poller("snmpbulkwalk", walking_tool(agent, "snmpbulkwalk", "SNMPv2c")),
        Poller("snmptable", table_tool(agent, netsnmp_options(mib_file, base))),
        Poller("snmpget", getting_tool(agent, "SNMPv2c")),
        Poller("GETNEXT", stepping(clients[0])),
        Poller("GETBULK(2000)", bulking(clients[1], 2000)),
        Poller("snmpbulkwalk, SNMPv3", walking_tool(agent, "snmpbulkwalk", "SNMPv3", "-Cr40")),
        Poller("snmpwalk, SNMPv1", walking_tool(agent, "snmpwalk", "SNMPv1")),
    ]
    seconds = lasting(15, 600)
    stop = threading.Event()
    threads = [threading.Thread(target=poller.poll, args=(stop,)) for poller in pollers]
    with running(clock):
        for thread in threads:
            thread.start()
        stop.wait(seconds)
        try:
            until(lambda: stop.is_set() or any(poller.moved for poller in pollers), deadline(60),
                  "a walk in which an answer of the API took the place of another")
        finally:
            stop.set()
            for thread in threads:
                thread.join()
    for client in clients:
        client.close()
    for poller in pollers:
        if isinstance(poller.error, subprocess.CalledProcessError):
            pytest.fail(f"{poller.error}\n{poller.error.stdout[-2000:]}\n{poller.error.stderr}")
        if poller.error:
            raise poller.error
        measured(f"{poller.name}, {seconds} s", poller.latencies())
    assert all(poller.rounds for poller in pollers)
    assert agent.descriptors() == descriptors
