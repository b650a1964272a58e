"""The exporter's module, the rules, and notifications by name: each part of the monitoring by itself."""

import re
import shutil
import subprocess
from collections import Counter
from pathlib import Path
from typing import Any, Callable, Dict, Iterator, List, Set, Tuple

import pytest

from harness import CACHE_LIFETIME, ENTERPRISE_NUMBER, SOURCE_ROOT
from harness.router import QUERIES, SYSTEM, standard_tree
from mib_support import MIB_FILE, base_fixture, mib_file_fixture, mib_fixture, zanmib  # noqa: F401
from monitoring_support import (MADE, MONITORING, Exporter, free_port, series, until)

GENERATE = MONITORING / "generate"
RULES = MONITORING / "rules"

#: Objects that are no metrics of their own, and are spoken of.
NOT_METRICS = ("zanRadioTemperature", "zanRadioRSSI", "zanCellularInterfaceSignal", "zanWiFiInterfaceSignal",
               "zanWanManagerPriority")


@pytest.fixture(scope="module", name="exporter")
def exporter_fixture(tmp_path_factory) -> Iterator[Exporter]:
    exporter = Exporter(tmp_path_factory.mktemp("exporter"))
    yield exporter
    exporter.stop()


@pytest.fixture(name="scrape")
def scrape_fixture(agent, api, clock, exporter):
    """Scrapes a router whose fields are those of the standard one, with these changes: path to value."""
    def scrape(**changes: Any) -> Dict:
        for path, value in changes.items():
            *parents, last = path.split("__")
            place = api.fields
            for name in parents:
                place = place[name]
            if value is None:
                del place[last]
            else:
                place[last] = value
        clock.advance(CACHE_LIFETIME)
        return exporter.scrape(agent.port)
    return scrape


# --- the files that are made --------------------------------------------------------------------------------

def generate(*options: object) -> "subprocess.CompletedProcess[str]":
    """What monitoring/generate says."""
    return subprocess.run([GENERATE, *map(str, options)], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          text=True, check=False)


def test_the_generator_makes_the_files_that_are_committed(base):
    done = generate("--check")
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")


def test_a_difference_is_shown_and_fails(tmp_path, base):
    assert generate("--output", tmp_path).returncode == 0
    changed = tmp_path / "snmp.yml"
    changed.write_text(changed.read_text().replace("type: gauge", "type: counter", 1))
    done = generate("--check", "--output", tmp_path)
    assert done.returncode == 1
    assert re.findall(r"^[-+] .*$", done.stdout, re.M) == ["-      type: counter", "+      type: gauge"]
    assert "out of date: snmp.yml;" in done.stderr


@pytest.mark.parametrize("number", sorted({ENTERPRISE_NUMBER, 4711}))
def test_the_enterprise_number_is_all_that_a_build_changes(number, tmp_path, base):
    assert generate("--number", number, "--output", tmp_path).returncode == 0
    made = [path.relative_to(tmp_path) for path in tmp_path.rglob("*") if path.is_file()]
    assert Path("snmp.yml") in made and Path("snmp-0.22.yml") in made
    for path in made:
        text = (tmp_path / path).read_text()
        assert text == (MONITORING / path).read_text().replace(".4.1.32473.", f".4.1.{number}."), path
        if number == ENTERPRISE_NUMBER:
            assert (MADE / path).read_text() == text, path


def metrics_of_the_module() -> Dict[str, str]:
    """The entries of snmp.yml by the metric's name."""
    entries = re.split(r"^    - name: ", (MONITORING / "snmp.yml").read_text(), flags=re.M)[1:]
    return {entry.split("\n", 1)[0]: entry for entry in entries}


def test_every_object_is_a_metric_or_known_not_to_be_one(mib):
    labels = {label for entry in metrics_of_the_module().values()
              for label in re.findall(r"labelname: (\w+)", entry)}
    positions = {table.columns[0].name for table in mib.tables}
    objects = {each.name for each in (*mib.scalars, *mib.columns)}
    left_out = {NOT_METRICS[0]} | positions | (labels & objects)
    assert set(metrics_of_the_module()) == objects - left_out
    assert all(name.endswith("Position") for name in positions)


