"""Random states of the API: a realistic router, then damage."""

from __future__ import annotations

import copy
import random
from typing import Any, Callable, Dict, Iterator, List, Optional, Tuple, Union

from harness import Api, faults
from harness.router import (CELLULAR, DHCP, ETHERNET, FIREWALL, GRE, IPSEC, OPENVPN, RADIO, REMOTE_ACCESS,
                            REMOTE_MANAGEMENT, ROUTES, SERIAL, SERVICES, SYSLOG, SYSTEM, WAN_MANAGER, WIFI)

from .jsonvalue import Json, Number, encode
from .tree import Failure, Result, State

LONG_TEXT = "0123456789ab" * 100  # 1200 bytes

TEXTS: Tuple[Union[str, bytes], ...] = (
    "", " ", "a", "0", "1", "30", "99", "-71", "true", "False", "Unknown", "null",
    "\x00", "before\x00after", "\x00ppp0", "ppp0\x00", "CLIENT\x00", "99\x00",
    "Z\u00fcrich", "\u65e5\u672c\u8a9e", "\U0001f4f6", "\udc80", "\u007f\u0080\uffff",
    b"\xff\xfe\x80", b"caf\xe9", 'quote " backslash \\ slash / tab \t line \n', LONG_TEXT, "\u00e9" * 600)

# Without 2**64 itself: what the library makes of it as an unsigned number depends on the processor.
NUMBERS: Tuple[Union[int, float, Number], ...] = (
    0, 1, 2, -1, 9, 10, 99, 200, 514,
    2147483647, 2147483648, 4294967295, 4294967296, -2147483648, -2147483649,
    42949672, 42949673, 5000000000,
    2**63 - 1, 2**63, 2**64 - 1, 2**64 + 4096, -2**63, -2**63 - 1, 10**30, -10**30,
    0.0, -0.0, 0.5, -0.5, 0.1, 1.5, 99.0, -71.5, 1e15, 1e16, 1e17, 1e-5, 1e300, 5e-324,
    2147483647.5, 2147483648.0, -2147483648.5, 4294967295.0, 4294967295.5, 1.8446744073709550e19,
    Number("-0"), Number("1E2"), Number("0e7"), Number("1e-400"), Number("99.50"),
    Number("12345678901234567890123"))

UNPARSABLE_NUMBER = Number("1e400")

UPTIMES: Tuple[Union[str, int, float], ...] = (
    "12345.67", "0", "0.01", "1", "42 seconds", "  7.25", "\t\n1.5", "1.9e5", "+12", ".5", "1e", "1e+", "0x",
    "167772.15", "167772.17", "3600.999", "16777217",
    "21474836.47", "21474836.48", "2.2e7", "-3e7", "1e38", "3.5e38", "-1e39", "99999999999999999999",
    "-5", "-0.009", "1e-45", "1e-50", "1e999999999", "0e999999999",
    "inf", "-Infinity", "nan", "NAN(x1)", "0x1p4", "0x.8", "0xg",
    ".", "-", "", "up 5", "12\x0034", "1,5", "1_000", "\u0661\u0662",
    12345.67, 42, 0.1, -1, 167772.16)


def _text(rng: random.Random) -> Union[str, bytes]:
    return rng.choice(TEXTS)


def _name(rng: random.Random) -> str:
    return rng.choice(("site-a", "hq", "Z\u00fcrich", "backup", "b\u00fcro/2", "t")) + str(rng.randrange(100))


def _address(rng: random.Random) -> str:
    return ".".join(str(rng.randrange(256)) for _ in range(4))


def _mac(rng: random.Random) -> str:
    return ":".join(f"{rng.randrange(256):02X}" for _ in range(6))


def _flag(rng: random.Random) -> Json:
    return rng.choice((True, False, True, False, 1, 0, 0.0, 2))


def _decimal(rng: random.Random) -> str:
    return f"{rng.random() * 10 ** rng.randrange(9):.2f}"


def _count(rng: random.Random) -> int:
    return rng.choice((0, rng.randrange(1000), rng.randrange(2**31), rng.randrange(2**32)))


def _rows(rng: random.Random, row: Callable[[random.Random], Json]) -> List[Json]:
    return [row(rng) for _ in range(rng.choice((0, 1, 1, 2, 2, 3, 3, 4, 12)))]


def _wan_manager(rng: random.Random) -> Json:
    def link(_: random.Random) -> Json:
        return {"interface": rng.choice(("ppp0", "wlan0", "eth0", "ppp0", "wlan0", "PPP0", "wlan1", "ppp")),
                "current": _flag(rng), "available": rng.random() < 0.7, "enabled": _flag(rng)}
    links = _rows(rng, link)
    places = max(0, len(links) + rng.choice((0, 0, 0, -1, 1)))
    priorities = [{"priority": rng.choice((position + 1, 1, -1, 0, rng.randrange(-9, 10), 1.5, True))}
                  for position in range(places)]
    return {"waninfo": {"wans": links}, "wanmngr": {"wans": priorities}}


