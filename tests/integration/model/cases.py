"""Named cases of every group of scalars: what the API says, and what the object must read.

The expectations are written out by hand; the tests hold both the module and the model against them.
"""

from __future__ import annotations

from typing import Any, Dict, List, NamedTuple, Sequence, Tuple, Union

from .jsonvalue import Json, Number
from .tree import Failure, Result

MISSING = object()
FAILED = Failure("code 404")


class Case(NamedTuple):
    """One object with one result of its query."""

    name: str
    scalar: str
    result: Result
    expected: Union[bytes, int]


CASES: List[Case] = []


def _case(name: str, scalar: str, result: Result, expected: Union[str, bytes, int]) -> None:
    value = expected.encode() if isinstance(expected, str) else expected
    CASES.append(Case(f"{scalar}: {name}", scalar, result, value))


def _cases(scalar: str, *rows: Tuple[str, Result, Union[str, bytes, int]]) -> None:
    for name, result, expected in rows:
        _case(name, scalar, result, expected)


def _nest(path: Sequence[str], value: Any) -> Json:
    """{"a": {"b": value}} for the path a, b; a MISSING value leaves out the last member."""
    if not path:
        return value
    if len(path) == 1 and value is MISSING:
        return {}
    return {path[0]: _nest(path[1:], value)}


def _merged(one: Json, other: Json) -> Json:
    if not (isinstance(one, dict) and isinstance(other, dict)):
        return other
    merged: Dict[str, Json] = dict(one)
    for name, value in other.items():
        merged[name] = _merged(one[name], value) if name in one else value
    return merged


# What a member of each type reads as, for the three plain kinds of object.
_LONG = "x" * 1200
_AS_TEXT: Tuple[Tuple[str, Any, Union[str, bytes]], ...] = (
    ("a text", "text", "text"),
    ("an empty text", "", ""),
    ("a text with a zero byte", "a\x00b", "a\x00b"),
    ("a text in UTF-8", "Z\u00fcrich \u65e5\u672c \U0001f4f6", "Z\u00fcrich \u65e5\u672c \U0001f4f6"),
    ("a text of 1200 bytes", _LONG, _LONG),
    ("missing", MISSING, ""),
    ("null", None, ""),
    ("a number", 514, "514"),
    ("a negative number", -71, "-71"),
    ("the largest unsigned number", 2**64 - 1, "18446744073709551615"),
    ("a real", 1.5, "1.5"),
    ("a whole real", Number("99.0"), "99.0"),
    ("a real that no decimal fits", 0.1, "0.10000000000000001"),
    ("an integer beyond 64 bits", 2**64, "1.8446744073709552e+19"),
    ("true", True, "true"),
    ("false", False, "false"),
    ("an array", ["text"], "Unknown"),
    ("an empty array", [], "Unknown"),
    ("an object", {"text": "text"}, "Unknown"),
)
_AS_FLAG: Tuple[Tuple[str, Any, str], ...] = (
    ("true", True, "True"),
    ("false", False, "False"),
    ("missing", MISSING, "False"),
    ("null", None, "False"),
    ("1", 1, "True"),
    ("-1", -1, "True"),
    ("0", 0, "False"),
    ("a real", 0.5, "True"),
    ("a real of zero", 0.0, "False"),
    ("a text", "true", "Unknown"),
    ("an empty text", "", "Unknown"),
    ("an array", [], "Unknown"),
    ("an object", {}, "Unknown"),
)
# As INTEGER; a TimeTicks object differs for the values beyond 2147483647.
_AS_UNSIGNED: Tuple[Tuple[str, Any, int], ...] = (
    ("a number", 30, 30),
    ("missing", MISSING, 0),
    ("null", None, 0),
    ("2147483647", 2147483647, 2147483647),
    ("2147483648", 2147483648, -2147483648),
    ("4294967295", 4294967295, -1),
    ("4294967296", 4294967296, 0),
    ("-1", -1, 0),
    ("a real", 7.9, 7),
    ("a real beyond 32 bits", 4294967295.5, 0),
    ("true", True, 1),
    ("a text of digits", "30", 0),
    ("an array", [30], 0),
    ("an object", {"value": 30}, 0),
)


def _plain(kinds: Sequence[Tuple[str, Any, Any]], scalar: str, *path: str, beside: Json = None) -> None:
    """The member at a path in every type, a wrong container in place of each level, and a failed query."""
    beside = {} if beside is None else beside
    fallback: Union[str, int] = 0 if kinds is _AS_UNSIGNED else "Unknown"
    absent = next(expected for name, _, expected in kinds if name == "missing")
    for name, value, expected in kinds:
        if path or value is not MISSING:
            _case(name, scalar, _merged(beside, _nest(path, value)), expected)
    for depth in range(1, len(path)):
        holder = "/".join(path[:depth])
        _case(f"no {holder}", scalar, _merged(beside, _nest(path[:depth], MISSING)), absent)
        for name, container in (("null", None), ("a text", "text"), ("a number", 5), ("an array", [])):
            expected = absent if container is None else fallback
            _case(f"{holder} is {name}", scalar, _merged(beside, _nest(path[:depth], container)), expected)
    _case("failed query", scalar, FAILED, fallback)


# --- remote management and router ---

_plain(_AS_FLAG, "zanRemoteManagementEnabled")
_plain(_AS_TEXT, "zanRouterModelId", "system", "productId")
_plain(_AS_TEXT, "zanRouterSerialNumber", "system", "deviceId")
_plain(_AS_TEXT, "zanRouterFirmware", "system", "firmware")


def _uptime(text: Any) -> Json:
    return _nest(("system", "uptime"), text)


