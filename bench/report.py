#!/usr/bin/python3
"""Makes Markdown tables of the results of measure.py, and puts them into docs/performance.md."""

import argparse
import json
import os
import platform
import re
import statistics
import sys
from pathlib import Path
from typing import Any, Dict, List, NamedTuple

DOCUMENT = Path(__file__).resolve().parents[1] / "docs" / "performance.md"
BEGIN = "<!-- measured: written by scripts/bench -->\n"
END = "<!-- end of measured -->\n"

LIMIT, MODULE, PLAIN = "agent's own", "module", "plain build"
PLAIN_LIMIT = "agent's own, beside the plain build"
PYTHON, PERL, AGENTX = "pass_persist, Python", "pass_persist, Perl", "AgentX, C"
COMPARED = [MODULE, PLAIN, PYTHON, PERL, AGENTX]
SCRIPTS = [PYTHON, PERL]
RIVALS = [*SCRIPTS, AGENTX]

#: The loads in the order of the table, with their titles there.
LOADS = {
    "scalar": "warm scalar GET, one at a time",
    "scalar, 8 outstanding": "warm scalar GET, eight outstanding",
    "11 scalars": "11 warm scalars in one GET",
    "all groups": "60 warm scalars of all groups in one GET",
    "GETNEXT, 10 rows": "leases by GETNEXT, 10 rows",
    "GETNEXT, 100 rows": "leases by GETNEXT, 100 rows",
    "GETNEXT, 1000 rows": "leases by GETNEXT, 1000 rows",
    "GETBULK, 10 rows": "leases by GETBULK(25), 10 rows",
    "GETBULK, 100 rows": "leases by GETBULK(25), 100 rows",
    "GETBULK, 1000 rows": "leases by GETBULK(25), 1000 rows",
    "cold scalar": "cold scalar GET",
    "scalar, one processor": "warm scalar GET, all on one processor",
    "11 scalars, one processor": "11 warm scalars in one GET, all on one processor",
    "all groups, one processor": "60 warm scalars of all groups in one GET, all on one processor",
    "GETNEXT, 10 rows, one processor": "leases by GETNEXT, 10 rows, all on one processor",
    "GETNEXT, 100 rows, one processor": "leases by GETNEXT, 100 rows, all on one processor",
    "GETNEXT, 1000 rows, one processor": "leases by GETNEXT, 1000 rows, all on one processor",
}


class Goal(NamedTuple):
    """What the module was built to reach."""

    text: str
    measured: str
    met: bool


class Results:
    """What measure.py has written."""

    def __init__(self, data: Dict[str, Any]) -> None:
        self.data = data

    def has(self, load: str, contender: str) -> bool:
        """Whether the contender was measured with this load."""
        return contender in self.data["measures"][load]

    def values(self, load: str, contender: str, name: str) -> List[float]:
        """One figure of all rounds."""
        return [result[name] for result in self.data["measures"][load][contender]]

    def ratios(self, load: str, contender: str) -> List[float]:
        """The rates of a contender to the own objects of its agent in the same round."""
        limit = PLAIN_LIMIT if contender == PLAIN else LIMIT
        return [one / other for one, other in zip(self.values(load, contender, "variablesPerSecond"),
                                                  self.values(load, limit, "variablesPerSecond"))]

    def ratio(self, load: str, contender: str) -> float:
        """The ratio in the middle."""
        return statistics.median(self.ratios(load, contender))

    def lead(self, load: str, rival: str) -> float:
        """How many times a rival's ratio the module's is."""
        return self.ratio(load, MODULE) / self.ratio(load, rival)

    def rate(self, load: str, contender: str) -> float:
        """Variables per second."""
        return statistics.median(self.values(load, contender, "variablesPerSecond"))

    def latency(self, load: str, contender: str, part: str) -> float:
        """A percentile of the latency in microseconds."""
        return statistics.median(latency[part]
                                 for latency in self.values(load, contender, "latencyMicroseconds"))

    def processor(self, load: str, contender: str) -> float:
        """Processor seconds for 10,000 requests, of all processes that worked for them."""
        return (sum(self.values(load, contender, "processorSeconds")) /
                sum(self.values(load, contender, "requests")) * 10000)

    def ahead(self, load: str, rivals: List[str]) -> bool:
        """Whether the module is faster than all of these."""
        return all(self.lead(load, rival) > 1 for rival in rivals)