# --- who asks, and what it is not told ----------------------------------------------------------------------

def lines_of_the_access_example(*names: str) -> str:
    """Lines of the agent's example of access as their reader would use them."""
    example = (SOURCE_ROOT / "packaging" / "snmpd-access.conf.in").read_text()
    lines = re.findall(r"^#((?:view|createUser|rouser) .*)$", example, re.M)
    return "\n".join(line for line in lines if line.split()[1] in names).replace(
        "@ZAN_ENTERPRISE_NUMBER@", str(ENTERPRISE_NUMBER))


def test_the_user_of_the_example_is_the_one_who_asks_as_shipped(make_agent, api, exporter):
    agent = make_agent(extra_configuration=lines_of_the_access_example("router", "manager")).start()
    assert series("zanSMSEnabled") in exporter.scrape(agent.port, access="v3")
    assert len(exporter.scrape(agent.port, "zansnmpext_subscriber", "v3")) == 4


def test_the_subscriber_is_known_to_those_only_who_ask_for_it(agent, mib, exporter):
    names = {"zanRadioMEIDorIMEI", "zanRadioIMSI", "zanRadioMSID", "zanRadioMDN"}
    assert names < {scalar.name for scalar in mib.scalars}
    assert not names & {name for name, _ in exporter.scrape(agent.port)}
    assert names == {name for name, _ in exporter.scrape(agent.port, "zansnmpext_subscriber")}
    # The view for those who may not ask leaves out the same.
    example = lines_of_the_access_example("operators")
    hidden = re.findall(r"^view operators excluded (\S+)$", example, re.M)
    assert set(hidden) == {f".{zanmib.dotted(mib.nodes[name])}" for name in names}


def test_a_metric_says_in_its_help_what_it_is(agent, exporter, mib):
    """A number that stands for something else says so; no gauge has the name of a counter."""
    text = exporter.text(agent.port) + exporter.text(agent.port, "zansnmpext_subscriber")
    helps = dict(re.findall(r"^# HELP (zan\w+) (.*)$", text, re.M))
    kinds = {scalar.name: scalar.type.name for scalar in (*mib.scalars, *mib.columns)}
    for name, said in helps.items():
        kind = kinds.get(name)
        assert ("(1 true, 0 false" in said) == (kind == "ZanSwitch"), name
        assert ("(always 1, the text is the label)" in said) == (
            kind == "ZanText" and name != "zanDiagnosticsRemoteSyslog"), name
        assert re.search(r" \(.+\) - 1\.3\.6\.1\.4\.1\.", said), name
    linted = subprocess.run(["promtool", "check", "metrics"], input=text, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True, check=False).stdout
    complaints = [line for line in linted.splitlines() if line.startswith("zan")]
    # Names are those of the objects, and ends name a unit as the objects do.
    assert [line for line in complaints if "camelCase" not in line] == []


# --- what a scrape makes of the router ----------------------------------------------------------------------

def test_a_whole_scrape_asks_the_api_each_query_at_most_once(agent, api, clock, exporter):
    clock.advance(CACHE_LIFETIME)
    with api.counting() as asked:
        exporter.scrape(agent.port)
    assert max(Counter(asked).values()) == 1
    assert set(asked) == set(QUERIES)
    with api.counting() as asked:
        exporter.scrape(agent.port)
    assert asked == []


def test_every_object_is_scraped(scrape, exporter, agent, mib):
    names = {name for name, _ in {**scrape(), **exporter.scrape(agent.port, "zansnmpext_subscriber")}}
    without_number = {*NOT_METRICS, *(each.name for each in mib.scalars
                                      if each.type.name == "ZanTrafficLine")}
    for name in metrics_of_the_module():
        found = [each for each in names if each == name or each.startswith(f"{name}_")]
        assert found and (name not in without_number or name not in found), name


