"""Zabbix's templates as files: fresh, whole and consistent. tests/managers has them in a real Zabbix."""

import re
import subprocess
import uuid
from collections import Counter
from typing import Any, Dict, Iterator, List, Set, Tuple

import pytest
import yaml

from mib_support import base_fixture, mib_file_fixture, mib_fixture  # noqa: F401
from monitoring_support import MONITORING

FOLDER = MONITORING / "zabbix"
FILES = ["zan-router-6.0.yaml", "zan-router-7.0.yaml"]
SUBSCRIBER = {"zanRadioMEIDorIMEI", "zanRadioIMSI", "zanRadioMSID", "zanRadioMDN"}


class Template:
    """What a file has."""
    def __init__(self, name: str) -> None:
        self.text = (FOLDER / name).read_text(encoding="utf-8")
        self.document = yaml.safe_load(self.text)["zabbix_export"]
        (self.template, ) = self.document["templates"]
        self.name = self.template["template"]
        self.rules: List[Dict[str, Any]] = self.template["discovery_rules"]
        self.items = {item["key"]: item for item in self.template["items"]}
        self.prototypes = {item["key"]: item for rule in self.rules for item in rule["item_prototypes"]}
        self.all_items = {**self.items, **self.prototypes}
        self.triggers = [
            *self.document["triggers"],
            *(trigger for rule in self.rules for trigger in rule.get("trigger_prototypes", []))]

    def steps(self) -> Iterator[Tuple[str, Dict[str, Any]]]:
        """Every step of preprocessing, with the key of what it belongs to."""
        for entry in [*self.all_items.values(), *self.rules]:
            for step in entry.get("preprocessing", []):
                yield entry["key"], step

    def formulas(self) -> Iterator[str]:
        """All that names items by their keys."""
        for trigger in self.triggers:
            yield trigger["expression"]
            yield trigger.get("recovery_expression", "")
        for item in self.items.values():
            yield item.get("params", "").replace("(//", f"(/{self.name}/")


@pytest.fixture(scope="module", params=FILES, name="template")
def template_fixture(request) -> Template:
    return Template(request.param)


def test_every_object_is_an_item_and_the_subscriber_is_not_asked_for(mib, template):
    positions = {table.columns[0].name for table in mib.tables}
    names = {rule["key"].split(".")[0]: rule for rule in template.rules}
    assert set(names) == {table.name[:-len("Table")] for table in mib.tables}
    objects = {each.name: each for each in (*mib.scalars, *mib.columns)}
    items = {key.replace("[{#NAME}]", ""): item for key, item in template.all_items.items()}
    # A row's name is part of its items' keys.
    row_names = {
        "zanDHCPServerLeasesIP", "zanStaticRoutesName", "zanGreTunnelsName", "zanIpsecTunnelsName",
        "zanOpenVpnTunnelsName", "zanRemoteSyslogDestAlias"}
    assert set(objects) - set(items) == positions | row_names | {"zanRadioTemperature"}
    assert {key for key, item in items.items() if item.get("status") == "DISABLED"} == SUBSCRIBER
    for name in set(objects) & set(items):
        oid = re.escape(".".join(map(str, objects[name].oid)))
        instance = r"\.0'" if objects[name] in mib.scalars else r"['\[]"
        assert re.search(f"'{oid}{instance}", str(items[name])), name


def test_every_identity_is_its_own_and_of_the_form_that_zabbix_wants(template):
    found = re.findall(r"uuid: '?([^'\n]*)'?$", template.text, re.M)
    assert len(found) > 150
    assert {
        identity for identity in found if not re.fullmatch(r"[0-9a-f]{32}", identity) or
        uuid.UUID(identity).version != 4 or uuid.UUID(identity).variant != uuid.RFC_4122} == set()
    assert [identity for identity, times in Counter(found).items() if times > 1] == []