_cases(
    "zanRouterUptime",
    ("a text with a fraction", _uptime("12345.67"), 1234567),
    ("letters only", _uptime("unknown"), 0),
    ("an empty text", _uptime(""), 0),
    ("missing", _uptime(MISSING), 0),
    ("trailing text", _uptime("42 seconds"), 4200),
    ("leading blanks", _uptime(" \t\n\v\f\r7.25"), 725),
    ("a zero byte ends the number", _uptime("12\x0034"), 1200),
    ("a number instead of a text", _uptime(12345.67), 1234567),
    ("an array", _uptime(["1"]), 0),
    ("a boolean", _uptime(True), 0),
    ("just beyond the last exact hundredth", _uptime("167772.15"), 16777216),
    ("steps of two beyond 2^24 hundredths", _uptime("167772.17"), 16777218),
    ("a year saturates", _uptime("31536000"), 2147483647),
    ("infinite", _uptime("inf"), 2147483647),
    ("the product is infinite", _uptime("1e37"), 2147483647),
    ("out of the float's range", _uptime("1e39"), 0),
    ("not a number", _uptime("nan"), 0),
    ("hexadecimal", _uptime("0x1p4"), 1600),
    ("negative", _uptime("-5"), 2**32 - 500),
    ("failed query", FAILED, 0))

# --- WAN manager ---


def _wans(*info: Json, priorities: Any = MISSING) -> Json:
    result: Dict[str, Json] = {"waninfo": {"wans": list(info)}}
    if priorities is not MISSING:
        result["wanmngr"] = {"wans": [{"priority": priority} for priority in priorities]}
    return result


def _link(interface: Any, **flags: Any) -> Json:
    return {"interface": interface, **flags}


_FOUR_LINKS = (_link("eth0", available=True, enabled=True), _link("ppp0", available=True, enabled=True),
               _link("wlan0", available=True, enabled=False), _link("wlan1", available=False, enabled=True))
_UP = {"available": True, "enabled": True}

_cases(
    "zanWanManagerTransport",
    ("the modem is current", _wans(_link("eth0"), _link("ppp0", current=True)), "Cellular"),
    ("the wireless link is current", _wans(_link("wlan0", current=True)), "WiFi"),
    ("the first match in list order wins", _wans(_link("wlan0", current=True), _link("ppp0", current=True)),
     "WiFi"),
    ("only a wired link is current", _wans(_link("eth0", current=True), _link("ppp0")), "None"),
    ("a current wired link is passed over", _wans(_link("eth0", current=1), _link("ppp0", current=True)),
     "Cellular"),
    ("no list", {"waninfo": {}}, "None"),
    ("no waninfo", {}, "None"),
    ("null waninfo", {"waninfo": None}, "None"),
    ("an empty list", _wans(), "None"),
    ("a null entry", _wans(None), "None"),
    ("a current entry without interface", _wans({"current": True}), "None"),
    ("another case", _wans(_link("PPP0", current=True)), "None"),
    ("a zero byte behind the name", _wans(_link("ppp0\x00", current=True)), "None"),
    ("a text as current", _wans(_link("ppp0", current="true")), "Unknown"),
    ("an array as current", _wans(_link("ppp0", current=[])), "Unknown"),
    ("an object as current", _wans(_link("ppp0", current={})), "Unknown"),
    ("a bad entry behind the match does not matter",
     _wans(_link("ppp0", current=True), _link(1, current="x")),
     "Cellular"),
    ("the interface of a link not in use is not read", _wans(_link([], current=False)), "None"),
    ("an array as the interface of the current link", _wans(_link([], current=True)), "Unknown"),
    ("an entry that is a text", _wans("ppp0"), "Unknown"),
    ("waninfo is a text", {"waninfo": "text"}, "Unknown"),
    ("an array as result", [], "Unknown"),
    ("failed query", FAILED, "Unknown"))
_cases(
    "zanWanManagerPriority",
    ("three links of four", _wans(*_FOUR_LINKS, priorities=(2, 1, 3, 4)),
     "1, Cellular, enabled; 2, Unknown, enabled; 3, WiFi, disabled"),
    ("equal priority: only the later one",
     _wans(_link("ppp0", **_UP), _link("wlan0", **_UP), priorities=(1, 1)),
     "1, WiFi, enabled"),
    ("no priority for the last link", _wans(_link("wlan0", **_UP), _link("ppp0", **_UP), priorities=(1,)),
     ", Cellular, enabled; 1, WiFi, enabled"),
    ("no priorities at all", _wans(_link("ppp0", **_UP), _link("wlan0", **_UP)), ", WiFi, enabled"),
    ("more priorities than links", _wans(_link("ppp0", **_UP), priorities=(5, 6, 7)), "5, Cellular, enabled"),
    ("negative before zero", _wans(_link("ppp0", **_UP), _link("wlan0", **_UP), priorities=(0, -1)),
     "-1, WiFi, enabled; 0, Cellular, enabled"),
    ("ordered as numbers", _wans(_link("ppp0", **_UP), _link("wlan0", **_UP), priorities=(10, 9)),
     "9, WiFi, enabled; 10, Cellular, enabled"),
    ("no known interface", _wans(_link("eth0", **_UP), _link("eth1", **_UP), priorities=(1, 2)),
     "1, Unknown, enabled; 2, Unknown, enabled"),
    ("no interface", _wans(dict(_UP), priorities=(1,)), "1, Unknown, enabled"),
    ("available and enabled as numbers", _wans(_link("ppp0", available=1, enabled=0), priorities=(1,)),
     "1, Cellular, disabled"),
    ("enabled missing", _wans(_link("ppp0", available=True), priorities=(1,)), "1, Cellular, disabled"),
    ("a real as priority", _wans(_link("ppp0", **_UP), _link("wlan0", **_UP), priorities=(1.5, 1)),
     "1, WiFi, enabled"),
    ("a real's text", _wans(_link("ppp0", **_UP), priorities=(1.5,)), "1.5, Cellular, enabled"),
    ("none available", _wans(_link("ppp0", available=False), priorities=(1,)), ""),
    ("no waninfo", {"wanmngr": {"wans": []}}, ""),
    ("null list", {"waninfo": {"wans": None}}, ""),
    ("a text as priority", _wans(_link("ppp0", **_UP), priorities=("1",)), "Unknown"),
    ("a priority beyond 32 bits", _wans(_link("ppp0", **_UP), priorities=(2147483648,)), "Unknown"),
    ("the lowest priority", _wans(_link("ppp0", **_UP), priorities=(-2147483648,)),
     "-2147483648, Cellular, enabled"),
    ("the priority of an unavailable link is not read",
     _wans(_link("ppp0", available=False), _link("wlan0", **_UP), priorities=("x", 1)), "1, WiFi, enabled"),
    ("a text as available", _wans(_link("ppp0", available="yes"), priorities=(1,)), "Unknown"),
    ("a text as enabled of an available link",
     _wans(_link("ppp0", available=True, enabled="yes"), priorities=(1,)),
     "Unknown"),
    ("a text as enabled of an unavailable link",
     _wans(_link("ppp0", available=False, enabled="yes"), priorities=(1,)), ""),
    ("an object as list", {"waninfo": {"wans": {"0": _link("ppp0", **_UP)}}}, "Unknown"),
    ("wanmngr is a text", {"waninfo": {"wans": []}, "wanmngr": "text"}, "Unknown"),
    ("the list of priorities is an object", {"waninfo": {"wans": [_link("ppp0", **_UP)]},
                                             "wanmngr": {"wans": {"0": {"priority": 1}}}}, "Unknown"),
    ("failed query", FAILED, "Unknown"))

