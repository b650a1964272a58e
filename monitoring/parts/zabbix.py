"""Zabbix's templates, in the forms of two versions, and their description."""

import hashlib
import re
import uuid
from pathlib import Path
from typing import Any, Dict, List, Optional, Tuple

import yaml

from parts.zabbixmodel import (DECODE, DECODE_FUNCTION, FALSE, INVENTORY, MACROS, MACROS_OF_FIRST, TRUE,
                               UNIQUE_ROWS, UNKNOWN, Entry, Item, Model, Table, Trigger, model, step,
                               throttle)
from zanobjects import SUBSCRIBER, Managed

VERSIONS = ("6.0", "7.0")

TEMPLATE = "ZAN cellular router by SNMP"
#: The group of Zabbix's own templates for such devices, and the identity that it has in every Zabbix.
GROUP = ("Templates/Network devices", "36bff6c29af64692839d077febfc7079")

SWITCH_MAP = "ZAN switch"


def identity(*names: str) -> str:
    """A UUID that follows from names; Zabbix wants it to have the form of version 4."""
    digest = hashlib.sha256("\n".join((TEMPLATE, *names)).encode()).digest()
    return uuid.UUID(bytes=digest[:16], version=4).hex


def tags(**values: str) -> List[Entry]:
    """Tags by their names."""
    return [{"tag": tag, "value": value} for tag, value in values.items()]


def host_expression(expression: str) -> str:
    """An expression with the template's name in it."""
    return re.sub(r"\((?=/[a-zA-Z])/", f"(/{TEMPLATE}/", expression)


ABOUT = """\
Cellular routers whose SNMP agent has the module zansnmpext.
Made from ZAN-SNMPEXT-MIB; what it has and what can be changed is told in its README.md."""