def test_every_object_is_told_as_the_agent_has_it(scrape, exporter, agent, mib):
    """All at once, but for the texts that the tests below take apart; whichever form of the file is read."""
    taken_apart = {*NOT_METRICS, "zanDiagnosticsRemoteSyslog",
                   *(each.name for each in mib.scalars if each.type.name == "ZanTrafficLine")}
    scalars = {each.name: each for each in mib.scalars if each.name not in taken_apart}
    expected = {}
    for name, scalar in scalars.items():
        _, value = standard_tree()[scalar.oid + (0,)]
        if isinstance(value, int):
            expected[series(name)] = value
        elif scalar.type.name != "ZanSwitch":
            expected[series(name, **{name: value.decode()})] = 1
        elif value != b"Unknown":
            expected[series(name)] = int(value == b"True")
    metrics = {**scrape(), **exporter.scrape(agent.port, "zansnmpext_subscriber")}
    assert {key: value for key, value in metrics.items() if key[0] in scalars} == expected
    assert len(expected) > 80


def test_a_switch_is_1_or_0_or_absent(scrape):
    switch = series("zanSMSEnabled")
    assert scrape(sms__enabled=True)[switch] == 1
    assert scrape(sms__enabled=False)[switch] == 0
    metrics = scrape(sms__enabled="odd")
    assert switch not in metrics and series("zanSMTPEnabled") in metrics


@pytest.mark.parametrize("text, number", [
    ("-71", -71), (-71, -71), ("-71.5", -71.5), ("0", 0), ("", None), ("strong", None),
    ("-71 dBm, fair", None)])
def test_signals_are_dbm(text, number, scrape):
    metrics = scrape(stats__radio__rssidBm=text, stats__ppp__rssiDbm=text)
    assert metrics.get(series("zanRadioRSSI_dBm")) == number
    assert metrics.get(series("zanCellularInterfaceSignal_dBm")) == number


def test_a_signal_that_the_modem_does_not_know_is_absent(scrape):
    metrics = scrape(stats__ppp__rssi="99", stats__ppp__rssiDbm="-113")
    assert series("zanCellularInterfaceSignal_dBm") not in metrics


@pytest.mark.parametrize("text, number", [
    ("-58 dBm", -58), ("-58dBm", -58), ("-58", -58), (-58, -58), ("70%", None), ("70", None), ("", None)])
def test_the_wifi_signal_is_dbm_if_it_can_be(text, number, scrape):
    metrics = scrape(stats__wlan__link={"signal": text})
    assert metrics.get(series("zanWiFiInterfaceSignal_dBm")) == number


def test_traffic_is_three_counters(scrape):
    metrics = scrape(stats__ppp__tx={"bytes": 10240, "packets": 87}, stats__ppp__rx={"bytes": "1.5e+10"},
                     stats__pppTotal={"todayTx": 1048576, "totalTx": 2**53, "todayRx": 5, "totalRx": 9})
    found = {name: value for (name, _), value in metrics.items()
             if name.startswith("zanCellularInterfaceStats")}
    assert found == {
        "zanCellularInterfaceStatsTxBytes_current": 10240, "zanCellularInterfaceStatsTxBytes_today": 1048576,
        "zanCellularInterfaceStatsTxBytes_ever": 2**53,
        "zanCellularInterfaceStatsRxBytes_current": 1.5e10, "zanCellularInterfaceStatsRxBytes_today": 5,
        "zanCellularInterfaceStatsRxBytes_ever": 9,
        # The count of received packets is missing, its text empty.
        "zanCellularInterfaceStatsTxPkts_current": 87}


@pytest.mark.parametrize("priorities, expected", [
    ((2, 1, 3), {"other": 2, "cellular": 1, "wifi": 3}),
    ((-1, 0, 300), {"other": -1, "cellular": 0, "wifi": 300}),
    ((1, None, 2), {"other": 1, "wifi": 2})])
def test_wan_links_have_their_priorities(priorities, expected, scrape):
    metrics = scrape(
        waninfo={"wans": [{"interface": name, "available": True, "enabled": True}
                          for name in ("eth0", "ppp0", "wlan0")]},
        wanmngr={"wans": [{} if number is None else {"priority": number} for number in priorities]})
    found = {name.partition("_")[2]: value for (name, _), value in metrics.items()
             if name.startswith("zanWanManagerPriority")}
    assert found == expected


