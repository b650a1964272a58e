#include "zanrsyslog.h"

#include <memory>
#include <utility>

namespace zansnmp {

namespace {

/// The standard port of syslog over UDP, whatever the API says of ports.
constexpr int syslogPort = 514;

/// The name of the lowest severity that the router forwards, by the API's level.
const char* severityName(Json::Int level)
{
    constexpr std::pair<Json::Int, const char*> bands[] = {
        {10, "MINIMUM"}, {20, "ERROR"}, {30, "WARNING"}, {40, "INFO"}, {50, "DEBUG"}};
    for (const auto& [end, name] : bands) {
        if (level < end) {
            return name;
        }
    }
    return "MAXIMUM";
}

/// What the query gives is no list of destinations but one settings object: it becomes the table's one row.
SharedJson rows()
{
    static ZanCachedData query(apiUrl("/api?fields=syslog"), cacheLifetime);
    const SharedJson result = resultOf(query);
    const Json::Value& settings = (*result)["syslog"];
    Json::Value row;
    row["alias"] = "remote";
    row["host"] = settings["ipAddress"].asString();
    row["port"] = syslogPort;
    row["enabled"] = flagText(settings["enabled"].asBool());
    row["severityLevel"] = severityName(settings["logLevel"].asInt());

    auto list = std::make_shared<Json::Value>(Json::arrayValue);
    list->append(std::move(row));
    return list;
}

constexpr std::initializer_list<Column> columns = {
    {Conversion::position},       {Conversion::text, "alias"},         {Conversion::text, "host"},
    {Conversion::number, "port"}, {Conversion::text, "severityLevel"}, {Conversion::text, "enabled"},
};

constexpr Table table{"zanRemoteSyslogDestTable", "zanrsyslog", "zanRemoteSyslogDestTable",
                      objectOid(20, 1),           columns,      rows};

} // namespace

} // namespace zansnmp

ZAN_DEFINE_TABLE(zanRemoteSyslogDestTable, zansnmp::table)