def _modem(rng: random.Random) -> Json:
    return {"cell": rng.choice((True, True, True, True, 1, False))}


def _radio(rng: random.Random) -> Json:
    return {"system_capabilities": _modem(rng), "stats_radio": {
        "type": rng.choice(("LTE", "CDMA", "CDMA", "cdma", "CDMA ", "", "HSPA")), "meid": "A1000012345678",
        "imei": "355458042000000", "imsi": "310410123456789", "firmware": "SWI9200X_03.05",
        "rssidBm": rng.choice(("-71", -71, "", -71.5, 0)), "network": _name(rng), "service": "EVDO",
        "carrier": _name(rng), "msid": _text(rng), "mdn": rng.choice(("+15551234567", 15551234567))}}


def _cellular(rng: random.Random) -> Json:
    def traffic() -> Json:
        return {"bytes": rng.choice((_count(rng), str(_count(rng)), 1.5, 10240)), "packets": _count(rng)}
    return {
        "system_capabilities": _modem(rng),
        "ppp": {"enabled": _flag(rng), "modem": {"apnString": "internet.example"},
                "protocol": rng.choice(("ppp", "direct-ip", _text(rng))),
                "keepAlive": {"enabled": _flag(rng), "hostname": "host.example", "pingInterval": _count(rng)},
                "wakeUpOnCall": {"enabled": _flag(rng), "onRing": _flag(rng), "onCallerId": _flag(rng),
                                 "onSms": _flag(rng)}},
        "stats_ppp": {"link": rng.choice(("Connected", "Disconnected")), "uptime": _count(rng),
                      "rssi": rng.choice(("99", 99, "20", 20, 99.0, "", "099")),
                      "rssiDbm": rng.choice(("-75", -113, "", -75.5)), "roaming": _flag(rng), "tower": "1A2B",
                      "localIp": _address(rng), "dnsServers": _rows(rng, _address),
                      "tx": traffic(), "rx": traffic()},
        "stats_pppTotal": {"todayTx": _count(rng), "todayRx": _count(rng), "totalRx": 5000000000,
                           "totalTx": rng.randrange(2**64)}}


def _ethernet(rng: random.Random) -> Json:
    return {"system": {"macAddress": _mac(rng)},
            "stats_eth": {"ip": _address(rng), "mask": "255.255.255.0",
                          "gateway": rng.choice(("", _address(rng)))},
            "dhcp": {"defaultGateway": rng.choice(("192.168.1.1", "", _text(rng)))},
            "dns": {"enabled": _flag(rng), "primary": rng.choice(("", "1.1.1.1")),
                    "secondary": rng.choice(("", "9.9.9.9"))}}


def _wifi(rng: random.Random) -> Json:
    return {"system": {"macWifi": _mac(rng)},
            "wifi": {"ap": {"enabled": _flag(rng), "ssid": _name(rng), "security": {"mode": "WPA2-PSK"}},
                     "client": {"enabled": rng.random() < 0.75, "ssid": "not read"}},
            "stats_wlan": {"status": rng.choice(("Connected",) * 5 + ("connected", "Connecting", "")),
                           "ip": _address(rng), "ssid": "not read",
                           "link": {"SSID": _name(rng), "ssid": "not read",
                                    "signal": rng.choice((-58, "-58 dBm", -58.5))}}}


def _serial_to_ip(rng: random.Random) -> Json:
    return {"ipPipes_SERIAL2IP": {"enabled": _flag(rng), "port": rng.choice((2000, 65535, _count(rng))),
                                  "mode": rng.choice(("CLIENT",) * 4 + ("SERVER", "client", "CLIENT ", "")),
                                  "protocol": rng.choice(("TCP", "UDP")), "ip": _address(rng)},
            "stats_serial": {"tx": _count(rng), "rx": _count(rng), "dcd": rng.choice(("ON", "OFF"))},
            "serial": {"modbus": _flag(rng)}}


def _system(rng: random.Random) -> Json:
    return {"system": {"productId": "ZR-400", "deviceId": _name(rng), "firmware": "1.4.2",
                       "uptime": rng.choice((rng.choice(UPTIMES), _decimal(rng)))}}


