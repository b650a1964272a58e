#pragma once

#include "zanjsondb.h"

#include <cstdint>
#include <string>

/// Network services, RADIUS among them.
namespace zansnmp {

/// The query accessor: of `sntp_enabled`, `smtp`, `sms`, `dns`, `ddns`, `radius`, `syslog_remote`,
/// `stats_service` and `stats_dns`.
bool servicesData(Json::Value& out);

/// The query behind it, which the diagnostics share.
ZanCachedData& servicesQuery();

/// Whether the DNS forwarder is on: "True" or "False".
std::string zanDNSForwarderEnabled();
/// The static primary DNS server.
std::string zanDNSStaticPrimaryHost();
/// The static secondary DNS server.
std::string zanDNSStaticSecondaryHost();
/// The DNS servers learnt on the WAN side, joined by ", ".
std::string zanDNSWanServers();
/// Whether dynamic DNS is on: "True" or "False".
std::string zanDdnsEnabled();
/// The dynamic DNS service provider.
std::string zanDdnsServiceProvider();
/// Whether the SMS service is on: "True" or "False".
std::string zanSMSEnabled();
/// Whether the SMTP client is on: "True" or "False".
std::string zanSMTPEnabled();
/// Whether the SNTP client is on: "True" or "False".
std::string zanSNTPEnabled();

/// Whether authentication is on: "True" or "False".
std::string zanRadiusAuthEnabled();
/// Whether accounting is on: "True" or "False".
std::string zanRadiusAccountingEnabled();
/// The primary server.
std::string zanRadiusPrimaryHost();
/// The secondary server.
std::string zanRadiusSecondaryHost();
/// The authentication type.
std::string zanRadiusAuthType();
/// The connect time-out, in the API's unit.
std::uint32_t zanRadiusConnectTimeout();

} // namespace zansnmp
