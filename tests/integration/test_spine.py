"""The module in the agent: every scalar, the whole tree, start-up, the cache and each failure of the API."""

import json
import math
import os

import pytest

from harness import (CACHE_LIFETIME, DEBUG, ERROR, EVERYTHING, HOSTED, INFO, OBJECTS, WARNING, SnmpClient,
                     SnmpError, SnmpTimeout, faults, kernel_limit, tools)
from harness.failures import FAILURES, HARMLESS
from harness.messages import (COMPLETE, NO_QUEUE, PARSE_FAILED, PERFORM_FAILED, REGISTERING, SWITCH_EXCEPTION,
                              SWITCH_UNREAD, TRAPS_DISABLED, executing, received)
from harness.router import (QUERIES, REMOTE_MANAGEMENT, SCALAR, SCALARS, SYSTEM, TABLES, TRAPS_SWITCH,
                            expected_tree, triples)
from harness.snmp import (END_OF_MIB_VIEW, INTEGER, NO_SUCH_INSTANCE, NO_SUCH_NAME, NO_SUCH_OBJECT,
                          NOT_WRITABLE, OCTET_STRING, SYS_UPTIME, TIMETICKS, VarBind, encode_integer, octets,
                          oid)
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


@pytest.mark.parametrize("scalar", SCALARS, ids=name_of)
def test_set_is_refused_and_the_provider_is_not_called(agent, api, scalar):
    value = {OCTET_STRING: octets("True"), INTEGER: encode_integer(1),
             TIMETICKS: encode_integer(1, TIMETICKS)}
    client = SnmpClient(agent.port, community="private")
    answer = client.set((scalar.instance, value[scalar.tag]))
    client.close()
    assert (answer.error_status, answer.error_index) == (NOT_WRITABLE, 1)
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


def test_start_with_the_api_down_never_registers_the_alarm(make_agent, api, queue):
    api.down()
    agent = make_agent().start()
    api.up()
    queue.create()
    queue.post(7)
    agent.mark()
    agent.fire_alarm(3)
    assert queue.count() == 1
    assert agent.take(EVERYTHING) == b""


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


def test_start_with_a_switch_that_is_no_boolean_logs_the_exception(make_agent, api, queue):
    api.fields["snmp"] = {"traps": {"enabled": "yes"}}
    agent = make_agent().start()
    assert agent.log(ERROR) == SWITCH_EXCEPTION + SWITCH_UNREAD
    assert queue.state() is None


def test_the_module_starts_no_thread(agent, make_agent):
    def threads(counted):
        return len(os.listdir(f"/proc/{counted.pid}/task"))

    agent.client.walk(OBJECTS, max_repetitions=50)
    assert threads(agent) == threads(make_agent(module=None).start())  # an emulator has threads of its own


# --- the request --------------------------------------------------------------------------------------------

def test_the_request_is_a_plain_get(agent, api):
    agent.client.get(SERIAL_NUMBER.instance)
    assert [request.raw for request in api.requests] == [
        b"GET /api?fields=system HTTP/1.1\r\nHost: localhost\r\nAccept: */*\r\n\r\n"]


@pytest.mark.parametrize("query", QUERIES)
def test_objects_of_a_query_share_one_request(agent, api, query):
    names = [scalar.instance for scalar in SCALARS if scalar.query == query]
    names += [table.cell(1, 1) for table in TABLES if table.query == query]
    for name in names * 2:
        agent.client.get(name)
    assert api.targets() == [query]
    assert agent.take(DEBUG) == executing(query)


@pytest.mark.parametrize("name", ["zanRadioTemperature", "zanDiagnosticsSNMP"])
def test_objects_without_a_source_ask_nothing(agent, api, name):
    assert agent.client.value(SCALAR[name].instance) == SCALAR[name].expected
    assert api.requests == []


# --- the cache ----------------------------------------------------------------------------------------------

def test_two_gets_within_the_lifetime_make_one_request_and_a_later_one_another(agent, api, clock):
    agent.client.get(SERIAL_NUMBER.instance)
    agent.client.get(MODEL.instance)
    assert api.targets() == [SYSTEM]
    clock.advance(CACHE_LIFETIME)
    agent.client.get(SERIAL_NUMBER.instance)
    assert api.targets() == [SYSTEM, SYSTEM]


EXPIRY = [
    # seconds of the fetch, seconds of the second GET, whether it fetches
    (0.00, 0.00, False),
    (0.00, 4.99, False),
    (0.00, 5.00, True),
    (0.99, 4.99, False),
    (0.99, 5.00, True),  # whole seconds of uptime count: only 4.01 s have passed
    (0.00, 86400.00, True),
    (0.00, -0.01, True),  # the uptime never goes back; as an unsigned difference this is a long time
]


