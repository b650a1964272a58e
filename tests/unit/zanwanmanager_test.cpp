#include "zanproviders.h"

#include "support/grouptest.h"

using namespace zantest;
using namespace zansnmp;

namespace {

class WanManagerTest : public GroupTest {
protected:
    WanManagerTest() : GroupTest("/api?fields=wanmngr,waninfo") {}

    const Objects objects{{zanWanManagerTransport, zanWanManagerPriority}};

    /// The `result` with these links and priorities, each the inside of a JSON array.
    static std::string wans(const std::string& info, const std::string& mngr = "")
    {
        return R"({"waninfo": {"wans": [)" + info + R"(]}, "wanmngr": {"wans": [)" + mngr + "]}}";
    }
};

/// A current link.
std::string current(const std::string& interface)
{
    return R"({"current": true, "interface": ")" + interface + R"("})";
}

/// An available and enabled link.
std::string available(const std::string& interface)
{
    return R"({"available": true, "enabled": true, "interface": ")" + interface + R"("})";
}

std::string priority(const std::string& value)
{
    return R"({"priority": )" + value + "}";
}

constexpr const char* exampleInfo = R"(
    {"interface": "eth0", "available": true, "enabled": true},
    {"interface": "ppp0", "available": true, "enabled": true, "current": true},
    {"interface": "wlan0", "available": true, "enabled": false},
    {"interface": "wlan1", "available": false, "enabled": true})";
constexpr const char* examplePriorities =
    R"({"priority": 2}, {"priority": 1}, {"priority": 3}, {"priority": 4})";

TEST_F(WanManagerTest, ObjectsShareOneRequest)
{
    expectOneRequest(objects);
}

TEST_F(WanManagerTest, ObjectsFallBackWhenTheApiFails)
{
    expectFallbacks(objects);
}

TEST_F(WanManagerTest, Example)
{
    expectRows(zanWanManagerTransport, {{wans(exampleInfo, examplePriorities), "Cellular"}});
    expectRows(zanWanManagerPriority, {{wans(exampleInfo, examplePriorities),
                                        "1, Cellular, enabled; 2, Unknown, enabled; 3, WiFi, disabled"}});
}

// The link in use.

TEST_F(WanManagerTest, TransportNamesTheCurrentLink)
{
    expectRows(zanWanManagerTransport, {
                                           {wans(current("ppp0")), "Cellular"},
                                           {wans(current("wlan0")), "WiFi"},
                                           {wans(current("eth0")), "None"},
                                           {wans(current("")), "None"},
                                           {wans(current("PPP0")), "None"},
                                           {wans(current("ppp0 ")), "None"},
                                           {wans(current("wlan1")), "None"},
                                           {wans(""), "None"},
                                       });
}

TEST_F(WanManagerTest, TransportTakesTheFirstCurrentLinkInListOrder)
{
    expectRows(zanWanManagerTransport, {
                                           {wans(current("wlan0") + "," + current("ppp0")), "WiFi"},
                                           {wans(current("ppp0") + "," + current("wlan0")), "Cellular"},
                                       });
}

TEST_F(WanManagerTest, TransportPassesOverCurrentLinksOfOtherInterfaces)
{
    expectRows(zanWanManagerTransport, {
                                           {wans(current("eth0") + "," + current("wlan0")), "WiFi"},
                                           {wans(R"({"current": true}, )" + current("ppp0")), "Cellular"},
                                           {wans(R"(null, {}, )" + current("ppp0")), "Cellular"},
                                       });
}

TEST_F(WanManagerTest, TransportPassesOverLinksThatAreNotCurrent)
{
    expectRows(zanWanManagerTransport,
               {
                   {wans(R"({"current": false, "interface": "ppp0"}, )" + current("wlan0")), "WiFi"},
                   {wans(R"({"interface": "ppp0"})"), "None"},
                   {wans(R"({"current": null, "interface": "ppp0"})"), "None"},
                   {wans(R"({"current": 0, "interface": "ppp0"})"), "None"},
                   {wans(R"({"current": 1, "interface": "ppp0"})"), "Cellular"},
                   {wans(R"({"available": true, "enabled": true, "interface": "ppp0"})"), "None"},
               });
}

TEST_F(WanManagerTest, TransportDoesNotReadTheInterfaceOfALinkThatIsNotCurrent)
{
    expectRows(zanWanManagerTransport, {{wans(R"({"interface": []}, )" + current("ppp0")), "Cellular"}});
}

TEST_F(WanManagerTest, TransportWithoutLinksIsNone)
{
    expectRows(zanWanManagerTransport, {
                                           {"{}", "None"},
                                           {"null", "None"},
                                           {R"({"waninfo": null})", "None"},
                                           {R"({"waninfo": {}})", "None"},
                                           {R"({"waninfo": {"wans": null}})", "None"},
                                           {R"({"waninfo": {"wans": []}})", "None"},
                                       });
}