def short(value: float) -> str:
    """A ratio with two significant digits where two decimals would not show them."""
    return f"{value:.2f}" if value >= 0.1 else f"{value:.2g}"


def spread(values: List[float]) -> str:
    """The median and, in brackets, the quartiles."""
    low, middle, high = statistics.quantiles(values, n=4, method="inclusive")
    return f"{short(middle)} ({short(low)}-{short(high)})"


def table(head: List[str], rows: List[List[str]]) -> str:
    """A Markdown table whose first column is text."""
    lines = [head, ["---", *["---:"] * (len(head) - 1)], *rows]
    return "".join("| " + " | ".join(line) + " |\n" for line in lines)


def ratio_table(results: Results) -> str:
    """How fast everybody is."""
    rows = [[title, f"{results.rate(load, LIMIT):,.0f}/s",
             *(spread(results.ratios(load, contender)) if results.has(load, contender) else ""
               for contender in COMPARED)]
            for load, title in LOADS.items()]
    return table(["load", LIMIT, *COMPARED], rows)


def cost_table(results: Results) -> str:
    """What else it costs."""
    contenders = [LIMIT, *COMPARED]
    rows = []
    for load in ("scalar", "cold scalar"):
        for part in ("p50", "p99"):
            rows.append([f"{LOADS[load]}, {part} in µs",
                         *(f"{results.latency(load, contender, part):.0f}" for contender in contenders)])
    for load in ("scalar", "11 scalars", "GETNEXT, 100 rows", "GETBULK, 100 rows"):
        rows.append([f"{LOADS[load]}, processor seconds per 10,000 requests",
                     *(f"{results.processor(load, contender):.2f}" for contender in contenders)])
    for name, title in (("own", "memory of its own in MB, 1000 rows"),
                        ("all", "resident memory in MB, 1000 rows, shared libraries included")):
        rows.append([title, *(f"{results.data['memory'][contender][name]:.1f}"
                              if contender in results.data["memory"] else "" for contender in contenders)])
    return table(["", *contenders], rows)


def repetition_table(results: Results) -> str:
    """What the size of a GETBULK does."""
    rows = []
    cells = 400
    for bulk in (0, 10, 25, 50):
        load = f"{bulk} of 100 rows"
        requests = cells // max(bulk, 1)
        milliseconds = results.latency(load, MODULE, "p50") / 1000
        rows.append([f"GETBULK({bulk})" if bulk else "GETNEXT", str(requests), f"{milliseconds:.2f}",
                     f"{requests * milliseconds:.1f}"])
    return table(["requests", "how many", "ms for one (p50)", "ms for all"], rows)


def in_words(results: Results) -> str:
    """What the tables say, where the rest of the document speaks of it."""
    scalar, cold = (results.latency(load, MODULE, "p50") for load in ("scalar", "cold scalar"))
    lines = [
        f"A request for `sysName.0` takes {results.processor('scalar', LIMIT) * 100:.0f} µs of processor "
        f"time, one for a warm scalar {results.processor('scalar', MODULE) * 100:.0f} µs.",
        f"A cold GET takes {cold / scalar:.1f} times as long as a warm one."]
    for load in ("GETNEXT, 1000 rows", "GETNEXT, 1000 rows, one processor", "GETBULK, 100 rows",
                 "GETBULK, 1000 rows"):
        ahead = [rival for rival in RIVALS if results.lead(load, rival) < 1]
        lines.append(f"{LOADS[load]}: " + (f"{' and '.join(ahead)} overtake the module."
                                           if ahead else "nobody overtakes the module."))
    return "".join(f"- {line}\n" for line in lines)