class Writer:
    """Writes the model in the form of one version."""

    WALK = "zan.walk"

    def __init__(self, made: Model, version: str) -> None:
        self.model = made
        self.version = version
        self.is_first = version == "6.0"
        self.top = {trigger.name: trigger for trigger in made.triggers}

    def document(self) -> Entry:
        """The whole file."""
        template: Entry = {
            "uuid": identity("template"), "template": TEMPLATE, "name": TEMPLATE, "description": ABOUT}
        items = [self._item(item) for item in self.model.items]
        macros = {**MACROS, **MACROS_OF_FIRST} if self.is_first else MACROS
        if not self.is_first:
            template["vendor"] = {"name": "zansnmpext", "version": "7.0-0"}
            items.insert(0, self._walk())
        template.update(
            groups=[{"name": GROUP[0]}],
            items=items,
            discovery_rules=[self._rule(table) for table in self.model.tables],
            tags=tags(**{"class": "network", "target": "zan-router"}),
            macros=[{"macro": macro, "value": value, "description": meaning}
                    for macro, (meaning, value) in sorted(macros.items())],
            dashboards=[self._dashboard()],
            valuemaps=[{
                "uuid": identity("valuemap", SWITCH_MAP), "name": SWITCH_MAP,
                "mappings": [{"value": value, "newvalue": word}
                             for value, word in ((TRUE, "True"), (FALSE, "False"), (UNKNOWN, "Unknown"))]}])
        return {"zabbix_export": {
            "version": self.version,
            "groups" if self.is_first else "template_groups": [{"uuid": GROUP[1], "name": GROUP[0]}],
            "templates": [template],
            "triggers": [self._trigger(trigger, "trigger") for trigger in self.model.triggers],
            "graphs": [self._graph(name, keys) for name, keys in GRAPHS.items()]}}

    def _walk(self) -> Entry:
        return {
            "uuid": identity("item", self.WALK), "name": "SNMP walk of all objects", "type": "SNMP_AGENT",
            "snmp_oid": "walk[" + self.model.managed.oid("zanObjects") + "]", "key": self.WALK,
            "delay": "{$ZAN.INTERVAL}", "history": "0", "value_type": "TEXT",
            "description": "All that the router tells, in one walk that is not kept: each item takes its own "
                           "value out of it.",
            "timeout": "10s", "tags": tags(component="raw")}

    # --- items ---------------------------------------------------------------------------------------------

    def _item(self, item: Item, table: Optional[Table] = None) -> Entry:
        made: Entry = {"uuid": identity("item", item.key), "name": item.name}
        source, steps = self._source(item, table)
        made.update(source)
        made["key"] = item.key
        if "delay" not in made:
            made["delay"] = "0"
        if item.history:
            made["history"] = item.history
        if item.is_switch:
            made["trends"] = "0"
        if item.value in ("TEXT", "LOG") and self.is_first:
            made["trends"] = "0"
        if item.disabled:
            made["status"] = "DISABLED"
        made["value_type"] = item.value
        if item.units:
            made["units"] = item.units
        if item.formula:
            made["params"] = item.formula
        if item.description:
            made["description"] = item.description
        if item.key in INVENTORY:
            made["inventory_link"] = INVENTORY[item.key]
        if item.is_switch:
            made["valuemap"] = {"name": SWITCH_MAP}
        if steps:
            made["preprocessing"] = steps
        master = item.master or ("" if self.is_first or not item.object else self.WALK)
        if master:
            made["master_item"] = {"key": master}
        made["tags"] = tags(component=item.component, **({"row": "{#LABEL}"} if table else {}))
        return made

    def _source(self, item: Item, table: Optional[Table]) -> Tuple[Entry, List[Entry]]:
        """How the value is had, and all steps of its preprocessing."""
        if item.formula:
            return {"type": "CALCULATED", "delay": "{$ZAN.INTERVAL}"}, item.steps
        if item.type:
            delay = {"delay": "{$ZAN.INTERVAL}"} if item.type == "INTERNAL" else {}
            return {"type": item.type, **delay}, item.steps
        if item.master:
            return {"type": "DEPENDENT"}, item.steps
        if not self.is_first:
            taken = self._row_value(item.object.oid, table) if table else [
                step("SNMP_WALK_VALUE", item.object.oid, "1")]
            return {"type": "DEPENDENT"}, [*taken, *item.steps]
        oid, steps = item.object.oid, item.steps
        if table:
            oid = f'{oid}["index","{table.names}","{{#NAME}}"]'
            # A row that is gone has no value, and that is no error.
            steps = [step("CHECK_NOT_SUPPORTED", failed="discard"), *steps]
        if item.value == "TEXT":
            steps = [*steps, step("JAVASCRIPT", DECODE)]
        delay = "{$ZAN.SETTINGS.INTERVAL}" if item.settings else "{$ZAN.INTERVAL}"
        return {"type": "SNMP_AGENT", "snmp_oid": oid, "delay": delay}, steps

    @staticmethod
    def _row_value(oid: str, table: Table) -> List[Entry]:
        """The cell of the row of that name, wherever it is in the table now."""
        return [
            step("SNMP_WALK_TO_JSON", "name", table.names, "1", "value", oid, "1", failed="discard"),
            step("JSONPATH", '$[?(@.name=="{#NAME}")].value.first()', failed="discard")]

    def _rule(self, table: Table) -> Entry:
        stem = table.table.name[:-len("Table")]
        made: Entry = {"uuid": identity("rule", stem), "name": f"{table.kind} discovery"}
        if self.is_first:
            made.update(type="SNMP_AGENT", snmp_oid=f"discovery[{{#NAME}},{table.names}]",
                        key=f"{stem}.discovery", delay="{$ZAN.DISCOVERY.INTERVAL}")
            steps = [step("JAVASCRIPT", DECODE_FUNCTION + UNIQUE_ROWS)]
        else:
            made.update(type="DEPENDENT", key=f"{stem}.discovery", delay="0")
            steps = [
                step("SNMP_WALK_TO_JSON", "{#NAME}", table.names, "1", failed="[]"),
                step("JAVASCRIPT", UNIQUE_ROWS.replace("decoded(name)", "name")),
                throttle()]
        if table.macro:
            macro = f"ZAN.{table.macro}"
            made["filter"] = {"evaltype": "AND", "conditions": [
                {"macro": "{#NAME}", "value": f"{{${macro}.MATCHES}}", "formulaid": "A"},
                {"macro": "{#NAME}", "value": f"{{${macro}.NOT_MATCHES}}", "operator": "NOT_MATCHES_REGEX",
                 "formulaid": "B"}]}
        made["lifetime"] = "7d"
        if not self.is_first:
            made["enabled_lifetime_type"] = "DISABLE_NEVER"
        made["description"] = " ".join(table.table.description)
        made["item_prototypes"] = [self._item(item, table) for item in table.items]
        if table.triggers:
            made["trigger_prototypes"] = [self._trigger(trigger, "prototype") for trigger in table.triggers]
        if not self.is_first:
            made["master_item"] = {"key": self.WALK}
        made["preprocessing"] = steps
        return made

    # --- triggers, graphs, the dashboard -------------------------------------------------------------------

    def _trigger(self, trigger: Trigger, kind: str) -> Entry:
        # What the integrators call an event is no part of its identity.
        made: Entry = {"uuid": identity(kind, trigger.name.partition(" (")[0]),
                       "expression": host_expression(trigger.expression)}
        if trigger.recovery:
            made.update(recovery_mode="RECOVERY_EXPRESSION",
                        recovery_expression=host_expression(trigger.recovery))
        made["name"] = trigger.name
        if trigger.data:
            made["opdata"] = trigger.data
        made.update(priority=trigger.priority, description=trigger.description)
        if trigger.manual:
            made["manual_close"] = "YES"
        if trigger.depends:
            made["dependencies"] = [self._dependency(self.top[name]) for name in trigger.depends]
        made["tags"] = tags(scope=trigger.scope)
        return made

    @staticmethod
    def _dependency(trigger: Trigger) -> Entry:
        made = {"name": trigger.name, "expression": host_expression(trigger.expression)}
        if trigger.recovery:
            made["recovery_expression"] = host_expression(trigger.recovery)
        return made

    @staticmethod
    def _graph(name: str, keys: Tuple[str, ...]) -> Entry:
        return {"uuid": identity("graph", name), "name": name, "graph_items": [
            {"sortorder": str(place), "color": color, "item": {"host": TEMPLATE, "key": key}}
            for place, (key, color) in enumerate(zip(keys, COLORS))]}

    def _dashboard(self) -> Entry:
        widgets = [self._tile(title, place, key) for place, (title, key) in enumerate(TILES.items())]
        for place, name in enumerate(GRAPHS):
            widget = self._widget("GRAPH", name, (place % 2 * 12, 3 + place // 2 * 5), (12, 5), "graphid",
                                  {"host": TEMPLATE, "name": name})
            if self.is_first:
                widget["type"] = "GRAPH_CLASSIC"
            else:
                # By this the widgets of a page may listen to each other.
                reference = "ZANG" + chr(ord("A") + place)
                widget["fields"].append({"type": "STRING", "name": "reference", "value": reference})
            widgets.append(widget)
        return {"uuid": identity("dashboard"), "name": "Router", "pages": [{"widgets": widgets}]}

    def _tile(self, title: str, place: int, key: str) -> Entry:
        """A widget of one value and nothing else, as small as an uptime wants it."""
        tile = self._widget("ITEM", title, (place * 4, 0), (4, 3), "itemid", {"host": TEMPLATE, "key": key})
        settings = {"show" if self.is_first else "show.0": 2, "decimal_places": 0, "value_size": 14,
                    "units_size": 14}
        if self.is_first:
            settings["adv_conf"] = 1
        tile["fields"] += [{"type": "INTEGER", "name": name, "value": str(value)}
                           for name, value in settings.items()]
        return tile

    def _widget(self, kind: str, title: str, place: Tuple[int, int], size: Tuple[int, int], field_name: str,
                shown: Entry) -> Entry:
        """A widget that shows one thing, placed on a grid of 24 columns, of which later versions make 72."""
        scale = 1 if self.is_first else 3
        return {"type": kind if self.is_first else kind.lower(), "name": title, "x": str(place[0] * scale),
                "y": str(place[1]), "width": str(size[0] * scale), "height": str(size[1]),
                "fields": [{"type": kind, "name": field_name if self.is_first else f"{field_name}.0",
                            "value": shown}]}


GRAPHS = {
    "Cellular signal": ("zanCellularInterfaceSignal", "zanRadioRSSI"),
    "Cellular traffic": ("zanCellularInterfaceStatsRxBytes[rate]", "zanCellularInterfaceStatsTxBytes[rate]"),
    "Serial traffic": ("zanSerialToIPRx[rate]", "zanSerialToIPTx[rate]"),
    "Management API": ("zan.api.answered",)}

COLORS = ("1A7C11", "274482")

TILES = {
    "Model": "zanRouterModelId", "Firmware": "zanRouterFirmware", "Up for": "zanRouterUptime",
    "WAN in use": "zanWanManagerTransport", "Cellular link": "zanCellularInterfaceConnectionStatus",
    "Cellular signal": "zanCellularInterfaceSignal"}

# --- the description --------------------------------------------------------------------------------------

DESCRIPTION = Path(__file__).with_name("zabbix-readme.md")


def cell(text: str) -> str:
    """A text within a table's row."""
    return re.sub(r"\s*\n\s*", " ", text).replace("|", "\\|")


def rows_of(head: str, rows: List[Tuple[str, ...]]) -> str:
    """A table."""
    lines = [head, "|" + "---|" * head.count(" | ") + "---|"]
    return "\n".join([*lines, *("| " + " | ".join(map(cell, row)) + " |" for row in rows)])


def macro_rows(macros: Dict[str, Tuple[str, str]]) -> str:
    """The table of some macros."""
    return rows_of("| Name | Description | Default |", [
        (f"`{macro}`", meaning, f"`{value}`") for macro, (meaning, value) in macros.items()])


def item_rows(items: List[Item]) -> str:
    """The table of some items."""
    values = {"TEXT": "text", "LOG": "log"}
    return rows_of("| Name | Key | Value |", [
        (item.name + (" (disabled)" if item.disabled else ""), f"`{item.key}`",
         "switch" if item.is_switch else values.get(item.value) or item.units or "number") for item in items])


def trigger_rows(triggers: List[Trigger]) -> str:
    """The table of some triggers."""
    return rows_of("| Name | Severity | Description | Depends on |", [
        (trigger.name, trigger.priority.capitalize().replace("Info", "Information"), trigger.description,
         "; ".join(trigger.depends) or "nothing") for trigger in triggers])


def rule_text(table: Table) -> str:
    """What a rule discovers."""
    parts = [f"### {table.kind} discovery", cell(" ".join(table.table.description)),
             item_rows(table.items)]
    if table.triggers:
        parts.append(trigger_rows(table.triggers))
    return "\n\n".join(parts)


def readme(made: Model) -> str:
    """The description of the templates, in the order of Zabbix's own."""
    return DESCRIPTION.read_text(encoding="utf-8").format(
        template=TEMPLATE,
        subscriber=", ".join(f"`{name}`" for name in SUBSCRIBER),
        macros=macro_rows(MACROS), macros_of_first=macro_rows(MACROS_OF_FIRST),
        items=item_rows(made.items),
        triggers=trigger_rows(made.triggers),
        rules="\n\n".join(map(rule_text, made.tables)))


# --- files ------------------------------------------------------------------------------------------------


class Dumper(yaml.SafeDumper):
    """Texts of several lines as such, and no aliases."""
    def ignore_aliases(self, data: Any) -> bool:
        return True


def _text(dumper: yaml.SafeDumper, text: str) -> yaml.ScalarNode:
    return dumper.represent_scalar("tag:yaml.org,2002:str", text, "|" if "\n" in text else None)


Dumper.add_representer(str, _text)


def files(managed: Managed) -> Dict[str, str]:
    """The files of this part."""
    made = model(managed)
    # Zabbix's reader of YAML wants each quoted text on one line.
    templates = {
        f"zabbix/zan-router-{version}.yaml": yaml.dump(Writer(made, version).document(), Dumper=Dumper,
                                                       sort_keys=False, allow_unicode=True, width=1 << 20)
        for version in VERSIONS}
    return {**templates, "zabbix/README.md": readme(made)}