# --- radio ---

_MODEM: Json = {"system_capabilities": {"cell": True}}
_NO_MODEM: Tuple[Tuple[str, Json], ...] = (
    ("no capabilities", {}), ("null capabilities", {"system_capabilities": None}),
    ("cell missing", {"system_capabilities": {}}), ("cell null", {"system_capabilities": {"cell": None}}),
    ("cell false", {"system_capabilities": {"cell": False}}),
    ("cell 0", {"system_capabilities": {"cell": 0}}),
    ("cell a text", {"system_capabilities": {"cell": "true"}}),
    ("cell an array", {"system_capabilities": {"cell": [True]}}),
    ("cell an object", {"system_capabilities": {"cell": {}}}),
    ("capabilities a text", {"system_capabilities": "cell"}))


def _without_modem(scalar: str, value: Any, *path: str) -> None:
    """A complete answer of a router without a modem."""
    for name, capabilities in _NO_MODEM:
        expected = 0 if isinstance(value, int) else "Unknown"
        _case(name, scalar, _merged(capabilities, _nest(path, value)), expected)


for _name, _key in (("Type", "type"), ("IMSI", "imsi"), ("Firmware", "firmware"), ("Network", "network"),
                    ("Service", "service"), ("HomeNetwork", "carrier"), ("MSID", "msid"), ("MDN", "mdn")):
    _plain(_AS_TEXT, f"zanRadio{_name}", "stats_radio", _key, beside=_MODEM)
    _without_modem(f"zanRadio{_name}", "text", "stats_radio", _key)
_without_modem("zanRadioMEIDorIMEI", "1", "stats_radio", "imei")
_without_modem("zanRadioRSSI", "1", "stats_radio", "rssidBm")
_case("a modem given as a number", "zanRadioType",
      {"system_capabilities": {"cell": 1}, "stats_radio": {"type": "LTE"}}, "LTE")


def _radio(**members: Any) -> Json:
    return {**_MODEM, "stats_radio": members}


_cases(
    "zanRadioMEIDorIMEI",
    ("CDMA", _radio(type="CDMA", meid="meid", imei="imei"), "meid"),
    ("another type", _radio(type="LTE", meid="meid", imei="imei"), "imei"),
    ("no type", _radio(meid="meid", imei="imei"), "imei"),
    ("an empty type", _radio(type="", meid="meid", imei="imei"), "imei"),
    ("cdma in lower case", _radio(type="cdma", meid="meid", imei="imei"), "imei"),
    ("CDMA and a blank", _radio(type="CDMA ", meid="meid", imei="imei"), "imei"),
    ("CDMA without meid", _radio(type="CDMA", imei="imei"), ""),
    ("another type without imei", _radio(type="LTE", meid="meid"), ""),
    ("the number not asked for may be of any type", _radio(type="CDMA", meid="meid", imei=[]), "meid"),
    ("an array as type", _radio(type=[], imei="imei"), "Unknown"),
    ("a meid as object", _radio(type="CDMA", meid={}), "Unknown"),
    ("failed query", FAILED, "Unknown"))
_cases(
    "zanRadioRSSI",
    ("a text", _radio(rssidBm="-71"), "-71dBm"),
    ("a number", _radio(rssidBm=-71), "-71dBm"),
    ("missing", _radio(), ""),
    ("null", _radio(rssidBm=None), ""),
    ("empty", _radio(rssidBm=""), ""),
    ("an array", _radio(rssidBm=[]), "Unknown"),
    ("failed query", FAILED, "Unknown"))
_cases(
    "zanRadioTemperature",
    ("has no source", None, "Unknown"))

# --- cellular interface ---

for _name, *_path in (("ConnectionStatus", "stats_ppp", "link"), ("APN", "ppp", "modem", "apnString"),
                      ("Tower", "stats_ppp", "tower"), ("IP", "stats_ppp", "localIp"),
                      ("Mode", "ppp", "protocol"),
                      ("KeepAliveCheckHostname", "ppp", "keepAlive", "hostname")):
    _plain(_AS_TEXT, f"zanCellularInterface{_name}", *_path, beside=_MODEM)
    _without_modem(f"zanCellularInterface{_name}", "text", *_path)
for _name, *_path in (("Enabled", "ppp", "enabled"), ("Roaming", "stats_ppp", "roaming"),
                      ("KeepAliveCheckEnabled", "ppp", "keepAlive", "enabled"),
                      ("WakeUpOnCallEnabled", "ppp", "wakeUpOnCall", "enabled"),
                      ("WakeUpOnCallOnRing", "ppp", "wakeUpOnCall", "onRing"),
                      ("WakeUpOnCallerId", "ppp", "wakeUpOnCall", "onCallerId"),
                      ("WakeUpOnSMS", "ppp", "wakeUpOnCall", "onSms")):
    _plain(_AS_FLAG, f"zanCellularInterface{_name}", *_path, beside=_MODEM)
    _without_modem(f"zanCellularInterface{_name}", "text", *_path)
