"""What Zabbix's templates have, of whatever version.

What is told here is what this manager adds to the MIB: what is asked how often, what is a problem, and what
is shown.
"""

import re
from dataclasses import dataclass, field
from typing import Any, Dict, List, Optional, Tuple

import zanmib
import zanobjects
from zanobjects import SENTENCES, Form, Managed

#: Zabbix's severities for those of the integrators.
SEVERITIES = {"info": "INFO", "warning": "WARNING", "critical": "HIGH"}

#: The values of a switch.
TRUE, FALSE, UNKNOWN = "1", "0", "2"

Entry = Dict[str, Any]

# --- what this manager adds to the MIB ----------------------------------------------------------------------

#: Of each of nine queries of the API an object that reads "Unknown" only while its query fails.
ANSWERED = ("zanRemoteManagementEnabled", "zanWanManagerTransport", "zanEthernetInterfaceMAC",
            "zanWiFiInterfaceEnabled", "zanSerialToIPEnabled", "zanRouterSerialNumber",
            "zanDNSForwarderEnabled", "zanDHCPServerEnabled", "zanRemoteAccessDoSPreventEnabled")

#: Scalars that change by themselves; all others are settings, which version 6.0 asks for less often.
STATES = (*ANSWERED, "zanWanManagerPriority", "zanRadioRSSI", "zanRadioNetwork", "zanRadioService",
          "zanCellularInterfaceEnabled", "zanCellularInterfaceConnectionStatus", "zanCellularInterfaceUptime",
          "zanCellularInterfaceSignal", "zanCellularInterfaceRoaming", "zanCellularInterfaceTower",
          "zanCellularInterfaceIP", "zanCellularInterfaceStatsTxBytes", "zanCellularInterfaceStatsRxBytes",
          "zanCellularInterfaceStatsTxPkts", "zanCellularInterfaceStatsRxPkts",
          "zanWiFiInterfaceConnectionStatus", "zanWiFiInterfaceSignal", "zanWiFiInterfaceSSID",
          "zanWiFiInterfaceIP", "zanSerialToIPTx", "zanSerialToIPRx", "zanSerialToIPDCD", "zanRouterUptime")

#: What triggers look at over a time: every value is kept.
WATCHED = ("zanCellularInterfaceEnabled", "zanCellularInterfaceConnectionStatus",
           "zanCellularInterfaceRoaming", "zanWiFiInterfaceConnectionStatus",
           "zanRemoteAccessDoSPreventEnabled")

#: Counters that read 0 when they are not known. A count that fell to 0 and came back would be traffic.
COUNTERS = ("zanSerialToIPTx", "zanSerialToIPRx")

INVENTORY = {
    "zanRouterModelId": "MODEL", "zanRouterSerialNumber": "SERIALNO_A", "zanRouterFirmware": "OS",
    "zanEthernetInterfaceMAC": "MACADDRESS_A", "zanWiFiInterfaceMAC": "MACADDRESS_B"}

#: What a group of the MIB is called where that is not the words of its name.
GROUPS = {
    "zanWanManager": "WAN",
    "zanCellularInterface": "Cellular",
    "zanCellularInterfaceStats": "Cellular traffic",
    "zanEthernetInterface": "Ethernet",
    "zanWiFiInterface": "WiFi",
    "zanDdns": "Dynamic DNS",
    "zanRadius": "RADIUS"}

#: What a row is, and the macro for which names there are items, if there is one. Other tables are called by
#: the words of their names.
ROWS = {
    "zanDHCPServerLeasesTable": ("DHCP lease", "LEASE"),
    "zanStaticRoutesTable": ("Static route", ""),
    "zanGreTunnelsTable": ("GRE tunnel", "TUNNEL"),
    "zanIpsecTunnelsTable": ("IPsec tunnel", "TUNNEL"),
    "zanOpenVpnTunnelsTable": ("OpenVPN tunnel", "TUNNEL"),
    "zanRemoteSyslogDestTable": ("Remote syslog", "")}

