"""The six tables over UDP: cells, rows of every kind, walks, and rows that change under a walk."""

import itertools
import random

import pytest

from harness import CACHE_LIFETIME, ERROR, OBJECTS, faults
from harness.messages import PERFORM_FAILED
from harness.router import QUERIES, SCALAR, SCALARS, SYSLOG, TABLE, TABLES, expected_tree, triples
from harness.snmp import END_OF_MIB_VIEW, INTEGER, NO_SUCH_INSTANCE, NO_SUCH_OBJECT, VarBind, oid
from model.cases import OBJECTS as MODELLED, all_cases, result, value
from model.generator import answer_with
from model.tables import CONTENTS, cells

LEASES = TABLE["zanDHCPServerLeasesTable"]
ROUTES = TABLE["zanStaticRoutesTable"]
OPENVPN = TABLE["zanOpenVpnTunnelsTable"]
SYSLOG_TABLE = TABLE["zanRemoteSyslogDestTable"]
DHCP_ENABLED = SCALAR["zanDHCPServerEnabled"]

#: The tables whose rows are an array of the API.
ARRAYS = [table for table in TABLES if table is not SYSLOG_TABLE]
TUNNELS = [table for table in ARRAYS if table.arcs[0] == 18]


def name_of(value) -> str:
    """For the names of parametrised tests."""
    return getattr(value, "name", repr(value)[:30])


def put(api, table, rows) -> None:
    """Let the API hold these rows, or whatever else is in their place."""
    if table is LEASES:
        api.fields["dhcp"]["leases"] = rows
    else:
        api.fields[table.query.partition("=")[2]] = rows


def make(table, number: int):
    """So many rows of the API, and what they must look like."""
    if table is LEASES:
        return ([{"ip": f"10.0.0.{i}", "mac": f"mac-{i}", "expiration": i} for i in range(number)],
                [(i, f"10.0.0.{i}", f"mac-{i}", i * 100) for i in range(number)])
    flags = [bool(i % 2) for i in range(number)]
    seen = ["True" if table is ROUTES or flag else "False" for flag in flags]
    return ([{"name": f"row {i}", "enabled": flag} for i, flag in enumerate(flags)],
            [(i, f"row {i}", text) for i, text in enumerate(seen)])


def after(table):
    """The first variable of the standard router that comes after a table."""
    return next(row for row in expected_tree() if row[0] > table.oid + (2,))


def walk(agent, table, repetitions=0):
    """The table's part of the tree."""
    return triples(agent.client.walk(table.oid, max_repetitions=repetitions))


def getnext(agent, name):
    """One step."""
    return triples(agent.client.get_next(name))[0]


# --- cells and walks ----------------------------------------------------------------------------------------

@pytest.mark.parametrize("table", TABLES, ids=name_of)
def test_get_answers_every_cell(agent, table):
    for row in table.expected():
        assert triples(agent.client.get(row[0])) == [row]


@pytest.mark.parametrize("repetitions", [0, 1, 10, 100])
@pytest.mark.parametrize("table", TABLES, ids=name_of)
def test_walk_goes_column_by_column_in_the_order_of_the_array(agent, table, repetitions):
    assert walk(agent, table, repetitions) == table.expected()


@pytest.mark.parametrize("number", [0, 1, 2, 12, 300])
@pytest.mark.parametrize("table", ARRAYS, ids=name_of)
def test_a_table_has_a_row_for_each_element(agent, api, table, number):
    rows, seen = make(table, number)
    put(api, table, rows)
    assert walk(agent, table, 100) == table.expected(seen)
    if number <= 12:
        assert walk(agent, table) == table.expected(seen)
    assert api.count(table.query) == 1


@pytest.mark.parametrize("table", ARRAYS, ids=name_of)
def test_an_empty_table_is_passed_over(agent, api, table):
    put(api, table, [])
    assert getnext(agent, table.oid) == after(table)
    assert agent.client.get(table.cell(1, 1))[0].tag == NO_SUCH_INSTANCE


@pytest.mark.parametrize("table", TABLES, ids=name_of)
def test_the_last_cell_is_followed_by_the_next_object(agent, table):
    assert getnext(agent, table.expected()[-1][0]) == after(table)


def test_two_openvpn_tunnels_are_these_cells(agent, api):
    put(api, OPENVPN, [{"name": "first", "enabled": True}, {"name": "second", "enabled": False}])
    cells = OBJECTS + oid("18.3.1.1")
    assert triples(agent.client.walk(OBJECTS + oid("18.3"))) == [
        (cells + (1, 1), INTEGER, 0), (cells + (1, 2), INTEGER, 1),
        (cells + (2, 1), 4, b"first"), (cells + (2, 2), 4, b"second"),
        (cells + (3, 1), 4, b"True"), (cells + (3, 2), 4, b"False")]


