#pragma once

#include <json/value.h>

#include <string>

/// WiFi interface.
namespace zansnmp {

/// The query accessor: of `system`, `stats_wlan` and `wifi`.
bool wifiData(Json::Value& out);

/// Whether the access point or the client is on: "True" or "False".
std::string zanWiFiInterfaceEnabled();
/// "Access Point", "WAN" (the client role) or "None"; the access point wins.
std::string zanWiFiInterfaceMode();
/// The MAC address.
std::string zanWiFiInterfaceMAC();
/// The access point's network name, else that of the network joined; "Unknown" without either.
std::string zanWiFiInterfaceSSID();
/// The client's link state in the API's words; "Unknown" while the client is off.
std::string zanWiFiInterfaceConnectionStatus();
/// The client's address while it is connected; else "Unknown".
std::string zanWiFiInterfaceIP();
/// The client's signal level while it is connected; else "Unknown".
std::string zanWiFiInterfaceSignal();
/// The access point's security mode while it is on; else "Unknown".
std::string zanWiFiInterfaceSecurity();

} // namespace zansnmp
