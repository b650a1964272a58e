#include "zanwanmanager.h"

#include "zangetter.h"

#include <map>

namespace zansnmp {

namespace {

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=wanmngr,waninfo"), cacheLifetime);
    return data;
}

/// The manager's name of a link, by its kernel interface; null for a link that has none, such as a wired one.
const char* linkLabel(const std::string& interface)
{
    return interface == "ppp0" ? "Cellular" : interface == "wlan0" ? "WiFi" : nullptr;
}

/// One line for the link at a position: its priority, its label, and whether it is enabled.
std::string linkEntry(const Json::Value& link, const Json::Value& priority)
{
    const char* label = linkLabel(link["interface"].asString());
    const char* state = link["enabled"].asBool() ? "enabled" : "disabled";
    return priority.asString() + ", " + (label != nullptr ? label : unknown) + ", " + state;
}

} // namespace

bool wanManagerData(Json::Value& out)
{
    return query().get(out);
}

std::string zanWanManagerTransport()
{
    return provideText(query, [](const Json::Value& result) -> std::string {
        // A current link without a label is passed over: a later one may have one.
        for (const Json::Value& link : memberAt(result, {"waninfo", "wans"})) {
            if (!link["current"].asBool()) {
                continue;
            }
            if (const char* label = linkLabel(link["interface"].asString())) {
                return label;
            }
        }
        return "None";
    });
}

std::string zanWanManagerPriority()
{
    return provideText(query, [](const Json::Value& result) {
        const Json::Value& links = memberAt(result, {"waninfo", "wans"});
        const Json::Value& ranking = memberAt(result, {"wanmngr", "wans"});
        std::map<Json::Int, std::string> entries; // of links with the same priority the last one stays
        for (Json::ArrayIndex i = 0; i < links.size(); ++i) {
            if (links[i]["available"].asBool()) {
                const Json::Value& priority = ranking[i]["priority"];
                entries[priority.asInt()] = linkEntry(links[i], priority);
            }
        }
        std::string list;
        for (const auto& [priority, entry] : entries) {
            list += (list.empty() ? "" : "; ") + entry;
        }
        return list;
    });
}

} // namespace zansnmp