_plain(_AS_UNSIGNED, "zanCellularInterfaceKeepAliveCheckInterval", "ppp", "keepAlive", "pingInterval",
       beside=_MODEM)
_without_modem("zanCellularInterfaceKeepAliveCheckInterval", 30, "ppp", "keepAlive", "pingInterval")
_without_modem("zanCellularInterfaceUptime", 30, "stats_ppp", "uptime")
_without_modem("zanCellularInterfaceSignal", "-75", "stats_ppp", "rssiDbm")
_without_modem("zanCellularInterfaceDNS", "x", "stats_ppp", "dnsServers")


def _live(**members: Any) -> Json:
    return {**_MODEM, "stats_ppp": members}


_cases(
    "zanCellularInterfaceUptime",
    ("an hour", _live(uptime=3600), 360000),
    ("the last second before the wrap", _live(uptime=42949672), 4294967200),
    ("wraps past 32 bits", _live(uptime=42949673), 4),
    ("the largest", _live(uptime=4294967295), 4294967196),
    ("beyond 32 bits", _live(uptime=4294967296), 0),
    ("missing", _live(), 0),
    ("negative", _live(uptime=-1), 0),
    ("a text", _live(uptime="3600"), 0),
    ("a real is cut before it is multiplied", _live(uptime=1.99), 100),
    ("no stats_ppp", _MODEM, 0),
    ("failed query", FAILED, 0))
_cases(
    "zanCellularInterfaceSignal",
    ("a level", _live(rssi="20", rssiDbm="-75"), "-75 dBm"),
    ("a level as number", _live(rssi=20, rssiDbm=-75), "-75 dBm"),
    ("99 wins over the level", _live(rssi="99", rssiDbm="-113"), ""),
    ("99 as number", _live(rssi=99, rssiDbm="-113"), ""),
    ("99 as real is not 99", _live(rssi=99.0, rssiDbm="-113"), "-113 dBm"),
    ("no level", _live(rssi="20"), ""),
    ("an empty level", _live(rssi="20", rssiDbm=""), ""),
    ("no quality", _live(rssiDbm="-75"), "-75 dBm"),
    ("an array as quality", _live(rssi=[], rssiDbm="-75"), "Unknown"),
    ("both are read before any test", _live(rssi="99", rssiDbm=[]), "Unknown"),
    ("nothing", _live(), ""),
    ("failed query", FAILED, "Unknown"))
_cases(
    "zanCellularInterfaceDNS",
    ("two servers", _live(dnsServers=["10.0.0.1", "10.0.0.2"]), "10.0.0.1, 10.0.0.2"),
    ("one server", _live(dnsServers=["8.8.8.8"]), "8.8.8.8"),
    ("an empty list", _live(dnsServers=[]), ""),
    ("missing", _live(), ""),
    ("null", _live(dnsServers=None), ""),
    ("a text is no list", _live(dnsServers="8.8.8.8"), ""),
    ("a number is no list", _live(dnsServers=8), ""),
    ("empty elements are listed", _live(dnsServers=["", "10.0.0.1", None, ""]), ", 10.0.0.1, , "),
    ("numbers and booleans", _live(dnsServers=[1, True, 2.5]), "1, true, 2.5"),
    ("an array among the elements", _live(dnsServers=["10.0.0.1", []]), "Unknown"),
    ("an object among the elements", _live(dnsServers=[{}, "10.0.0.1"]), "Unknown"),
    ("failed query", FAILED, "Unknown"))

# --- cellular traffic ---

_TRAFFIC: Json = {**_MODEM, "stats_ppp": {"tx": {"bytes": 10240, "packets": 87},
                                          "rx": {"bytes": "20480", "packets": 90}},
                  "stats_pppTotal": {"todayTx": 1048576, "totalTx": 73400320, "todayRx": 2097152,
                                     "totalRx": 146800640}}


def _traffic(direction: str, connection: Any, **totals: Any) -> Json:
    live = {} if connection is MISSING else {direction: connection}
    suffix = direction.capitalize()
    return {**_MODEM, "stats_ppp": live,
            "stats_pppTotal": {period + suffix: value for period, value in totals.items()}}


_case("all counters", "zanCellularInterfaceStatsTxBytes", _TRAFFIC,
      "current : 10240, today : 1048576, total : 73400320")
_case("all counters", "zanCellularInterfaceStatsRxBytes", _TRAFFIC,
      "current : 20480, today : 2097152, total : 146800640")
