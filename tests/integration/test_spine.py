"""The module in the agent: every scalar, the whole tree, start-up and the cache."""

import json
import os

import pytest

from harness import (CACHE_LIFETIME, DEBUG, ERROR, EVERYTHING, HOSTED, INFO, OBJECTS, WARNING, SnmpClient,
                     SnmpError, SnmpTimeout, faults, kernel_limit, tools)
from harness.failures import HARMLESS
from harness.messages import (COMPLETE, NO_QUEUE, PERFORM_FAILED, REGISTERING, SWITCH_UNREAD, TRAPS_DISABLED,
                              executing, received)
from harness.router import (QUERIES, REMOTE_MANAGEMENT, SCALAR, SCALARS, SYSTEM, TABLES, TRAPS_SWITCH,
                            expected_tree, triples)
from harness.snmp import (END_OF_MIB_VIEW, NO_SUCH_INSTANCE, NO_SUCH_NAME, NO_SUCH_OBJECT, OCTET_STRING,
                          SYS_UPTIME, TIMETICKS, oid)
from model.tree import scalar_value

SERIAL_NUMBER = SCALAR["zanRouterSerialNumber"]
MODEL = SCALAR["zanRouterModelId"]
UPTIME = SCALAR["zanRouterUptime"]
REMOTE = SCALAR["zanRemoteManagementEnabled"]


def name_of(value) -> str:
    """For the names of parametrised tests."""
    return getattr(value, "name", str(value))


# --- every scalar -------------------------------------------------------------------------------------------

@pytest.mark.parametrize("scalar", SCALARS, ids=name_of)
def test_get_returns_the_providers_value_with_the_registered_type(agent, scalar):
    assert triples(agent.client.get(scalar.instance)) == [scalar.served]


@pytest.mark.parametrize("instance", ["no instance", "1", "0.0", "4294967295"])
def test_get_of_another_instance_finds_nothing_and_asks_nothing(agent, api, instance):
    arcs = () if instance == "no instance" else oid(instance)
    answers = [agent.client.get(scalar.oid + arcs)[0].tag for scalar in SCALARS]
    assert set(answers) == {NO_SUCH_INSTANCE}
    assert api.requests == []


def test_get_of_an_object_that_does_not_exist_finds_no_object(agent, api):
    known = [entry.arcs for entry in [*SCALARS, *TABLES]]
    after = {arcs[:-1] + (arcs[-1] + 1,) for arcs in known} | {(0,), (known[-1][0] + 1, 1)}
    missing = [arcs + (0,) for arcs in after if not any(arcs == other[:len(arcs)] for other in known)]
    assert len(missing) > len({arcs[0] for arcs in known})
    assert {agent.client.get(OBJECTS + arcs)[0].tag for arcs in missing} == {NO_SUCH_OBJECT}
    assert api.requests == []


def test_every_scalar_in_one_request(agent, api):
    answer = agent.client.get(*(scalar.instance for scalar in SCALARS))
    assert triples(answer) == [scalar.served for scalar in SCALARS]
    assert sorted(api.targets()) == sorted({scalar.query for scalar in SCALARS if scalar.query})


def test_a_request_with_good_and_missing_names_answers_each(agent):
    answer = agent.client.get(MODEL.instance, MODEL.oid, OBJECTS + (99, 0), UPTIME.instance, MODEL.instance)
    assert [varbind.tag for varbind in answer] == [
        OCTET_STRING, NO_SUCH_INSTANCE, NO_SUCH_OBJECT, TIMETICKS, OCTET_STRING]


# --- the tree -----------------------------------------------------------------------------------------------

def test_walk_by_getnext_is_exactly_the_expected_tree(agent):
    assert triples(agent.client.walk(OBJECTS)) == expected_tree()


@pytest.mark.parametrize("repetitions", [1, 2, 7, 50, 200])
def test_walk_by_getbulk_is_exactly_the_expected_tree(agent, repetitions):
    assert triples(agent.client.walk(OBJECTS, max_repetitions=repetitions)) == expected_tree()


def test_a_walk_asks_each_query_once(agent, api):
    agent.client.walk(OBJECTS)
    assert sorted(api.targets()) == QUERIES
    assert agent.take(DEBUG) == executing(*api.targets())


def test_the_tree_ends_after_the_last_object(agent):
    last = SCALARS[-1].instance
    assert agent.client.get_next(last)[0].oid[:len(OBJECTS)] != OBJECTS


