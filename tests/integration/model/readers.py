"""What each scalar makes of its query's result.  Where the objects lie, their types, their queries and the
members that they read stand in the MIB module; here is how it is converted."""

from __future__ import annotations

from typing import Callable, Dict, Union

from harness.router import Scalar, zanmib
from harness.snmp import INTEGER

from .float32 import uptime_ticks
from .jsonvalue import (Json, UINT32_MAX, as_bool, as_int, as_text, as_uint, as_uint64, element, has_member,
                        member, size, walk)

Reader = Callable[[Json], Union[bytes, int]]


def on_the_wire(scalar: Scalar, value: Union[bytes, int]) -> Union[bytes, int]:
    """The value as a manager sees it: 32 bits as they are, INTEGER signed and TimeTicks unsigned."""
    if isinstance(value, bytes):
        return value
    pattern = value & UINT32_MAX
    return pattern - 2**32 if scalar.tag == INTEGER and pattern > 2**31 - 1 else pattern


def flag(value: Json) -> bytes:
    return b"True" if as_bool(value) else b"False"


def text_at(*path: str) -> Reader:
    return lambda result: as_text(member(result, *path))


def flag_at(*path: str) -> Reader:
    return lambda result: flag(member(result, *path))


def unsigned_at(*path: str) -> Reader:
    return lambda result: as_uint(member(result, *path))


def fixed(text: bytes) -> Reader:
    return lambda result: text


# --- WAN manager ---

_LINKS = {b"ppp0": b"Cellular", b"wlan0": b"WiFi"}


def wan_transport(result: Json) -> bytes:
    for entry in walk(member(result, "waninfo", "wans")):
        if as_bool(member(entry, "current")):
            link = _LINKS.get(as_text(member(entry, "interface")))
            if link is not None:
                return link
    return b"None"


def wan_priority(result: Json) -> bytes:
    info = member(result, "waninfo", "wans")
    manager = member(result, "wanmngr", "wans")
    lines: Dict[int, bytes] = {}
    for position in range(size(info)):
        entry = element(info, position)
        if not as_bool(member(entry, "available")):
            continue
        link = _LINKS.get(as_text(member(entry, "interface")), b"Unknown")
        priority = member(element(manager, position), "priority")
        enabled = b"enabled" if as_bool(member(entry, "enabled")) else b"disabled"
        lines[as_int(priority)] = b", ".join((as_text(priority), link, enabled))
    return b"; ".join(lines[key] for key in sorted(lines))


# --- radio and cellular: nothing is read of a router without a cellular modem ---


def with_modem(read: Reader, otherwise: Union[bytes, int] = b"Unknown") -> Reader:
    def gated(result: Json) -> Union[bytes, int]:
        return read(result) if as_bool(member(result, "system_capabilities", "cell")) else otherwise
    return gated


def meid_or_imei(result: Json) -> bytes:
    radio = member(result, "stats_radio")
    return as_text(member(radio, "meid" if as_text(member(radio, "type")) == b"CDMA" else "imei"))


def radio_rssi(result: Json) -> bytes:
    level = as_text(member(result, "stats_radio", "rssidBm"))
    return level + b"dBm" if level else b""


def cellular_uptime(result: Json) -> int:
    return as_uint(member(result, "stats_ppp", "uptime")) * 100 % 2**32


def cellular_signal(result: Json) -> bytes:
    quality = as_text(member(result, "stats_ppp", "rssi"))
    level = as_text(member(result, "stats_ppp", "rssiDbm"))
    return b"" if quality == b"99" or not level else level + b" dBm"


def cellular_dns(result: Json) -> bytes:
    return b", ".join(as_text(server) for server in walk(member(result, "stats_ppp", "dnsServers")))


def current_count(result: Json, direction: str, unit: str) -> bytes:
    connection = member(result, "stats_ppp")
    if not has_member(connection, direction):
        return b"current : 0"
    return b"current : " + as_text(member(connection, direction, unit))


def traffic_bytes(direction: str) -> Reader:
    suffix = direction.capitalize()

    def line(result: Json) -> bytes:
        totals = member(result, "stats_pppTotal")
        return b"%s, today : %d, total : %d" % (current_count(result, direction, "bytes"),
                                                as_uint64(member(totals, "today" + suffix)),
                                                as_uint64(member(totals, "total" + suffix)))
    return line


def traffic_packets(direction: str) -> Reader:
    return lambda result: current_count(result, direction, "packets")


# --- Ethernet ---


def ethernet_gateway(result: Json) -> bytes:
    live, configured = member(result, "stats_eth"), member(result, "dhcp")
    return as_text(member(live, "gateway")) or as_text(member(configured, "defaultGateway"))


def ethernet_dns(result: Json) -> bytes:
    dhcp, dns = member(result, "dhcp"), member(result, "dns")
    if as_bool(member(dns, "enabled")):
        return as_text(member(dhcp, "defaultGateway"))
    servers = (as_text(member(dns, "primary")), as_text(member(dns, "secondary")))
    return b", ".join(server for server in servers if server)


# --- WiFi ---


def _access_point(result: Json) -> bool:
    return as_bool(member(result, "wifi", "ap", "enabled"))


def _client(result: Json) -> bool:
    return as_bool(member(result, "wifi", "client", "enabled"))


def _client_connected(result: Json) -> bool:
    return _client(result) and as_text(member(result, "stats_wlan", "status")) == b"Connected"


def wifi_enabled(result: Json) -> bytes:
    return b"True" if _access_point(result) or _client(result) else b"False"