_case("all counters", "zanCellularInterfaceStatsTxPkts", _TRAFFIC, "current : 87")
_case("all counters", "zanCellularInterfaceStatsRxPkts", _TRAFFIC, "current : 90")
for _direction in ("tx", "rx"):
    _bytes = f"zanCellularInterfaceStats{_direction.capitalize()}Bytes"
    _packets = f"zanCellularInterfaceStats{_direction.capitalize()}Pkts"
    _without_modem(_bytes, "x", "stats_ppp", _direction)
    _without_modem(_packets, "x", "stats_ppp", _direction)
    _cases(
        _bytes,
        ("no connection", _traffic(_direction, MISSING, today=5, total=9),
         "current : 0, today : 5, total : 9"),
        ("a connection without counters", _traffic(_direction, {}, today=5, total=9),
         "current : , today : 5, total : 9"),
        ("a null connection counts as present", _traffic(_direction, None, today=5, total=9),
         "current : , today : 5, total : 9"),
        ("no stats_ppp", {**_MODEM, "stats_pppTotal": {}}, "current : 0, today : 0, total : 0"),
        ("null stats_ppp", {**_MODEM, "stats_ppp": None}, "current : 0, today : 0, total : 0"),
        ("no totals", {**_MODEM, "stats_ppp": {_direction: {"bytes": 1}}},
         "current : 1, today : 0, total : 0"),
        ("null totals", {**_MODEM, "stats_pppTotal": None}, "current : 0, today : 0, total : 0"),
        ("totals beyond 32 bits", _traffic(_direction, MISSING, total=5000000000),
         "current : 0, today : 0, total : 5000000000"),
        ("the largest total", _traffic(_direction, MISSING, total=2**64 - 1),
         "current : 0, today : 0, total : 18446744073709551615"),
        ("a real today", _traffic(_direction, MISSING, today=1.5), "current : 0, today : 1, total : 0"),
        ("a real of the connection", _traffic(_direction, {"bytes": 10240.0}),
         "current : 10240.0, today : 0, total : 0"),
        ("a text of the connection", _traffic(_direction, {"bytes": "many"}),
         "current : many, today : 0, total : 0"),
        ("a negative total", _traffic(_direction, MISSING, total=-1), "Unknown"),
        ("a text as today", _traffic(_direction, MISSING, today="5"), "Unknown"),
        ("an array as today", _traffic(_direction, MISSING, today=[]), "Unknown"),
        ("an array of bytes", _traffic(_direction, {"bytes": []}), "Unknown"),
        ("stats_ppp is a number", {**_MODEM, "stats_ppp": 5}, "Unknown"),
        ("stats_ppp is an array", {**_MODEM, "stats_ppp": []}, "Unknown"),
        ("the connection is a text", _traffic(_direction, "x"), "Unknown"),
        ("the connection is an array", _traffic(_direction, []), "Unknown"),
        ("totals are a text", {**_MODEM, "stats_pppTotal": "x"}, "Unknown"),
        ("failed query", FAILED, "Unknown"))
    _cases(
        _packets,
        ("no connection", _traffic(_direction, MISSING), "current : 0"),
        ("a connection without counters", _traffic(_direction, {}), "current : "),
        ("a null connection counts as present", _traffic(_direction, None), "current : "),
        ("no stats_ppp", _MODEM, "current : 0"),
        ("a text", _traffic(_direction, {"packets": "90"}), "current : 90"),
        ("totals are not touched", {**_MODEM, "stats_ppp": {}, "stats_pppTotal": "x"}, "current : 0"),
        ("the connection is a number", _traffic(_direction, 5), "Unknown"),
        ("stats_ppp is a text", {**_MODEM, "stats_ppp": "x"}, "Unknown"),
        ("an object of packets", _traffic(_direction, {"packets": {}}), "Unknown"),
        ("failed query", FAILED, "Unknown"))

# --- Ethernet ---

_plain(_AS_TEXT, "zanEthernetInterfaceMAC", "system", "macAddress")
_plain(_AS_TEXT, "zanEthernetInterfaceIP", "stats_eth", "ip")
_plain(_AS_TEXT, "zanEthernetInterfaceMask", "stats_eth", "mask")


def _gateways(live: Any, configured: Any) -> Json:
    return {"stats_eth": live, "dhcp": configured}


_cases(
    "zanEthernetInterfaceGateway",
    ("live", _gateways({"gateway": "10.0.0.1"}, {"defaultGateway": "192.168.1.1"}), "10.0.0.1"),
    ("live empty", _gateways({"gateway": ""}, {"defaultGateway": "192.168.1.1"}), "192.168.1.1"),
    ("live missing", _gateways({}, {"defaultGateway": "192.168.1.1"}), "192.168.1.1"),
    ("both empty", _gateways({"gateway": ""}, {"defaultGateway": ""}), ""),
    ("nothing", {}, ""),
    ("what is not needed may be of any type", _gateways({"gateway": "10.0.0.1"}, "text"), "10.0.0.1"),
    ("an object as configured gateway", _gateways({}, {"defaultGateway": {}}), "Unknown"),
    ("an array as live gateway", _gateways({"gateway": []}, {"defaultGateway": "192.168.1.1"}), "Unknown"),
    ("stats_eth is a text", _gateways("x", {"defaultGateway": "192.168.1.1"}), "Unknown"),
    ("failed query", FAILED, "Unknown"))


def _forwarder(enabled: Any, primary: Any = "", secondary: Any = "", gateway: Any = "192.168.1.1") -> Json:
    return {"dhcp": {"defaultGateway": gateway},
            "dns": {"enabled": enabled, "primary": primary, "secondary": secondary}}


_cases(
    "zanEthernetInterfaceDNS",
    ("forwarder on", _forwarder(True, "1.1.1.1", "9.9.9.9"), "192.168.1.1"),
    ("forwarder on as a number", _forwarder(1, "1.1.1.1"), "192.168.1.1"),
    ("forwarder on, the static servers are not read", _forwarder(True, [], {}), "192.168.1.1"),
    ("primary only", _forwarder(False, "1.1.1.1"), "1.1.1.1"),
    ("secondary only", _forwarder(False, "", "9.9.9.9"), "9.9.9.9"),
    ("both", _forwarder(False, "1.1.1.1", "9.9.9.9"), "1.1.1.1, 9.9.9.9"),
    ("neither", _forwarder(False), ""),
    ("forwarder off, the gateway is not read", _forwarder(False, "1.1.1.1", gateway=[]), "1.1.1.1"),
    ("both are read before any test", _forwarder(False, "1.1.1.1", []), "Unknown"),
    ("no dns", {"dhcp": {"defaultGateway": "192.168.1.1"}}, ""),
    ("forwarder on without dhcp", {"dns": {"enabled": True}}, ""),
    ("a text as enabled", _forwarder("true"), "Unknown"),
    ("dns is an array", {"dns": []}, "Unknown"),
    ("failed query", FAILED, "Unknown"))

# --- WiFi ---

_plain(_AS_TEXT, "zanWiFiInterfaceMAC", "system", "macWifi")