@pytest.mark.parametrize("fetched, asked, fetches", EXPIRY)
def test_a_result_expires_after_five_whole_seconds_of_uptime(agent, api, clock, fetched, asked, fetches):
    base = math.ceil(clock.now) + 100
    clock.set(base + fetched)
    api.fields["system"]["deviceId"] = "old"
    assert agent.client.value(SERIAL_NUMBER.instance) == b"old"
    assert api.count(SYSTEM) == 1
    api.fields["system"]["deviceId"] = "new"
    clock.set(base + asked)
    assert agent.client.value(SERIAL_NUMBER.instance) == (b"new" if fetches else b"old")
    assert api.count(SYSTEM) == (2 if fetches else 1)


def test_queries_expire_each_by_itself(agent, api, clock):
    agent.client.get(SERIAL_NUMBER.instance)
    clock.advance(3)
    agent.client.get(REMOTE.instance)
    clock.advance(2)
    agent.client.get(REMOTE.instance)
    agent.client.get(SERIAL_NUMBER.instance)
    assert api.targets() == [SYSTEM, REMOTE_MANAGEMENT, SYSTEM]


def test_a_failure_is_not_cached_and_does_not_serve_the_old_result(agent, api, clock):
    assert agent.client.value(SERIAL_NUMBER.instance) == SERIAL_NUMBER.expected
    clock.advance(CACHE_LIFETIME)
    api.fault = faults.CLOSED
    for _ in range(3):
        assert agent.client.value(SERIAL_NUMBER.instance) == b"Unknown"
    assert api.count(SYSTEM) == 4
    assert agent.take(ERROR) == PERFORM_FAILED * 3
    api.fault = None
    assert agent.client.value(SERIAL_NUMBER.instance) == SERIAL_NUMBER.expected
    assert agent.client.value(MODEL.instance) == MODEL.expected
    assert api.count(SYSTEM) == 5


def test_a_failure_forgets_when_the_last_success_was(agent, api, clock):
    clock.align()
    fetched = clock.now
    agent.client.get(SERIAL_NUMBER.instance)
    clock.advance(CACHE_LIFETIME)
    api.fault = faults.CLOSED
    agent.client.get(SERIAL_NUMBER.instance)
    assert agent.take(ERROR) == PERFORM_FAILED
    api.fault = None
    # Only an uptime that goes back shows it: the success was just now again, and yet there is a request.
    clock.set(fetched + 1)
    agent.client.get(SERIAL_NUMBER.instance)
    assert api.count(SYSTEM) == 3


def test_a_cached_result_survives_an_absence_of_the_api(agent, api, clock):
    clock.align()
    agent.client.get(SERIAL_NUMBER.instance)
    api.down()
    clock.advance(CACHE_LIFETIME - 0.01)
    assert agent.client.value(SERIAL_NUMBER.instance) == SERIAL_NUMBER.expected
    assert agent.take(ERROR) == b""


def test_with_the_api_down_every_object_reads_its_fallback_and_each_get_tries_again(agent, api):
    api.down()
    for scalar in SCALARS:
        assert triples(agent.client.get(scalar.instance)) == [scalar.failed]
    asked = [scalar.query for scalar in SCALARS if scalar.query]
    assert agent.take(ERROR) == PERFORM_FAILED * len(asked)
    assert agent.take(DEBUG) == executing(*asked)


def without_data(scalar):
    """What an object reads from a result that holds nothing for it."""
    return scalar_value(scalar, None)[1]


#: A result of the syslog query without a syslog object still makes the table's one row.
SYSLOG_ROW = TABLES[-1].expected([(0, "remote", "", 514, "MINIMUM", "False")])


@pytest.mark.parametrize("result", [{}, None], ids=["an empty result", "a null result"])
def test_missing_data_reads_as_empty_false_and_zero(agent, api, result):
    for query in QUERIES:
        api.results[query] = None if query == REMOTE_MANAGEMENT else result
    assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == sorted(
        [(scalar.instance, scalar.tag, without_data(scalar)) for scalar in SCALARS] + SYSLOG_ROW)
    assert agent.take(ERROR) == b""


