"""The API simulator, asked and edited as a person would: every query, naming, faults, edits and messages."""

import http.client
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import time
from pathlib import Path
from typing import Any, Callable, Dict, Iterator, List, Set, Tuple

import pytest

import patience
from mib_support import zanmib

ROOT = Path(__file__).resolve().parents[2]
SIMULATOR = ROOT / "tools" / "zan-router-sim"
SCENARIOS = sorted((ROOT / "tools" / "scenarios").glob("*.json"))
PATIENCE_SECONDS = 10.0


def queries() -> Dict[str, Set[str]]:
    """What the module asks, and every member that it reads from each answer, as the MIB module has it."""
    asked: Dict[str, Set[str]] = {"snmp": {"snmp.traps.enabled"}}
    for entry in zanmib.sketch():
        for object_ in (entry, *entry.columns):
            lead, _, fields = object_.source.query.partition("=") if object_.source else ("", "", "")
            if lead == "/api?fields":
                asked.setdefault(fields, set()).update(object_.source.members)
    return asked


QUERIES = queries()

FAULTS_WITH_AN_ANSWER = ["none", "code404", "garbage", "truncated", "delay 0.01"]


def until(condition: Callable[[], Any]) -> Any:
    """Wait for the condition to hold, and return its value."""
    return patience.until(condition, PATIENCE_SECONDS)


class UnixConnection(http.client.HTTPConnection):
    """HTTP over a UNIX socket."""

    def __init__(self, path: Path, timeout: float = PATIENCE_SECONDS) -> None:
        super().__init__("localhost", timeout=timeout)
        self._path = str(path)

    def connect(self) -> None:
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.sock.settimeout(self.timeout)
        self.sock.connect(self._path)


class Simulator:
    """A running simulator with its own copy of a scenario."""

    def __init__(self, folder: Path, *options: str, scenario: str = "router.json") -> None:
        self.socket = folder / "api.sock"
        self.scenario = folder / "scenario.json"
        self.output = folder / "output"
        if not self.scenario.exists():
            shutil.copy(ROOT / "tools" / "scenarios" / scenario, self.scenario)
        with self.output.open("ab") as output:
            self.process = subprocess.Popen(
                [str(SIMULATOR), "--socket", str(self.socket), "--scenario", str(self.scenario), *options],
                stdout=output, stderr=subprocess.STDOUT)
        until(lambda: self.process.poll() is not None or self.says("serving "))

    def says(self, text: str) -> bool:
        """Whether a line holds the text."""
        return text in self.output.read_text()

    def listening(self) -> bool:
        """Whether a client can connect."""
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as probe:
            return probe.connect_ex(str(self.socket)) == 0

    def get(self, target: str, timeout: float = PATIENCE_SECONDS) -> Tuple[int, bytes]:
        """One request; the HTTP status and the body."""
        connection = UnixConnection(self.socket, timeout)
        try:
            connection.request("GET", target)
            response = connection.getresponse()
            return response.status, response.read()
        finally:
            connection.close()

    def envelope(self, target: str) -> Any:
        """One request; the parsed body."""
        return json.loads(self.get(target)[1])

    def result(self, fields: str) -> Any:
        """The result of a query for fields."""
        envelope = self.envelope(f"/api?fields={fields}")
        assert envelope["code"] == 200
        return envelope["result"]

    def value(self, path: str) -> Any:
        """The value of one field."""
        return self.envelope(f"/api/{path}")["result"]

    def edit(self, *assignments: str) -> None:
        """Edit the scenario with the simulator's own command line."""
        done = edit(self.scenario, *assignments)
        assert done.returncode == 0, done.stderr

    def replace(self, old: str, new: str) -> None:
        """Edit the scenario as a text editor would."""
        text = self.scenario.read_text()
        assert old in text
        self.scenario.write_text(text.replace(old, new, 1))

    def stop(self, number: int = signal.SIGTERM) -> int:
        """End the simulator; its exit status."""
        self.process.send_signal(number)
        return self.process.wait(PATIENCE_SECONDS)