def _wifi(point: Any = False, client: Any = False, status: Any = "Connected") -> Json:
    return {"system": {"macWifi": "mac"},
            "wifi": {"ap": {"enabled": point, "ssid": "own", "SSID": "wrong", "security": {"mode": "WPA2"}},
                     "client": {"enabled": client, "ssid": "wrong", "security": {"mode": "wrong"}}},
            "stats_wlan": {"status": status, "ip": "10.1.1.1", "ssid": "wrong",
                           "link": {"SSID": "joined", "ssid": "wrong", "signal": -52}}}


# For each case the values of Enabled, Mode, SSID, ConnectionStatus, IP, Signal and Security.
_WIFI_COLUMNS = ("Enabled", "Mode", "SSID", "ConnectionStatus", "IP", "Signal", "Security")
_U = "Unknown"
_WIFI_ROWS: Tuple[Tuple[Any, ...], ...] = (
    ("both roles", _wifi(True, True), "True", "Access Point", "own", "Connected", "10.1.1.1", "-52", "WPA2"),
    ("access point", _wifi(True), "True", "Access Point", "own", _U, _U, _U, "WPA2"),
    ("client connected", _wifi(client=True), "True", "WAN", "joined", "Connected", "10.1.1.1", "-52", _U),
    ("client connecting", _wifi(client=True, status="Connecting"), "True", "WAN", _U, "Connecting", _U, _U,
     _U),
    ("both roles, client connecting", _wifi(True, True, "Connecting"),
     "True", "Access Point", "own", "Connecting", _U, _U, "WPA2"),
    ("connected in lower case", _wifi(client=True, status="connected"), "True", "WAN", _U, "connected", _U,
     _U, _U),
    ("connected and a blank", _wifi(client=True, status="Connected "), "True", "WAN", _U, "Connected ", _U,
     _U, _U),
    ("connected and a zero byte", _wifi(client=True, status="Connected\x00"),
     "True", "WAN", _U, "Connected\x00", _U, _U, _U),
    ("no status", _wifi(client=True, status=None), "True", "WAN", _U, "", _U, _U, _U),
    ("neither role", _wifi(), "False", "None", _U, _U, _U, _U, _U),
    ("roles as numbers", _wifi(0, 2), "True", "WAN", "joined", "Connected", "10.1.1.1", "-52", _U),
    ("no wifi", {"stats_wlan": {"status": "Connected"}}, "False", "None", _U, _U, _U, _U, _U),
    ("wifi without roles", {"wifi": {}}, "False", "None", _U, _U, _U, _U, _U),
    ("access point without members", {"wifi": {"ap": {"enabled": True}}}, "True", "Access Point", "", _U, _U,
     _U, ""),
    ("client without statistics", {"wifi": {"client": {"enabled": True}}}, "True", "WAN", _U, "", _U, _U, _U),
    ("connected without members",
     {"wifi": {"client": {"enabled": True}}, "stats_wlan": {"status": "Connected"}},
     "True", "WAN", "", "Connected", "", "", _U),
    ("access point flag is a text", _wifi("true", True), _U, _U, _U, "Connected", "10.1.1.1", "-52", _U),
    ("client flag is a text", _wifi(True, "true"), "True", "Access Point", "own", _U, _U, _U, "WPA2"),
    ("client flag is a text and no access point", _wifi(False, "true"), _U, _U, _U, _U, _U, _U, _U),
    ("status is an array", _wifi(True, True, []), "True", "Access Point", "own", _U, _U, _U, "WPA2"),
    ("wifi is an array", {"wifi": []}, _U, _U, _U, _U, _U, _U, _U),
    ("failed query", FAILED, _U, _U, _U, _U, _U, _U, _U),
)
for _name, _result, *_values in _WIFI_ROWS:
    for _column, _value in zip(_WIFI_COLUMNS, _values):
        _case(_name, f"zanWiFiInterface{_column}", _result, _value)
_case("neither role", "zanWiFiInterfaceMAC", _wifi(), "mac")
_case("a text of the signal", "zanWiFiInterfaceSignal",
      _merged(_wifi(client=True), {"stats_wlan": {"link": {"signal": "-52 dBm"}}}), "-52 dBm")
_case("an object as signal", "zanWiFiInterfaceSignal",
      _merged(_wifi(client=True), {"stats_wlan": {"link": {"signal": {}}}}), "Unknown")
_case("an array as security", "zanWiFiInterfaceSecurity", {"wifi": {"ap": {"enabled": True, "security": []}}},
      "Unknown")

# --- serial-to-IP ---

_plain(_AS_FLAG, "zanSerialToIPEnabled", "ipPipes_SERIAL2IP", "enabled")
_plain(_AS_TEXT, "zanSerialToIPMode", "ipPipes_SERIAL2IP", "mode")
_plain(_AS_TEXT, "zanSerialToIPProtocol", "ipPipes_SERIAL2IP", "protocol")
_plain(_AS_UNSIGNED, "zanSerialToIPPort", "ipPipes_SERIAL2IP", "port")
_plain(_AS_UNSIGNED, "zanSerialToIPTx", "stats_serial", "tx")
_plain(_AS_UNSIGNED, "zanSerialToIPRx", "stats_serial", "rx")
_plain(_AS_TEXT, "zanSerialToIPDCD", "stats_serial", "dcd")
_plain(_AS_FLAG, "zanSerialToIPModbusGatewayEnabled", "serial", "modbus")
_case("an object with a flag of its own", "zanSerialToIPModbusGatewayEnabled",
      {"serial": {"modbus": {"enabled": True}}}, "Unknown")


def _pipe(**members: Any) -> Json:
    return {"ipPipes_SERIAL2IP": members}