TEST_F(WanManagerTest, TransportIsUnknownWhenALinkCannotBeRead)
{
    expectRows(zanWanManagerTransport, {
                                           {wans(R"({"current": "true", "interface": "ppp0"})"), "Unknown"},
                                           {wans(R"({"current": "", "interface": "ppp0"})"), "Unknown"},
                                           {wans(R"({"current": [], "interface": "ppp0"})"), "Unknown"},
                                           {wans(R"({"current": {}, "interface": "ppp0"})"), "Unknown"},
                                           {wans(R"({"current": true, "interface": []})"), "Unknown"},
                                           {wans(R"({"current": true, "interface": {}})"), "Unknown"},
                                           {wans(R"("ppp0")"), "Unknown"},
                                           {wans("1"), "Unknown"},
                                           {wans("[]"), "Unknown"},
                                           {R"({"waninfo": "wans"})", "Unknown"},
                                           {R"({"waninfo": []})", "Unknown"},
                                           {R"({"waninfo": 1})", "Unknown"},
                                           {"[]", "Unknown"},
                                           {"1", "Unknown"},
                                       });
}

TEST_F(WanManagerTest, TransportReadsNoFurtherThanTheLinkThatItNames)
{
    expectRows(zanWanManagerTransport, {{wans(current("ppp0") + R"(, {"current": "true"})"), "Cellular"}});
}

TEST_F(WanManagerTest, TransportDoesNotReadThePriorities)
{
    expectRows(zanWanManagerTransport,
               {{R"({"waninfo": {"wans": [)" + current("ppp0") + R"(]}, "wanmngr": "x"})", "Cellular"}});
}

// The ranking.

TEST_F(WanManagerTest, PriorityListsAvailableLinksInAscendingOrder)
{
    expectRows(zanWanManagerPriority,
               {
                   {wans(available("ppp0"), priority("1")), "1, Cellular, enabled"},
                   {wans(available("wlan0"), priority("1")), "1, WiFi, enabled"},
                   {wans(available("ppp0") + "," + available("wlan0"), priority("10") + "," + priority("9")),
                    "9, WiFi, enabled; 10, Cellular, enabled"},
               });
}

TEST_F(WanManagerTest, PriorityTellsEnabledFromDisabled)
{
    expectRows(zanWanManagerPriority,
               {
                   {wans(R"({"available": true, "enabled": false})", priority("1")), "1, Unknown, disabled"},
                   {wans(R"({"available": true})", priority("1")), "1, Unknown, disabled"},
                   {wans(R"({"available": true, "enabled": null})", priority("1")), "1, Unknown, disabled"},
                   {wans(R"({"available": 1, "enabled": 1})", priority("1")), "1, Unknown, enabled"},
               });
}

TEST_F(WanManagerTest, PriorityOfUnknownInterfacesIsNotUnknownAsAWhole)
{
    expectRows(zanWanManagerPriority,
               {{wans(available("eth0") + "," + available("usb0"), priority("1") + "," + priority("2")),
                 "1, Unknown, enabled; 2, Unknown, enabled"}});
}

TEST_F(WanManagerTest, PrioritySkipsLinksThatAreNotAvailable)
{
    expectRows(
        zanWanManagerPriority,
        {
            {wans(R"({"available": false, "enabled": true, "interface": "ppp0"}, )" + available("wlan0"),
                  priority("1") + "," + priority("2")),
             "2, WiFi, enabled"},
            {wans(R"({"enabled": true, "interface": "ppp0"})", priority("1")), ""},
        });
}

TEST_F(WanManagerTest, PriorityDoesNotReadTheRestOfALinkThatIsNotAvailable)
{
    expectRows(zanWanManagerPriority,
               {{wans(R"({"available": false, "enabled": "x", "interface": []}, )" + available("wlan0"),
                      priority("\"x\"") + "," + priority("2")),
                 "2, WiFi, enabled"}});
}

TEST_F(WanManagerTest, PriorityShowsOnlyTheLaterOfTwoLinksWithTheSamePriority)
{
    expectRows(zanWanManagerPriority,
               {
                   {wans(available("ppp0") + "," + available("wlan0"), priority("1") + "," + priority("1")),
                    "1, WiFi, enabled"},
                   {wans(available("wlan0") + "," + available("eth0") + "," + available("ppp0"),
                         priority("1") + "," + priority("2") + "," + priority("1")),
                    "1, Cellular, enabled; 2, Unknown, enabled"},
               });
}

TEST_F(WanManagerTest, PriorityOfLinksBeyondTheManagersListIsEmptyAndKeyedZero)
{
    expectRows(zanWanManagerPriority, {
                                          {wans(available("ppp0"), ""), ", Cellular, enabled"},
                                          {wans(available("eth0") + "," + available("ppp0"), priority("1")),
                                           ", Cellular, enabled; 1, Unknown, enabled"},
                                          {wans(available("eth0") + "," + available("ppp0"), priority("-1")),
                                           "-1, Unknown, enabled; , Cellular, enabled"},
                                      });
}