def command(*arguments: str) -> "subprocess.CompletedProcess[str]":
    """Run the simulator's command line to its end."""
    return subprocess.run([str(SIMULATOR), *arguments], capture_output=True, text=True, check=False,
                          timeout=PATIENCE_SECONDS)


def edit(scenario: Path, *assignments: str) -> "subprocess.CompletedProcess[str]":
    """Run the simulator's command line with assignments."""
    options = [option for assignment in assignments for option in ("--set", assignment)]
    return command("--scenario", str(scenario), *options)


@pytest.fixture(name="start")
def fixture_start(tmp_path: Path) -> Iterator[Callable[..., Simulator]]:
    """Starts simulators, and ends them whatever happens."""
    running: List[Simulator] = []

    def start(*options: str, **choices: str) -> Simulator:
        running.append(Simulator(tmp_path, *options, **choices))
        return running[-1]

    yield start
    for simulator in running:
        simulator.process.kill()
        simulator.process.wait()


@pytest.fixture(name="sim")
def fixture_sim(start: Callable[..., Simulator]) -> Simulator:
    """A simulator that holds still."""
    simulator = start("--frozen")
    until(simulator.listening)
    return simulator


def values_at(node: Any, path: str) -> List[Any]:
    """The values at a path with "*" for all rows; a missing member fails the test."""
    nodes = [node]
    for name in path.split("/"):
        if name == "*":
            assert all(isinstance(one, list) and one for one in nodes), f"{path}: no array with rows"
            nodes = [row for one in nodes for row in one]
        else:
            assert all(name in one for one in nodes), f"{path}: {name} is missing"
            nodes = [one[name] for one in nodes]
    return nodes


# --- Answers -----------------------------------------------------------------------------------------

@pytest.mark.parametrize("fields", QUERIES)
def test_every_query_is_answered_with_every_member_that_is_read(sim: Simulator, fields: str) -> None:
    result = sim.result(fields)
    assert list(result) == [field.replace("/", "_") for field in fields.split(",")]
    for path in QUERIES[fields]:
        for value in values_at(result, path.replace("[]", ".*").replace(".", "/")):
            assert value is not None, path


def test_the_envelope_has_code_and_result_alone(sim: Simulator) -> None:
    status, body = sim.get("/api?fields=serial")
    assert status == 200
    assert json.loads(body) == {"code": 200, "result": {"serial": {"modbus": False, "baudRate": 115200}}}


def test_remote_management_answers_the_boolean_itself(sim: Simulator) -> None:
    assert sim.envelope("/api/remoteManagement/enabled") == {"code": 200, "result": True}


def test_parent_and_child_can_be_asked_together(sim: Simulator) -> None:
    result = sim.result("system,system/capabilities,syslog,syslog/remote,stats/ppp,stats/ppp/tx")
    assert result["system"]["capabilities"] == result["system_capabilities"]
    assert result["syslog"]["remote"] == result["syslog_remote"]
    assert isinstance(result["syslog_remote"], list) and isinstance(result["syslog"]["logLevel"], int)
    assert result["stats_ppp"]["tx"] == result["stats_ppp_tx"]


def test_percent_encoded_queries_are_understood(sim: Simulator) -> None:
    assert sim.result("sntp%2Fenabled%2Csms") == {"sntp_enabled": True, "sms": {"enabled": True}}


def test_a_field_that_is_not_there_is_left_out_and_named_in_the_line(sim: Simulator) -> None:
    assert sim.result("sms,weather") == {"sms": {"enabled": True}}
    until(lambda: sim.says("200       GET /api?fields=sms,weather  (no such field: weather)"))


@pytest.mark.parametrize("target, code", [
    ("/api", 400), ("/api?fields=", 400), ("/api/weather", 404), ("/", 404), ("/api/system/deviceId/0", 404),
    ("/api/routes/99", 404)])
def test_what_is_no_query_answers_its_code(sim: Simulator, target: str, code: int) -> None:
    status, body = sim.get(target)
    assert status == code
    assert json.loads(body) == {"code": code, "result": None}