#: Macros: what they are, and their values.
MACROS = {
    "{$SNMP.TIMEOUT}": ("How long a router may not answer before that is a problem.", "5m"),
    "{$ZAN.API.TIME}": ("How long the management API may not answer, as a whole or in part.", "2m"),
    "{$ZAN.EVENT.TIME}": ("How long an event of the router is shown as a problem.", "10m"),
    "{$ZAN.INTERVAL}": ("How often the router is asked; in 6.0 for what changes by itself.", "1m"),
    "{$ZAN.LEASE.MATCHES}": ("Addresses of DHCP leases that are discovered: a regular expression.", ".*"),
    "{$ZAN.LEASE.NOT_MATCHES}": ("Addresses of DHCP leases that are not discovered.", "CHANGE_IF_NEEDED"),
    "{$ZAN.LINK.DOWN.MATCHES}": (
        "The router's words for a cellular link that is down: a regular expression, in any case of letters.",
        "^(disconnected|not connected|down)$"),
    "{$ZAN.LINK.TIME}": ("How long the cellular link may be down.", "2m"),
    "{$ZAN.ROAMING.TIME}": ("How long the radio may roam.", "5m"),
    "{$ZAN.SIGNAL.HYSTERESIS}": ("By how many dB a weak signal has to be better before it is well.", "3"),
    "{$ZAN.SIGNAL.TIME}": ("How long the cellular signal may be weak, and has to be well.", "5m"),
    "{$ZAN.SIGNAL.WARN}": ("A cellular signal below this, in dBm, is weak.", "-100"),
    "{$ZAN.TUNNEL.MATCHES}": ("Names of tunnels that are discovered: a regular expression.", ".*"),
    "{$ZAN.TUNNEL.MEMORY}": ("A tunnel that has been disabled for so long is a spare one: no problem.", "1d"),
    "{$ZAN.TUNNEL.NOT_MATCHES}": ("Names of tunnels that are not discovered.", "CHANGE_IF_NEEDED"),
    "{$ZAN.UPTIME.MIN}": ("A router that has been up for less has been restarted.", "10m"),
    "{$ZAN.WAN.MEMORY}": ("For how long the best WAN link is remembered when it is gone.", "7d"),
    "{$ZAN.WAN.TIME}": ("How long a WAN link other than the best may be in use.", "2m"),
    "{$ZAN.WIFI.TIME}": ("How long the WiFi client's link may be down.", "5m")}

#: Macros of the template for 6.0 alone.
MACROS_OF_FIRST = {
    "{$ZAN.DISCOVERY.INTERVAL}": ("How often rows of tables are looked for.", "2m"),
    "{$ZAN.SETTINGS.INTERVAL}": ("How often the router is asked for its settings.", "5m")}

# --- the model --------------------------------------------------------------------------------------------


@dataclass
class Item:
    """An item or an item prototype; without an object it is of Zabbix's own making."""

    key: str
    name: str
    value: str  # FLOAT, UNSIGNED, TEXT, LOG
    component: str
    description: str = ""
    steps: List[Entry] = field(default_factory=list)
    object: Optional[zanobjects.Item] = None
    master: str = ""
    formula: str = ""
    type: str = ""  # of an item with neither an object nor a master nor a formula
    units: str = ""
    disabled: bool = False
    history: str = ""
    settings: bool = False
    is_switch: bool = False


@dataclass
class Trigger:
    """A trigger or a trigger prototype; an item's key is written /key in its expressions."""

    name: str
    expression: str
    priority: str
    scope: str
    description: str
    recovery: str = ""
    depends: Tuple[str, ...] = ()
    data: str = ""
    manual: bool = False


@dataclass
class Table:
    """A discovery rule: the MIB's table, and what each row becomes."""

    table: zanmib.Table
    kind: str  # what a row is
    macro: str  # of the filter, if there is one
    names: str  # the OID of the column that tells one row from another
    items: List[Item]
    triggers: List[Trigger]


@dataclass
class Model:
    """All that both templates have in common."""

    managed: Managed
    items: List[Item]
    tables: List[Table]
    triggers: List[Trigger]


def step(kind: str, *parameters: str, failed: str = "") -> Entry:
    """A step of preprocessing; what fails is an error, or is discarded, or is a value of ours."""
    made: Entry = {"type": kind, "parameters": list(parameters) or [""]}
    if failed:
        made["error_handler"] = "DISCARD_VALUE" if failed == "discard" else "CUSTOM_VALUE"
        if failed != "discard":
            made["error_handler_params"] = failed
    return made


def throttle() -> Entry:
    """A value that has not changed is kept once an hour."""
    return step("DISCARD_UNCHANGED_HEARTBEAT", "1h")