NOT_THERE = [
    # what is asked of a table with rows, the suffix after the entry (columns, rows: the numbers of both)
    ("row 0", lambda columns, rows: (1, 0), NO_SUCH_INSTANCE),
    ("the row after the last", lambda columns, rows: (1, rows + 1), NO_SUCH_INSTANCE),
    ("the row after the last, last column", lambda columns, rows: (columns, rows + 1), NO_SUCH_INSTANCE),
    ("the last row that an index can name", lambda columns, rows: (1, 2147483647), NO_SUCH_INSTANCE),
    ("a row beyond an index", lambda columns, rows: (1, 4294967295), NO_SUCH_INSTANCE),
    ("a second index", lambda columns, rows: (1, 1, 1), NO_SUCH_INSTANCE),
    ("no index", lambda columns, rows: (1,), NO_SUCH_INSTANCE),
    ("column 0", lambda columns, rows: (0, 1), NO_SUCH_OBJECT),
    ("the column after the last", lambda columns, rows: (columns + 1, 1), NO_SUCH_OBJECT),
]


@pytest.mark.parametrize("suffix, tag", [row[1:] for row in NOT_THERE], ids=[row[0] for row in NOT_THERE])
@pytest.mark.parametrize("table", TABLES, ids=name_of)
def test_get_beside_the_table_finds_nothing(agent, table, suffix, tag):
    name = table.oid + (1,) + suffix(len(table.tags), table.count)
    assert agent.client.get(name) == [VarBind(name, tag, b"")]


@pytest.mark.parametrize("table", TABLES, ids=name_of)
def test_getnext_from_beside_the_table_finds_the_successor(agent, table):
    columns, rows = len(table.tags), table.count
    cells = {row[0]: row for row in table.expected()}
    starts = [
        (table.oid, (1, 1)),
        (table.oid + (1,), (1, 1)),
        (table.cell(0, 5), (1, 1)),
        (table.cell(1, 0), (1, 1)),
        (table.cell(1, rows), (2, 1)),
        (table.cell(1, rows + 1), (2, 1)),
        (table.cell(1, 4294967295), (2, 1)),
        (table.cell(columns, 0), (columns, 1)),
    ]
    for start, (column, index) in starts:
        assert getnext(agent, start) == cells[table.cell(column, index)], start
    assert getnext(agent, table.cell(columns, rows + 1)) == after(table)
    assert getnext(agent, table.cell(columns + 1, 1)) == after(table)


# --- several cells in one request ---------------------------------------------------------------------------

@pytest.mark.parametrize("table", TABLES, ids=name_of)
def test_all_cells_of_a_table_in_one_request(agent, api, table):
    rows = table.expected()
    random.Random(7).shuffle(rows)
    assert triples(agent.client.get(*(row[0] for row in rows))) == rows
    assert api.targets() == [table.query]


def test_cells_that_are_there_and_not_in_one_request(agent):
    cells = [(2, 1), (2, 9), (9, 1), (3, 2), (2, 1)]
    answer = agent.client.get(*(OPENVPN.cell(column, index) for column, index in cells))
    assert [(varbind.tag, varbind.value) for varbind in answer] == [
        (4, b"ovpn-a"), (NO_SUCH_INSTANCE, None), (NO_SUCH_OBJECT, None), (4, b"False"), (4, b"ovpn-a")]


def test_getnext_for_all_columns_at_once_as_a_table_reader_does(agent):
    columns = range(1, len(LEASES.tags) + 1)
    names = [LEASES.oid + (1, column) for column in columns]
    for index in range(1, LEASES.count + 1):
        answer = triples(agent.client.get_next(*names))
        names = [LEASES.cell(column, index) for column in columns]
        assert answer == [cell for cell in LEASES.expected() if cell[0] in names]


def test_the_whole_tree_in_one_request_and_out_of_order(agent, api):
    rows = expected_tree()
    random.Random(11).shuffle(rows)
    assert triples(agent.client.get(*(row[0] for row in rows))) == rows
    assert sorted(api.targets()) == QUERIES


def test_getbulk_repeats_over_several_tables_at_once(agent):
    names = [OPENVPN.oid + (1, 2), ROUTES.oid + (1, 2)]
    answer = triples(agent.client.get_bulk(DHCP_ENABLED.oid, *names, non_repeaters=1, max_repetitions=2))
    assert [(name, value) for name, _, value in answer] == [
        (DHCP_ENABLED.instance, b"True"),
        (OPENVPN.cell(2, 1), b"ovpn-a"), (ROUTES.cell(2, 1), b"route-a"),
        (OPENVPN.cell(2, 2), b"ovpn-b"), (ROUTES.cell(2, 2), b"route-b")]


# --- rows of every kind -------------------------------------------------------------------------------------

@pytest.mark.parametrize("table", ARRAYS, ids=name_of)
def test_rows_of_every_kind_stand_beside_each_other(agent, api, table):
    firsts = [CONTENTS[table.name].rows(result(case)) for case in all_cases()
              if MODELLED[case.object].table == table.name and value(case) is not None]
    rows = [first[0] for first in firsts]
    whole = {"dhcp": {"leases": rows}} if table is LEASES else {table.query.partition("=")[2]: rows}
    answer_with(api, table.query, whole)
    assert len(rows) > 30
    assert walk(agent, table) == sorted((name, *cell) for name, cell in cells(table, whole).items())
    assert agent.take(ERROR) == b""