def test_only_get_is_served(sim: Simulator) -> None:
    connection = UnixConnection(sim.socket)
    connection.request("POST", "/api?fields=system", body="x")
    response = connection.getresponse()
    assert (response.status, json.loads(response.read())["code"]) == (405, 405)
    connection.close()


def test_several_requests_share_a_connection(sim: Simulator) -> None:
    connection = UnixConnection(sim.socket)
    for _ in range(3):
        connection.request("GET", "/api?fields=sms")
        response = connection.getresponse()
        assert response.version == 11
        assert json.loads(response.read())["result"] == {"sms": {"enabled": True}}
    connection.close()


@pytest.mark.parametrize("scenario", SCENARIOS, ids=lambda path: path.stem)
def test_each_scenario_that_comes_with_it_is_good_and_named_in_the_help(scenario: Path) -> None:
    checked = command("--check", "--scenario", str(scenario))
    assert (checked.returncode, checked.stderr) == (0, "")
    assert scenario.name in command("--help").stdout


def test_requests_are_one_line_each_with_time_status_and_query(sim: Simulator) -> None:
    sim.get("/api?fields=system")
    sim.get("/api/remoteManagement/enabled")
    until(lambda: sim.says("remoteManagement"))
    lines = sim.output.read_text().splitlines()[1:]
    assert [re.sub(r"^\d\d:\d\d:\d\d\.\d{3} ", "T ", line) for line in lines] == [
        "T 200       GET /api?fields=system", "T 200       GET /api/remoteManagement/enabled"]


def test_the_log_file_gets_the_same_lines(start: Callable[..., Simulator], tmp_path: Path) -> None:
    log = tmp_path / "log"
    simulator = start("--log", str(log))
    until(simulator.listening)
    simulator.get("/api?fields=sms")
    simulator.stop()
    assert log.read_text() == simulator.output.read_text()
    assert "GET /api?fields=sms" in log.read_text()


# --- Values that move --------------------------------------------------------------------------------

def test_live_values_move_and_keep_their_form(start: Callable[..., Simulator]) -> None:
    simulator = start()
    until(simulator.listening)
    first = simulator.value("system/uptime")
    until(lambda: float(simulator.value("system/uptime")) > float(first))
    assert re.fullmatch(r"\d+\.\d\d", simulator.value("system/uptime"))
    sent = simulator.value("stats/ppp/tx/bytes")
    until(lambda: simulator.value("stats/ppp/tx/bytes") > sent)
    assert isinstance(simulator.value("stats/ppp/tx/bytes"), int)
    lease = simulator.value("dhcp/leases/0/expiration")
    until(lambda: simulator.value("dhcp/leases/0/expiration") < lease)


def test_what_counts_down_stops_at_zero(start: Callable[..., Simulator], tmp_path: Path) -> None:
    (tmp_path / "scenario.json").write_text(
        '{"live": {"dhcp/leases/0/expiration": -1e9}, "api": {"dhcp": {"leases": [{"expiration": 5}]}}}')
    simulator = start()
    until(lambda: simulator.listening() and simulator.value("dhcp/leases/0/expiration") == 0)


def test_an_edited_live_value_counts_on_from_there(start: Callable[..., Simulator]) -> None:
    simulator = start()
    until(simulator.listening)
    simulator.edit("system/uptime=7.00")
    assert 7.0 <= float(simulator.value("system/uptime")) < 7.0 + PATIENCE_SECONDS
    until(lambda: float(simulator.value("system/uptime")) > 7.0)


def test_a_live_value_that_is_no_number_stands_still(start: Callable[..., Simulator]) -> None:
    simulator = start()
    until(simulator.listening)
    simulator.edit("system/uptime=soon", "stats/ppp:=null")
    assert simulator.value("system/uptime") == "soon"
    assert simulator.value("stats/ppp") is None


def test_frozen_holds_every_value_still(sim: Simulator) -> None:
    everything = json.loads(sim.scenario.read_text())["api"]
    for field in everything:
        assert sim.value(field) == everything[field]