def test_a_wan_link_that_is_disabled_or_not_available_has_no_priority(scrape):
    metrics = scrape(waninfo={"wans": [{"interface": "ppp0", "available": False, "enabled": True},
                                       {"interface": "wlan0", "available": True, "enabled": False}]})
    assert not [name for name, _ in metrics if name.startswith("zanWanManagerPriority")]


def test_rows_are_named_by_what_they_are(scrape):
    metrics = scrape()
    assert {key: value for key, value in metrics.items() if key[0].startswith("zanDHCPServerLeases")} == {
        series("zanDHCPServerLeasesExpiration", zanDHCPServerLeasesIndex=str(index), zanDHCPServerLeasesIP=ip,
               zanDHCPServerLeasesMAC=mac): expiration
        for index, ip, mac, expiration in [(1, "192.168.1.100", "02:00:5e:20:00:01", 360000),
                                           (2, "192.168.1.101", "02:00:5e:20:00:02", 705032704),
                                           (3, "192.168.1.102", "02:00:5e:20:00:03", 0)]}
    tunnels = {key: value for key, value in metrics.items() if key[0].startswith("zanGreTunnels")}
    # The second cannot be read as a switch, and the third has no name.
    assert tunnels == {
        series("zanGreTunnelsEnabled", zanGreTunnelsIndex="1", zanGreTunnelsName="gre-a"): 1,
        series("zanGreTunnelsEnabled", zanGreTunnelsIndex="3", zanGreTunnelsName=""): 1}
    destination = {"zanRemoteSyslogDestIndex": "1", "zanRemoteSyslogDestAlias": "remote",
                   "zanRemoteSyslogDestHost": "10.0.0.5", "zanRemoteSyslogDestSeverityLevel": "INFO"}
    assert metrics[series("zanRemoteSyslogDestEnabled", **destination)] == 1
    assert metrics[series("zanRemoteSyslogDestPort", **destination)] == 514


def test_rows_of_the_same_name_do_not_break_the_scrape(scrape):
    metrics = scrape(ipsecTunnels=[{"name": "same", "enabled": True}, {"name": "same", "enabled": True}],
                     dhcp={"leases": [{"ip": "", "mac": ""}, {"ip": "", "mac": ""}]})
    assert sum(name == "zanIpsecTunnelsEnabled" for name, _ in metrics) == 2
    assert sum(name == "zanDHCPServerLeasesExpiration" for name, _ in metrics) == 2


@pytest.mark.parametrize("text", [
    "", "Unknown", 'a "quoted" \\ text', "two\nlines", "Gebäude 3 ☎", "x" * 3000])
def test_any_text_is_a_label(text, scrape):
    assert scrape(system__productId=text)[series("zanRouterModelId", zanRouterModelId=text)] == 1


def test_a_text_that_is_not_utf_8_fails_the_scrape_up_to_version_0_22(agent, api, clock, exporter):
    """JSON is UTF-8, and that exporter takes nothing else; docs/monitoring.md tells what to do."""
    api.bodies[SYSTEM] = b'{"code":200,"result":{"system":{"productId":"caf\xe9"}}}'
    clock.advance(CACHE_LIFETIME)
    if exporter.version <= (0, 22):
        with pytest.raises(AssertionError, match="HTTP Error 500[^~]*zanRouterModelId[^~]*not valid UTF-8"):
            exporter.scrape(agent.port)
    else:
        assert exporter.scrape(agent.port)


def test_numbers_are_as_the_agent_sends_them(scrape):
    metrics = scrape(stats__serial={"tx": 2147483648, "rx": 7}, ppp__keepAlive={"pingInterval": 60})
    assert metrics[series("zanSerialToIPTx")] == -2147483648
    assert metrics[series("zanSerialToIPRx")] == 7
    assert metrics[series("zanCellularInterfaceKeepAliveCheckInterval")] == 60
    assert metrics[series("zanRouterUptime")] == 1234567


