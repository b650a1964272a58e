#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

/// Router identity, and the switch of the remote management.
namespace zansnmp {

/// The query accessor: of `system`.
bool systemData(Json::Value& out);

/// Whether the router is managed remotely: "True" or "False".
std::string zanRemoteManagementEnabled();
/// The model.
std::string zanRouterModelId();
/// The serial number.
std::string zanRouterSerialNumber();
/// The firmware version.
std::string zanRouterFirmware();
/// How long the router has been up, in hundredths of a second, rounded to single precision; at most 2^31 - 1.
std::int32_t zanRouterUptime();

} // namespace zansnmp