# --- Edits -------------------------------------------------------------------------------------------

def test_an_edit_is_in_force_at_the_next_request(sim: Simulator) -> None:
    for name in ("ONE", "TWO", "SIX"):
        sim.scenario.write_text(json.dumps({"api": {"system": {"deviceId": name}}}))
        assert sim.value("system/deviceId") == name


def test_a_bad_edit_is_reported_once_with_its_line_and_changes_nothing(sim: Simulator) -> None:
    before = sim.result("system")
    sim.replace('"productId": "ZR-4200-LTE",', '"productId": "ZR-4200-LTE"')
    line = next(number for number, text in enumerate(sim.scenario.read_text().splitlines(), 1)
                if '"deviceId"' in text)
    until(lambda: sim.says("the last good scenario stays in force"))
    assert sim.result("system") == before
    sim.replace('"productId": "ZR-4200-LTE"', '"productId": "ZR-5000",')
    assert sim.value("system/productId") == "ZR-5000"
    until(lambda: sim.says("the scenario can be read again"))
    output = sim.output.read_text()
    assert output.count("stays in force") == 1
    assert f"{sim.scenario}:{line}:7: Expecting ',' delimiter; the last good scenario stays" in output


def test_a_scenario_that_vanishes_is_reported_and_changes_nothing(sim: Simulator) -> None:
    sim.scenario.unlink()
    until(lambda: sim.says(f"{sim.scenario}: No such file or directory"))
    assert sim.value("system/deviceId") == "ZR42-0017-3391"


# --- Faults ------------------------------------------------------------------------------------------

def failure_of(sim: Simulator) -> str:
    """How a request fares, in a word."""
    try:
        status, body = sim.get("/api?fields=sms")
    except http.client.IncompleteRead:
        return "truncated"
    except (ConnectionError, FileNotFoundError, http.client.RemoteDisconnected):
        return "down"
    try:
        code = json.loads(body)["code"]
    except ValueError:
        return "garbage"
    assert status == code
    return {200: "none", 404: "code404"}[code]


@pytest.mark.parametrize("fault", FAULTS_WITH_AN_ANSWER)
def test_a_fault_of_the_scenario_is_in_force_at_the_next_request(sim: Simulator, fault: str) -> None:
    expected = "none" if fault.startswith("delay") else fault
    sim.edit(f"fault={fault}")
    assert failure_of(sim) == expected
    sim.edit("fault=none")
    assert failure_of(sim) == "none"


@pytest.mark.parametrize("fault", FAULTS_WITH_AN_ANSWER)
def test_a_fault_from_the_command_line_holds_until_the_scenarios_own_is_edited(
        start: Callable[..., Simulator], fault: str) -> None:
    simulator = start("--fault", fault)
    until(simulator.listening)
    expected = "none" if fault.startswith("delay") else fault
    assert failure_of(simulator) == expected
    simulator.edit("system/deviceId=OTHER")
    assert failure_of(simulator) == expected
    simulator.edit("fault=garbage" if fault != "garbage" else "fault=code404")
    assert failure_of(simulator) == ("garbage" if fault != "garbage" else "code404")


def test_down_removes_the_socket_and_the_next_request_fails(sim: Simulator) -> None:
    sim.edit("fault=down")
    assert failure_of(sim) == "down"
    until(lambda: not sim.socket.exists())
    assert failure_of(sim) == "down"
    sim.edit("fault=none")
    until(sim.listening)
    assert failure_of(sim) == "none"


def test_down_from_the_start(start: Callable[..., Simulator]) -> None:
    simulator = start("--fault", "down")
    assert simulator.says(", fault: down")
    assert not simulator.socket.exists()
    simulator.edit("fault=code404")
    until(simulator.listening)
    assert failure_of(simulator) == "code404"


def test_delay_delays_by_its_seconds(sim: Simulator) -> None:
    sim.edit("fault=delay 0.3")
    begin = time.monotonic()
    assert failure_of(sim) == "none"
    assert time.monotonic() - begin >= 0.3
    until(lambda: sim.says("(fault: delay 0.3 s)"))