#: A text with an octet that is not printable comes from the library of version 6.0 as the codes of its
#: octets. They are a text again if they are UTF-8 with at least one character beyond ASCII; 7.0 does that
#: by itself.
DECODE_FUNCTION = """\
function decoded(text) {
    if (!/^([0-9A-F]{2}\\s+)*[89A-F][0-9A-F]\\s+([0-9A-F]{2}\\s*)*$/.test(text)) {
        return text;
    }
    try {
        return decodeURIComponent(text.trim().replace(/\\s*([0-9A-F]{2})\\s*/g, '%$1'));
    } catch (error) {
        return text;
    }
}
"""
DECODE = DECODE_FUNCTION + "return decoded(value);\n"

#: Rows without a name cannot be told from one another, and two of the same name are one: an item cannot
#: exist twice, and the router's own indexes are no lasting names.
UNIQUE_ROWS = """\
var seen = {};
return JSON.stringify(JSON.parse(value).filter(function (row) {
    var name = row['{#NAME}'];
    if (!name || name === 'Unknown' || seen['-' + name]) {
        return false;
    }
    seen['-' + name] = true;
    row['{#LABEL}'] = decoded(name);
    return true;
}));
"""

#: The number of the link of one kind that is available and enabled, or 0.
PRIORITY_OF = """\
var found = /(?:^|; )(-?\\d+), %s, enabled(?:;|$)/.exec(value);
return found ? found[1] : 0;
"""

#: The lowest number of all links that are available and enabled; none without one.
PREFERRED = """\
var found = /(?:^|; )(-?\\d+), [^,]*, enabled(?:;|$)/.exec(value);
return found ? found[1] : null;
"""

#: What is short in an object's name.
WORDS = {
    "auth": "authentication", "icmp": "ICMP", "id": "ID", "ip": "IP", "lan": "LAN", "pkts": "packets",
    "prev": "prevention", "prevent": "prevention", "rx": "received", "tx": "sent", "wan": "WAN"}

UNSIGN = "return Number(value) < 0 ? Number(value) + 4294967296 : value;\n"


def words(name: str) -> str:
    """The words of a part of an object's name, the first one with a capital."""
    split = re.findall(r"WiFi|DoS|HTTPs?|MEID|IMEI|[A-Z]+(?=[A-Z][a-z])|[A-Z]?[a-z]+|[A-Z]+", name)
    lower = [word if re.search(r"[A-Z].*[A-Z]", word) else word.lower() for word in split]
    text = " ".join(WORDS.get(word, word) for word in lower if word != "num")
    return text[:1].upper() + text[1:]


def group_of(mib: zanmib.Mib, oid: zanmib.Oid) -> Tuple[str, str]:
    """The group of the MIB that something is in, the innermost one: its name, and what it is called."""
    groups = [name for name, node in mib.nodes.items()
              if node == oid[:len(node)] and (node[:-1] == mib.objects or name in GROUPS)]
    name = max(groups, key=lambda group: len(mib.nodes[group]))
    return name, GROUPS.get(name) or words(name[len("zan"):])


def component(title: str) -> str:
    """The tag of the items of a group."""
    return title.lower().replace(" ", "-")


def value_of(item: zanobjects.Item) -> Tuple[str, str, List[Entry]]:
    """The kind of value, the unit and the preprocessing that follow from an object's form."""
    if item.form is Form.SWITCH:
        return "UNSIGNED", "", [step("BOOL_TO_DECIMAL", failed=UNKNOWN)]
    if item.form is Form.SENTENCE:
        sentences = {meaning: sentence for sentence, meaning in SENTENCES}
        return "UNSIGNED", "", [step("STR_REPLACE", sentences[True], "True"),
                                step("STR_REPLACE", sentences[False], "False"),
                                step("BOOL_TO_DECIMAL", failed=UNKNOWN)]
    if item.form is Form.DBM:
        pattern = WIFI_DBM if item.name == WIFI_SIGNAL else DBM
        return "FLOAT", "dBm", [step("REGEX", pattern, "\\1", failed="discard")]
    if item.form is Form.WRAPPED:
        return "UNSIGNED", "s" if item.units == "seconds" else "", [step("JAVASCRIPT", UNSIGN)]
    if item.form is Form.TICKS:
        return "FLOAT", "uptime" if item.name.endswith("Uptime") else "s", [step("MULTIPLIER", "0.01")]
    return ("FLOAT" if item.form is Form.NUMBER else "TEXT"), "", []


