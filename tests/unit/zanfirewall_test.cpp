#include "zanproviders.h"

#include "support/grouptest.h"

#include <cstdint>

using namespace zantest;
using namespace zansnmp;

namespace {

/// A rule count: the array it counts in, and the member and value that select a rule.
struct Count {
    std::int32_t (*provider)();
    const char* list;
    const char* selector;
    const char* value;
};

const std::vector<Count> counts{
    {zanFirewallPreroutingRulesNumEnabled, "nat", "target", "DNAT"},
    {zanFirewallInputFilterRulesNumEnabled, "filters", "chain", "INPUT"},
    {zanFirewallForwardFilterRulesNumEnabled, "filters", "chain", "FORWARD"},
    {zanFirewallOutputFilterRulesNumEnabled, "filters", "chain", "OUTPUT"},
    {zanFirewallPostroutingRulesNumEnabled, "nat", "target", "SNAT"},
};

class FirewallTest : public GroupTest {
protected:
    FirewallTest() : GroupTest("/api?fields=filters,nat") {}

    static Objects objects()
    {
        Objects all;
        for (const Count& count : counts) {
            all.integers.push_back(count.provider);
        }
        return all;
    }
};

/// A rule that a count selects, with this `enabled` (JSON text).
std::string rule(const Count& count, const std::string& enabled)
{
    return "{\"" + std::string(count.selector) + "\": \"" + count.value + "\", \"enabled\": " + enabled + "}";
}

/// The `result` with these rules (the inside of a JSON array) in the list of a count.
std::string rules(const Count& count, const std::string& list)
{
    return "{\"" + std::string(count.list) + "\": [" + list + "]}";
}

TEST_F(FirewallTest, ObjectsShareOneRequest)
{
    expectOneRequest(objects());
}

TEST_F(FirewallTest, ObjectsFallBackWhenTheApiFails)
{
    expectFallbacks(objects());
}

TEST_F(FirewallTest, ThreeInputRulesAndOneForwardRule)
{
    const std::string result =
        R"({"filters": [{"chain": "INPUT", "enabled": true}, {"chain": "INPUT", "enabled": false},
        {"chain": "FORWARD", "enabled": true}, {"chain": "INPUT", "enabled": true}]})";
    expectRows(zanFirewallInputFilterRulesNumEnabled, {{result, 2}});
    expectRows(zanFirewallForwardFilterRulesNumEnabled, {{result, 1}});
    expectRows(zanFirewallOutputFilterRulesNumEnabled, {{result, 0}});
    expectRows(zanFirewallPreroutingRulesNumEnabled, {{result, 0}});
    expectRows(zanFirewallPostroutingRulesNumEnabled, {{result, 0}});
}

TEST_F(FirewallTest, EachCountSelectsItsOwnRules)
{
    for (std::size_t state = 0; state < counts.size(); ++state) {
        for (std::size_t object = 0; object < counts.size(); ++object) {
            expectRows(counts[object].provider,
                       {{rules(counts[state], rule(counts[state], "true")), state == object ? 1 : 0}});
        }
    }
}

TEST_F(FirewallTest, EnabledRulesAreCounted)
{
    for (const Count& count : counts) {
        SCOPED_TRACE(count.value);
        const std::string on = rule(count, "true");
        const std::string off = rule(count, "false");
        const std::string unset = "{\"" + std::string(count.selector) + "\": \"" + count.value + "\"}";
        expectRows(count.provider, {
                                       {rules(count, ""), 0},
                                       {rules(count, on), 1},
                                       {rules(count, off), 0},
                                       {rules(count, unset), 0},
                                       {rules(count, rule(count, "null")), 0},
                                       {rules(count, on + "," + off + "," + on + "," + unset + "," + on), 3},
                                       {rules(count, "null, {}, " + on), 1},
                                   });
    }
}