def test_with_the_api_down_only_what_is_certain_is_left(agent, api, clock, exporter):
    api.down()
    clock.advance(CACHE_LIFETIME)
    metrics = exporter.scrape(agent.port)
    agent.mark()  # one failure is logged for each query and object
    texts = {labels: value for (name, labels), value in metrics.items() if labels}
    assert texts.pop(frozenset({("zanDiagnosticsSNMP", "SNMP service is running")})) == 1
    assert {text for labels in texts for _, text in labels} == {"Unknown"}
    numbers = {name: value for (name, labels), value in metrics.items() if not labels}
    # Neither switches nor signals nor traffic, and no rows.
    assert set(numbers.values()) == {0}
    assert len(numbers) == 13
    assert not [name for name in numbers if name.endswith("Enabled") and "Rules" not in name]


# --- rules --------------------------------------------------------------------------------------------------

def promtool(*arguments: object) -> str:
    """What promtool says; it has to be content."""
    done = subprocess.run(["promtool", *map(str, arguments)], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)
    assert done.returncode == 0, done.stdout
    return done.stdout


def test_the_rules_are_well_formed():
    promtool("check", "rules", RULES / "recording.yml", RULES / "alerts.yml")


def test_the_rules_pass_their_unit_tests():
    promtool("test", "rules", RULES / "alerts.test.yml")


def test_each_alert_is_seen_firing_and_silent_in_a_unit_test():
    rules = set(re.findall(r"alert: (\w+)", (RULES / "alerts.yml").read_text()))
    checks = re.findall(r"alertname: (\w+),?\s+eval_time: \w+,?\s+exp_alerts: *(\[\])?",
                        (RULES / "alerts.test.yml").read_text())
    assert {(rule, not silent) for rule, silent in checks} == {
        (rule, firing) for rule in rules for firing in (True, False)}


def test_the_configuration_fits_the_rules(tmp_path):
    (tmp_path / "zansnmpext").mkdir()
    shutil.copy(MONITORING / "prometheus.yml", tmp_path)
    for name in ("recording.yml", "alerts.yml"):
        shutil.copy(RULES / name, tmp_path / "zansnmpext")
    assert "2 rule files found" in promtool("check", "config", tmp_path / "prometheus.yml")


# --- names --------------------------------------------------------------------------------------------------

def known_names() -> Set[str]:
    """What the exporter and the recording rules give: metrics, labels, series."""
    names = set()
    for name, entry in metrics_of_the_module().items():
        extracts = re.findall(r'^        (\S+):$', entry, re.M)
        names |= {name} | {name + extract.strip('"') for extract in extracts}
        names |= set(re.findall(r"labelname: (\w+)", entry))
    return names | set(re.findall(r"record: (\S+)", (RULES / "recording.yml").read_text()))


@pytest.mark.parametrize("name", [
    "rules/recording.yml", "rules/alerts.yml", "rules/alerts.test.yml", "consoles/zan-router.html",
    "consoles/zan-routers.html", "consoles/zan.lib", "grafana/zansnmpext-router.json",
    "../docs/monitoring.md", "../docs/managers.md"])
def test_a_file_uses_only_names_that_exist(name):
    used = re.findall(r"\bzan(?!Event)[A-Z]\w*[a-z0-9](?![\w.(*]|_\(|_\.\+)|\bzan:\w+:\w+",
                      (MONITORING / name).read_text())
    ends = ("", "Enabled", "_ever")  # some rows of a page are made of several metrics
    known = known_names() | set(NOT_METRICS)
    assert used or name == "consoles/zan.lib"
    assert [each for each in used if not any(each + end in known for end in ends)] == []


def test_the_description_has_every_alert_and_every_series():
    text = (SOURCE_ROOT / "docs" / "monitoring.md").read_text()
    rules = (RULES / "alerts.yml").read_text()
    severities = re.findall(r"alert: (\w+)\n(?:.*\n)*?        labels: \{severity: (\w+)\}", rules)
    described = []
    for alert, severity in re.findall(r"^\| (?:`(\w+)`)? *\| (critical|warning|info) \|", text, re.M):
        described.append((alert or described[-1][0], severity))
    assert described == severities
    assert set(re.findall(r"`(zan:[\w:]+)`", text)) == set(
        re.findall(r"record: (\S+)", (RULES / "recording.yml").read_text()))


# --- notifications ------------------------------------------------------------------------------------------