@pytest.mark.parametrize("fault", ["hang", "delay 3600"])
def test_waiting_requests_are_answered_when_the_fault_is_lifted(sim: Simulator, fault: str) -> None:
    sim.edit(f"fault={fault}")
    connection = UnixConnection(sim.socket)
    connection.request("GET", "/api?fields=sms")
    with pytest.raises(socket.timeout):
        sim.get("/api?fields=system", timeout=0.2)
    sim.edit("fault=none")
    assert json.loads(connection.getresponse().read())["result"] == {"sms": {"enabled": True}}
    connection.close()


def test_a_change_of_fault_has_a_line(sim: Simulator) -> None:
    sim.edit("fault=delay 2.5")
    until(lambda: sim.says(" fault: delay 2.5 s\n"))


# --- Editing from the command line -------------------------------------------------------------------

def test_set_changes_the_value_alone(sim: Simulator) -> None:
    before = sim.scenario.read_text()
    sim.edit("stats/ppp/rssiDbm=-113")
    assert sim.scenario.read_text() == before.replace('"rssiDbm": "-67"', '"rssiDbm": "-113"')


@pytest.mark.parametrize("assignment, field, value", [
    ("stats/ppp/rssiDbm=-113", "stats/ppp/rssiDbm", "-113"),
    ("stats/ppp/rssiDbm:=-113", "stats/ppp/rssiDbm", -113),
    ("ppp/keepAlive/pingInterval=30", "ppp/keepAlive/pingInterval", 30),
    ("stats/ppp/roaming=true", "stats/ppp/roaming", True),
    ("stats/ppp/roaming=perhaps", "stats/ppp/roaming", "perhaps"),
    ("dhcp/leases/1/ip=10.1.1.7", "dhcp/leases/1/ip", "10.1.1.7"),
    ("stats/ppp/dnsServers:=[]", "stats/ppp/dnsServers", []),
    ("routes:=[{\"name\": \"Zürich = a:=b\"}]", "routes", [{"name": "Zürich = a:=b"}]),
    ("wifi/ap/ssid=", "wifi/ap/ssid", ""),
])
def test_set_keeps_the_kind_of_value_unless_told(sim: Simulator, assignment: str, field: str,
                                                 value: Any) -> None:
    sim.edit(assignment)
    assert sim.value(field) == value
    assert isinstance(sim.value(field), type(value))


def test_set_adds_a_member_that_the_api_knows(sim: Simulator) -> None:
    sim.scenario.write_text('{\n  "api": {\n    "system": {},\n    "ppp": { "enabled": true }\n  }\n}\n')
    sim.edit("system/deviceId=X", "ppp/protocol=PPP", "sms:={}", "fault=garbage")
    assert sim.scenario.read_text() == (
        '{\n  "fault": "garbage",\n  "api": {\n    "sms": {},\n    "system": {"deviceId": "X"},\n'
        '    "ppp": { "protocol": "PPP", "enabled": true }\n  }\n}\n')


@pytest.mark.parametrize("assignment, message", [
    ("stats/ppp/rssi", '"stats/ppp/rssi" is not PATH=VALUE or PATH:=JSON'),
    ("weather/today=1", 'the scenario has no field "weather/today"'),
    ("routes/99/name=x", 'the scenario has no field "routes/99/name"'),
    ("system/deviceId/x=1", 'the scenario has no field "system/deviceId/x"'),
    ("system/serial=1", 'unknown field "system/serial"'),
    ("system/deviceId:=soon", "'soon' is not JSON"),
    ("fault=asleep", 'unknown fault "asleep": use one of none, down, code404, garbage, truncated, '
                     "delay SECONDS, hang"),
])
def test_a_set_that_cannot_be_done_changes_nothing(sim: Simulator, assignment: str, message: str) -> None:
    before = sim.scenario.read_text()
    done = edit(sim.scenario, "system/deviceId=CHANGED", assignment)
    assert done.returncode == 1
    assert message in done.stderr
    assert sim.scenario.read_text() == before
    assert sorted(os.listdir(sim.scenario.parent)) == ["api.sock", "output", "scenario.json"]


