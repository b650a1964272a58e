"""The router that the fake API is, unless a test changes it, and the objects that show it.

Every text and number is unlike every other, so that an object that reads a wrong member shows a wrong value.
The objects are those of the MIB module. What they must read, the model says, which tests/cases holds.
"""

import copy
import json
import sys
from functools import lru_cache
from typing import Any, Dict, List, NamedTuple, Optional, Sequence, Tuple, Union

from .api import Api
from .settings import OBJECTS, SOURCE_ROOT
from .snmp import INTEGER, OCTET_STRING, TIMETICKS, Oid, VarBind

sys.path.insert(0, str(SOURCE_ROOT / "mibs"))

import zanmib  # noqa: E402  (found through the line above)

# The queries that tests speak of by name.
REMOTE_MANAGEMENT = "/api/remoteManagement/enabled"
SYSTEM = "/api?fields=system"
DHCP = "/api?fields=dhcp"
SYSLOG = "/api?fields=syslog"
TRAPS_SWITCH = "/api?fields=snmp"

_ROUTER: Dict[str, Any] = {
    "remoteManagement": {"enabled": True},
    "wanmngr": {"wans": [{"priority": 2}, {"priority": 1}, {"priority": 3}, {"priority": 4}]},
    "waninfo": {"wans": [
        {"interface": "eth0", "available": True, "enabled": True, "current": False},
        {"interface": "ppp0", "available": True, "enabled": True, "current": True},
        {"interface": "wlan0", "available": True, "enabled": False, "current": False},
        {"interface": "wlan1", "available": False, "enabled": True, "current": False},
    ]},
    "system": {
        "productId": "ZR-4400", "deviceId": "SN0012345678", "firmware": "6.5.2", "uptime": "12345.67",
        "macAddress": "02:00:5e:10:00:01", "macWifi": "02:00:5e:10:00:02", "capabilities": {"cell": True},
    },
    "stats": {
        "radio": {"type": "LTE", "meid": "A1000009", "imei": "356938035643809", "imsi": "001010123456789",
                  "firmware": "RF-17.3", "rssidBm": "-71", "network": "Testnet", "service": "4G",
                  "carrier": "Homenet", "msid": "MSID-5550100", "mdn": "MDN-5550101"},
        "ppp": {"link": "Up", "uptime": 3600, "rssi": "20", "rssiDbm": "-75", "roaming": False,
                "tower": "cell-4711", "localIp": "100.64.0.2", "dnsServers": ["10.0.0.1", "10.0.0.2"],
                "tx": {"bytes": 10240, "packets": 87}, "rx": {"bytes": "20480", "packets": 90}},
        "pppTotal": {"todayTx": 1048576, "totalTx": 73400320, "todayRx": 2097152, "totalRx": 5000000000},
        "eth": {"ip": "192.168.1.2", "mask": "255.255.255.0", "gateway": ""},
        "wlan": {"status": "Connected", "ip": "172.16.0.9", "link": {"SSID": "upstream", "signal": "-52"}},
        "serial": {"tx": 1111, "rx": 2222, "dcd": "ON"},
        "service": {"ddns": {"status": "ddns runs"}, "sntp": {"status": "sntp runs"},
                    "keepAlive": {"status": "keep-alive runs"}, "dialOnDemand": {"status": "dial waits"},
                    "smtp": {"status": "smtp runs"}, "sms": {"status": "sms runs"}},
        "dns": {"servers": ["10.9.9.1", "", "10.9.9.2"]},
    },
    "ppp": {
        "enabled": True, "modem": {"apnString": "internet.example"}, "protocol": "IPv4",
        "keepAlive": {"enabled": True, "hostname": "keepalive.example", "pingInterval": 300},
        "wakeUpOnCall": {"enabled": True, "onRing": False, "onCallerId": True, "onSms": False},
    },
    "dhcp": {"enabled": True, "defaultGateway": "192.168.1.1", "leases": [
        {"ip": "192.168.1.100", "mac": "02:00:5e:20:00:01", "expiration": 3600},
        {"ip": "192.168.1.101", "mac": "02:00:5e:20:00:02", "expiration": 50000000},
        {"ip": "192.168.1.102", "mac": "02:00:5e:20:00:03", "expiration": -1},
    ]},
    "dns": {"enabled": False, "primary": "8.8.8.8", "secondary": "8.8.4.4"},
    "wifi": {"ap": {"enabled": False, "ssid": "own-network", "security": {"mode": "WPA2"}},
             "client": {"enabled": True}},
    "ipPipes": {"SERIAL2IP": {"enabled": True, "mode": "CLIENT", "protocol": "TCP", "port": 2101,
                              "ip": "203.0.113.7"}},
    "serial": {"modbus": False},
    "sntp": {"enabled": True},
    "smtp": {"enabled": False},
    "sms": {"enabled": True},
    "ddns": {"enabled": False, "server": "ddns.example"},
    "radius": {"authEnabled": True, "acctEnabled": False, "host": "radius1.example",
               "secondaryHost": "radius2.example", "authType": "CHAP", "timeout": 30},
    "syslog": {"ipAddress": "10.0.0.5", "enabled": True, "logLevel": 35,
               "remote": [{"severityLevel": "NONE"}, {"severityLevel": "warning"}]},
    "remoteAccess": {
        "dosAttackPrevention": {"enabled": False}, "pingLimit": {"enabled": True},
        "bruteForcePrevention": {"enabled": False},
        "ssh": {"enabled": True, "wan": False, "lan": True},
        "icmp": {"enabled": True, "respondToWan": False, "respondToLan": True, "wan": True},
        "http": {"enabled": True, "wan": False, "lan": True, "redirectToHttps": True},
        "https": {"enabled": True, "wan": True, "lan": False},
        "timeoutSeconds": 600,
    },
    "filters": [
        {"chain": "INPUT", "enabled": True}, {"chain": "INPUT", "enabled": False},
        {"chain": "INPUT", "enabled": True}, {"chain": "input", "enabled": True},
        {"chain": "FORWARD", "enabled": True},
        {"chain": "OUTPUT", "enabled": True}, {"chain": "OUTPUT", "enabled": True},
        {"chain": "OUTPUT", "enabled": 1},
    ],
    "nat": [{"target": "DNAT", "enabled": 1}, *[{"target": "DNAT", "enabled": True}] * 3,
            {"target": "MASQUERADE", "enabled": True}, *[{"target": "SNAT", "enabled": True}] * 5],
    "ovpnTunnels": [{"name": "ovpn-a", "enabled": True}, {"name": "ovpn-b", "enabled": False}],
    "ipsecTunnels": [{"name": "ipsec-a", "enabled": False}],
    "greTunnels": [{"name": "gre-a", "enabled": True}, {"name": "gre-b", "enabled": "yes"}, {"enabled": 1}],
    "routes": [{"name": "route-a", "enabled": False}, {"name": "route-b"}],
    "snmp": {"traps": {"enabled": True}},
}


