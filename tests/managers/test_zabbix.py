"""The template in a real Zabbix, 6.0 of Debian 12 or 7.0 of Debian 13, which asks a real agent."""

import contextlib
import json
import re
import struct
import subprocess
from pathlib import Path
from typing import Any, Dict, Iterator, List

import pytest

from checks_support import USER
from harness import SOCKET_PATH, Agent, EventQueue, deadline
from monitoring_support import MADE, MONITORING, Router, free_port
from zabbix_support import Host, Zabbix, until

TEMPLATE = "ZAN cellular router by SNMP"

#: The template's own macros, so that a test takes minutes and not hours.
MACROS = {
    "{$SNMP.TIMEOUT}": "15s", "{$ZAN.INTERVAL}": "5s", "{$ZAN.API.TIME}": "15s", "{$ZAN.SIGNAL.TIME}": "15s",
    "{$ZAN.ROAMING.TIME}": "15s", "{$ZAN.LINK.TIME}": "15s", "{$ZAN.WIFI.TIME}": "15s",
    "{$ZAN.WAN.TIME}": "15s", "{$ZAN.EVENT.TIME}": "30s"}
ONLY_IN_6 = {"{$ZAN.SETTINGS.INTERVAL}": "5s", "{$ZAN.DISCOVERY.INTERVAL}": "10s"}

SUBSCRIBER = ["zanRadioIMSI", "zanRadioMDN", "zanRadioMEIDorIMEI", "zanRadioMSID"]

#: What goes wrong with the router: the problem's name, and what the simulator is told.
PROBLEMS = {
    "The management API answers in part": [
        'remoteManagement:={"enabled": []}'], "The cellular signal is weak": [
            "stats/ppp/rssiDbm=-113", "stats/radio/rssidBm=-113"], "The radio is roaming": [
                "stats/ppp/roaming=true"], "The cellular link is down": ["stats/ppp/link=Disconnected"],
    "The WiFi link is down": ["stats/wlan/status=Connecting"], "A backup WAN link is in use": [
        "waninfo/wans/1/available=false", "waninfo/wans/1/current=false",
        "waninfo/wans/2/current=true"], "IPsec tunnel headquarters has been disabled": [
            "ipsecTunnels/0/enabled=false"], "OpenVPN tunnel maintenance has been disabled": [
                "ovpnTunnels/0/enabled=false"], "DoS prevention is off": [
                    "remoteAccess/dosAttackPrevention/enabled=false"], "The router has been restarted": [
                        "system/uptime=5.00"]}


class Stack:
    """Everything that runs."""
    def __init__(self, zabbix: Zabbix, router: Router, agent: Agent, folder: Path) -> None:
        self.zabbix = zabbix
        self.router = router
        self.agent = agent
        self.folder = folder
        self.file = MADE / "zabbix" / f"zan-router-{zabbix.version}.yaml"
        self.host: Host

    def begin(self) -> None:
        """Import the template, and make the host."""
        self.zabbix.import_template(self.file)
        self.host = self.add("router", {"version": 2, "community": "public"})

    def add(self, name: str, access: Dict[str, Any]) -> Host:
        """Another host for the same router."""
        macros = {**MACROS, **(ONLY_IN_6 if self.zabbix.version == "6.0" else {})}
        return self.zabbix.add_router(name, self.agent.port, TEMPLATE, macros, access)

    def change(self, **fields: Any) -> None:
        """Give the router's API other answers, whole fields of its own."""
        scenario = json.loads(self.router.scenario.read_text(encoding="utf-8"))
        scenario["api"].update(fields)
        new = self.router.scenario.with_suffix(".new")
        new.write_text(json.dumps(scenario), encoding="utf-8")
        new.replace(self.router.scenario)

    def wait_for_values(self, expected: Dict[str, str]) -> None:
        """Return when these items have these values at once."""
        found: Dict[str, Any] = {}

        def all_there() -> bool:
            values = self.host.values()
            found.update({key: values.get(key) for key in expected})
            return found == expected

        try:
            until(all_there, "values")
        except AssertionError as error:
            raise AssertionError(f"{found} and not {expected}") from error

    def wait_for_problems(self, *names: str, seconds: float = 180) -> None:
        """Return when these are the problems, and no others but those that depend on them."""
        found: List[str] = []

        def just_these() -> bool:
            found[:] = self.host.problems()
            return found == sorted(names)

        try:
            until(just_these, "problems", seconds)
        except AssertionError as error:
            raise AssertionError(f"{found} and not {sorted(names)}\n{self.zabbix.log()[-3000:]}") from error