# --- Bad scenarios at the start ----------------------------------------------------------------------

@pytest.mark.parametrize("text, line, reason", [
    ('{\n"api": {\n}', 3, "Expecting ',' delimiter"),
    ('{\n"api":\n{"system": tru}}', 3, "Expecting value"),
    ("", 1, "Expecting value"),
    ('{"api": {}}\n\nmore', 3, "text after the end of the scenario"),
    ("[]", 1, 'a scenario is a JSON object with the member "api"'),
    ('{\n"fault": "none"\n}', 1, 'the section "api" is missing'),
    ('{\n"api": []\n}', 2, '"api" is not an object'),
    ('{\n"api": {},\n"colour": 1\n}', 3, 'unknown section "colour" (known here: fault, live, api)'),
    ('{\n"api": {\n"system": {\n"devceId": ""}}}', 4,
     'unknown field "system/devceId" (did you mean "deviceId"?)'),
    ('{\n"api": {\n"routes": [\n{"name": ""},\n{"nane": ""}]}}', 5,
     'unknown field "routes/1/nane" (did you mean "name"?)'),
    ('{\n"api": {"sms": {},\n"sms": {}}}', 3, '"sms" stands here twice'),
    ('{\n"api": {},\n"fault": 7}', 3, "unknown fault 7"),
    ('{\n"api": {},\n"fault": "delay"}', 3, 'unknown fault "delay"'),
    ('{\n"api": {},\n"fault": "delay SECONDS"}', 3, 'unknown fault "delay SECONDS"'),
    ('{\n"api": {},\n"live": []}', 3, '"live" is not an object of field paths and rates'),
    ('{\n"api": {},\n"live": {\n"system/uptime": "1"}}', 4, 'the rate of "system/uptime" is not a number'),
    ('{\n"api": {},\n"live": {\n"system/downtime": 1}}', 4, 'unknown field "system/downtime" in "live"'),
    ('{\n"api": {"system": {"uptime":\nNaN}}}', 3, "NaN is not JSON"),
    pytest.param('{\n"api": ' + '{"system":' * 100_000, 1, "nested too deeply", id="deep"),
])
@pytest.mark.parametrize("options", [[], ["--check"], ["--set", "fault=none"]], ids=["start", "check", "set"])
def test_a_bad_scenario_is_an_error_that_names_the_line(tmp_path: Path, options: List[str], text: str,
                                                        line: int, reason: str) -> None:
    scenario = tmp_path / "bad.json"
    scenario.write_text(text)
    done = command("--socket", str(tmp_path / "api.sock"), "--scenario", str(scenario), *options)
    assert done.returncode == 1
    assert done.stderr.startswith(f"zan-router-sim: {scenario}:{line}:")
    assert reason in done.stderr
    assert done.stderr.count("\n") == 1
    assert scenario.read_text() == text


def test_a_scenario_that_is_not_utf8_names_the_line(tmp_path: Path) -> None:
    scenario = tmp_path / "bad.json"
    scenario.write_bytes(b'{\n"api":\n{"system": {"deviceId": "\xff"}}}')
    done = command("--check", "--scenario", str(scenario))
    assert (done.returncode, done.stderr) == (1, f"zan-router-sim: {scenario}:3:26: not UTF-8\n")


def test_a_scenario_that_is_not_there(tmp_path: Path) -> None:
    done = command("--check", "--scenario", str(tmp_path / "none.json"))
    assert done.returncode == 1
    assert done.stderr == f"zan-router-sim: {tmp_path}/none.json: No such file or directory\n"


# --- The socket and the end --------------------------------------------------------------------------

def test_a_missing_directory_is_named(tmp_path: Path) -> None:
    done = command("--socket", str(tmp_path / "none" / "api.sock"))
    assert done.returncode == 1
    assert f"the directory {tmp_path}/none does not exist" in done.stderr


