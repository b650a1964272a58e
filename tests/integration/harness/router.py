"""The router that the fake API is, unless a test changes it, and what the module must make of it.

Every text and number is unlike every other, so that an object that reads a wrong member shows a wrong value.
"""

import copy
from typing import Any, Dict, List, NamedTuple, Optional, Sequence, Tuple, Union

from .settings import OBJECTS
from .snmp import INTEGER, OCTET_STRING, TIMETICKS, Oid, VarBind, oid

REMOTE_MANAGEMENT = "/api/remoteManagement/enabled"
WAN_MANAGER = "/api?fields=wanmngr,waninfo"
RADIO = "/api?fields=system/capabilities,stats/radio"
CELLULAR = "/api?fields=system/capabilities,ppp,stats/ppp,stats/pppTotal"
ETHERNET = "/api?fields=system,stats/eth,dhcp,dns"
WIFI = "/api?fields=system,stats/wlan,wifi"
SERIAL = "/api?fields=ipPipes/SERIAL2IP,stats/serial,serial"
SYSTEM = "/api?fields=system"
SERVICES = "/api?fields=sntp/enabled,smtp,sms,dns,ddns,radius,syslog/remote,stats/service,stats/dns"
REMOTE_ACCESS = "/api?fields=remoteAccess"
OPENVPN = "/api?fields=ovpnTunnels"
IPSEC = "/api?fields=ipsecTunnels"
GRE = "/api?fields=greTunnels"
ROUTES = "/api?fields=routes"
DHCP = "/api?fields=dhcp"
FIREWALL = "/api?fields=filters,nat"
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


def router() -> Dict[str, Any]:
    """The router's fields, as a copy to change."""
    return copy.deepcopy(_ROUTER)


class Scalar(NamedTuple):
    """One scalar object and its value with the router above."""

    name: str
    suffix: str  # below the objects' arc, without the instance
    tag: int
    query: Optional[str]  # None: answered without the API
    value: Union[str, int]

    @property
    def oid(self) -> Oid:
        """The object, without the instance."""
        return OBJECTS + oid(self.suffix)

    @property
    def instance(self) -> Oid:
        """The object's one instance."""
        return self.oid + (0,)

    @property
    def fallback(self) -> Union[bytes, int]:
        """What it reads when the API gives nothing."""
        if self.query is None:
            return self.value.encode()
        return b"Unknown" if self.tag == OCTET_STRING else 0

    @property
    def expected(self) -> Union[bytes, int]:
        """The value as the client decodes it."""
        return self.value.encode() if isinstance(self.value, str) else self.value

    @property
    def served(self) -> Tuple[Oid, int, Any]:
        """OID, tag and value with the router above."""
        return self.instance, self.tag, self.expected

    @property
    def failed(self) -> Tuple[Oid, int, Any]:
        """OID, tag and value when the API gives nothing."""
        return self.instance, self.tag, self.fallback


_S, _I, _T = OCTET_STRING, INTEGER, TIMETICKS

