#include "zanfirewall.h"

#include "zangetter.h"

namespace zansnmp {

namespace {

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=filters,nat"), cacheLifetime);
    return data;
}

/// How many enabled rules of the array `list` have `value` in their member `selector`. One rule that cannot
/// be read makes the whole count 0.
std::int32_t enabledRules(const char* list, const char* selector, const char* value)
{
    return provide<std::int32_t>(query, 0, [=](const Json::Value& result) {
        const Json::Value& rules = result[list];
        std::int32_t count = 0;
        for (Json::ArrayIndex i = 0; i < rules.size(); ++i) {
            const Json::Value& rule = rules[i];
            if (rule[selector].asString() == value && rule["enabled"].asBool()) {
                ++count;
            }
        }
        return count;
    });
}

} // namespace

bool firewallData(Json::Value& out)
{
    return query().get(out);
}

std::int32_t zanFirewallPreroutingRulesNumEnabled()
{
    return enabledRules("nat", "target", "DNAT");
}

std::int32_t zanFirewallInputFilterRulesNumEnabled()
{
    return enabledRules("filters", "chain", "INPUT");
}

std::int32_t zanFirewallForwardFilterRulesNumEnabled()
{
    return enabledRules("filters", "chain", "FORWARD");
}

std::int32_t zanFirewallOutputFilterRulesNumEnabled()
{
    return enabledRules("filters", "chain", "OUTPUT");
}

std::int32_t zanFirewallPostroutingRulesNumEnabled()
{
    return enabledRules("nat", "target", "SNAT");
}

} // namespace zansnmp
