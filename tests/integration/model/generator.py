"""Random states of the API: a realistic router, then damage."""

from __future__ import annotations

import copy
import random
from typing import Any, Callable, Dict, Iterator, Optional, Tuple, Union

from harness import Api, faults
from harness.router import QUERIES, router

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


def _flag(rng: random.Random) -> Json:
    return rng.choice((True, False, True, False, 1, 0, 0.0, 2))


def _uptime(rng: random.Random) -> Json:
    return rng.choice((rng.choice(UPTIMES), f"{rng.random() * 10 ** rng.randrange(9):.2f}"))


#: What members may hold that objects look at more closely, by the ends of their paths.
_WORDS: Dict[str, Callable[[random.Random], Json]] = {
    "cell": lambda rng: rng.choice((True, True, True, True, 1, False)),
    "waninfo.wans.interface":
        lambda rng: rng.choice(("ppp0", "wlan0", "eth0", "ppp0", "wlan0", "PPP0", "wlan1", "ppp")),
    "available": lambda rng: rng.random() < 0.7,
    "priority": lambda rng: rng.choice((1, 2, 3, -1, 0, rng.randrange(-9, 10), 1.5, True)),
    "stats_radio.type": lambda rng: rng.choice(("LTE", "CDMA", "CDMA", "cdma", "CDMA ", "", "HSPA")),
    "rssidBm": lambda rng: rng.choice(("-71", -71, "", -71.5, 0)),
    "rssiDbm": lambda rng: rng.choice(("-75", -113, "", -75.5)),
    "rssi": lambda rng: rng.choice(("99", 99, "20", 20, 99.0, "", "099")),
    "totalTx": lambda rng: rng.randrange(2**64),
    "stats_eth.gateway": lambda rng: rng.choice(("", _address(rng))),
    "dns.primary": lambda rng: rng.choice(("", "1.1.1.1", _text(rng))),
    "dns.secondary": lambda rng: rng.choice(("", "9.9.9.9", _text(rng))),
    "client.enabled": lambda rng: rng.random() < 0.75,
    "stats_wlan.status": lambda rng: rng.choice(("Connected",) * 5 + ("connected", "Connecting", "")),
    "SERIAL2IP.mode": lambda rng: rng.choice(("CLIENT",) * 4 + ("SERVER", "client", "CLIENT ", "")),
    "system.uptime": _uptime,
    "severityLevel": lambda rng: rng.choice(("NONE", "NONE", "NONE", "", "warning", "none", "NONE ")),
    "dosAttackPrevention.enabled": lambda rng: rng.random() < 0.3,
    "pingLimit.enabled": lambda rng: rng.random() < 0.3,
    "expiration": lambda rng: rng.choice((3600, 50000000, rng.randrange(2**32))),
    "chain": lambda rng: rng.choice(("INPUT", "FORWARD", "OUTPUT", "input", "INPUT ")),
    "target": lambda rng: rng.choice(("DNAT", "SNAT", "MASQUERADE", "dnat")),
    "logLevel": lambda rng: rng.choice((-5, 0, 9, 10, 19, 20, 29, 30, 39, 40, 49, 50, 9.9, True)),
}


def _well_typed(value: Json, path: str, rng: random.Random) -> Json:
    """Something of the value's form, such as a router would say."""
    ends = (words for end, words in _WORDS.items() if path.endswith((f".{end}", f"_{end}")))
    words = next(ends, None)
    if words:
        return words(rng)
    if isinstance(value, dict):
        return {name: _well_typed(each, f"{path}.{name}", rng) for name, each in value.items()}
    if isinstance(value, list):
        number = rng.choice((0, 1, 1, 2, 2, 3, 3, 4, 12))
        return [_well_typed(rng.choice(value), path, rng) for _ in range(number)]
    if isinstance(value, bool):
        return _flag(rng)
    if isinstance(value, (int, float)):
        return rng.choice((value, 0, rng.randrange(1000), rng.randrange(2**31), rng.randrange(2**32)))
    return rng.choice((value, value, _name(rng), _address(rng), _text(rng)))


_STANDARD = Api(fields=router())


def well_typed(query: str, rng: random.Random) -> Json:
    """A result of the query in which nothing is missing or of the wrong type."""
    return _well_typed(_STANDARD.result(query), "", rng)


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
    for query in QUERIES:
        chance = rng.random()
        if chance < 0.015:
            state[query] = Failure(rng.choice(FAILURES))
            continue
        result = damaged(well_typed(query, rng), rng)
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
