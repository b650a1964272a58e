#pragma once

#include "zantable.h"

#include <json/value.h>

#include <string>

/// DHCP server: its switch and its leases.
namespace zansnmp {

/// The query accessor: of `dhcp`.
bool dhcpData(Json::Value& out);

/// Whether the DHCP server is on: "True" or "False".
std::string zanDHCPServerEnabled();

} // namespace zansnmp

ZAN_DECLARE_TABLE(zanDHCPServerLeasesTable)
