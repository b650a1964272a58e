#pragma once

#include <json/value.h>

#include <string>

/// Ethernet interface.
namespace zansnmp {

/// The query accessor: of `system`, `stats_eth`, `dhcp` and `dns`.
bool ethernetData(Json::Value& out);

/// The MAC address.
std::string zanEthernetInterfaceMAC();
/// The IPv4 address.
std::string zanEthernetInterfaceIP();
/// The netmask.
std::string zanEthernetInterfaceMask();
/// The gateway in use, else the one that the DHCP server hands out.
std::string zanEthernetInterfaceGateway();
/// The DNS servers: the router itself while it forwards, else at most two static ones, joined by ", ".
std::string zanEthernetInterfaceDNS();

} // namespace zansnmp