def test_getnext_finds_the_successor_from_anywhere(agent):
    rows = [
        ("", "1.1.0"),  # the module's own arc
        ("1", "1.1.0"),
        ("1.1", "1.1.0"),
        ("1.1.0", "2.1.0"),
        ("1.1.5", "2.1.0"),  # an instance that is not there
        ("1.1.0.0", "2.1.0"),
        ("3.1.0", "3.2.0"),
        ("4.10.0", "4.11.1.0"),  # into a subgroup
        ("4.11", "4.11.1.0"),
        ("4.12.4.0", "4.13.1.0"),
        ("8.99", "9.1.1.0"),  # a hole
        ("15.1.7.0", "15.1.8.0"),
        ("21.5.3.0", "21.6.0"),
    ]
    for start, successor in rows:
        name = OBJECTS + (oid(start) if start else ())
        assert agent.client.get_next(name)[0].oid == OBJECTS + oid(successor), start


def test_nothing_else_is_registered_below_the_module_root(agent):
    root = OBJECTS[:-1]
    assert triples(agent.client.walk(root)) == expected_tree()


# --- the versions of the protocol, through the tools --------------------------------------------------------

@pytest.mark.parametrize("version", tools.LOGINS)
def test_snmpwalk_prints_the_whole_tree(agent, version):
    completed = tools.run("snmpwalk", agent, tools.LOGINS[version], ".".join(map(str, OBJECTS)))
    assert tools.lines(completed) == [tools.line(*row) for row in expected_tree()]


@pytest.mark.parametrize("version", ["SNMPv2c", "SNMPv3"])
def test_snmpbulkwalk_prints_the_whole_tree(agent, version):
    completed = tools.run("snmpbulkwalk", agent, tools.LOGINS[version], ".".join(map(str, OBJECTS)))
    assert tools.lines(completed) == [tools.line(*row) for row in expected_tree()]


@pytest.mark.parametrize("version", tools.LOGINS)
def test_snmpget_and_snmpgetnext_print_the_serial_number(agent, version):
    row = tools.line(SERIAL_NUMBER.instance, SERIAL_NUMBER.tag, SERIAL_NUMBER.expected)
    for tool, name in (("snmpget", SERIAL_NUMBER.instance), ("snmpgetnext", SERIAL_NUMBER.oid)):
        assert tools.lines(tools.run(tool, agent, tools.LOGINS[version], ".".join(map(str, name)))) == [row]


def test_snmpv1_is_told_of_a_missing_instance_by_an_error(agent):
    client = SnmpClient(agent.port, version=SnmpClient.V1)
    with pytest.raises(SnmpError) as error:
        client.get(SERIAL_NUMBER.instance, SERIAL_NUMBER.oid)
    assert (error.value.status, error.value.index) == (NO_SUCH_NAME, 2)
    assert triples(client.walk(OBJECTS)) == expected_tree()
    client.close()


def test_strangers_get_nothing(agent, api):
    stranger = SnmpClient(agent.port, community="stranger", timeout=0.3)
    with pytest.raises(SnmpTimeout):
        stranger.get(SERIAL_NUMBER.instance)
    stranger.close()
    login = [word.replace("authentication", "wrong-password") for word in tools.LOGINS["SNMPv3"]]
    completed = tools.run("snmpget", agent, login, ".".join(map(str, SERIAL_NUMBER.instance)), check=False)
    assert completed.returncode != 0 and completed.stdout == ""
    assert agent.take(WARNING) == b"Authentication failed for zanuser\n"
    assert api.requests == []


# --- start-up -----------------------------------------------------------------------------------------------

def test_start_with_the_api_up_logs_exactly_this(make_agent, api, queue):
    agent = make_agent().start()
    assert agent.log(DEBUG) == REGISTERING + executing(TRAPS_SWITCH) + COMPLETE
    assert agent.log(ERROR) == agent.log(WARNING) == b""
    assert api.targets() == [TRAPS_SWITCH]
    assert queue.state() is not None


def test_start_with_the_api_down_disables_notifications_and_serves(make_agent, api, queue):
    api.down()
    agent = make_agent().start()
    assert agent.log(ERROR) == PERFORM_FAILED + SWITCH_UNREAD
    assert agent.log(WARNING) == b""
    assert agent.log(DEBUG) == REGISTERING + executing(TRAPS_SWITCH) + COMPLETE
    agents_own = agent.log(INFO).splitlines(keepends=True)[-2 if HOSTED else -1:]  # connected, and up
    assert agent.log(EVERYTHING).endswith(
        executing(TRAPS_SWITCH) + PERFORM_FAILED + SWITCH_UNREAD + COMPLETE + b"".join(agents_own))
    assert queue.state() is None, "the receiver was initialised"
    for scalar in SCALARS:
        assert triples(agent.client.get(scalar.instance)) == [scalar.failed]


def test_start_without_a_queue_disables_notifications_and_serves(make_agent, api, queue):
    with kernel_limit("msgmni", 0):
        agent = make_agent().start()
    assert agent.log(ERROR) == NO_QUEUE
    assert agent.log(DEBUG) == REGISTERING + executing(TRAPS_SWITCH) + COMPLETE
    assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected_tree()
    queue.create()
    queue.post(7)
    agent.mark()
    agent.fire_alarm(2)
    assert queue.count() == 1
    assert agent.take(EVERYTHING).replace(executing(*QUERIES), b"") == b""


