#pragma once

#include <json/value.h>

namespace zansnmp {

/// The query accessor of the network services, which the diagnostics group shares.
/// @param[out] out  the `result` with `sntp_enabled`, `smtp`, `sms`, `dns`, `ddns`, `radius`,
///                  `syslog_remote`, `stats_service` and `stats_dns`
/// @return false when the API failed
bool servicesData(Json::Value& out);

} // namespace zansnmp