_cases(
    "zanSerialToIPServerIP",
    ("client", _pipe(mode="CLIENT", ip="10.0.0.9"), "10.0.0.9"),
    ("client without address", _pipe(mode="CLIENT"), ""),
    ("server", _pipe(mode="SERVER", ip="10.0.0.9"), "Unknown"),
    ("client in lower case", _pipe(mode="client", ip="10.0.0.9"), "Unknown"),
    ("client and a zero byte", _pipe(mode="CLIENT\x00", ip="10.0.0.9"), "Unknown"),
    ("no mode", _pipe(ip="10.0.0.9"), "Unknown"),
    ("an array as mode", _pipe(mode=[], ip="10.0.0.9"), "Unknown"),
    ("an array as address", _pipe(mode="CLIENT", ip=[]), "Unknown"),
    ("no pipe", {}, "Unknown"),
    ("failed query", FAILED, "Unknown"))

# --- network services ---

for _scalar, *_path in (("zanDNSForwarderEnabled", "dns", "enabled"), ("zanDdnsEnabled", "ddns", "enabled"),
                        ("zanSMSEnabled", "sms", "enabled"), ("zanSMTPEnabled", "smtp", "enabled"),
                        ("zanSNTPEnabled", "sntp_enabled"), ("zanRadiusAuthEnabled", "radius", "authEnabled"),
                        ("zanRadiusAccountingEnabled", "radius", "acctEnabled"),
                        ("zanDHCPServerEnabled", "dhcp", "enabled")):
    _plain(_AS_FLAG, _scalar, *_path)
for _scalar, *_path in (("zanDNSStaticPrimaryHost", "dns", "primary"),
                        ("zanDNSStaticSecondaryHost", "dns", "secondary"),
                        ("zanDdnsServiceProvider", "ddns", "server"),
                        ("zanRadiusPrimaryHost", "radius", "host"),
                        ("zanRadiusSecondaryHost", "radius", "secondaryHost"),
                        ("zanRadiusAuthType", "radius", "authType")):
    _plain(_AS_TEXT, _scalar, *_path)
_plain(_AS_UNSIGNED, "zanRadiusConnectTimeout", "radius", "timeout")
_case("a flag inside the flag is not read", "zanSNTPEnabled", {"sntp_enabled": {"enabled": True}}, "Unknown")


def _learnt(servers: Any) -> Json:
    return _nest(("stats_dns", "servers"), servers)


_cases(
    "zanDNSWanServers",
    ("two", _learnt(["10.0.0.1", "10.0.0.2"]), "10.0.0.1, 10.0.0.2"),
    ("an empty one between", _learnt(["10.0.0.1", "", "10.0.0.2"]), "10.0.0.1, 10.0.0.2"),
    ("an empty one in front", _learnt(["", "10.0.0.1"]), "10.0.0.1"),
    ("an empty one behind", _learnt(["10.0.0.1", ""]), "10.0.0.1"),
    ("a null one", _learnt(["10.0.0.1", None, "10.0.0.2"]), "10.0.0.1, 10.0.0.2"),
    ("only empty ones", _learnt(["", ""]), ""),
    ("none", _learnt([]), ""),
    ("missing", _learnt(MISSING), ""),
    ("twelve", _learnt([f"10.0.0.{host}" for host in range(12)]),
     ", ".join(f"10.0.0.{host}" for host in range(12))),
    ("numbers and booleans", _learnt([1, False, 2.5]), "1, false, 2.5"),
    ("an object among them", _learnt(["10.0.0.1", {}]), "Unknown"),
    ("an array among them", _learnt([[], "10.0.0.1"]), "Unknown"),
    ("a plain text", _learnt("10.0.0.1"), ""),
    ("a number", _learnt(5), ""),
    ("true", _learnt(True), ""),
    ("an object with members", _learnt({"0": "10.0.0.1"}), "Unknown"),
    ("an empty object", _learnt({}), ""),
    ("stats_dns is a text", {"stats_dns": "x"}, "Unknown"),
    ("failed query", FAILED, "Unknown"))

# --- diagnostics ---

for _name, _key in (("DDNS", "ddns"), ("SNTP", "sntp"), ("KeepAlive", "keepAlive"),
                    ("DialOnDemand", "dialOnDemand"),
                    ("SMTP", "smtp"), ("SMS", "sms")):
    _plain(_AS_TEXT, f"zanDiagnosticsService{_name}", "stats_service", _key, "status")
_cases(
    "zanDiagnosticsSNMP",
    ("always the same", None, "SNMP service is running"))


def _levels(*levels: Any) -> Json:
    return {"syslog_remote": [_nest(("severityLevel",), level) for level in levels]}


_ON, _OFF = "Remote Syslog is enabled", "Remote Syslog is disabled"
_cases(
    "zanDiagnosticsRemoteSyslog",
    ("one of three forwards", _levels("NONE", "NONE", "warning"), _ON),
    ("all NONE", _levels("NONE", "NONE"), _OFF),
    ("empty and missing levels", _levels("", MISSING, None, "NONE"), _OFF),
    ("none in lower case forwards", _levels("none"), _ON),
    ("a number forwards", _levels(0), _ON),
    ("false forwards", _levels(False), _ON),
    ("no destinations", _levels(), _OFF),
    ("missing", {}, _OFF),
    ("null", {"syslog_remote": None}, _OFF),
    ("null destinations", {"syslog_remote": [None, None]}, _OFF),
    ("a bad destination behind the first that forwards", _levels("warning", []), _ON),
    ("a bad destination in front", _levels([], "warning"), "Unknown"),
    ("a destination that is a text", {"syslog_remote": ["warning"]}, "Unknown"),
    ("an object with members", {"syslog_remote": {"0": {"severityLevel": "warning"}}}, "Unknown"),
    ("an empty object", {"syslog_remote": {}}, _OFF),
    ("a text", {"syslog_remote": "warning"}, _OFF),
    ("a number", {"syslog_remote": 5}, _OFF),
    ("true", {"syslog_remote": True}, _OFF),
    ("failed query", FAILED, "Unknown"))

# --- remote access ---