@pytest.fixture(scope="module", name="stack")
def stack_fixture(tmp_path_factory, module_file) -> Iterator[Stack]:
    folder = tmp_path_factory.mktemp("stack")
    router = Router(folder, SOCKET_PATH)
    agent = Agent(folder / "agent", trap_port=free_port(), module=module_file,
                  extra_configuration=USER).start()
    zabbix = Zabbix(Path("/run/zabbix-test"))
    try:
        stack = Stack(zabbix, router, agent, folder)
        stack.begin()
        yield stack
    finally:
        zabbix.stop()
        agent.stop()
        router.stop()


@pytest.fixture(autouse=True)
def ordinary(stack: Stack) -> Iterator[None]:
    """Each test leaves an ordinary router."""
    yield
    stack.router.reset()
    if not stack.agent.alive:
        stack.agent.start()


@contextlib.contextmanager
def notifications_received(stack: Stack) -> Iterator[None]:
    """Debian's snmptrapd with the shipped handler, and no MIB modules, as on a server that has none."""
    configuration = stack.folder / "snmptrapd.conf"
    arc = ".".join(map(str, _notifications()))
    configuration.write_text(
        f"authCommunity log,execute public\n"
        f"traphandle .{arc}.* {MONITORING}/zan-on-notification --zabbix {stack.zabbix.traps}\n",
        encoding="ascii")
    log = stack.folder / "snmptrapd.log"
    process = subprocess.Popen(
        [
            "/usr/sbin/snmptrapd", "-f", "-n", "-Lf",
            str(log), "-C", "-c",
            str(configuration), f"udp:127.0.0.1:{stack.agent.trap_port}"], stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env={
            "PATH": "/usr/bin:/bin", "MIBS": "", "SNMPCONFPATH": str(stack.folder),
            "SNMP_PERSISTENT_DIR": str(stack.folder)})
    try:
        until(lambda: log.exists() and "NET-SNMP version" in log.read_text(), "snmptrapd")
        yield
    finally:
        process.terminate()
        process.wait(deadline(20))


def _notifications() -> List[int]:
    """The arc of the notifications, out of the template's own item."""
    text = (MADE / "zabbix" / "zan-router-6.0.yaml").read_text(encoding="utf-8")
    (root, ) = set(re.findall(r"snmp_oid: (1\.3\.6\.1\.4\.1\.\d+\.14\.1)\.1\.8\.2\.0$", text, re.M))
    return [*map(int, root.split(".")), 2]


# --- values -----------------------------------------------------------------------------------------------


def test_every_item_is_supported_and_has_a_value(stack):
    def without_value() -> List[str]:
        return sorted(key for key, item in stack.host.items().items() if item["lastclock"] == "0")

    # Events have not been, and neither the walk nor the lines that are taken apart are kept.
    silent = sorted([
        *SUBSCRIBER, *(f"zan.event[{number}]" for number in range(1, 12)),
        *(key for key in stack.host.items() if key.startswith("snmptrap[") or key == "zan.walk"),
        *(f"zanCellularInterfaceStats{line}" for line in ("RxBytes", "RxPkts", "TxBytes", "TxPkts"))])
    rows = {
        "zanDHCPServerLeasesExpiration[192.168.1.102]", "zanStaticRoutesEnabled[scada]",
        "zanGreTunnelsEnabled[gre-depot]", "zanIpsecTunnelsEnabled[headquarters]",
        "zanOpenVpnTunnelsEnabled[contractor]", "zanRemoteSyslogDestHost[remote]"}
    until(lambda: rows <= set(stack.host.items()) and without_value() == silent, "all values", 240)
    items = stack.host.items()
    assert [
        (key, item["error"]) for key, item in items.items() if item["state"] != "0" or item["error"]] == []
    assert sorted(key for key, item in items.items() if item["status"] != "0") == SUBSCRIBER
    rules = stack.host.rules()
    assert len(rules) == 6
    assert [(rule["key_"], rule["error"]) for rule in rules if rule["state"] != "0" or rule["error"]] == []