#: The 108 scalars in the order of their OIDs.
SCALARS: List[Scalar] = [Scalar(*row) for row in (
    ("zanRemoteManagementEnabled", "1.1", _S, REMOTE_MANAGEMENT, "True"),
    ("zanWanManagerTransport", "2.1", _S, WAN_MANAGER, "Cellular"),
    ("zanWanManagerPriority", "2.2", _S, WAN_MANAGER,
     "1, Cellular, enabled; 2, Unknown, enabled; 3, WiFi, disabled"),
    ("zanRadioType", "3.1", _S, RADIO, "LTE"),
    ("zanRadioMEIDorIMEI", "3.2", _S, RADIO, "356938035643809"),
    ("zanRadioIMSI", "3.3", _S, RADIO, "001010123456789"),
    ("zanRadioFirmware", "3.4", _S, RADIO, "RF-17.3"),
    ("zanRadioRSSI", "3.5", _S, RADIO, "-71dBm"),
    ("zanRadioNetwork", "3.6", _S, RADIO, "Testnet"),
    ("zanRadioService", "3.7", _S, RADIO, "4G"),
    ("zanRadioHomeNetwork", "3.8", _S, RADIO, "Homenet"),
    ("zanRadioMSID", "3.9", _S, RADIO, "MSID-5550100"),
    ("zanRadioMDN", "3.10", _S, RADIO, "MDN-5550101"),
    ("zanRadioTemperature", "3.11", _S, None, "Unknown"),
    ("zanCellularInterfaceEnabled", "4.1", _S, CELLULAR, "True"),
    ("zanCellularInterfaceConnectionStatus", "4.2", _S, CELLULAR, "Up"),
    ("zanCellularInterfaceAPN", "4.3", _S, CELLULAR, "internet.example"),
    ("zanCellularInterfaceUptime", "4.4", _T, CELLULAR, 360000),
    ("zanCellularInterfaceSignal", "4.5", _S, CELLULAR, "-75 dBm"),
    ("zanCellularInterfaceRoaming", "4.6", _S, CELLULAR, "False"),
    ("zanCellularInterfaceTower", "4.7", _S, CELLULAR, "cell-4711"),
    ("zanCellularInterfaceIP", "4.8", _S, CELLULAR, "100.64.0.2"),
    ("zanCellularInterfaceDNS", "4.9", _S, CELLULAR, "10.0.0.1, 10.0.0.2"),
    ("zanCellularInterfaceMode", "4.10", _S, CELLULAR, "IPv4"),
    ("zanCellularInterfaceKeepAliveCheckEnabled", "4.11.1", _S, CELLULAR, "True"),
    ("zanCellularInterfaceKeepAliveCheckHostname", "4.11.2", _S, CELLULAR, "keepalive.example"),
    ("zanCellularInterfaceKeepAliveCheckInterval", "4.11.3", _I, CELLULAR, 300),
    ("zanCellularInterfaceWakeUpOnCallEnabled", "4.12.1", _S, CELLULAR, "True"),
    ("zanCellularInterfaceWakeUpOnCallOnRing", "4.12.2", _S, CELLULAR, "False"),
    ("zanCellularInterfaceWakeUpOnCallerId", "4.12.3", _S, CELLULAR, "True"),
    ("zanCellularInterfaceWakeUpOnSMS", "4.12.4", _S, CELLULAR, "False"),
    ("zanCellularInterfaceStatsTxBytes", "4.13.1", _S, CELLULAR,
     "current : 10240, today : 1048576, total : 73400320"),
    ("zanCellularInterfaceStatsRxBytes", "4.13.2", _S, CELLULAR,
     "current : 20480, today : 2097152, total : 5000000000"),
    ("zanCellularInterfaceStatsTxPkts", "4.13.3", _S, CELLULAR, "current : 87"),
    ("zanCellularInterfaceStatsRxPkts", "4.13.4", _S, CELLULAR, "current : 90"),
    ("zanEthernetInterfaceMAC", "5.1", _S, ETHERNET, "02:00:5e:10:00:01"),
    ("zanEthernetInterfaceIP", "5.2", _S, ETHERNET, "192.168.1.2"),
    ("zanEthernetInterfaceMask", "5.3", _S, ETHERNET, "255.255.255.0"),
    ("zanEthernetInterfaceGateway", "5.4", _S, ETHERNET, "192.168.1.1"),
    ("zanEthernetInterfaceDNS", "5.5", _S, ETHERNET, "8.8.8.8, 8.8.4.4"),
    ("zanWiFiInterfaceEnabled", "6.1", _S, WIFI, "True"),
    ("zanWiFiInterfaceMode", "6.2", _S, WIFI, "WAN"),
    ("zanWiFiInterfaceMAC", "6.3", _S, WIFI, "02:00:5e:10:00:02"),
    ("zanWiFiInterfaceSSID", "6.4", _S, WIFI, "upstream"),
    ("zanWiFiInterfaceConnectionStatus", "6.5", _S, WIFI, "Connected"),
    ("zanWiFiInterfaceIP", "6.6", _S, WIFI, "172.16.0.9"),
    ("zanWiFiInterfaceSignal", "6.7", _S, WIFI, "-52"),
    ("zanWiFiInterfaceSecurity", "6.8", _S, WIFI, "Unknown"),
    ("zanSerialToIPEnabled", "7.1", _S, SERIAL, "True"),
    ("zanSerialToIPMode", "7.2", _S, SERIAL, "CLIENT"),
    ("zanSerialToIPProtocol", "7.3", _S, SERIAL, "TCP"),
    ("zanSerialToIPPort", "7.4", _I, SERIAL, 2101),
    ("zanSerialToIPServerIP", "7.5", _S, SERIAL, "203.0.113.7"),
    ("zanSerialToIPTx", "7.6", _I, SERIAL, 1111),
    ("zanSerialToIPRx", "7.7", _I, SERIAL, 2222),
    ("zanSerialToIPDCD", "7.8", _S, SERIAL, "ON"),
    ("zanSerialToIPModbusGatewayEnabled", "7.9", _S, SERIAL, "False"),
    ("zanRouterModelId", "8.1", _S, SYSTEM, "ZR-4400"),
    ("zanRouterSerialNumber", "8.2", _S, SYSTEM, "SN0012345678"),
    ("zanRouterFirmware", "8.3", _S, SYSTEM, "6.5.2"),
    ("zanRouterUptime", "8.4", _T, SYSTEM, 1234567),
    ("zanDNSForwarderEnabled", "9.1.1", _S, SERVICES, "False"),
    ("zanDNSStaticPrimaryHost", "9.2", _S, SERVICES, "8.8.8.8"),
    ("zanDNSStaticSecondaryHost", "9.3", _S, SERVICES, "8.8.4.4"),
    ("zanDNSWanServers", "9.4", _S, SERVICES, "10.9.9.1, 10.9.9.2"),
    ("zanDdnsEnabled", "10.1", _S, SERVICES, "False"),
    ("zanDdnsServiceProvider", "10.2", _S, SERVICES, "ddns.example"),
    ("zanDHCPServerEnabled", "11.1.1", _S, DHCP, "True"),
    ("zanSMSEnabled", "12.1", _S, SERVICES, "True"),
    ("zanSMTPEnabled", "13.1", _S, SERVICES, "False"),
    ("zanSNTPEnabled", "14.1", _S, SERVICES, "True"),
    ("zanDiagnosticsServiceDDNS", "15.1.1", _S, SERVICES, "ddns runs"),
    ("zanDiagnosticsServiceSNTP", "15.1.2", _S, SERVICES, "sntp runs"),
    ("zanDiagnosticsServiceKeepAlive", "15.1.3", _S, SERVICES, "keep-alive runs"),
    ("zanDiagnosticsServiceDialOnDemand", "15.1.4", _S, SERVICES, "dial waits"),
    ("zanDiagnosticsServiceSMTP", "15.1.5", _S, SERVICES, "smtp runs"),
    ("zanDiagnosticsServiceSMS", "15.1.6", _S, SERVICES, "sms runs"),
    ("zanDiagnosticsSNMP", "15.1.7", _S, None, "SNMP service is running"),
    ("zanDiagnosticsRemoteSyslog", "15.1.8", _S, SERVICES, "Remote Syslog is enabled"),
    ("zanFirewallPreroutingRulesNumEnabled", "16.1", _I, FIREWALL, 4),
    ("zanFirewallInputFilterRulesNumEnabled", "16.2", _I, FIREWALL, 2),
    ("zanFirewallForwardFilterRulesNumEnabled", "16.3", _I, FIREWALL, 1),
    ("zanFirewallOutputFilterRulesNumEnabled", "16.4", _I, FIREWALL, 3),
    ("zanFirewallPostroutingRulesNumEnabled", "16.5", _I, FIREWALL, 5),
    ("zanRadiusAuthEnabled", "19.1", _S, SERVICES, "True"),
    ("zanRadiusAccountingEnabled", "19.2", _S, SERVICES, "False"),
    ("zanRadiusPrimaryHost", "19.3", _S, SERVICES, "radius1.example"),
    ("zanRadiusSecondaryHost", "19.4", _S, SERVICES, "radius2.example"),
    ("zanRadiusAuthType", "19.5", _S, SERVICES, "CHAP"),
    ("zanRadiusConnectTimeout", "19.6", _I, SERVICES, 30),
    ("zanRemoteAccessIpDefenseEnabled", "21.1.1", _S, REMOTE_ACCESS, "True"),
    ("zanRemoteAccessDoSPreventEnabled", "21.1.2", _S, REMOTE_ACCESS, "False"),
    ("zanRemoteAccessPingLimitEnabled", "21.1.3", _S, REMOTE_ACCESS, "True"),
    ("zanRemoteAccessBruteForcePrevEnabled", "21.1.4", _S, REMOTE_ACCESS, "False"),
    ("zanRemoteAccessSSHEnabled", "21.2.1", _S, REMOTE_ACCESS, "True"),
    ("zanRemoteAccessSSHWan", "21.2.2", _S, REMOTE_ACCESS, "False"),
    ("zanRemoteAccessSSHLan", "21.2.3", _S, REMOTE_ACCESS, "True"),
    ("zanRemoteAccessIcmpEnabled", "21.3.1", _S, REMOTE_ACCESS, "True"),
    ("zanRemoteAccessIcmpWan", "21.3.2", _S, REMOTE_ACCESS, "False"),
    ("zanRemoteAccessIcmpLan", "21.3.3", _S, REMOTE_ACCESS, "True"),
    ("zanRemoteAccessHTTPEnabled", "21.4.1", _S, REMOTE_ACCESS, "True"),
    ("zanRemoteAccessHTTPWan", "21.4.2", _S, REMOTE_ACCESS, "False"),
    ("zanRemoteAccessHTTPLan", "21.4.3", _S, REMOTE_ACCESS, "True"),
    ("zanRemoteAccessHTTPtoHTTPs", "21.4.4", _S, REMOTE_ACCESS, "True"),
    ("zanRemoteAccessHTTPsEnabled", "21.5.1", _S, REMOTE_ACCESS, "True"),
    ("zanRemoteAccessHTTPsWan", "21.5.2", _S, REMOTE_ACCESS, "True"),
    ("zanRemoteAccessHTTPsLan", "21.5.3", _S, REMOTE_ACCESS, "False"),
    ("zanRemoteAccessHTTPSessionTimeout", "21.6", _I, REMOTE_ACCESS, 600),
)]