EVENTS = range(1, 12)


def handled_by(folder: Path, events: Path) -> Path:
    """The handler in a folder of its own, with what the events mean beside it."""
    folder.mkdir()
    shutil.copy(events, folder / "zan-events.conf")
    return Path(shutil.copy(MONITORING / "zan-on-notification", folder))


#: What snmptrapd logs, and the lines of the handler.
Received = Tuple[str, List[str]]


@pytest.fixture(name="receive")
def receive_fixture(make_agent, api, queue, base, tmp_path) -> Iterator[Callable[[str, str], Received]]:
    """Posts all events to an agent that notifies in one way, until snmptrapd has logged the last of them."""
    handler = handled_by(tmp_path / "etc", MONITORING / "zan-events.conf")
    handled = tmp_path / "handled"
    configuration = (MONITORING / "snmptrapd.conf").read_text()
    assert configuration.count("/etc/snmp/zan-on-notification") == 1
    (tmp_path / "snmptrapd.conf").write_text(
        configuration.replace("/etc/snmp/zan-on-notification", str(handler)))
    (tmp_path / "persistent" / "cert_indexes").mkdir(parents=True)
    log = tmp_path / "log"
    environment = {"PATH": "/usr/bin:/bin", "ZAN_NOTIFICATIONS": str(handled), "SNMPCONFPATH": str(tmp_path),
                   "SNMP_PERSISTENT_DIR": str(tmp_path / "persistent"),
                   "MIBDIRS": f"{base}:{MIB_FILE.parent}"}

    def receive(sink: str, last: str) -> Received:
        port = free_port()
        with subprocess.Popen(
                ["/usr/sbin/snmptrapd", "-f", "-n", "-Lf", str(log), "-C", "-c",
                 str(tmp_path / "snmptrapd.conf"), f"udp:127.0.0.1:{port}"],
                env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL) as receiver:
            try:
                until(lambda: log.exists() and "NET-SNMP version" in log.read_text(), "snmptrapd")
                sink = f"{sink} 127.0.0.1:{port} public"
                agent = make_agent(trap_port=None, extra_configuration=sink).start()
                for event in EVENTS:
                    queue.post(event)
                agent.fire_alarm()
                until(lambda: re.search(last, log.read_text(), re.M), "the last notification")
                until(lambda: handled.exists() and handled.read_text().count("\n") >= len(EVENTS),
                      "the handler")
            finally:
                receiver.terminate()
        return log.read_text(), handled.read_text().splitlines()

    yield receive


def expected_lines() -> List[str]:
    """What the handler says of all events, as shipped."""
    return [f"event {event} (event-{event}, info): The router's event {event}, whose meaning is the "
            "firmware's matter." for event in EVENTS]


def test_snmptrapd_prints_each_notification_by_name_and_calls_the_handler(receive, mib):
    names = [notification.name for notification in mib.notifications]
    text, handled = receive("trap2sink", f"{names[-1]}$")
    # The agent's own start comes first, and is not the routers' handler's business.
    printed = re.findall(r"^\S+ \S+ UDP: \[127\.0\.0\.1\]\S* SNMPv2-MIB::sysUpTime\.0 = .*\t"
                         r"SNMPv2-MIB::snmpTrapOID\.0 = OID: (\S+)$", text, re.M)
    assert printed == [f"ZAN-SNMPEXT-MIB::{name}" for name in names]
    assert [re.sub(r"^router 127\.0\.0\.1 \(.*?\): ", "", line) for line in handled] == expected_lines()


def test_notifications_of_snmpv1_are_told_the_same_events(receive):
    text, handled = receive("trapsink", r"zanEventArc11\.0\.1")
    printed = re.findall(r"^\S+ \S+ UDP: \[127\.0\.0\.1\]\S* ZAN-SNMPEXT-MIB::(\S+)", text, re.M)
    assert printed == [f"zanEventArc{event}.0.1" for event in EVENTS]
    assert [re.sub(r"^router 127\.0\.0\.1 \(.*?\): ", "", line) for line in handled] == expected_lines()