def test_in_the_first_five_seconds_of_uptime_nothing_is_asked_and_data_is_missing(
        make_agent, api, clock, queue, traps):
    with clock.booted(1.00):
        agent = make_agent().start()
        queue.post(7)
        for uptime in (1.00, 4.99):
            clock.set(uptime)
            assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == sorted(
                [(scalar.instance, scalar.tag, without_data(scalar)) for scalar in SCALARS] + SYSLOG_ROW)
        assert api.requests == []
        # The traps switch reads as missing too, and stays so until the agent reads its configuration again.
        agent.mark()
        agent.fire_alarm()
        assert agent.take(EVERYTHING) == received(7) + TRAPS_DISABLED
        assert traps.traps() == []
        clock.set(5.00)
        assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected_tree()
        assert sorted(api.targets()) == QUERIES


def test_a_failure_in_the_sixth_second_is_retried_at_once(make_agent, api, clock, queue):
    with clock.booted(5.00):
        agent = make_agent().start()
        api.fault = faults.CLOSED
        for _ in range(2):
            assert agent.client.value(SERIAL_NUMBER.instance) == b"Unknown"
        api.fault = None
        assert agent.client.value(SERIAL_NUMBER.instance) == SERIAL_NUMBER.expected
        assert api.count(SYSTEM) == 3


# --- failures of the API ------------------------------------------------------------------------------------

@pytest.mark.parametrize("failure", FAILURES, ids=str)
def test_a_failure_gives_fallbacks_and_its_own_log_line(agent, api, clock, failure):
    agent.client.get(SERIAL_NUMBER.instance, REMOTE.instance)
    clock.advance(CACHE_LIFETIME)
    agent.mark()
    descriptors = len(agent.descriptors())
    failure.apply(api)
    for _ in range(2):
        for scalar in (REMOTE, SERIAL_NUMBER, UPTIME):
            assert triples(agent.client.get(scalar.instance)) == [scalar.failed]
    asked = executing(REMOTE_MANAGEMENT, SYSTEM, SYSTEM) * 2
    assert agent.take(DEBUG) == asked
    assert agent.take(ERROR) == failure.log * 6
    assert agent.take(WARNING) == b""
    assert len(agent.descriptors()) == descriptors
    failure.end(api)
    for scalar in (REMOTE, SERIAL_NUMBER, UPTIME):
        assert agent.client.value(scalar.instance) == scalar.expected


@pytest.mark.parametrize("oddity", HARMLESS, ids=str)
def test_an_oddity_of_the_answer_is_not_noticed(agent, api, oddity):
    api.fault = oddity
    assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected_tree()
    assert sorted(api.targets()) == QUERIES
    assert agent.take(ERROR) == b""


def test_a_redirect_is_not_followed(agent, api):
    location = "Location: http://localhost/api?fields=dhcp"
    api.answers[SYSTEM] = faults.http_answer(b"", "302 Found", (location,))
    assert agent.client.value(SERIAL_NUMBER.instance) == b"Unknown"
    assert api.targets() == [SYSTEM]
    assert agent.take(ERROR) == PARSE_FAILED


def test_one_query_fails_and_the_others_answer(agent, api):
    api.faults[SYSTEM] = faults.NOT_HTTP
    expected = [(row[0], row[1], scalar.fallback if (scalar := by_instance(row[0])) and scalar.query == SYSTEM
                 else row[2]) for row in expected_tree()]
    assert triples(agent.client.walk(OBJECTS, max_repetitions=50)) == expected
    assert agent.take(ERROR) == PERFORM_FAILED * api.count(SYSTEM)
    assert api.count(SYSTEM) == 4 or HOSTED  # a master splits what it is asked into more requests


def by_instance(name):
    """The scalar with this instance, if there is one."""
    return next((scalar for scalar in SCALARS if scalar.instance == name), None)


# --- router identity and remote management ------------------------------------------------------------------

ROUTER_UPTIMES = [
    # the API's text, TimeTicks
    ("12345.67", 1234567),
    ("42 days", 4200),
    ("  7.5", 750),
    ("0", 0),
    ("0.019", 1),
    ("-1", 4294967196),
    ("1e3", 100000),
    ("0x10", 1600),
    ("167772.17", 16777218),  # beyond 2^24 single precision has no odd numbers
    ("200000.01", 20000002),
    ("21474834", 2147483392),
    ("21474835", 2147483647),
    ("21474837", 2147483647),
    ("99999999", 2147483647),
    ("-99999999", 2147483648),
    ("1e30", 2147483647),
    ("inf", 2147483647),
    ("soon", 0),
    ("", 0),
    (".", 0),
    ("1e99", 0),  # out of a float's range
    ("1e-99", 0),
    (None, 0),
    (12345, 1234500),  # a number has a text
    (True, 0),
    ([], 0),
    ({}, 0),
]