def _services(rng: random.Random) -> Json:
    def destination(_: random.Random) -> Json:
        return {"severityLevel": rng.choice(("NONE", "NONE", "NONE", "", "warning", "none", "NONE "))}
    services = ("ddns", "sntp", "keepAlive", "dialOnDemand", "smtp", "sms")
    return {"sntp_enabled": _flag(rng), "smtp": {"enabled": _flag(rng)}, "sms": {"enabled": _flag(rng)},
            "dns": {"enabled": _flag(rng), "primary": "1.1.1.1", "secondary": _text(rng)},
            "ddns": {"enabled": _flag(rng), "server": "dyn.example"},
            "radius": {"authEnabled": _flag(rng), "acctEnabled": _flag(rng), "host": _address(rng),
                       "secondaryHost": _address(rng), "authType": "PAP", "timeout": _count(rng)},
            "syslog_remote": _rows(rng, destination),
            "stats_service": {name: {"status": rng.choice(("running", "stopped"))} for name in services},
            "stats_dns": {"servers": _rows(rng, lambda _: rng.choice((_address(rng), "")))}}


def _remote_access(rng: random.Random) -> Json:
    def protocol(*names: str) -> Dict[str, Json]:
        return {name: _flag(rng) for name in ("enabled", "wan", "lan", *names)}
    return {"remoteAccess": {
        "dosAttackPrevention": {"enabled": rng.random() < 0.3}, "pingLimit": {"enabled": rng.random() < 0.3},
        "bruteForcePrevention": {"enabled": _flag(rng)}, "ssh": protocol(),
        "icmp": protocol("respondToWan", "respondToLan"),
        "http": protocol("redirectToHttps"), "https": protocol(),
        "timeoutSeconds": rng.choice((600, _count(rng)))}}


def _dhcp(rng: random.Random) -> Json:
    def lease(_: random.Random) -> Json:
        return {"ip": _address(rng), "mac": _mac(rng),
                "expiration": rng.choice((3600, 50000000, _count(rng)))}
    return {"dhcp": {"enabled": _flag(rng), "defaultGateway": "192.168.1.1", "leases": _rows(rng, lease)}}


def _firewall(rng: random.Random) -> Json:
    def rule(_: random.Random) -> Json:
        return {"chain": rng.choice(("INPUT", "FORWARD", "OUTPUT", "input", "INPUT ")),
                "enabled": _flag(rng)}

    def translation(_: random.Random) -> Json:
        return {"target": rng.choice(("DNAT", "SNAT", "MASQUERADE", "dnat")), "chain": "INPUT",
                "enabled": _flag(rng)}
    return {"filters": _rows(rng, rule), "nat": _rows(rng, translation)}


def _tunnels(key: str) -> Callable[[random.Random], Json]:
    def row(rng: random.Random) -> Json:
        return {"name": _name(rng), "enabled": _flag(rng), "remote": _address(rng)}
    return lambda rng: {key: _rows(rng, row)}


def _syslog(rng: random.Random) -> Json:
    return {"syslog": {"ipAddress": _address(rng), "enabled": _flag(rng), "port": 1514,
                       "logLevel": rng.choice((-5, 0, 9, 10, 19, 20, 29, 30, 39, 40, 49, 50, 9.9, True))}}


WELL_TYPED: Dict[str, Callable[[random.Random], Json]] = {
    REMOTE_MANAGEMENT: _flag,
    WAN_MANAGER: _wan_manager,
    RADIO: _radio,
    CELLULAR: _cellular,
    ETHERNET: _ethernet,
    WIFI: _wifi,
    SERIAL: _serial_to_ip,
    SYSTEM: _system,
    SERVICES: _services,
    REMOTE_ACCESS: _remote_access,
    DHCP: _dhcp,
    FIREWALL: _firewall,
    GRE: _tunnels("greTunnels"),
    IPSEC: _tunnels("ipsecTunnels"),
    OPENVPN: _tunnels("ovpnTunnels"),
    ROUTES: _tunnels("routes"),
    SYSLOG: _syslog,
}

# --- damage ---


class _Holder:
    """A place in a tree: something that holds a value which can be replaced or dropped."""

    def __init__(self, container: Any, key: Any) -> None:
        self._container = container
        self._key = key

    def get(self) -> Json:
        return self._container[self._key]

    def put(self, value: Json) -> None:
        self._container[self._key] = value

    def drop(self) -> None:
        del self._container[self._key]

    def rename(self, rng: random.Random) -> None:
        if isinstance(self._container, dict):
            name = self._key
            other = rng.choice((name.upper(), name + "\x00", name + " ", name[:-1]))
            self._container[other] = self._container.pop(name)


def _places(container: Any) -> Iterator[_Holder]:
    for key in (list(container) if isinstance(container, dict) else range(len(container))):
        yield _Holder(container, key)
        if isinstance(container[key], (dict, list)):
            yield from _places(container[key])