TEST_F(WanManagerTest, PriorityWithoutTheManagersListShowsTheLastAvailableLinkOnly)
{
    const std::string info = R"({"waninfo": {"wans": [)" + available("ppp0") + "," + available("wlan0") +
                             "," + R"({"available": false, "interface": "eth0"}]})";
    expectRows(zanWanManagerPriority, {
                                          {info + "}", ", WiFi, enabled"},
                                          {info + R"(, "wanmngr": null})", ", WiFi, enabled"},
                                          {info + R"(, "wanmngr": {}})", ", WiFi, enabled"},
                                          {info + R"(, "wanmngr": {"wans": null}})", ", WiFi, enabled"},
                                          {info + R"(, "wanmngr": {"wans": []}})", ", WiFi, enabled"},
                                          {info + R"(, "wanmngr": {"wans": [null, {}]}})", ", WiFi, enabled"},
                                      });
}

TEST_F(WanManagerTest, PriorityZeroIsWrittenUnlikeAMissingOne)
{
    expectRows(zanWanManagerPriority, {{wans(available("ppp0"), priority("0")), "0, Cellular, enabled"}});
}

TEST_F(WanManagerTest, NegativePrioritiesComeFirst)
{
    expectRows(zanWanManagerPriority,
               {{wans(available("ppp0") + "," + available("wlan0") + "," + available("eth0"),
                      priority("0") + "," + priority("-1") + "," + priority("-2147483648")),
                 "-2147483648, Unknown, enabled; -1, WiFi, enabled; 0, Cellular, enabled"}});
}

TEST_F(WanManagerTest, PriorityOfOtherTypesThatConvert)
{
    expectRows(zanWanManagerPriority,
               {
                   {wans(available("ppp0"), priority("true")), "true, Cellular, enabled"},
                   {wans(available("ppp0") + "," + available("wlan0"), priority("1.5") + "," + priority("1")),
                    "1, WiFi, enabled"}, // 1.5 has the key 1, too
                   {wans(available("ppp0"), priority("2147483647")), "2147483647, Cellular, enabled"},
               });
}

TEST_F(WanManagerTest, PriorityIsUnknownWhenALinkCannotBeRead)
{
    expectRows(zanWanManagerPriority,
               {
                   {wans(available("ppp0"), priority("\"1\"")), "Unknown"},
                   {wans(available("ppp0"), priority("[]")), "Unknown"},
                   {wans(available("ppp0"), priority("{}")), "Unknown"},
                   {wans(available("ppp0"), priority("2147483648")), "Unknown"},
                   {wans(available("ppp0"), priority("-2147483649")), "Unknown"},
                   {wans(available("ppp0"), "1"), "Unknown"},
                   {wans(available("ppp0"), "[]"), "Unknown"},
                   {wans(R"({"available": "true"})"), "Unknown"},
                   {wans(R"({"available": []})"), "Unknown"},
                   {wans(R"({"available": {}})"), "Unknown"},
                   {wans(R"({"available": true, "enabled": "true"})", priority("1")), "Unknown"},
                   {wans(R"({"available": true, "enabled": []})", priority("1")), "Unknown"},
                   {wans(R"({"available": true, "enabled": {}})", priority("1")), "Unknown"},
                   {wans(R"({"available": true, "interface": []})", priority("1")), "Unknown"},
                   {wans(R"({"available": true, "interface": {}})", priority("1")), "Unknown"},
                   {wans(available("ppp0") + R"(, {"available": "true"})", priority("1")), "Unknown"},
                   {wans("1"), "Unknown"},
                   {R"({"waninfo": "x"})", "Unknown"},
                   {R"({"waninfo": {}, "wanmngr": "x"})", "Unknown"},
                   {R"({"waninfo": {"wans": {"0": {}}}})", "Unknown"},
                   {R"({"waninfo": {"wans": [)" + available("ppp0") + R"(]}, "wanmngr": {"wans": {"a": 1}}})",
                    "Unknown"},
                   {"[]", "Unknown"},
               });
}

TEST_F(WanManagerTest, PriorityWithoutAvailableLinksIsEmptyAndNeitherNoneNorUnknown)
{
    expectRows(zanWanManagerPriority, {
                                          {"{}", ""},
                                          {"null", ""},
                                          {R"({"waninfo": null})", ""},
                                          {R"({"waninfo": {}})", ""},
                                          {R"({"waninfo": {"wans": null}})", ""},
                                          {R"({"waninfo": {"wans": []}})", ""},
                                          {wans("{}, null", priority("1")), ""},
                                      });
}

} // namespace
