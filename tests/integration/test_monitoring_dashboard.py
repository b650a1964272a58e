"""The dashboard's queries as Grafana asks them, with data of the interval that is shipped."""

import contextlib
import json
import re
import subprocess
import time
import urllib.parse
from pathlib import Path
from typing import Any, Dict, Iterator, List, Tuple

import pytest

from harness import CACHE_LIFETIME
from monitoring_support import MONITORING, Exporter, Series, free_port, get, until

DASHBOARD = json.loads((MONITORING / "grafana" / "zansnmpext-router.json").read_text(encoding="utf-8"))
INSTANCE = "192.0.2.1"

#: So many askings of the router, and the seconds from one to the next: those of prometheus.yml.
ASKINGS = 41
_CONFIGURATION = (MONITORING / "prometheus.yml").read_text(encoding="utf-8")
INTERVAL = 60 * int(re.search(r"scrape_interval: (\d+)m$", _CONFIGURATION, re.M)[1])

#: The router's API is down at these.
OUTAGE = range(20, 23)

#: What Prometheus adds to a metric; the job is not called as in prometheus.yml.
JOB = (("job", "any-name"), ("instance", INSTANCE))


def targets() -> List[Tuple[str, Dict[str, Any]]]:
    """The panels' queries with their panels' titles, but for those about alerts."""
    return [(panel["title"], target) for panel in DASHBOARD["panels"] for target in panel.get("targets", [])
            if "ALERTS" not in target["expr"]]


def seconds(text: str) -> int:
    """A duration as the dashboard writes it."""
    number, unit = re.fullmatch(r"(\d+)([sm])", text).groups()
    return int(number) * {"s": 1, "m": 60}[unit]


def open_metrics(askings: List[Tuple[float, Dict[Series, float]]]) -> str:
    """The answers of all times, in the format that promtool takes."""
    lines: Dict[str, List[str]] = {}
    for moment, metrics in askings:
        for (name, labels), value in metrics.items():
            written = ",".join(f"{label}={json.dumps(text)}" for label, text in (*sorted(labels), *JOB))
            lines.setdefault(name, []).append(f"{name}{{{written}}} {value!r} {moment:.3f}")
    return "\n".join(line for name in sorted(lines)
                     for line in (f"# TYPE {name} gauge", *lines[name])) + "\n# EOF\n"


class Prometheus:
    """Debian's Prometheus, with what it has stored."""

    def __init__(self, folder: Path) -> None:
        self.data = folder / "data"
        self._log = folder / "prometheus.log"
        self.url = f"http://127.0.0.1:{free_port()}/"
        (folder / "prometheus.yml").write_text("{}\n")
        # What is stored afterwards has no mark where a series ends, as a scrape leaves one: it ends before
        # the next is due, but only just. promtool evaluates the rules at any moment between two askings.
        self._command = ["prometheus", f"--config.file={folder}/prometheus.yml",
                         f"--storage.tsdb.path={self.data}",
                         f"--query.lookback-delta={INTERVAL * 1000 - 1}ms",
                         f"--web.listen-address={self.url[len('http://'):-1]}"]

    @contextlib.contextmanager
    def running(self) -> Iterator[None]:
        """Inside, it answers."""
        with open(self._log, "wb") as output:
            process = subprocess.Popen(self._command, stdin=subprocess.DEVNULL, stdout=output, stderr=output)

        def ready() -> bool:
            assert process.poll() is None, self._log.read_text()
            with contextlib.suppress(OSError, AssertionError):
                return bool(get(f"{self.url}-/ready"))
            return False

        try:
            until(ready, "Prometheus")
            yield
        finally:
            process.terminate()
            process.wait()

    def ask(self, path: str, **parameters: Any) -> Any:
        """The data of an answer of its API."""
        return json.loads(get(f"{self.url}api/v1/{path}?{urllib.parse.urlencode(parameters)}"))["data"]


@pytest.fixture(name="stored", scope="module")
def stored_fixture() -> Dict[str, Any]:
    """What the first test has stored, for the others."""
    return {}


@pytest.fixture(name="prometheus")
def prometheus_fixture(stored, agent, api, clock, tmp_path_factory) -> Iterator[Tuple[Prometheus, float]]:
    """Prometheus with a router's history of the last hours, and the time of its end."""
    if not stored:
        stored["made"] = history(agent, api, clock, tmp_path_factory.mktemp("history"))
    prometheus, end = stored["made"]
    with prometheus.running():
        yield prometheus, end


