#pragma once

#include "zantable.h"

namespace zansnmp {

/// The query accessor of the DHCP server, shared by its switch and its leases table.
/// @param[out] out  the `result` with `dhcp`
/// @return false when the API failed
bool dhcpData(Json::Value& out);

} // namespace zansnmp

ZAN_DECLARE_TABLE(zanDHCPServerLeasesTable)