SCALAR: Dict[str, Scalar] = {scalar.name: scalar for scalar in SCALARS}


Row = Tuple[Union[str, int], ...]


class Table(NamedTuple):
    """One table and its rows with the router above; a row is the tuple of its columns from 1 on."""

    name: str
    suffix: str  # the table's OID below the objects' arc
    query: str
    tags: Tuple[int, ...]  # of the columns from 1 on
    rows: Sequence[Row]

    @property
    def oid(self) -> Oid:
        """The table."""
        return OBJECTS + oid(self.suffix)

    def cell(self, column: int, index: int) -> Oid:
        """The OID of one cell."""
        return self.oid + (1, column, index)

    def expected(self, rows: Optional[Sequence[Row]] = None) -> List[Tuple[Oid, int, Any]]:
        """OID, tag and value of every cell in the order of a walk, for these rows or the router's."""
        rows = self.rows if rows is None else rows
        return [(self.cell(column, index), tag, value.encode() if isinstance(value, str) else value)
                for column, tag in enumerate(self.tags, 1)
                for index, value in enumerate((row[column - 1] for row in rows), 1)]


#: The six tables in the order of their OIDs.
TABLES: List[Table] = [
    Table("zanDHCPServerLeasesTable", "11.1.2", DHCP, (_I, _S, _S, _T), [
        (0, "192.168.1.100", "02:00:5e:20:00:01", 360000),
        (1, "192.168.1.101", "02:00:5e:20:00:02", 705032704),
        (2, "192.168.1.102", "02:00:5e:20:00:03", 0)]),
    Table("zanStaticRoutesTable", "17.1", ROUTES, (_I, _S, _S), [
        (0, "route-a", "True"), (1, "route-b", "True")]),
    Table("zanGreTunnelsTable", "18.1.1", GRE, (_I, _S, _S), [
        (0, "gre-a", "True"), (1, "gre-b", "Unknown"), (2, "", "True")]),
    Table("zanIpsecTunnelsTable", "18.2.1", IPSEC, (_I, _S, _S), [(0, "ipsec-a", "False")]),
    Table("zanOpenVpnTunnelsTable", "18.3.1", OPENVPN, (_I, _S, _S), [
        (0, "ovpn-a", "True"), (1, "ovpn-b", "False")]),
    Table("zanRemoteSyslogDestTable", "20.1", SYSLOG, (_I, _S, _S, _I, _S, _S), [
        (0, "remote", "10.0.0.5", 514, "INFO", "True")]),
]

TABLE: Dict[str, Table] = {table.name: table for table in TABLES}

#: Every query of a full walk: one request each.
QUERIES = sorted({entry.query for entry in [*SCALARS, *TABLES] if entry.query})


def expected_tree() -> List[Tuple[Oid, int, Any]]:
    """OID, tag and value of everything below the objects' arc, in the order of a walk."""
    tree = [scalar.served for scalar in SCALARS]
    for table in TABLES:
        tree += table.expected()
    return sorted(tree)


def triples(varbinds: Sequence[VarBind]) -> List[Tuple[Oid, int, Any]]:
    """Variables in the form of expected_tree()."""
    return [(varbind.oid, varbind.tag, varbind.value) for varbind in varbinds]