def test_values_are_what_they_mean(stack):
    stack.wait_for_problems()
    stack.wait_for_values({
        "zanRouterModelId": "ZR-4200-LTE", "zanRemoteManagementEnabled": "1", "zanSMTPEnabled": "0",
        "zanRadioRSSI": "-67", "zanCellularInterfaceSignal": "-67", "zanWiFiInterfaceSignal": "-58",
        "zanRemoteAccessHTTPSessionTimeout": "600", "zan.api.answered": "9", "zan.wan.used": "1",
        "zan.wan.preferred": "1", "zanWanManagerPriority[cellular]": "1", "zanWanManagerPriority[wifi]": "2",
        "zanWanManagerPriority[other]": "0", "zanDHCPServerLeasesMAC[192.168.1.102]": "00:00:5e:00:53:a3",
        "zanIpsecTunnelsEnabled[headquarters]": "1", "zanIpsecTunnelsEnabled[backup-site]": "0",
        "zanRemoteSyslogDestPort[remote]": "514", "zanDiagnosticsRemoteSyslog": "1"})
    values = stack.host.values()
    assert 93784 < float(values["zanRouterUptime"]) < 97000
    assert 51873 < float(values["zanCellularInterfaceUptime"]) < 55000
    line = "zanCellularInterfaceStatsRxBytes"
    assert int(values[f"{line}[total]"]) > 14602888806
    assert int(values[f"{line}[today]"]) > 96468992
    assert float(values[f"{line}[current]"]) > 73400320
    # The simulator counts 7421 a second; an answer of the module may be as old as an interval is long.
    until(lambda: 0 < float(stack.host.values()[f"{line}[rate]"]) < 3 * 7421, "a rate")


def test_odd_values_are_read_for_what_they_are(stack):
    stack.router.set("stats/serial/tx:=3000000000", "stats/radio/rssidBm=-71.5", "stats/wlan/link/signal=-52",
                     "sms/enabled=odd", 'system/productId=Gebäude "3" \\ x', "stats/ppp/tower=C3",
                     "stats/radio/network=Ünï", "ppp/modem/apnString=41 42")
    stack.wait_for_values({
        "zanRadioRSSI": "-71.5", "zanWiFiInterfaceSignal": "-52", "zanSMSEnabled": "2",
        "zanRouterModelId": 'Gebäude "3" \\ x', "zanCellularInterfaceTower": "C3", "zanRadioNetwork": "Ünï",
        "zanCellularInterfaceAPN": "41 42"})
    until(lambda: int(stack.host.values()["zanSerialToIPTx"]) >= 3000000000, "an unsigned number")
    stack.router.set("stats/wlan/link/signal=70%", "stats/ppp/rssi=99")
    stack.wait_for_values({"zanRadioRSSI": "-71.5"})
    stack.router.reset()
    stack.wait_for_values({"zanRadioRSSI": "-67", "zanRouterModelId": "ZR-4200-LTE"})
    assert "70" not in {value.strip("%") for value in stack.host.history("zanWiFiInterfaceSignal")}
    assert [item["error"] for item in stack.host.items().values() if item["error"]] == []