def test_the_module_starts_no_thread(agent, make_agent):
    def threads(counted):
        return len(os.listdir(f"/proc/{counted.pid}/task"))

    agent.client.walk(OBJECTS, max_repetitions=50)
    assert threads(agent) == threads(make_agent(module=None).start())  # an emulator has threads of its own


# --- the request --------------------------------------------------------------------------------------------

@pytest.mark.parametrize("query", QUERIES)
def test_objects_of_a_query_share_one_request(agent, api, query):
    names = [scalar.instance for scalar in SCALARS if scalar.query == query]
    names += [table.cell(1, 1) for table in TABLES if table.query == query]
    for name in names * 2:
        agent.client.get(name)
    assert api.targets() == [query]
    assert agent.take(DEBUG) == executing(query)


# --- the cache ----------------------------------------------------------------------------------------------

def test_two_gets_within_the_lifetime_make_one_request_and_a_later_one_another(agent, api, clock):
    agent.client.get(SERIAL_NUMBER.instance)
    agent.client.get(MODEL.instance)
    assert api.targets() == [SYSTEM]
    clock.advance(CACHE_LIFETIME)
    agent.client.get(SERIAL_NUMBER.instance)
    assert api.targets() == [SYSTEM, SYSTEM]


def test_queries_expire_each_by_itself(agent, api, clock):
    agent.client.get(SERIAL_NUMBER.instance)
    clock.advance(3)
    agent.client.get(REMOTE.instance)
    clock.advance(2)
    agent.client.get(REMOTE.instance)
    agent.client.get(SERIAL_NUMBER.instance)
    assert api.targets() == [SYSTEM, REMOTE_MANAGEMENT, SYSTEM]


def test_a_cached_result_survives_an_absence_of_the_api(agent, api, clock):
    clock.align()
    agent.client.get(SERIAL_NUMBER.instance)
    api.down()
    clock.advance(CACHE_LIFETIME - 0.01)
    assert agent.client.value(SERIAL_NUMBER.instance) == SERIAL_NUMBER.expected
    assert agent.take(ERROR) == b""


def test_in_the_first_five_seconds_of_uptime_nothing_is_asked_and_data_is_missing(
        make_agent, api, clock, queue, traps):
    # A result of the syslog query without a syslog object still makes the table's one row.
    without_data = sorted([(scalar.instance, scalar.tag, scalar_value(scalar, None)[1]) for scalar in SCALARS]
                          + TABLES[-1].expected([(0, "remote", "", 514, "MINIMUM", "False")]))
    with clock.booted(1.00):
        agent = make_agent().start()
        queue.post(7)
        for uptime in (1.00, 4.99):
            clock.set(uptime)
            assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == without_data
        assert api.requests == []
        # The traps switch reads as missing too, and stays so until the agent reads its configuration again.
        agent.mark()
        agent.fire_alarm()
        assert agent.take(EVERYTHING) == received(7) + TRAPS_DISABLED
        assert traps.traps() == []
        clock.set(5.00)
        assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected_tree()
        assert sorted(api.targets()) == QUERIES


# --- failures of the API ------------------------------------------------------------------------------------

@pytest.mark.parametrize("oddity", HARMLESS, ids=str)
def test_an_oddity_of_the_answer_is_not_noticed(agent, api, oddity):
    api.fault = oddity
    assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected_tree()
    assert sorted(api.targets()) == QUERIES
    assert agent.take(ERROR) == b""


def test_one_query_fails_and_the_others_answer(agent, api):
    api.faults[SYSTEM] = faults.NOT_HTTP
    fallbacks = {scalar.instance: scalar.failed for scalar in SCALARS if scalar.query == SYSTEM}
    expected = [fallbacks.get(row[0], row) for row in expected_tree()]
    assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected
    assert agent.take(ERROR) == PERFORM_FAILED * api.count(SYSTEM)
    assert api.count(SYSTEM) == 4 or HOSTED  # a master splits what it is asked into more requests


def test_json_in_the_answer_may_repeat_a_member(agent, api):
    api.bodies[SYSTEM] = b'{"code": 404, "code": 200, "result": ' + json.dumps(
        {"system": {"deviceId": "last"}}).encode() + b"}"
    assert agent.client.value(SERIAL_NUMBER.instance) == b"last"


def test_the_agents_own_objects_are_served_beside_the_modules(agent):
    assert agent.client.get(SYS_UPTIME)[0].tag == TIMETICKS
    assert agent.client.get_next(oid("2.99"))[0].tag == END_OF_MIB_VIEW
