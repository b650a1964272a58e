#pragma once

#include "zanjsondb.h"

#include <cstdint>
#include <string>

/// Cellular interface. "Unknown" or 0 on a router without a cellular radio.
namespace zansnmp {

/// The query accessor: of `system_capabilities`, `ppp`, `stats_ppp` and `stats_pppTotal`.
bool cellularData(Json::Value& out);

/// The query behind it, which the traffic statistics share.
ZanCachedData& cellularQuery();

/// Whether the interface is switched on: "True" or "False".
std::string zanCellularInterfaceEnabled();
/// The state of the link, in the API's words.
std::string zanCellularInterfaceConnectionStatus();
/// The access point name.
std::string zanCellularInterfaceAPN();
/// How long the link has been up, in hundredths of a second, modulo 2^32.
std::uint32_t zanCellularInterfaceUptime();
/// The signal strength with its unit, such as "-75 dBm"; empty when the modem knows none.
std::string zanCellularInterfaceSignal();
/// Whether the link roams: "True" or "False".
std::string zanCellularInterfaceRoaming();
/// The serving tower.
std::string zanCellularInterfaceTower();
/// The link's own address.
std::string zanCellularInterfaceIP();
/// The link's DNS servers, joined by ", ".
std::string zanCellularInterfaceDNS();
/// The protocol mode.
std::string zanCellularInterfaceMode();
/// Whether the keep-alive check is on: "True" or "False".
std::string zanCellularInterfaceKeepAliveCheckEnabled();
/// The host that the keep-alive check pings.
std::string zanCellularInterfaceKeepAliveCheckHostname();
/// The interval of the keep-alive check, in the API's unit.
std::uint32_t zanCellularInterfaceKeepAliveCheckInterval();
/// Whether a call wakes the link up: "True" or "False".
std::string zanCellularInterfaceWakeUpOnCallEnabled();
/// Whether any ring does: "True" or "False".
std::string zanCellularInterfaceWakeUpOnCallOnRing();
/// Whether a known caller's does: "True" or "False".
std::string zanCellularInterfaceWakeUpOnCallerId();
/// Whether a short message does: "True" or "False".
std::string zanCellularInterfaceWakeUpOnSMS();

} // namespace zansnmp
