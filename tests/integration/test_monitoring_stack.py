"""All of the monitoring at once: simulated router, agent, exporter, Prometheus with its rules and pages."""

import html
import json
import re
import subprocess
from typing import Any, Dict, Iterator, List, Sequence

import pytest

from harness import SOCKET_PATH, TIME_SCALE, Agent, deadline
from monitoring_support import MONITORING, Preview, Router, get, uptime_passes, until

ROUTER_PAGE = "consoles/zan-router.html?instance="
LIST_PAGE = "consoles/zan-routers.html"

AUTH_PHRASE, PRIV_PHRASE = 'a "quoted" passphrase', "another passphrase: 2"

#: The router's uptime goes on so many times faster than the test's, and the caches expire so much sooner.
SPEED = 10


def visible(page: str) -> str:
    """What a reader sees of a page without the graphs, a blank between two parts."""
    body = re.sub(r"<(script|style).*?</\1>|<!--.*?-->", " ", page.partition("<body>")[2], flags=re.S)
    return " ".join(html.unescape(re.sub(r"<[^>]*>", " ", body)).split())


class Stack:
    """Everything that runs."""

    def __init__(self, router: Router, agent: Agent, preview: Preview) -> None:
        self.router = router
        self.agent = agent
        self.preview = preview

    @property
    def page(self) -> str:
        """The router's page, as Prometheus makes it."""
        return self.preview.page(ROUTER_PAGE + self.preview.instance)

    def wait_for_page(self, *parts: str) -> None:
        """Return when the router's page has all of these at once, in what is to be seen or as markup."""
        self.wait_for_parts(ROUTER_PAGE + self.preview.instance, parts)

    def wait_for_parts(self, path: str, parts: Sequence[str]) -> str:
        """The same of any page; the page as it is then."""
        missing: List[str] = []

        def complete() -> str:
            page = self.preview.page(path)
            text = visible(page)
            missing[:] = [part for part in parts if part not in page and part not in text]
            return "" if missing else page

        try:
            return until(complete, "a page with all that is wanted")
        except AssertionError as error:
            raise AssertionError(f"{missing} on {path}") from error

    def wait_for_data(self) -> None:
        """Return when the router's values are those of an ordinary day."""
        until(lambda: self.preview.query('zan:api_queries_answered:count == 9')
              and self.preview.query("zan:cellular_signal:dbm > -100"), "an ordinary router")


@pytest.fixture(scope="module", name="stack")
def stack_fixture(tmp_path_factory, clock, _traps) -> Iterator[Stack]:
    folder = tmp_path_factory.mktemp("stack")
    router = Router(folder, SOCKET_PATH)
    agent = Agent(folder / "agent", trap_port=_traps.port, extra_configuration=(
        f"createUser manager SHA-256 '{AUTH_PHRASE}' AES '{PRIV_PHRASE}'\nrouser manager priv")).start()
    try:
        with uptime_passes(clock, SPEED):
            preview = Preview(folder, agent.port, "--interval", str(0.5 * TIME_SCALE), "--alert-after", "1")
            stack = Stack(router, agent, preview)
            until(lambda: preview.query("zan:router:info"), "the first rules")
            yield stack
            assert preview.stop() == 0
    finally:
        agent.stop()
        router.stop()


@pytest.fixture(autouse=True)
def ordinary(stack: Stack) -> Iterator[None]:
    """Each test begins with an ordinary router and without alerts."""
    stack.wait_for_data()
    yield
    stack.router.reset()
    if not stack.agent.alive:
        stack.agent.start()
    until(lambda: not stack.preview.firing(), "the end of all alerts")


# --- scrape and rules ---------------------------------------------------------------------------------------

def test_the_router_is_known(stack):
    (info,) = until(lambda: stack.preview.query("zan:router:info"), "the router's identity")
    assert info["metric"] == {
        "__name__": "zan:router:info", "job": "zansnmpext", "instance": stack.preview.instance,
        "model": "ZR-4200-LTE", "serial": "ZR42-0017-3391", "firmware": "5.12.3"}


