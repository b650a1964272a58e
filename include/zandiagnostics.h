#pragma once

#include <string>

/// Diagnostics: whether services run, as opposed to configured. From the query of the network services.
namespace zansnmp {

/// The run status of dynamic DNS, in the API's words.
std::string zanDiagnosticsServiceDDNS();
/// That of SNTP.
std::string zanDiagnosticsServiceSNTP();
/// That of the connection keep-alive.
std::string zanDiagnosticsServiceKeepAlive();
/// That of dial-on-demand.
std::string zanDiagnosticsServiceDialOnDemand();
/// That of SMTP.
std::string zanDiagnosticsServiceSMTP();
/// That of SMS.
std::string zanDiagnosticsServiceSMS();
/// Always "SNMP service is running".
std::string zanDiagnosticsSNMP();
/// "Remote Syslog is enabled" when a destination is forwarded anything, else "Remote Syslog is disabled".
std::string zanDiagnosticsRemoteSyslog();

} // namespace zansnmp