def wifi_mode(result: Json) -> bytes:
    if _access_point(result):
        return b"Access Point"
    return b"WAN" if _client(result) else b"None"


def wifi_ssid(result: Json) -> bytes:
    if _access_point(result):
        return as_text(member(result, "wifi", "ap", "ssid"))
    return when(_client_connected, "stats_wlan", "link", "SSID")(result)


def when(condition: Callable[[Json], bool], *path: str) -> Reader:
    return lambda result: as_text(member(result, *path)) if condition(result) else b"Unknown"


# --- serial-to-IP, services, diagnostics, remote access, firewall ---


def serial_server(result: Json) -> bytes:
    pipe = member(result, "ipPipes_SERIAL2IP")
    return as_text(member(pipe, "ip")) if as_text(member(pipe, "mode")) == b"CLIENT" else b"Unknown"


def wan_dns_servers(result: Json) -> bytes:
    servers = member(result, "stats_dns", "servers")
    texts = [as_text(element(servers, position)) for position in range(size(servers))]
    return b", ".join(text for text in texts if text)


def remote_syslog(result: Json) -> bytes:
    destinations = member(result, "syslog_remote")
    for position in range(size(destinations)):
        level = as_text(member(element(destinations, position), "severityLevel"))
        if level not in (b"NONE", b""):
            return b"Remote Syslog is enabled"
    return b"Remote Syslog is disabled"


def ip_defense(result: Json) -> bytes:
    settings = member(result, "remoteAccess")
    names = ("dosAttackPrevention", "pingLimit", "bruteForcePrevention")
    defences = [member(settings, name) for name in names]
    return b"True" if any(as_bool(member(defence, "enabled")) for defence in defences) else b"False"


def rules_enabled(array: str, key: str, wanted: bytes) -> Reader:
    def count(result: Json) -> int:
        rules = member(result, array)
        total = 0
        for position in range(size(rules)):
            rule = element(rules, position)
            if as_text(member(rule, key)) == wanted and as_bool(member(rule, "enabled")):
                total += 1
        return total
    return count


#: Those that do more than show a member.
SPECIAL: Dict[str, Reader] = {
    "zanWanManagerTransport": wan_transport,
    "zanWanManagerPriority": wan_priority,
    "zanRadioMEIDorIMEI": meid_or_imei,
    "zanRadioRSSI": radio_rssi,
    "zanRadioTemperature": fixed(b"Unknown"),
    "zanCellularInterfaceUptime": cellular_uptime,
    "zanCellularInterfaceSignal": cellular_signal,
    "zanCellularInterfaceDNS": cellular_dns,
    "zanCellularInterfaceStatsTxBytes": traffic_bytes("tx"),
    "zanCellularInterfaceStatsRxBytes": traffic_bytes("rx"),
    "zanCellularInterfaceStatsTxPkts": traffic_packets("tx"),
    "zanCellularInterfaceStatsRxPkts": traffic_packets("rx"),
    "zanEthernetInterfaceGateway": ethernet_gateway,
    "zanEthernetInterfaceDNS": ethernet_dns,
    "zanWiFiInterfaceEnabled": wifi_enabled,
    "zanWiFiInterfaceMode": wifi_mode,
    "zanWiFiInterfaceSSID": wifi_ssid,
    "zanWiFiInterfaceConnectionStatus": when(_client, "stats_wlan", "status"),
    "zanWiFiInterfaceIP": when(_client_connected, "stats_wlan", "ip"),
    "zanWiFiInterfaceSignal": when(_client_connected, "stats_wlan", "link", "signal"),
    "zanWiFiInterfaceSecurity": when(_access_point, "wifi", "ap", "security", "mode"),
    "zanSerialToIPServerIP": serial_server,
    "zanRouterUptime": lambda result: uptime_ticks(as_text(member(result, "system", "uptime"))),
    "zanDNSWanServers": wan_dns_servers,
    "zanDiagnosticsSNMP": fixed(b"SNMP service is running"),
    "zanDiagnosticsRemoteSyslog": remote_syslog,
    "zanFirewallPreroutingRulesNumEnabled": rules_enabled("nat", "target", b"DNAT"),
    "zanFirewallInputFilterRulesNumEnabled": rules_enabled("filters", "chain", b"INPUT"),
    "zanFirewallForwardFilterRulesNumEnabled": rules_enabled("filters", "chain", b"FORWARD"),
    "zanFirewallOutputFilterRulesNumEnabled": rules_enabled("filters", "chain", b"OUTPUT"),
    "zanFirewallPostroutingRulesNumEnabled": rules_enabled("nat", "target", b"SNAT"),
    "zanRemoteAccessIpDefenseEnabled": ip_defense,
}

_GATE = "system_capabilities.cell"
_SHOWN = {"OctetString": text_at, "ZanSwitch": flag_at, "Integer32": unsigned_at}


def reader(object_: zanmib.Sketch) -> Reader:
    """What reads an object: a function of its own, or else one that shows the one member of its REFERENCE."""
    members = object_.source.members if object_.source else ()
    read = SPECIAL.get(object_.name)
    if read is None:
        path, = (each for each in members if each != _GATE)
        show = _SHOWN.get(object_.syntax) or _SHOWN[object_.base]
        read = show(*path.split(".")) if path != "result" else show()
    return with_modem(read, b"Unknown" if object_.base == "OctetString" else 0) if _GATE in members else read


#: By the objects' names, in the order of their OIDs.
READERS: Dict[str, Reader] = {each.name: reader(each) for each in zanmib.sketch() if not each.columns}