DBM = r"^(-?[0-9]+(?:\.[0-9]+)?) ?dBm$"

#: This signal has the unit only if the router's API gives it; a bare negative number is dBm as well, a
#: percentage is not.
WIFI_SIGNAL = "zanWiFiInterfaceSignal"
WIFI_DBM = r"^(-[0-9]+(?:\.[0-9]+)?)(?: ?dBm)?$"


def scalar_items(mib: zanmib.Mib, described: zanobjects.Item) -> List[Item]:
    """The item of a scalar, and those that are made of it."""
    name = described.name
    group, called = group_of(mib, mib.nodes[name])
    title = f"{called}: {words(name[len(group if name.startswith(group) else 'zan'):])}"
    value, units, steps = value_of(described)
    item = Item(name, title, value, component(called), "\n".join(described.description), steps, described,
                units=units, disabled=described.subscriber, settings=name not in STATES,
                is_switch=is_switch(described))
    if name in COUNTERS:
        steps.append(step("IN_RANGE", "1", "", failed="discard"))
        return [item, rate(item, title, "", [])]
    if name == "zanRouterUptime":
        steps.append(step("IN_RANGE", "0.01", "", failed="discard"))
    elif described.form in (Form.TRAFFIC, Form.PACKETS):
        item.history = "0"
        return [item, *traffic_items(item)]
    elif (value == "TEXT" or item.is_switch or item.settings) and name not in WATCHED:
        steps.append(throttle())
    return [item]


def is_switch(described: zanobjects.Item) -> bool:
    """Whether a value reads as one of three words."""
    return described.form in (Form.SWITCH, Form.SENTENCE)


def rate(base: Item, title: str, units: str, before: List[Entry]) -> Item:
    """How fast a counter counts."""
    return Item(f"{base.key}[rate]", f"{title}, per second", "FLOAT", base.component,
                "How much the count has grown, by the second.", [*before, step("CHANGE_PER_SECOND")],
                master=base.key, units=units)


def traffic_items(line: Item) -> List[Item]:
    """The counts of a line of traffic."""
    parts = {"current": "of the present connection"}
    unit = ""
    if line.object.form is Form.TRAFFIC:
        parts.update(today="of the present day", total="of all connections ever")
        unit = "B"
    items = [
        Item(f"{line.key}[{part}]", f"{line.name}, {part}", "FLOAT" if part == "current" else "UNSIGNED",
             line.component, f"The count {meaning}.",
             [step("REGEX", rf"(?:^|, ){part} : ([0-9.eE+]+)", "\\1", failed="discard")], master=line.key,
             units=unit) for part, meaning in parts.items()]
    items.append(rate(line, line.name, f"{unit}ps" if unit else "", items[-1].steps))
    return items


def own_items(managed: Managed) -> List[Item]:
    """Items that are no object's."""
    priority = "zanWanManagerPriority"
    events = f'snmptrap["{event_pattern(managed.mib, "[0-9]+")}"]'
    # A key's part, the name, the word in the priorities, and that in zanWanManagerTransport.
    kinds = (("cellular", "cellular", "Cellular", "Cellular"), ("wifi", "WiFi", "WiFi", "WiFi"),
             ("other", "other links", "Unknown", "None"))
    unknown = {name: UNKNOWN if name.endswith("Enabled") else '"Unknown"' for name in ANSWERED}
    answered = "\n+".join(f"(last(//{name})<>{word})" for name, word in unknown.items())
    in_use = "\n+".join(f'last(//{priority}[{kind}])*(last(//zanWanManagerTransport)="{transport}")'
                        for kind, _, _, transport in kinds)
    items = [
        Item("zabbix[host,snmp,available]", "SNMP agent availability", "UNSIGNED", "system",
             "Whether the router answers: 0 it does not, 1 it does, 2 it is not known.", type="INTERNAL"),
        Item("zan.api.answered", "API: Queries answered", "UNSIGNED", "system",
             "How many of nine queries of the router's management API are answered: for each, an object that "
             "reads Unknown only while its query fails. The other queries have no such object.",
             formula=answered),
        Item("zan.wan.preferred", "WAN: Best priority available", "FLOAT", "wan",
             "The lowest priority number of the links that are available and enabled.",
             [step("JAVASCRIPT", PREFERRED), throttle()], master=priority),
        Item("zan.wan.used", "WAN: Priority in use", "FLOAT", "wan",
             "The priority number of the link in use; 0 when there is none. A link that is neither cellular "
             "nor WiFi is in use when neither of the two is.", formula=in_use),
        Item(events, "Events", "LOG", "events",
             "The router's notifications, as snmptrapd's handler wrote them to the server's SNMPTrapperFile.",
             type="SNMP_TRAP")]
    items += [
        Item(f"{priority}[{kind}]", f"WAN: Priority of {title}", "FLOAT", "wan",
             "The priority number of the link, if it is available and enabled; else 0.",
             [step("JAVASCRIPT", PRIORITY_OF % word), throttle()], master=priority)
        for kind, title, word, _ in kinds]
    items += [
        Item(f"zan.event[{event.number}]", f"Event {event.number} ({event.name})", "UNSIGNED", "events",
             event.text, [step("REGEX", event_pattern(managed.mib, str(event.number)), str(event.number),
                               failed="discard")], master=events) for event in managed.events]
    return items


