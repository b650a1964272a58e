"""The harness itself, against an agent without the module: the other tests rest on it."""

import subprocess

import pytest

from harness import Agent, EventQueue, SnmpTimeout, faults, kernel_limit
from harness.hosted import in_process_only
from harness.router import SYSTEM, router
from harness.settings import SOCKET_PATH
from harness.snmp import (SYS_UPTIME, TIMETICKS, decode_message, encode_integer, encode_message, encode_oid,
                          oid)


@pytest.fixture(scope="module")
def plain(tmp_path_factory, _traps):
    """An agent without the module."""
    agent = Agent(tmp_path_factory.mktemp("plain"), trap_port=_traps.port, module=None).start()
    yield agent
    assert agent.stop() == 0


def curl(target):
    """What another client makes of the fake API."""
    return subprocess.run(["curl", "--silent", "--max-time", "10", "--unix-socket", SOCKET_PATH,
                           f"http://localhost{target}"], stdout=subprocess.PIPE, check=False)


def test_the_api_composes_results_from_fields(api):
    assert api.result("/api?fields=stats/serial,serial,sntp/enabled,nonsense") == {
        "stats_serial": router()["stats"]["serial"], "serial": router()["serial"],
        "sntp_enabled": True}
    assert api.result("/api/remoteManagement/enabled") is True


def test_the_api_answers_and_counts(api):
    answer = curl(SYSTEM)
    assert answer.returncode == 0 and b'"code": 200' in answer.stdout
    assert (api.targets(), api.count(SYSTEM)) == ([SYSTEM], 1)


CURL_STATUS = [(faults.CHUNKED, 0), (faults.BYTE_BY_BYTE, 0), (faults.UNTIL_CLOSE, 0), (faults.CLOSED, 52),
               (faults.CUT_BODY, 18), (faults.CUT_CHUNKS, 18), (faults.BAD_CHUNK, 56), (faults.NOT_HTTP, 1),
               (faults.CUT_HEADERS, 0), (faults.http_status("500 Oops"), 0), (faults.EMPTY_BODY, 0)]


@pytest.mark.parametrize("fault, status", CURL_STATUS, ids=lambda value: str(value))
def test_a_fault_is_the_one_meant(api, fault, status):
    api.fault = fault
    assert curl(SYSTEM).returncode == status


@pytest.mark.parametrize("absence", ["down", "refuse", "file_in_place"])
def test_an_absent_api_cannot_be_reached_and_comes_back(api, absence):
    getattr(api, absence)()
    assert curl(SYSTEM).returncode == 7
    api.up()
    assert curl(SYSTEM).returncode == 0


def test_a_hung_api_lets_go_when_told(api):
    api.fault = faults.hang(sent=20, then_answer=True)
    with subprocess.Popen(["curl", "--silent", "--unix-socket", SOCKET_PATH, f"http://localhost{SYSTEM}"],
                          stdout=subprocess.PIPE) as client:
        api.wait_until_hung()
        assert client.poll() is None
        api.release()
        assert b"SN0012345678" in client.communicate()[0]


def test_the_clock_is_what_the_library_reads(clock):
    clock.advance(12.34)
    with open("/proc/uptime", encoding="ascii") as file:
        assert file.read().split()[0] == f"{clock.now:.2f}"


@pytest.mark.parametrize("value", [0, 1, 127, 128, 255, 256, -1, -128, -129, 2147483647, -2147483648])
def test_integers_are_coded_and_decoded(value):
    message = decode_message(encode_message(1, b"c", 0xA2, 7, 0, 0, [((1, 3, 6), encode_integer(value))]))
    assert message.varbinds[0].value == value


def test_oids_are_coded_as_the_standard_says():
    assert encode_oid(oid("1.3.6.1.4.1.32473.0")) == bytes.fromhex("06092b0601040181fd5900")


def test_the_agent_answers_restarts_and_walks_alike(plain):
    system = oid("1.3.6.1.2.1.1")
    assert plain.client.get(SYS_UPTIME)[0].tag == TIMETICKS
    names = [varbind.oid for varbind in plain.client.walk(system)]
    assert len(names) > 10
    assert names == [varbind.oid for varbind in plain.client.walk(system, max_repetitions=20)]
    plain.hup()
    assert plain.take(3) == plain.take(4) == plain.take(7) == b""
    assert plain.client.get(SYS_UPTIME)[0].tag == TIMETICKS


@in_process_only("the alarm's clock is the host's, the uptime the master's")
def test_the_alarm_clock_moves_the_agent_on(plain):
    before = plain.client.value(SYS_UPTIME)
    plain.alarm_clock.advance(3600)
    assert 360000 <= plain.client.value(SYS_UPTIME) - before < 370000


def test_resources_are_read(plain):
    assert plain.rss() > 100_000
    assert any("socket" in name for name in plain.descriptors())


def test_a_stopped_agent_does_not_answer(make_agent):
    agent = make_agent(module=None).start()
    assert agent.stop() == 0
    agent.client.timeout = 0.05
    with pytest.raises(SnmpTimeout):
        agent.client.get(SYS_UPTIME)


def test_the_queue_is_posted_to_and_drained():
    queue = EventQueue(key=4711)
    assert queue.state() is None
    queue.create()
    queue.post(3)
    queue.post(2147483647, b"body")
    assert (queue.count(), queue.state().mode) == (2, 0o666)
    assert [queue.take(), queue.take(), queue.take()] == [3, 2147483647, None]
    with kernel_limit("msgmnb", 100):
        queue.remove()
        queue.create()
        assert queue.post_until_full(1, b"x" * 10) == 10
    queue.remove()
    assert queue.state() is None


def test_traps_are_collected(plain, traps):
    plain.hup()
    assert [trap.message.varbinds[0].oid for trap in traps.all()] == [SYS_UPTIME]
    assert traps.traps() == []