for _scalar, *_path in (
        ("DoSPreventEnabled", "dosAttackPrevention", "enabled"), ("PingLimitEnabled", "pingLimit", "enabled"),
        ("BruteForcePrevEnabled", "bruteForcePrevention", "enabled"), ("SSHEnabled", "ssh", "enabled"),
        ("SSHWan", "ssh", "wan"), ("SSHLan", "ssh", "lan"), ("IcmpEnabled", "icmp", "enabled"),
        ("IcmpWan", "icmp", "respondToWan"), ("IcmpLan", "icmp", "respondToLan"),
        ("HTTPEnabled", "http", "enabled"), ("HTTPWan", "http", "wan"), ("HTTPLan", "http", "lan"),
        ("HTTPtoHTTPs", "http", "redirectToHttps"),
        ("HTTPsEnabled", "https", "enabled"), ("HTTPsWan", "https", "wan"), ("HTTPsLan", "https", "lan")):
    _plain(_AS_FLAG, f"zanRemoteAccess{_scalar}", "remoteAccess", *_path)
_plain(_AS_UNSIGNED, "zanRemoteAccessHTTPSessionTimeout", "remoteAccess", "timeoutSeconds")
_case("ten minutes", "zanRemoteAccessHTTPSessionTimeout", {"remoteAccess": {"timeoutSeconds": 600}}, 600)
_case("a member of another protocol's name", "zanRemoteAccessIcmpWan",
      {"remoteAccess": {"icmp": {"wan": True}}}, "False")
_case("a member of another protocol's name", "zanRemoteAccessIcmpLan",
      {"remoteAccess": {"icmp": {"lan": True}}}, "False")


def _defences(dos: Any = False, ping: Any = False, brute: Any = False) -> Json:
    return {"remoteAccess": {"dosAttackPrevention": {"enabled": dos}, "pingLimit": {"enabled": ping},
                             "bruteForcePrevention": {"enabled": brute}}}


_cases(
    "zanRemoteAccessIpDefenseEnabled",
    ("the first", _defences(dos=True), "True"),
    ("the second", _defences(ping=True), "True"),
    ("the third", _defences(brute=True), "True"),
    ("none", _defences(), "False"),
    ("absent", {"remoteAccess": {}}, "False"),
    ("no remoteAccess", {}, "False"),
    ("the second is not read when the first is true", _defences(True, "x", []), "True"),
    ("the third is not read when the second is true", _defences(False, 1, "x"), "True"),
    ("a text in the second", _defences(False, "x", True), "Unknown"),
    ("a text in the first", _defences("x", True, True), "Unknown"),
    ("a text in the third", _defences(False, False, "x"), "Unknown"),
    ("a text for the second defence behind a true first",
     {"remoteAccess": {"dosAttackPrevention": {"enabled": True}, "pingLimit": "x"}}, "True"),
    ("remoteAccess is a text", {"remoteAccess": "x"}, "Unknown"),
    ("failed query", FAILED, "Unknown"))
_case("only the ping limit", "zanRemoteAccessDoSPreventEnabled", _defences(ping=True), "False")
_case("only the ping limit", "zanRemoteAccessPingLimitEnabled", _defences(ping=True), "True")

# --- firewall ---

_CHAINS = {"filters": [{"chain": "INPUT", "enabled": True}, {"chain": "INPUT", "enabled": False},
                       {"chain": "FORWARD", "enabled": True}, {"chain": "INPUT", "enabled": True}]}
for _name, _expected in (("Input", 2), ("Forward", 1), ("Output", 0)):
    _case("rules of three chains", f"zanFirewall{_name}FilterRulesNumEnabled", _CHAINS, _expected)
for _scalar, _array, _key, _wanted in (
        ("zanFirewallPreroutingRulesNumEnabled", "nat", "target", "DNAT"),
        ("zanFirewallInputFilterRulesNumEnabled", "filters", "chain", "INPUT"),
        ("zanFirewallForwardFilterRulesNumEnabled", "filters", "chain", "FORWARD"),
        ("zanFirewallOutputFilterRulesNumEnabled", "filters", "chain", "OUTPUT"),
        ("zanFirewallPostroutingRulesNumEnabled", "nat", "target", "SNAT")):
    _rule = {_key: _wanted, "enabled": True}
    _cases(
        _scalar,
        ("one rule", {_array: [_rule]}, 1),
        ("twelve rules", {_array: [_rule] * 12}, 12),
        ("in lower case", {_array: [{_key: _wanted.lower(), "enabled": True}]}, 0),
        ("and a zero byte", {_array: [{_key: _wanted + "\x00", "enabled": True}]}, 0),
        ("another word", {_array: [{_key: "MASQUERADE", "enabled": True}]}, 0),
        ("enabled 1", {_array: [{_key: _wanted, "enabled": 1}]}, 1),
        ("enabled missing", {_array: [{_key: _wanted}]}, 0),
        ("enabled null", {_array: [{_key: _wanted, "enabled": None}]}, 0),
        ("enabled a text", {_array: [_rule, {_key: _wanted, "enabled": "true"}]}, 0),
        ("enabled an object", {_array: [{_key: _wanted, "enabled": {}}, _rule]}, 0),
        ("enabled of another rule is not read", {_array: [{_key: "x", "enabled": "true"}, _rule]}, 1),
        ("a rule without the member", {_array: [{"enabled": True}, _rule]}, 1),
        ("a null rule", {_array: [None, _rule]}, 1),
        ("a rule that is a text", {_array: [_rule, _wanted]}, 0),
        ("a rule that is an array", {_array: [_rule, []]}, 0),
        ("an array in the member", {_array: [_rule, {_key: [], "enabled": True}]}, 0),
        ("no rules", {_array: []}, 0),
        ("missing", {}, 0),
        ("null", {_array: None}, 0),
        ("an object", {_array: {"0": _rule}}, 0),
        ("a text", {_array: _wanted}, 0),
        ("a number", {_array: 5}, 0),
        ("the other list is not read", {_array: [_rule], "nat" if _array == "filters" else "filters": "x"},
         1),
        ("failed query", FAILED, 0))
_case("the rule's chain is not consulted", "zanFirewallPreroutingRulesNumEnabled",
      {"nat": [{"chain": "POSTROUTING", "target": "DNAT", "enabled": True}]}, 1)