def test_every_rule_can_be_evaluated(stack):
    def evaluated() -> List[Dict[str, Any]]:
        rules = [rule for group in stack.preview.ask("rules")["groups"] for rule in group["rules"]]
        return rules if all(rule["health"] != "unknown" for rule in rules) else []
    rules = until(evaluated, "the rules' evaluation")
    assert {rule["health"] for rule in rules} == {"ok"}
    sources = "".join((MONITORING / "rules" / name).read_text() for name in ("recording.yml", "alerts.yml"))
    assert len(rules) == len(re.findall(r"- (?:record|alert): ", sources)) > 20


def test_counters_count(stack):
    for metric in ("zanCellularInterfaceStatsRxBytes_ever", "zanCellularInterfaceStatsTxPkts_current",
                   "zan:serial_tx:total", "zan:router_uptime:seconds"):
        until(lambda expression=f"increase({metric}[1m]) > 0": stack.preview.query(expression), metric)


# --- alerts -------------------------------------------------------------------------------------------------

def test_a_signal_that_drops_is_an_alert_until_it_recovers(stack):
    until(lambda: stack.preview.firing() == {}, "a router without alerts")
    stack.router.set("stats/ppp/rssiDbm=-113")
    summary = f"Weak cellular signal at {stack.preview.instance}: -113 dBm"
    until(lambda: stack.preview.firing() == {"ZanSignalWeak": summary}, "the alert")
    until(lambda: f"ALERT  {summary}\n" in stack.preview.output(), "its line")
    stack.wait_for_page('<li class="warning"><b>ZanSignalWeak</b>', "-113&nbsp;dBm")
    stack.router.set("stats/ppp/rssiDbm=-67")
    until(lambda: stack.preview.firing() == {}, "the end of the alert")
    until(lambda: f"over   {summary}\n" in stack.preview.output(), "its line")
    stack.wait_for_page("No alerts.", "-67&nbsp;dBm")


@pytest.mark.parametrize("alert, assignments", [
    ("ZanRoaming", ["stats/ppp/roaming=true"]),
    ("ZanCellularLinkDown", ["stats/ppp/link=Disconnected"]),
    ("ZanWiFiLinkDown", ["stats/wlan/status=Connecting"]),
    ("ZanWanOnBackup", ["waninfo/wans/1/available=false", "waninfo/wans/1/current=false",
                        "waninfo/wans/2/current=true"]),
    ("ZanTunnelDisabled", ["ipsecTunnels/0/enabled=false"]),
    ("ZanDosPreventionOff", ["remoteAccess/dosAttackPrevention/enabled=false"]),
    ("ZanRouterApiDown", ["fault=down"]),
])
def test_what_goes_wrong_is_an_alert_and_the_only_one(alert, assignments, stack):
    stack.router.set(*assignments)
    until(lambda: list(stack.preview.firing()) == [alert], f"{alert} alone")


def test_an_agent_that_is_gone_is_an_unreachable_router(stack):
    stack.agent.stop()
    until(lambda: list(stack.preview.firing()) == ["ZanRouterUnreachable"], "the alert")
    stack.wait_for_page("does not answer", f">{stack.preview.instance}</h1>")


# --- pages --------------------------------------------------------------------------------------------------

def test_the_page_shows_the_router(stack):
    stack.wait_for_page(
        "ZR-4200-LTE ZR42-0017-3391 answers", "firmware 5.12.3, up for ",
        "No alerts. 3 notes: ZanTunnelDisabled GRE gre-depot, ZanTunnelDisabled IPsec backup-site, "
        "ZanTunnelDisabled OpenVPN contractor Cellular signal",
        "Cellular signal -67 dBm", "WAN Cellular priority 1 Cellular priority 2 WiFi",
        "state Connected", "address 203.0.113.77", "DNS servers 198.51.100.53, 198.51.100.54",
        "APN iot.example.net", "network Example Mobile, LTE", "roaming no", "tower 001-01-0A3F-01C2",
        "keep-alive check on , probe.example.net", "role WAN",
        "network Depot-North", "client's signal -58 dBm", "access point's security unknown",
        "mask 255.255.255.0", "gre-depot GRE off", "headquarters IPsec on", "maintenance OpenVPN on",
        "DHCP server on", "192.168.1.100 00:00:5e:00:53:a1 ", "mail (SMTP) off idle",
        "time (SNTP) on synchronised", "remote syslog on 192.168.1.20, from INFO",
        "serial to IP on CLIENT, TCP 4001", "SSH ● ○ ●", "HTTPS ● ● ●", "DoS prevention on",
        "input 2, forward 1, output 1", "static routes depot-lan, scada")
    assert "IMEI" not in stack.page and "IMSI" not in stack.page
    until(lambda: re.search(r"received [\d.]+ MB [\d.]+ MB 14\.\d+ GB", visible(stack.page)), "the traffic")