def test_a_socket_in_use_is_left_to_its_owner(sim: Simulator) -> None:
    done = command("--socket", str(sim.socket))
    assert done.returncode == 1
    assert f"{sim.socket} is in use by a running process" in done.stderr
    assert failure_of(sim) == "none"


def test_a_file_in_the_sockets_place_is_left_alone(tmp_path: Path) -> None:
    (tmp_path / "api.sock").write_text("mine")
    done = command("--socket", str(tmp_path / "api.sock"))
    assert done.returncode == 1
    assert "is not a socket" in done.stderr
    assert (tmp_path / "api.sock").read_text() == "mine"


def test_the_socket_of_a_killed_simulator_is_taken_over(start: Callable[..., Simulator]) -> None:
    first = start()
    until(first.listening)
    first.stop(signal.SIGKILL)
    assert first.socket.exists()
    second = start()
    until(second.listening)
    assert failure_of(second) == "none"


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT, signal.SIGHUP])
def test_a_signal_ends_it_cleanly_and_removes_the_socket(sim: Simulator, number: int) -> None:
    assert sim.stop(number) == 0
    assert not sim.socket.exists()
    assert sim.output.read_text().endswith(" stopped\n")


def test_a_signal_ends_it_while_a_request_hangs(sim: Simulator) -> None:
    sim.edit("fault=hang")
    connection = UnixConnection(sim.socket)
    connection.request("GET", "/api?fields=sms")
    until(lambda: sim.says("waiting"))
    assert sim.stop() == 0
    connection.close()


def test_the_sockets_mode(start: Callable[..., Simulator], sim: Simulator) -> None:
    assert sim.socket.stat().st_mode & 0o777 == 0o666
    sim.stop()
    again = start("--mode", "0600")
    until(again.listening)
    assert again.socket.stat().st_mode & 0o777 == 0o600


@pytest.mark.parametrize("arguments", [["--fault", "asleep"], ["--mode", "rw"], ["--nonsense"], ["extra"]])
def test_bad_arguments_are_a_usage_error(arguments: List[str]) -> None:
    done = command(*arguments)
    assert done.returncode == 2
    assert "usage: zan-router-sim" in done.stderr
    assert arguments[-1] in done.stderr


def test_its_version_is_the_builds() -> None:
    [version] = re.findall(r"^ +VERSION ([\d.]+)$", (ROOT / "CMakeLists.txt").read_text(), re.MULTILINE)
    assert command("--version").stdout == f"zan-router-sim {version}\n"


def test_lines_are_plain_when_they_go_to_a_file(sim: Simulator) -> None:
    sim.get("/api?fields=sms")
    assert "\x1b" not in sim.output.read_text()


def test_lines_are_coloured_on_a_terminal(tmp_path: Path) -> None:
    leader, follower = os.openpty()
    environment = {name: value for name, value in os.environ.items() if name != "NO_COLOR"}
    process = subprocess.Popen([str(SIMULATOR), "--socket", str(tmp_path / "api.sock")], env=environment,
                               stdin=subprocess.DEVNULL, stdout=follower, stderr=follower)
    os.close(follower)
    try:
        until((tmp_path / "api.sock").exists)
        connection = UnixConnection(tmp_path / "api.sock")
        connection.request("GET", "/api?fields=sms")
        connection.getresponse().read()
        connection.close()
        seen = b""
        while b"fields=sms" not in seen:
            seen += os.read(leader, 4096)
        assert re.search(rb"\x1b\[32m200 +GET /api\?fields=sms\x1b\[0m", seen)
    finally:
        process.terminate()
        process.wait(PATIENCE_SECONDS)
        os.close(leader)


def test_help_tells_every_option_and_fault() -> None:
    text = command("--help").stdout
    for word in ("--socket", "--mode", "--scenario", "--fault", "--frozen", "--log", "--check", "--set",
                 "down", "code404", "garbage", "truncated", "delay SECONDS", "hang", '"live"', '"api"'):
        assert word in text