def test_both_templates_are_the_same_but_for_how_they_ask():
    first, second = map(Template, FILES)
    walk = {"zan.walk"}
    assert set(first.all_items) == set(second.all_items) - walk
    for key, item in first.all_items.items():
        other = second.all_items[key]
        for member in ("uuid", "name", "value_type", "units", "description", "status", "valuemap", "tags"):
            assert item.get(member) == other.get(member), (key, member)
    assert first.triggers == second.triggers
    assert first.document["graphs"] == second.document["graphs"]


def test_what_refers_to_something_finds_it(template):
    keys = set(template.all_items)
    for formula in template.formulas():
        for key in re.findall(rf"\(/{re.escape(template.name)}/([\w.]+(?:\[[^\]]*\])?)", formula):
            assert key in keys, formula
    for entry in [*template.all_items.values(), *template.rules]:
        if entry["type"] == "DEPENDENT":
            assert entry["master_item"]["key"] in template.items, entry["key"]
    maps = {each["name"] for each in template.template["valuemaps"]}
    assert {item["valuemap"]["name"] for item in template.all_items.values() if "valuemap" in item} == maps
    triggers = {
        (each["name"], each["expression"], each.get("recovery_expression")) for each in template.triggers}
    for trigger in template.triggers:
        for dependency in trigger.get("dependencies", []):
            assert (dependency["name"], dependency["expression"],
                    dependency.get("recovery_expression")) in triggers
    graphs = {graph["name"]: graph for graph in template.document["graphs"]}
    assert {item["item"]["key"] for graph in graphs.values() for item in graph["graph_items"]} <= keys
    shown = [
        field["value"] for dashboard in template.template["dashboards"] for page in dashboard["pages"]
        for widget in page["widgets"] for field in widget["fields"] if isinstance(field["value"], dict)]
    assert {value["name"] for value in shown if "name" in value} == set(graphs)
    assert {value["key"] for value in shown if "key" in value} <= keys
    assert {value["host"] for value in shown} == {template.name}


def test_every_macro_that_is_used_is_there_and_the_other_way_round(template):
    defined = [each["macro"] for each in template.template["macros"]]
    macros = re.escape("macro: '{$")
    used = set(re.findall(r"\{\$[A-Z._0-9]+\}", re.sub(rf"{macros}.*", "", template.text)))
    assert set(defined) == used
    assert len(defined) == len(set(defined))


def test_all_problems_of_the_router_depend_on_its_api_and_that_on_the_agent(template):
    depends = {
        trigger["name"]: {each["name"] for each in trigger.get("dependencies", [])}
        for trigger in template.triggers}
    events = {name for name in depends if name.startswith("Event ")}
    assert len(events) == 11
    agent, api = "No SNMP data collection", "The management API is down"
    assert depends.pop(agent) == set()
    assert depends.pop(api) == {agent}
    assert all((api in parents) != (name in events) for name, parents in depends.items())


def matches(template: Template, key: str, text: str) -> str:
    """What the last regular expression of an item's preprocessing makes of a text; empty without a match."""
    (step, ) = [step for owner, step in template.steps() if owner == key and step["type"] == "REGEX"]
    pattern, output = step["parameters"]
    assert step["error_handler"] == "DISCARD_VALUE"
    found = re.search(pattern, text)
    return (found[1] if output == "\\1" else output) if found else ""