# --- no rows ------------------------------------------------------------------------------------------------

@pytest.mark.parametrize("table", TABLES, ids=name_of)
def test_with_the_api_down_a_table_is_empty_and_no_error(agent, api, table):
    api.faults[table.query] = faults.CLOSED
    assert agent.client.get(table.cell(1, 1))[0].tag == NO_SUCH_INSTANCE
    step = getnext(agent, table.oid)
    assert step[0] == after(table)[0]
    # The agent's helper loads a failing table again for each column that it tries.
    requests = api.count(table.query)
    assert requests >= 2
    assert agent.take(ERROR) == PERFORM_FAILED * requests
    api.faults.clear()
    assert walk(agent, table) == table.expected()


# --- requests to the API ------------------------------------------------------------------------------------

def test_a_table_is_fetched_again_after_its_lifetime(agent, api, clock):
    clock.align()
    assert walk(agent, OPENVPN) == OPENVPN.expected()
    rows, seen = make(OPENVPN, 3)
    put(api, OPENVPN, rows)
    clock.advance(CACHE_LIFETIME - 0.01)
    assert walk(agent, OPENVPN) == OPENVPN.expected()
    clock.advance(0.01)
    assert walk(agent, OPENVPN) == OPENVPN.expected(seen)
    assert api.count(OPENVPN.query) == 2


# --- rows that change under a walk --------------------------------------------------------------------------

CHANGES = [(5, 0), (5, 1), (5, 4), (5, 6), (1, 5), (12, 3), (3, 12), (0, 4)]


@pytest.mark.parametrize("before, later", CHANGES)
@pytest.mark.parametrize("table", ARRAYS, ids=name_of)
def test_rows_that_come_and_go_between_two_steps_of_a_walk(agent, api, clock, table, before, later):
    cells = before * len(table.tags)
    for change_after in sorted({0, min(1, cells), before, min(before + 1, cells), max(cells - 1, 0), cells}):
        clock.advance(CACHE_LIFETIME)
        put(api, table, make(table, before)[0])
        walking = agent.client.walking(table.oid)  # a step backwards would be an error
        seen = triples(list(itertools.islice(walking, change_after)))
        clock.advance(CACHE_LIFETIME)
        put(api, table, make(table, later)[0])
        seen.extend(triples(list(walking)))
        old, new = table.expected(make(table, before)[1]), table.expected(make(table, later)[1])
        last = old[change_after - 1][0] if change_after else ()
        assert seen == old[:change_after] + [row for row in new if row[0] > last]


def test_rows_that_come_and_go_at_random_between_the_steps_of_walks(agent, api, clock):
    chance = random.Random(4)
    for _ in range(20):
        for _ in agent.client.walking(OBJECTS, max_repetitions=chance.choice([0, 1, 5])):
            if chance.random() < 0.1:
                clock.advance(CACHE_LIFETIME)
                table = chance.choice(ARRAYS)
                put(api, table, make(table, chance.randrange(8))[0])
    agent.check_alive()


def test_a_row_that_vanishes_between_getnext_and_get_finds_no_instance(agent, api, clock):
    name = getnext(agent, OPENVPN.cell(2, 1))[0]
    assert name == OPENVPN.cell(2, 2)
    clock.advance(CACHE_LIFETIME)
    put(api, OPENVPN, make(OPENVPN, 1)[0])
    assert agent.client.get(name)[0].tag == NO_SUCH_INSTANCE


def test_the_table_fails_in_the_middle_of_a_walk_and_the_walk_goes_on_behind_it(agent, api, clock):
    walking = agent.client.walking(OBJECTS + (18,))
    assert next(walking).oid == TABLE["zanGreTunnelsTable"].cell(1, 1)
    clock.advance(CACHE_LIFETIME)
    api.faults[TABLE["zanGreTunnelsTable"].query] = faults.CLOSED
    assert next(walking).oid == TABLE["zanIpsecTunnelsTable"].cell(1, 1)
    assert set(agent.take(ERROR).split(PERFORM_FAILED)) == {b""}


def test_300_rows_beside_each_other_in_every_table(agent, api):
    expected = [scalar.served for scalar in SCALARS] + SYSLOG_TABLE.expected()
    for table in ARRAYS:
        rows, seen = make(table, 300)
        put(api, table, rows)
        expected += table.expected(seen)
    assert triples(agent.client.walk(OBJECTS, max_repetitions=100)) == sorted(expected)
    assert sorted(api.targets()) == QUERIES
    assert api.count(SYSLOG) == 1


def test_getbulk_beyond_the_end_of_everything(agent):
    answer = agent.client.get_bulk(oid("2.99"), max_repetitions=5)
    assert {varbind.tag for varbind in answer} == {END_OF_MIB_VIEW}