@pytest.mark.parametrize("text, ticks", ROUTER_UPTIMES, ids=lambda value: repr(value))
def test_router_uptime_is_single_precision_hundredths(agent, api, text, ticks):
    api.fields["system"]["uptime"] = text
    assert agent.client.get(UPTIME.instance)[0] == (
        UPTIME.instance, TIMETICKS, encode_integer(ticks, TIMETICKS)[2:])


@pytest.mark.parametrize("result, text", [
    (True, b"True"), (False, b"False"), (None, b"False"), (1, b"True"), (0, b"False"), (0.5, b"True"),
    ("true", b"Unknown"), ([], b"Unknown"), ({}, b"Unknown")], ids=lambda value: repr(value))
def test_remote_management_is_the_result_itself(agent, api, result, text):
    api.results[REMOTE_MANAGEMENT] = result
    assert agent.client.value(REMOTE.instance) == text


def test_remote_management_is_unknown_when_the_api_fails(agent, api):
    api.faults[REMOTE_MANAGEMENT] = faults.CLOSED
    assert agent.client.value(REMOTE.instance) == b"Unknown"
    assert agent.take(ERROR) == PERFORM_FAILED


SERIAL_NUMBERS = [
    ("plain", b"plain"),
    ("", b""),
    (None, b""),
    ("Zürich ✓", "Zürich ✓".encode()),
    ("a\0b", b"a\0b"),
    ("line\nfeed\ttab", b"line\nfeed\ttab"),
    ("x" * 127, b"x" * 127),
    ("x" * 128, b"x" * 128),
    ("x" * 30000, b"x" * 30000),
    (12345, b"12345"),
    (-1, b"-1"),
    (True, b"true"),
    (["a"], b"Unknown"),
    ({"a": 1}, b"Unknown"),
]


@pytest.mark.parametrize("value, octet_string", SERIAL_NUMBERS, ids=lambda value: repr(value)[:20])
def test_a_text_is_passed_on_byte_by_byte(agent, api, value, octet_string):
    api.fields["system"]["deviceId"] = value
    varbind = VarBind(SERIAL_NUMBER.instance, OCTET_STRING, octet_string)
    assert agent.client.get(SERIAL_NUMBER.instance) == [varbind]


def test_a_missing_serial_number_is_empty_and_not_unknown(agent, api):
    del api.fields["system"]["deviceId"]
    assert agent.client.get(SERIAL_NUMBER.instance) == [VarBind(SERIAL_NUMBER.instance, OCTET_STRING, b"")]


@pytest.mark.parametrize("value, seen", [
    (0, 0), (2147483647, 2147483647), (2147483648, -2147483648), (4294967295, -1), (4294967296, 0), (-1, 0),
    ("600", 0), (1.9, 1), (True, 1), (None, 0), ([], 0), ({}, 0)], ids=lambda value: repr(value))
def test_an_unsigned_value_is_passed_on_as_its_32_bits(agent, api, value, seen):
    timeout = SCALAR["zanRemoteAccessHTTPSessionTimeout"].instance
    api.fields["remoteAccess"]["timeoutSeconds"] = value
    assert agent.client.get(timeout) == [VarBind(timeout, INTEGER, encode_integer(seen)[2:])]


def test_a_missing_boolean_reads_false(agent, api):
    api.fields["remoteAccess"]["ssh"] = {}
    assert agent.client.value(SCALAR["zanRemoteAccessSSHEnabled"].instance) == b"False"


def test_a_value_too_long_for_a_datagram_leaves_the_agent_alive(agent, api, clock):
    api.fields["system"]["deviceId"] = "x" * 100_000
    request = agent.client.send_get(SERIAL_NUMBER.instance)
    agent.synchronise()
    with pytest.raises((SnmpTimeout, SnmpError)):
        answer = agent.client.receive(request, timeout=0.1)
        raise SnmpError(answer.error_status, answer.error_index)
    agent.take(ERROR)  # the agent's own words about it
    clock.advance(CACHE_LIFETIME)
    api.fields["system"]["deviceId"] = "short"
    assert agent.client.value(SERIAL_NUMBER.instance) == b"short"


def test_json_in_the_answer_may_repeat_a_member(agent, api):
    api.bodies[SYSTEM] = b'{"code": 404, "code": 200, "result": ' + json.dumps(
        {"system": {"deviceId": "last"}}).encode() + b"}"
    assert agent.client.value(SERIAL_NUMBER.instance) == b"last"


def test_the_agents_own_objects_are_served_beside_the_modules(agent):
    assert agent.client.get(SYS_UPTIME)[0].tag == TIMETICKS
    assert agent.client.get_next(oid("2.99"))[0].tag == END_OF_MIB_VIEW
