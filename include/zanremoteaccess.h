#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

/// Remote access: how the router may be reached for management, and how it defends itself.
namespace zansnmp {

/// The query accessor: of `remoteAccess`.
bool remoteAccessData(Json::Value& out);

/// Whether any of the three defences below is on: "True" or "False".
std::string zanRemoteAccessIpDefenseEnabled();
/// DoS attack prevention: "True" or "False", as all below.
std::string zanRemoteAccessDoSPreventEnabled();
/// The ping rate limit.
std::string zanRemoteAccessPingLimitEnabled();
/// Brute-force login prevention.
std::string zanRemoteAccessBruteForcePrevEnabled();
/// The SSH server.
std::string zanRemoteAccessSSHEnabled();
/// SSH from the WAN side.
std::string zanRemoteAccessSSHWan();
/// SSH from the LAN side.
std::string zanRemoteAccessSSHLan();
/// Answers to ICMP echo.
std::string zanRemoteAccessIcmpEnabled();
/// ICMP echo from the WAN side.
std::string zanRemoteAccessIcmpWan();
/// ICMP echo from the LAN side.
std::string zanRemoteAccessIcmpLan();
/// The web server.
std::string zanRemoteAccessHTTPEnabled();
/// HTTP from the WAN side.
std::string zanRemoteAccessHTTPWan();
/// HTTP from the LAN side.
std::string zanRemoteAccessHTTPLan();
/// The redirect of HTTP requests to HTTPS.
std::string zanRemoteAccessHTTPtoHTTPs();
/// The HTTPS server.
std::string zanRemoteAccessHTTPsEnabled();
/// HTTPS from the WAN side.
std::string zanRemoteAccessHTTPsWan();
/// HTTPS from the LAN side.
std::string zanRemoteAccessHTTPsLan();
/// The web session time-out, in seconds.
std::uint32_t zanRemoteAccessHTTPSessionTimeout();

} // namespace zansnmp