def test_a_row_that_goes_leaves_its_history_to_nobody(stack):
    names = ["first", "second", 'a "quoted" \\ [name], with: signs', "Gebäude 3"]
    states = {"first": True, "second": False, names[2]: True, names[3]: False}
    rows = [{"name": name, "enabled": states[name]} for name in names]
    # Two of the same name are one; without a name nobody is told from another.
    stack.change(greTunnels=[*rows, {"name": "first", "enabled": True}, {"name": "", "enabled": True}])

    def found() -> Dict[str, str]:
        # The name is the item's, between the kind and what is told of it.
        tunnels = {
            item["name"][len("GRE tunnel "):-len(": Enabled")]: item
            for key, item in stack.host.items().items()
            if key.startswith("zanGreTunnels") and "gre-depot" not in key}
        return {name: item["lastvalue"] for name, item in tunnels.items() if item["lastclock"] != "0"}

    expected = {name: str(int(state)) for name, state in states.items()}
    try:
        until(lambda: found() == expected, "the tunnels")
    except AssertionError as error:
        raise AssertionError(f"{found()} and not {expected}") from error
    # The first goes, and all others move up.
    stack.change(greTunnels=[*rows[1:], {"name": "new", "enabled": True}])
    until(lambda: found().get("new") == "1", "the new tunnel")
    stack.change(greTunnels=rows[1:2] + rows[3:])
    stack.wait_for_values({"zanGreTunnelsEnabled[second]": "0"})
    stack.router.reset()
    until(lambda: stack.host.values().get("zanGreTunnelsEnabled[gre-depot]") == "0", "the old tunnel")
    histories = {
        item["name"][len("GRE tunnel "):-len(": Enabled")]: set(stack.host.history(key))
        for key, item in stack.host.items().items()
        if key.startswith("zanGreTunnels")}
    assert histories == {
        "gre-depot": {"0"}, "new": {"1"}, **{name: {value} for name, value in expected.items()}}
    assert [(key, item["error"]) for key, item in stack.host.items().items() if item["error"]] == []


def test_a_tunnel_that_was_enabled_is_a_problem_when_it_is_disabled(stack):
    key = "zanGreTunnelsEnabled[spoke]"
    for enabled in (True, False, True):
        stack.change(greTunnels=[{"name": "spoke", "enabled": enabled}])
        stack.wait_for_values({key: str(int(enabled))})
        # The server may come to know a row's trigger later than its item.
        stack.zabbix.reload()
        stack.wait_for_problems(*([] if enabled else ["GRE tunnel spoke has been disabled"]))


def test_who_the_subscriber_is_can_be_asked_for(stack):
    items = stack.host.items()
    for key in SUBSCRIBER:
        stack.zabbix.ask("item.update", itemid=items[key]["itemid"], status=0)
    stack.zabbix.reload()
    stack.wait_for_values({
        "zanRadioIMSI": "001010123456789", "zanRadioMDN": "12025550143",
        "zanRadioMEIDorIMEI": "004999010640000", "zanRadioMSID": "2025550143"})


def test_the_user_of_the_example_of_access_is_answered(stack):
    host = stack.add("over SNMPv3", {
        "version": 3, "securityname": "manager", "securitylevel": 2, "authprotocol": 3,
        "authpassphrase": "a passphrase of 8 or more", "privprotocol": 1,
        "privpassphrase": "another passphrase"})
    until(lambda: host.values().get("zanRouterModelId") == "ZR-4200-LTE", "a value")
    # Another host at the same address would have the same notifications.
    stack.zabbix.ask("host.update", hostid=host.identity, status=1)
    stack.zabbix.reload()


# --- problems ---------------------------------------------------------------------------------------------


def test_each_problem_comes_and_goes(stack):
    stack.wait_for_problems()
    stack.router.set(*(assignment for assignments in PROBLEMS.values() for assignment in assignments))
    stack.wait_for_problems(*PROBLEMS)
    stack.router.reset()
    stack.wait_for_problems()
    assert {trigger["value"] for trigger in stack.host.triggers().values()} == {"0"}