TEST_F(FirewallTest, NumericEnabledCounts)
{
    for (const Count& count : counts) {
        expectRows(count.provider, {
                                       {rules(count, rule(count, "1")), 1},
                                       {rules(count, rule(count, "0.5")), 1},
                                       {rules(count, rule(count, "0")), 0},
                                   });
    }
}

TEST_F(FirewallTest, EnabledThatCannotBeReadMakesTheWholeCountZero)
{
    for (const Count& count : counts) {
        for (const char* bad : {R"("true")", R"("")", "[]", "{}"}) {
            expectRows(count.provider, {{rules(count, rule(count, "true") + "," + rule(count, bad)), 0},
                                        {rules(count, rule(count, bad) + "," + rule(count, "true")), 0}});
        }
    }
}

TEST_F(FirewallTest, EnabledOfARuleOfAnotherKindIsNotRead)
{
    for (const Count& count : counts) {
        expectRows(
            count.provider,
            {{rules(count, R"({"chain": "x", "target": "x", "enabled": "x"}, )" + rule(count, "true")), 1}});
    }
}

TEST_F(FirewallTest, SelectingValueInLowerCaseIsNotCounted)
{
    expectRows(zanFirewallInputFilterRulesNumEnabled,
               {
                   {R"({"filters": [{"chain": "input", "enabled": true}]})", 0},
                   {R"({"filters": [{"chain": "Input", "enabled": true}]})", 0},
                   {R"({"filters": [{"chain": "INPUT ", "enabled": true}]})", 0},
               });
    expectRows(zanFirewallPreroutingRulesNumEnabled,
               {{R"({"nat": [{"target": "dnat", "enabled": true}]})", 0}});
}

TEST_F(FirewallTest, NatRulesOfOtherTargetsAreCountedByNeither)
{
    for (const char* target : {"MASQUERADE", "REDIRECT", "", "DNAT2", "NAT"}) {
        const std::string result = R"({"nat": [{"target": ")" + std::string(target) +
                                   R"(", "chain": "PREROUTING", "enabled": true}]})";
        expectRows(zanFirewallPreroutingRulesNumEnabled, {{result, 0}});
        expectRows(zanFirewallPostroutingRulesNumEnabled, {{result, 0}});
    }
}

TEST_F(FirewallTest, NatRulesAreSelectedByTargetWhateverTheirChain)
{
    const std::string result = R"({"nat": [{"target": "DNAT", "chain": "POSTROUTING", "enabled": true},
                                           {"target": "SNAT", "chain": "PREROUTING", "enabled": true}]})";
    expectRows(zanFirewallPreroutingRulesNumEnabled, {{result, 1}});
    expectRows(zanFirewallPostroutingRulesNumEnabled, {{result, 1}});
}

TEST_F(FirewallTest, SelectorThatCannotBeReadMakesTheWholeCountZero)
{
    for (const Count& count : counts) {
        for (const char* bad : {"[]", "{}"}) {
            expectRows(
                count.provider,
                {{rules(count, rule(count, "true") + ", {\"" + count.selector + "\": " + bad + "}"), 0}});
        }
        expectRows(
            count.provider,
            {{rules(count, "{\"" + std::string(count.selector) + "\": 7}, " + rule(count, "true")), 1}});
    }
}

TEST_F(FirewallTest, RuleThatIsNoObjectMakesTheWholeCountZero)
{
    for (const Count& count : counts) {
        for (const char* bad : {"1", "true", R"("INPUT")", "[]"}) {
            expectRows(count.provider, {{rules(count, rule(count, "true") + "," + bad), 0}});
        }
    }
}

TEST_F(FirewallTest, ListMissingOrNoArray)
{
    for (const Count& count : counts) {
        for (const std::string list : {"null", "{}", R"({"0": {}})", R"("x")", "1", "true"}) {
            expectRows(count.provider, {{"{\"" + std::string(count.list) + "\": " + list + "}", 0}});
        }
        for (const char* result : {"{}", "null", "[]", "1", R"("x")", "true"}) {
            expectRows(count.provider, {{result, 0}});
        }
    }
}

} // namespace