@pytest.mark.parametrize("value, said", [
    ("ZAN-SNMPEXT-MIB::zanEvent7", "event 7 (door-open, warning): The cabinet's door is open."),
    ("ZAN-SNMPEXT-MIB::zanEventArc7.0.1", "event 7 (door-open, warning): The cabinet's door is open."),
    (".1.3.6.1.4.1.4711.14.1.2.7.1", "event 7 (door-open, warning): The cabinet's door is open."),
    ("iso.3.6.1.4.1.4711.14.1.2.11.0.1", "event 11 (event-11, info): The router's event 11, whose meaning is "
                                         "the firmware's matter."),
    ("SNMPv2-MIB::coldStart", "coldStart")])
def test_the_handler_says_what_the_integrators_say_of_an_event(value, said, tmp_path):
    handled = tmp_path / "handled"
    events = tmp_path / "events"
    events.write_text(re.sub(r"(?m)^7 .*", "7 warning door-open The cabinet's door is open.",
                             (MONITORING / "zan-events.conf").read_text()))
    text = ("manager\nUDP: [192.0.2.7]:44321->[192.0.2.10]:162\nSNMPv2-MIB::sysUpTime.0 0:0:00:01.00\n"
            f"SNMPv2-MIB::snmpTrapOID.0 {value}\n")
    subprocess.run([handled_by(tmp_path / "etc", events)], input=text, text=True, check=True,
                   env={"PATH": "/usr/bin:/bin", "ZAN_NOTIFICATIONS": str(handled)})
    assert handled.read_text() == f"router 192.0.2.7 (manager): {said}\n"


# --- what the integrators say of the events -----------------------------------------------------------------

def test_everything_about_an_event_is_made_of_one_file(tmp_path, base):
    """As an integrator would: a copy of the file, edited, given to a build."""
    events = tmp_path / "mine"
    line = "7  critical  door-open  The cabinet's door is open (100 % sure, costs $5)."
    events.write_text(re.sub(r"(?m)^7 .*", line, (MONITORING / "zan-events.conf").read_text()))
    done = subprocess.run(["cmake", "-S", SOURCE_ROOT, "-B", tmp_path / "build", "-DZAN_BUILD_TESTS=OFF",
                           f"-DZAN_EVENTS={events}", "-DZAN_ENTERPRISE_NUMBER=4711"],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    assert done.returncode == 0, done.stdout
    made = tmp_path / "build" / "mibs" / "ZAN-SNMPEXT-MIB.txt"
    assert made.read_bytes() == zanmib.render(tmp_path, 4711, events).read_bytes()
    described = zanmib.load(made, base).notifications[6].description
    assert described[0] == "The cabinet's door is open (100 % sure, costs $5)."
    translated = (tmp_path / "build" / "monitoring" / "snmptt.conf").read_text()
    assert "EVENT door-open .1.3.6.1.4.1.4711.14.1.2.7.0.1 \"Status Events\" CRITICAL\n" in translated
    for version in ("6.0", "7.0"):
        template = (tmp_path / "build" / "monitoring" / "zabbix" / f"zan-router-{version}.yaml").read_text()
        assert ("\n    name: Event 7 (door-open)\n    priority: HIGH\n"
                "    description: The cabinet's door is open (100 % sure, costs $5).\n") in template


@pytest.mark.parametrize("line", [
    "7 fatal name text", "7 info name", '7 info name a "quoted" text', "7 info name a;b", "7 info name a [b]",
    "7 info name a\\b", "7 info name @ZAN_EVENT_1@", "8 info name text", "7 info na/me text"])
def test_a_line_that_is_wrong_is_refused_by_both_who_read_it(line, tmp_path):
    events = tmp_path / "mine"
    events.write_text(re.sub(r"(?m)^7 .*", lambda _: line, (MONITORING / "zan-events.conf").read_text()))
    with pytest.raises(zanmib.MibError):
        zanmib.read_events(events)
    done = subprocess.run(["cmake", "-S", SOURCE_ROOT, "-B", tmp_path / "build", "-DZAN_BUILD_TESTS=OFF",
                           f"-DZAN_EVENTS={events}"],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    assert done.returncode != 0 and str(events).encode() in done.stdout
