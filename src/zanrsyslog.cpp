#include "zanrsyslog.h"

#include "zangetter.h"

#include <iterator>
#include <utility>

namespace {

using namespace zansnmp;

/// The standard port of syslog over UDP. The API has no other.
constexpr int syslogPort = 514;

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=syslog"), cacheLifetime);
    return data;
}

/// The name of the lowest severity that the router forwards, by the API's level.
const char* severityName(Json::Int level)
{
    struct Band {
        Json::Int below;
        const char* name;
    };
    constexpr Band bands[] = {{10, "MINIMUM"}, {20, "ERROR"}, {30, "WARNING"}, {40, "INFO"}, {50, "DEBUG"}};
    for (const Band& band : bands) {
        if (level < band.below) {
            return band.name;
        }
    }
    return "MAXIMUM";
}

/// The API has no list of destinations, only one settings object: it becomes the table's one row.
Json::Value rows(Json::Value& result)
{
    const Json::Value& settings = result["syslog"];
    Json::Value row;
    row["alias"] = "remote";
    row["host"] = settings["ipAddress"].asString();
    row["port"] = syslogPort;
    row["enabled"] = flagText(settings["enabled"].asBool());
    row["severityLevel"] = severityName(settings["logLevel"].asInt());

    Json::Value table(Json::objectValue);
    table["syslog_remote"].append(std::move(row));
    return std::move(table["syslog_remote"]);
}

constexpr Column columns[] = {
    {Conversion::position},       {Conversion::text, "alias"},         {Conversion::text, "host"},
    {Conversion::number, "port"}, {Conversion::text, "severityLevel"}, {Conversion::text, "enabled"},
};

Table table({"zanRemoteSyslogDestTable", "zanrsyslog", "zanRemoteSyslogDestTable", objectOid(20, 1), columns,
             std::size(columns), query, rows});

} // namespace

ZAN_DEFINE_TABLE(zanRemoteSyslogDestTable, table)