def history(agent, api, clock, folder: Path) -> Tuple[Prometheus, float]:
    """Ask a router once an interval, and store the answers and what the recording rules make of them."""
    exporter = Exporter(folder)
    # The last hours are where Prometheus itself is still writing.
    start = round(time.time()) - 4 * 3600
    askings = []
    traffic = {"bytes": 10240, "packets": 87}
    for number in range(ASKINGS):
        grown = {name: count + 1200 * number for name, count in traffic.items()}
        api.fields["stats"]["ppp"].update(tx=grown, rx=grown)
        api.fields["stats"]["pppTotal"] = {name: 10**10 + 1200 * number
                                           for name in ("todayTx", "totalTx", "todayRx", "totalRx")}
        api.fields["stats"]["serial"] = {"tx": 2**31 + 600 * number, "rx": 4096 + 600 * number}
        if number in OUTAGE:
            api.down()
        else:
            api.up()
        clock.advance(max(INTERVAL, CACHE_LIFETIME))
        askings.append((start + number * INTERVAL, exporter.scrape(agent.port)))
    agent.mark()  # the outage is logged
    exporter.stop()
    (folder / "history").write_text(open_metrics(askings), encoding="utf-8")
    end = askings[-1][0]
    prometheus = Prometheus(folder)
    promtool("tsdb", "create-blocks-from", "openmetrics", folder / "history", prometheus.data)
    with prometheus.running():
        promtool("tsdb", "create-blocks-from", "rules", f"--start={start}", f"--end={end}",
                 f"--eval-interval={INTERVAL}s", f"--url={prometheus.url}", f"--output-dir={prometheus.data}",
                 MONITORING / "rules" / "recording.yml")
    return prometheus, end


def promtool(*arguments: object) -> None:
    """Run it; it has to succeed."""
    done = subprocess.run(["promtool", *map(str, arguments)], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)
    assert done.returncode == 0, done.stdout


def points(prometheus: Prometheus, target: Dict[str, Any], end: float) -> List[Dict[float, float]]:
    """What Grafana would draw of a query over the whole history: for each series, the values by their times.

    The least step is the query's own, or else that of a data source that nobody has touched; $__rate_interval
    is four of them, unless the graph's points are further apart.
    """
    least = seconds(target.get("interval", "15s"))
    query = target["expr"].replace("$instance", INSTANCE).replace("$__rate_interval", f"{4 * least}s")
    start = end - (ASKINGS - 1) * INTERVAL
    found = prometheus.ask("query_range", query=query, start=start, end=end, step=least)["result"]
    return [{moment: float(value) for moment, value in each["values"]} for each in found]


def test_every_panel_is_full_at_the_shipped_interval(prometheus):
    server, end = prometheus
    empty = []
    for title, target in targets():
        drawn = points(server, target, end)
        most = max(map(len, drawn), default=0)
        # A rate needs two answers, and where the API was down there is nothing to draw.
        if most < ASKINGS - len(OUTAGE) - 2:
            empty.append((title, target["expr"], most))
    assert empty == []


def test_the_router_can_be_chosen_whatever_its_job_is_called(prometheus):
    server, end = prometheus
    (variable,) = [each for each in DASHBOARD["templating"]["list"] if each["name"] == "instance"]
    selector, label = re.fullmatch(r"label_values\((.*), (\w+)\)", variable["query"]["query"]).groups()
    found = server.ask("series", **{"match[]": selector, "start": end - 3600, "end": end})
    assert [each[label] for each in found] == [INSTANCE]


def test_an_outage_is_no_traffic_and_no_number(prometheus):
    """While the API is down, whatever reads 0 for want of it is absent, and no rate comes of its return."""
    server, end = prometheus
    start = end - (ASKINGS - 1) * INTERVAL
    for series in ("zan:serial_tx:total", "zan:serial_rx:total", "zan:router_uptime:seconds",
                   "zan:cellular_link_uptime:seconds", "zan:number:known", "zan:cellular_signal:dbm"):
        found = server.ask("query", query=f"{series}[1h]", time=end + INTERVAL)["result"]
        assert found
        for each in found:
            # The rules are looked at some seconds after the router was asked.
            known = {int((moment - start) // INTERVAL) for moment, _ in each["values"]}
            assert not known & set(OUTAGE), each["metric"]
            assert len(known) >= ASKINGS - len(OUTAGE) - 1, each["metric"]
    for metric in ("zan:serial_tx:total", "zan:serial_rx:total", "zanCellularInterfaceStatsRxBytes_ever",
                   "zanCellularInterfaceStatsTxBytes_ever"):
        (rates,) = points(server, {"expr": f"rate({metric}[$__rate_interval])", "interval": "1m"}, end)
        growth = 600 if "serial" in metric else 1200
        assert max(rates.values()) == pytest.approx(growth / INTERVAL, rel=0.01), metric


def test_each_query_has_the_interval_that_is_shipped():
    assert {target.get("interval") for _, target in targets()} == {f"{INTERVAL // 60}m"}


def test_the_dashboard_uses_no_other_data_source_and_no_variable_that_it_lacks():
    names = {each["name"] for each in DASHBOARD["templating"]["list"]} | {"__rate_interval"}
    text = json.dumps(DASHBOARD)
    assert set(re.findall(r"\$\{?(\w+)", text)) <= names
    assert set(re.findall(r'"uid": "([^"]*)"', text)) == {DASHBOARD["uid"], "${datasource}"}


def test_no_panel_of_the_dashboard_hides_another():
    assert len({panel["id"] for panel in DASHBOARD["panels"]}) == len(DASHBOARD["panels"])
    taken: Dict[Tuple[int, int], str] = {}
    for panel in DASHBOARD["panels"]:
        place = panel["gridPos"]
        assert place["x"] + place["w"] <= 24
        for x in range(place["x"], place["x"] + place["w"]):
            for y in range(place["y"], place["y"] + place["h"]):
                assert taken.setdefault((x, y), panel["title"]) is panel["title"]