@pytest.mark.parametrize("key, text, value", [
    ("zanRadioRSSI", "-71dBm", "-71"), ("zanRadioRSSI", "-71.5dBm", "-71.5"), ("zanRadioRSSI", "Unknown", ""),
    ("zanRadioRSSI", "", ""), ("zanCellularInterfaceSignal", "-75 dBm", "-75"),
    ("zanCellularInterfaceSignal", "-75 dBm, fair", ""), ("zanWiFiInterfaceSignal", "-58", "-58"),
    ("zanWiFiInterfaceSignal", "-58 dBm", "-58"), ("zanWiFiInterfaceSignal", "70%", ""),
    ("zanWiFiInterfaceSignal", "70", ""),
    *((f"zanCellularInterfaceStatsTxBytes[{part}]",
       "current : 10487017, today : 12584169, total : 1932736540", value)
      for part, value in (("current", "10487017"), ("today", "12584169"), ("total", "1932736540"),
                          ("rate", "1932736540"))),
    ("zanCellularInterfaceStatsTxBytes[current]", "current : , today : 5, total : 9", ""),
    ("zanCellularInterfaceStatsTxBytes[current]", "current : 1.5e+10, today : 5, total : 9", "1.5e+10"),
    ("zanCellularInterfaceStatsTxBytes[total]", "Unknown", ""),
    ("zanCellularInterfaceStatsRxPkts[current]", "current : 87", "87"),
    *((f"zan.event[{number}]", text, str(number) if number == 1 else "")
      for number in (1, 11)
      for text in ("ZAN-SNMPEXT-MIB::zanEvent1", ".1.3.6.1.4.1.4711.14.1.2.1.1",
                   "enterprises.4711.14.1.2.1.0.1")), ("zan.event[11]", "event 11 (zanEvent11)", "11"),
    ("zan.event[1]", "event 11 (zanEvent11)", ""), ("zan.event[1]", "SNMPv2-MIB::coldStart", "")])
def test_texts_become_numbers(key, text, value, template):
    assert matches(template, key, text) == value


def scripts(template: Template) -> Dict[str, str]:
    """The scripts of preprocessing by the key that they belong to."""
    return {key: step["parameters"][0] for key, step in template.steps() if step["type"] == "JAVASCRIPT"}


def run_script(script: str, value: str) -> str:
    """What a script makes of a value, told by Node.js."""
    program = (
        f"const made = (function (value) {{{script}}})(process.argv[1]); process.stdout.write(String(made))")
    return subprocess.run(["node", "-e", program, "--", value], stdout=subprocess.PIPE, text=True,
                          check=True).stdout


@pytest.mark.parametrize("key, value, made", [
    ("zanSerialToIPTx", "-1", "4294967295"), ("zanSerialToIPTx", "7", "7"),
    ("zanWanManagerPriority[cellular]", "2, WiFi, enabled; 3, Cellular, enabled", "3"),
    ("zanWanManagerPriority[cellular]", "2, WiFi, enabled; 3, Cellular, disabled", "0"),
    ("zanWanManagerPriority[wifi]", "Unknown", "0"),
    ("zanWanManagerPriority[wifi]", "-1, WiFi, enabled", "-1"),
    ("zan.wan.preferred", "1, Cellular, disabled; 2, Unknown, enabled; 3, WiFi, enabled", "2"),
    ("zan.wan.preferred", "", "null"), ("zan.wan.preferred", ", WiFi, enabled", "null")])
def test_scripts_make_what_they_should(key, value, made, template):
    assert run_script(scripts(template)[key], value) == made


@pytest.mark.parametrize("text, made", [("plain", "plain"), ("", ""), ("C3", "C3"), ("41 42", "41 42"),
                                        ("C3 28", "C3 28"), ("47 65 62 C3 A4 75 64 65 ", "Gebäude"),
                                        ("C3 9C ", "Ü"), ("E2 98 8E \n41 ", "☎A")])
def test_codes_of_octets_become_the_text_that_they_are(text, made):
    assert run_script(scripts(Template(FILES[0]))["zanRouterModelId"], text) == made


def test_rows_are_known_by_names_that_they_have_alone(template):
    script = scripts(template)["zanIpsecTunnels.discovery"]
    rows = '[{"{#NAME}":"a"},{"{#NAME}":""},{"{#NAME}":"Unknown"},{"{#NAME}":"a"},{"{#NAME}":"constructor"}]'
    found: Set[str] = set(re.findall(r'"\{#LABEL\}":"(\w*)"', run_script(script, rows)))
    assert found == {"a", "constructor"}
    assert run_script(script, rows).count("{#NAME}") == 2
