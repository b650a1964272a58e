#pragma once

#include <json/value.h>

namespace zansnmp {

/// The query accessor of the cellular interface, which its traffic statistics share.
/// @param[out] out  the `result` with `system_capabilities`, `ppp`, `stats_ppp` and `stats_pppTotal`
/// @return false when the API failed
bool cellularData(Json::Value& out);

} // namespace zansnmp
