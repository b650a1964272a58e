#pragma once

#include <json/value.h>

#include <string>

/// WAN manager.
namespace zansnmp {

/// The query accessor: of `wanmngr` and `waninfo`.
bool wanManagerData(Json::Value& out);

/// The link in use: "Cellular", "WiFi", or "None" for any other.
std::string zanWanManagerTransport();
/// The available links by ascending priority, each as "<priority>, <label>, enabled" or "..., disabled",
/// joined by "; ".
std::string zanWanManagerPriority();

} // namespace zansnmp