def event_pattern(mib: zanmib.Mib, number: str) -> str:
    """What a notification looks like in the text of a trap, by its name or by its OID of either version."""
    arc = r"\.".join(map(str, mib.notifications[0].oid[-5:-2]))
    return rf"zanEvent{number}\b|zanEventArc{number}\.0\.1\b|\.{arc}\.{number}\.(0\.)?1\b"


def table_of(managed: Managed, table: zanmib.Table, rows: zanobjects.Rows) -> Table:
    """A discovery rule. A row is told from another by the first of its texts."""
    stem = table.name[:-len("Table")]
    kind, macro = ROWS.get(table.name, (words(stem[len("zan"):]), ""))
    _, called = group_of(managed.mib, table.oid)
    name, *others = rows.labels
    items = []
    for described in (*others, *rows.values):
        value, units, steps = value_of(described)
        if value == "TEXT" or is_switch(described):
            steps.append(throttle())
        title = f"{kind} {{#LABEL}}: {words(described.name[len(stem):])}"
        items.append(Item(f"{described.name}[{{#NAME}}]", title, value, component(called),
                          "\n".join(described.description), steps, described, units=units,
                          is_switch=is_switch(described)))
    triggers = []
    if macro == "TUNNEL":
        key = f"{stem}Enabled[{{#NAME}}]"
        triggers.append(Trigger(
            f"{kind} {{#LABEL}} has been disabled",
            f'last(/{key})={FALSE} and count(/{key},{{$ZAN.TUNNEL.MEMORY}},"eq","{TRUE}")>0',
            "WARNING", "availability",
            "It was enabled within {$ZAN.TUNNEL.MEMORY}. One that is off for longer is a spare tunnel.",
            depends=("The management API is down",)))
    return Table(table, kind, macro, name.oid, items, triggers)