def test_the_list_shows_the_router_and_leads_to_its_page(stack):
    page = stack.wait_for_parts(LIST_PAGE, [
        "ZR-4200-LTE ZR42-0017-3391 answers Cellular -67 dBm Example Mobile 2 of 5 3 "])
    (link,) = re.findall(r'href="(zan-router\.html[^"]*)"', page)
    stack.wait_for_parts("consoles/" + html.unescape(link), ["ZR-4200-LTE"])
    assert stack.preview.addresses["console"].endswith(
        f"consoles/zan-router.html?instance={stack.preview.instance}&range=900")


def test_every_graph_has_data(stack):
    graphs = [html.unescape(graph) for graph in re.findall(r"data-graph='([^']*)'", stack.page)]
    queries = [query for graph in graphs for query, _ in json.loads(graph)]
    assert len(queries) == 3
    window = f"{5 * TIME_SCALE:.0f}s"
    for query in queries:
        filled = query.replace("$instance", json.dumps(stack.preview.instance)).replace("$window", window)
        until(lambda expression=filled: stack.preview.query(expression), filled)


def test_the_page_says_what_it_does_not_know(stack):
    stack.router.set("fault=down")
    stack.wait_for_page("API down", "Cellular signal unknown", "client's signal unknown", "WAN unknown",
                        "state unknown", "Tunnels unknown", "DHCP server unknown", "SSH ? ? ?",
                        "input unknown , forward unknown")


def test_the_page_of_a_router_that_nobody_asks_says_so(stack):
    text = visible(stack.preview.page(ROUTER_PAGE + "nowhere%22%3Cb%3E"))
    assert text.startswith('nowhere"<b> not scraped')


def test_values_cannot_become_markup(stack):
    stack.router.set("system/productId=<script>alert(1)</script>")
    stack.wait_for_page("&lt;script&gt;alert(1)&lt;/script&gt;")
    assert "<script>alert" not in stack.page


@pytest.mark.parametrize("page", [ROUTER_PAGE + "any", LIST_PAGE])
def test_the_script_of_a_page_can_be_read(page, stack, tmp_path):
    (script,) = re.findall(r"<script>(.*?)</script>", stack.preview.page(page), re.S)
    (tmp_path / "page.js").write_text(script)
    subprocess.run(["node", "--check", tmp_path / "page.js"], check=True, timeout=deadline(60))


def test_a_router_is_seen_over_snmpv3_with_its_subscriber_by_those_who_ask_for_it(stack, tmp_path):
    preview = Preview(tmp_path, stack.agent.port, "--user", "manager", "--subscriber", "--interval", "1",
                      ZAN_AUTH_PHRASE=AUTH_PHRASE, ZAN_PRIV_PHRASE=PRIV_PHRASE)
    try:
        until(lambda: "IMEI or MEID 004999010640000" in visible(preview.page(ROUTER_PAGE + preview.instance)),
              "the subscriber on the router's page")
        until(lambda: preview.query("zan:router:info") and preview.query("zanRadioMDN"), "the rules")
        assert "zanRouterModelId" in get(preview.addresses["exporter"])
    finally:
        assert preview.stop() == 0


# --- dashboard ----------------------------------------------------------------------------------------------

def test_what_the_dashboard_asks_about_alerts_returns_data(stack):
    dashboard = json.loads((MONITORING / "grafana" / "zansnmpext-router.json").read_text(encoding="utf-8"))
    # The alert of a restart is one of its queries; it stays for the rest of these tests.
    stack.router.set("system/uptime=5.00")
    expressions = [target["expr"] for panel in dashboard["panels"] for target in panel.get("targets", [])]
    asked = [each for each in (*expressions, *(note["expr"] for note in dashboard["annotations"]["list"]))
             if "ALERTS" in each]
    assert len(asked) == 3
    for expression in asked:
        filled = expression.replace("$instance", stack.preview.instance)
        until(lambda query=filled: stack.preview.query(query), f"data for {filled}")