def _completed(fields: Dict[str, Any], more: Dict[str, Any]) -> Dict[str, Any]:
    for name, value in more.items():
        if isinstance(value, dict):
            _completed(fields.setdefault(name, {}), value)
        else:
            fields.setdefault(name, value)
    return fields


#: The simulator's router has every field that an object reads: what is not said above is as there.
_completed(_ROUTER, json.loads((SOURCE_ROOT / "tools/scenarios/router.json").read_text())["api"])


def router() -> Dict[str, Any]:
    """The router's fields, as a copy to change."""
    return copy.deepcopy(_ROUTER)


class Scalar(NamedTuple):
    """One scalar object and its value with the router above."""

    name: str
    arcs: Oid  # below the objects' arc, without the instance
    tag: int
    query: Optional[str]  # None: answered without the API

    @property
    def oid(self) -> Oid:
        """The object, without the instance."""
        return OBJECTS + self.arcs

    @property
    def instance(self) -> Oid:
        """The object's one instance."""
        return self.oid + (0,)

    @property
    def expected(self) -> Union[bytes, int]:
        """The value as the client decodes it."""
        return self.served[2]

    @property
    def fallback(self) -> Union[bytes, int]:
        """What it reads when the API gives nothing."""
        if self.query is None:
            return self.expected
        return b"Unknown" if self.tag == OCTET_STRING else 0

    @property
    def served(self) -> Tuple[Oid, int, Any]:
        """OID, tag and value with the router above."""
        return (self.instance, *standard_tree()[self.instance])

    @property
    def failed(self) -> Tuple[Oid, int, Any]:
        """OID, tag and value when the API gives nothing."""
        return self.instance, self.tag, self.fallback


Row = Tuple[Union[str, int], ...]


class Table(NamedTuple):
    """One table."""

    name: str
    arcs: Oid  # the table's OID below the objects' arc
    query: str
    tags: Tuple[int, ...]  # of the columns from 1 on

    @property
    def oid(self) -> Oid:
        """The table."""
        return OBJECTS + self.arcs

    def cell(self, column: int, index: int) -> Oid:
        """The OID of one cell."""
        return self.oid + (1, column, index)

    @property
    def count(self) -> int:
        """How many rows it has with the router above."""
        return len(self.expected()) // len(self.tags)

    def expected(self, rows: Optional[Sequence[Row]] = None) -> List[Tuple[Oid, int, Any]]:
        """OID, tag and value of every cell in the order of a walk, for these rows or the router's."""
        if rows is None:
            return [cell for cell in expected_tree() if cell[0][:len(self.oid)] == self.oid]
        return [(self.cell(column, index), tag, value.encode() if isinstance(value, str) else value)
                for column, tag in enumerate(self.tags, 1)
                for index, value in enumerate((row[column - 1] for row in rows), 1)]


_TAGS = {"OctetString": OCTET_STRING, "Integer32": INTEGER, "TimeTicks": TIMETICKS}
_MIB = zanmib.sketch()

#: The scalars in the order of their OIDs.
SCALARS: List[Scalar] = [Scalar(each.name, each.arcs, _TAGS[each.base], each.source and each.source.query)
                         for each in _MIB if not each.columns]

SCALAR: Dict[str, Scalar] = {scalar.name: scalar for scalar in SCALARS}

#: The tables in the order of their OIDs.
TABLES: List[Table] = [Table(each.name, each.arcs, each.source.query,
                             tuple(_TAGS[column.base] for column in each.columns))
                       for each in _MIB if each.columns]

TABLE: Dict[str, Table] = {table.name: table for table in TABLES}

#: Every query of a full walk: one request each.
QUERIES = sorted({entry.query for entry in [*SCALARS, *TABLES] if entry.query})


@lru_cache(maxsize=None)
def standard_tree() -> Dict[Oid, Tuple[int, Any]]:
    """Tag and value of everything below the objects' arc with the router above, as the model has it."""
    from model.tree import expected_tree as modelled  # which builds on this module
    standard = Api(fields=router())
    return modelled({query: standard.result(query) for query in QUERIES})


def expected_tree() -> List[Tuple[Oid, int, Any]]:
    """OID, tag and value of everything below the objects' arc, in the order of a walk."""
    return [(name, *value) for name, value in standard_tree().items()]


def triples(varbinds: Sequence[VarBind]) -> List[Tuple[Oid, int, Any]]:
    """Variables in the form of expected_tree()."""
    return [(varbind.oid, varbind.tag, varbind.value) for varbind in varbinds]