def test_what_depends_on_the_api_or_the_agent_is_not_shown_without_them(stack):
    stack.router.set("stats/radio/rssidBm=-113", "ipsecTunnels/0/enabled=false")
    others = ["The radio's signal is weak", "IPsec tunnel headquarters has been disabled"]
    stack.wait_for_problems(*others)
    rates = len(stack.host.history("zanSerialToIPTx[rate]"))
    stack.router.set("fault=down")
    stack.wait_for_problems("The management API is down")
    stack.agent.stop()
    stack.wait_for_problems("No SNMP data collection")
    stack.agent.start()
    stack.wait_for_problems("The management API is down")
    stack.router.set("fault=none")
    stack.wait_for_problems(*others)
    stack.router.reset()
    stack.wait_for_problems()
    # An outage is no traffic and no restart.
    for key in ("zanSerialToIPTx", "zanRouterUptime"):
        assert "0" not in stack.host.history(key)
    # The simulator counts 96 a second; from 0 to the count it would be thousands.
    assert max(map(float, stack.host.history("zanSerialToIPTx[rate]")[rates:])) < 10 * 96
    assert [(key, item["error"]) for key, item in stack.host.items().items() if item["error"]] == []


def test_notifications_are_problems_for_a_while(stack):
    with notifications_received(stack):
        # The module reads the traps switch when it starts.
        stack.agent.stop()
        stack.agent.start()
        queue = EventQueue()
        until(queue.state, "the module's queue")
        for number in (7, 11):
            queue.post(number)
        stack.wait_for_problems("Event 11 (event-11)", "Event 7 (event-7)")
        assert stack.host.history("zan.event[7]") == ["7"]
        assert stack.host.history("zan.event[11]") == ["11"]
    stack.wait_for_problems()


# --- the template -----------------------------------------------------------------------------------------


def test_importing_again_changes_nothing(stack):
    def everything() -> Dict[str, Any]:
        (template, ) = stack.zabbix.ask("template.get", filter={"host": [TEMPLATE]})
        text = stack.zabbix.ask("configuration.export", format="yaml", options={
            "templates": [template["templateid"]]})
        return {
            "items": {key: item["itemid"] for key, item in stack.host.items().items()}, "template": re.sub(
                r"^  date: .*\n", "", text, flags=re.M)}

    before = everything()
    stack.zabbix.import_template(stack.file)
    assert everything() == before


def test_the_dashboard_shows_items_that_have_values_and_graphs_that_are_drawn(stack):
    ask, host = stack.zabbix.ask, stack.host
    page = stack.zabbix.page(f"zabbix.php?action=host.dashboard.view&hostid={host.identity}").decode()
    shown = {kind: re.findall(rf'"{kind}":\[?"(\d+)"', page) for kind in ("itemid", "graphid")}
    assert [len(each) for each in shown.values()] == [6, 4]
    # A template's dashboard shows the host's own items of the same keys, and graphs of the same names.
    keys = {item["key_"] for item in ask("item.get", itemids=shown["itemid"], output=["key_"])}
    names = {graph["name"] for graph in ask("graph.get", graphids=shown["graphid"], output=["name"])}
    values = host.values()
    assert len(keys) == 6 and keys <= set(values)
    graphs = ask("graph.get", hostids=host.identity, selectItems=["key_"], output=["name"])
    assert len(names) == 4 and {graph["name"] for graph in graphs} == names
    assert all(item["key_"] in values for graph in graphs for item in graph["items"])
    for graph in graphs:
        drawn = stack.zabbix.page(f"chart2.php?graphid={graph['graphid']}&from=now-1h&to=now&width=800"
                                  "&height=200&profileIdx=web.charts.filter")
        # An error is drawn as one line of text.
        width, height = struct.unpack_from("!II", drawn, 16)
        assert drawn.startswith(b"\x89PNG") and width > 800 and height > 200, (width, height)


def test_the_latest_data_are_shown(stack):
    page = stack.zabbix.page(f"zabbix.php?action=latest.view&hostids%5B%5D={stack.host.identity}"
                             "&name=Model&filter_set=1").decode()
    assert "ZR-4200-LTE" in page