def _anything(rng: random.Random) -> Json:
    kind = rng.randrange(8)
    if kind < 2:
        return _text(rng)
    if kind < 4:
        return rng.choice(NUMBERS)
    return rng.choice((None, True, False, [], {}, [[]], [None], ["a"], ["a", "b"], [1, 2.5], [{}], {"a": 1},
                       {"0": "zero"}, {"enabled": True}, {"name": "n", "enabled": "yes"},
                       {"b": "2", "a": "1"}))


def _same_kind(value: Json, rng: random.Random) -> Json:
    if isinstance(value, (str, bytes)):
        return _text(rng)
    if isinstance(value, (int, float, Number)):
        return rng.choice(NUMBERS)
    return _anything(rng)


def _other_container(value: Json) -> Json:
    if isinstance(value, dict):
        return list(value.values())
    if isinstance(value, list):
        return {str(position): each for position, each in enumerate(value)}
    return [value]


def _rearranged(value: Json, rng: random.Random) -> Json:
    if not isinstance(value, list):
        return {"a": value}
    doubled = value + copy.deepcopy(rng.sample(value, min(len(value), 1)))
    longer = (value + [_anything(rng)], [_anything(rng)] + value)
    return rng.choice((doubled, value[::-1], value[1:], *longer))


def _damage_place(place: _Holder, rng: random.Random) -> None:
    action = rng.randrange(12)
    value = place.get()
    if action < 2:
        place.drop()
    elif action < 3:
        place.put(None)
    elif action < 5:
        place.put(_same_kind(value, rng))
    elif action < 9:
        place.put(_anything(rng))
    elif action < 10:
        place.put(_other_container(value))
    elif action < 11:
        place.put(_rearranged(value, rng))
    else:
        place.rename(rng)


def _named_places(value: Json) -> int:
    return sum(1 + _named_places(each) for each in value.values()) if isinstance(value, dict) else 0


def damaged(result: Json, rng: random.Random) -> Json:
    """The result with a few places dropped, replaced, retyped or rearranged; more in a large one."""
    root = [result]
    extent = 1 + _named_places(result) // 16
    for _ in range(rng.choice((0, 0, 1, 1, 1, 2, 2, 3, 5, 8)) * extent):
        places = list(_places(root))
        # The root itself is one place among many: whole results are replaced now and then.
        place = rng.choice(places[1:] or places) if rng.random() < 0.97 else places[0]
        _damage_place(place, rng)
        if not root:
            root = [None]
    return root[0]


FAILURES = ("code 404", "code is true", "code is text", "no code", "no result", "cut", "not JSON", "closed")

# What each failure leaves in the log; a code that cannot be converted throws and leaves nothing.
FAILURE_MESSAGES: Dict[str, Optional[str]] = {
    "code 404": " bad json response code", "code is true": " bad json response code", "code is text": None,
    "no code": " wrong format of json response", "no result": " wrong format of json response",
    "cut": " failed to parse json response", "not JSON": " failed to parse json response",
    "closed": " curl_easy_perform failed"}


def make_state(rng: random.Random) -> State:
    """One state of the whole API."""
    state: State = {}
    for query, well_typed in WELL_TYPED.items():
        chance = rng.random()
        if chance < 0.015:
            state[query] = Failure(rng.choice(FAILURES))
            continue
        result = damaged(well_typed(rng), rng)
        if chance < 0.02:
            result = {"a number beyond every range": UNPARSABLE_NUMBER, "and": result}
        state[query] = result
    return state


_BODIES: Dict[str, bytes] = {
    "code 404": b'{"code": 404, "result": {}}', "code is true": b'{"code": true, "result": {}}',
    "code is text": b'{"code": "200", "result": {}}',
    "no code": b'{"result": {}}', "no result": b'{"code": 200}',
    "cut": b'{"code": 200, "result": {"system": {"deviceId": "12', "not JSON": b"<html></html>"}

_ENVELOPES = (b'{"code": 200, "result": %s}', b'{"result":%s,"code":200}',
              b' {"message": "ok", "code": 200.0, "result": %s, "more": [{}]}\n')


def answer_with(api: Api, query: str, result: Result, rng: Optional[random.Random] = None) -> None:
    """Let the API answer a query with this result, written in one of the ways that mean the same."""
    if not isinstance(result, Failure):
        rng = rng or random.Random(0)
        text = encode(result, ascii_only=rng.random() < 0.5, decoys=rng.random() < 0.1)
        api.bodies[query] = rng.choice(_ENVELOPES) % text
    elif result.how == "closed":
        api.faults[query] = faults.CLOSED
    else:
        api.bodies[query] = _BODIES[result.how]
