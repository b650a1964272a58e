#pragma once

#include <json/value.h>

namespace zansnmp {

/// Whether the router has a cellular radio, by the `system_capabilities` of a query's `result`. Without one
/// the radio and the cellular objects have no values, whatever else the API says.
/// @throws Json::LogicError  when the flag cannot be read as a boolean
bool hasCellularRadio(const Json::Value& result);

} // namespace zansnmp