def goals(results: Results) -> List[Goal]:
    """What was to be reached, and what was."""
    found = []
    scalar = results.ratio("scalar", MODULE)
    found.append(Goal("warm scalar GET: at least 0.80 of sysName.0", short(scalar), scalar >= 0.8))
    found.append(Goal("warm scalar GET: ahead of scripts and subagent",
                      versus(results, "scalar", RIVALS), results.ahead("scalar", RIVALS)))
    eleven = results.ratio("11 scalars", MODULE)
    found.append(Goal("11 scalars in one GET: at least 0.42 of sysName.0", short(eleven), eleven >= 0.42))
    eleven = results.ratio("11 scalars, one processor", MODULE)
    found.append(Goal("11 scalars in one GET, all on one processor: at least 0.60 of sysName.0",
                      short(eleven), eleven >= 0.6))
    found.append(Goal("11 scalars in one GET: ahead of scripts and subagent",
                      versus(results, "11 scalars", RIVALS), results.ahead("11 scalars", RIVALS)))
    for load in ("11 scalars, one processor", "all groups", "all groups, one processor"):
        found.append(Goal(f"{LOADS[load]}: ahead of the subagent", versus(results, load, [AGENTX]),
                          results.ahead(load, [AGENTX])))
    for kind in ("GETNEXT", "GETBULK"):
        for rows in (10, 100):
            load = f"{kind}, {rows} rows"
            found.append(Goal(f"{LOADS[load]}: ahead of scripts and subagent",
                              versus(results, load, RIVALS), results.ahead(load, RIVALS)))
    for load in ("GETNEXT, 1000 rows", "GETNEXT, 1000 rows, one processor", "GETBULK, 1000 rows"):
        lead = results.lead(load, PLAIN)
        found.append(Goal(f"{LOADS[load]}: at least ten times the plain build", f"{lead:.0f} times",
                          lead >= 10))
    memory, plain = results.data["memory"][MODULE], results.data["memory"][PLAIN]
    more = memory["all"] - plain["all"]
    found.append(Goal("resident memory with 1000 rows: under 6 MB above the plain build",
                      f"{more:+.1f} MB", more < 6))
    found.append(Goal("resident memory with 1000 rows: under 6 MB above an agent without a module",
                      f"{memory['all']:+.1f} MB, {memory['own']:.1f} of them its own", memory["all"] < 6))
    return found


def versus(results: Results, load: str, rivals: List[str]) -> str:
    """The module's rate to each of these."""
    return ", ".join(f"{results.lead(load, rival):.2f} × {rival}" for rival in rivals)


def goal_table(results: Results) -> str:
    """The goals as a table."""
    return table(["goal", "measured", "met"],
                 [[goal.text, goal.measured, "yes" if goal.met else "no"] for goal in goals(results)])


def machine() -> str:
    """What the run is made on, before it begins."""
    processors = re.findall(r"^model name\s*: (.*)$", Path("/proc/cpuinfo").read_text(encoding="utf-8"), re.M)
    release = Path("/etc/os-release").read_text(encoding="utf-8")
    system = dict(re.findall(r'^(\w+)="?([^"\n]*)', release, re.M))
    kind = processors[0] if processors else platform.machine()
    return f"{len(processors) or 1} × {kind}, {system.get('PRETTY_NAME', platform.system())}, " \
           f"Linux {platform.release()}, with a load of {os.getloadavg()[0]:.1f} before the run"


def render(results: Results) -> str:
    """All that is measured."""
    return "\n".join([
        f"Measured on {results.data['machine']}, in {results.data['rounds']} rounds.\n",
        "Objects per second, as ratios to the agent's own object in the same round: the median of all\n"
        "rounds and, in brackets, the quartiles.\n",
        ratio_table(results),
        "What it costs otherwise. The module's memory is what the agent has grown by; that of the others is\n"
        "that of their own processes.\n",
        cost_table(results),
        "The module's table of 100 leases (400 cells), walked in requests of different sizes:\n",
        repetition_table(results),
        "In words:\n",
        in_words(results),
        "What the module was to reach:\n",
        goal_table(results)])


def main() -> None:
    """Print the tables, and put them into the document when asked to."""
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("results", type=Path, help="the file that measure.py has written")
    parser.add_argument("--write", action="store_true", help=f"put the tables into {DOCUMENT.name}")
    arguments = parser.parse_args()
    text = render(Results(json.loads(arguments.results.read_text(encoding="ascii"))))
    print(text)
    if arguments.write:
        before, _, rest = DOCUMENT.read_text(encoding="utf-8").partition(BEGIN)
        _, found, after = rest.partition(END)
        if not found:
            sys.exit(f"{DOCUMENT} lacks the marks between which the tables belong")
        DOCUMENT.write_text(f"{before}{BEGIN}\n{text}\n{END}{after}", encoding="utf-8")


if __name__ == "__main__":
    main()