def triggers_of(managed: Managed) -> List[Trigger]:
    """The problems of a router."""
    api = ("The management API is down",)
    link, wifi = "zanCellularInterfaceConnectionStatus", "zanWiFiInterfaceConnectionStatus"
    enabled, uptime = "zanCellularInterfaceEnabled", "zanCellularInterfaceUptime"
    roaming, dos = "zanCellularInterfaceRoaming", "zanRemoteAccessDoSPreventEnabled"

    def weak(name: str, key: str, *depends: str) -> Trigger:
        return Trigger(
            name, f"max(/{key},{{$ZAN.SIGNAL.TIME}})<{{$ZAN.SIGNAL.WARN}}", "WARNING", "performance",
            "Below {$ZAN.SIGNAL.WARN} dBm links become slow and break. Look at the antenna and its cable, "
            "and at the tower.",
            recovery=f"min(/{key},{{$ZAN.SIGNAL.TIME}})>={{$ZAN.SIGNAL.WARN}}+{{$ZAN.SIGNAL.HYSTERESIS}}",
            depends=(*api, *depends), data="{ITEM.LASTVALUE1}")

    triggers = [
        Trigger(
            "No SNMP data collection", "max(/zabbix[host,snmp,available],{$SNMP.TIMEOUT})=0", "HIGH",
            "availability",
            "The router is off or cut off, its agent does not run, its management API hangs, or the server "
            "may not ask it."),
        Trigger("The management API is down", "max(/zan.api.answered,{$ZAN.API.TIME})=0", "HIGH",
                "availability",
                "The agent answers, but knows nothing: every text reads Unknown and every number 0.",
                depends=("No SNMP data collection",)),
        Trigger(
            "The management API answers in part",
            f"max(/zan.api.answered,{{$ZAN.API.TIME}})<{len(ANSWERED)} and last(/zan.api.answered)>0",
            "WARNING", "availability",
            f"Some of {len(ANSWERED)} queries are not answered as they should be; the objects of those read "
            "Unknown or 0. The agent's log says which.", depends=api, data="{ITEM.LASTVALUE1} answered"),
        weak("The cellular signal is weak", "zanCellularInterfaceSignal"),
        weak("The radio's signal is weak", "zanRadioRSSI", "The cellular signal is weak"),
        Trigger(
            "The radio is roaming",
            f"min(/{roaming},{{$ZAN.ROAMING.TIME}})={TRUE} and max(/{roaming},{{$ZAN.ROAMING.TIME}})={TRUE}",
            "WARNING", "notice",
            "The radio is in a network other than its home network, which may cost more.", depends=api),
        Trigger(
            "The cellular link is down",
            f"min(/{enabled},{{$ZAN.LINK.TIME}})={TRUE} and max(/{enabled},{{$ZAN.LINK.TIME}})={TRUE} and "
            f"(max(/{uptime},{{$ZAN.LINK.TIME}})=0 or count(/{link},{{$ZAN.LINK.TIME}})="
            f'count(/{link},{{$ZAN.LINK.TIME}},"iregexp","{{$ZAN.LINK.DOWN.MATCHES}}"))', "HIGH",
            "availability",
            "The cellular interface is enabled and has no connection: its uptime is 0, or its state is one "
            "of {$ZAN.LINK.DOWN.MATCHES}.", depends=api),
        # "Unknown": the client is switched off. Only "Connected" means that the link is up.
        Trigger(
            "The WiFi link is down", f'last(/{wifi})<>"Connected" and last(/{wifi})<>"Unknown" and '
            f'count(/{wifi},{{$ZAN.WIFI.TIME}},"regexp","^(Connected|Unknown)$")=0', "WARNING",
            "availability", "The WiFi client is enabled and not connected.", depends=api,
            data="{ITEM.LASTVALUE1}"),
        # A link that is lost leaves the router's list, so the best one is that of some days.
        Trigger("A backup WAN link is in use",
                "min(/zan.wan.used,{$ZAN.WAN.TIME})>min(/zan.wan.preferred,{$ZAN.WAN.MEMORY})", "WARNING",
                "availability",
                "A better link than the one in use has been available within {$ZAN.WAN.MEMORY}.", depends=api,
                data="priority {ITEM.LASTVALUE1}"),
        Trigger("DoS prevention is off", f"last(/{dos})={FALSE} and last(/{dos},#2)={FALSE}", "WARNING",
                "security", "The router does not defend itself against denial of service.", depends=api),
        Trigger("The router has been restarted", "last(/zanRouterUptime)<{$ZAN.UPTIME.MIN}", "INFO", "notice",
                "Its uptime is less than {$ZAN.UPTIME.MIN}.", depends=api, manual=True,
                data="{ITEM.LASTVALUE1}")]
    triggers += [
        Trigger(f"Event {event.number} ({event.name})",
                f"nodata(/zan.event[{event.number}],{{$ZAN.EVENT.TIME}})=0", SEVERITIES[event.severity],
                "notice", event.text, manual=True) for event in managed.events]
    return triggers


def model(managed: Managed) -> Model:
    """Everything, from the MIB."""
    items = own_items(managed)
    for described in managed.scalars:
        if described.form is not Form.NOTHING:
            items += scalar_items(managed.mib, described)
    # By their keys, numbers in these as such.
    items.sort(
        key=lambda item: [(not part.isdigit(), part.zfill(4)) for part in re.split(r"(\d+)", item.key)])
    tables = [table_of(managed, table, rows) for table, rows in zip(managed.mib.tables, managed.tables)]
    return Model(managed, items, tables, triggers_of(managed))
