#include "zandiagnostics.h"

#include "zangetter.h"
#include "zanservices.h"

namespace zansnmp {

namespace {

std::string serviceStatus(const char* service)
{
    return textMember(servicesQuery, {"stats_service", service, "status"});
}

} // namespace

std::string zanDiagnosticsServiceDDNS()
{
    return serviceStatus("ddns");
}

std::string zanDiagnosticsServiceSNTP()
{
    return serviceStatus("sntp");
}

std::string zanDiagnosticsServiceKeepAlive()
{
    return serviceStatus("keepAlive");
}

std::string zanDiagnosticsServiceDialOnDemand()
{
    return serviceStatus("dialOnDemand");
}

std::string zanDiagnosticsServiceSMTP()
{
    return serviceStatus("smtp");
}

std::string zanDiagnosticsServiceSMS()
{
    return serviceStatus("sms");
}

std::string zanDiagnosticsSNMP()
{
    // No query, or nobody would answer; but a text of this length needs memory, which may be short.
    return valueOr<std::string>(unknown, [] { return "SNMP service is running"; });
}

std::string zanDiagnosticsRemoteSyslog()
{
    return provideText(servicesQuery, [](const Json::Value& result) {
        const Json::Value& destinations = result["syslog_remote"];
        for (Json::ArrayIndex i = 0; i < destinations.size(); ++i) {
            const std::string level = destinations[i]["severityLevel"].asString();
            if (!level.empty() && level != "NONE") {
                return "Remote Syslog is enabled";
            }
        }
        return "Remote Syslog is disabled";
    });
}

} // namespace zansnmp
