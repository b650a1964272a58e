#include "zanproviders.h"

#include "support/grouptest.h"

using namespace zantest;
using namespace zansnmp;

namespace {

/// A flag object and where it reads: a section below "remoteAccess", and the member in it.
struct Flag {
    std::string (*provider)();
    const char* section;
    const char* member;
};

const std::vector<Flag> flags{
    {zanRemoteAccessDoSPreventEnabled, "dosAttackPrevention", "enabled"},
    {zanRemoteAccessPingLimitEnabled, "pingLimit", "enabled"},
    {zanRemoteAccessBruteForcePrevEnabled, "bruteForcePrevention", "enabled"},
    {zanRemoteAccessSSHEnabled, "ssh", "enabled"},
    {zanRemoteAccessSSHWan, "ssh", "wan"},
    {zanRemoteAccessSSHLan, "ssh", "lan"},
    {zanRemoteAccessIcmpEnabled, "icmp", "enabled"},
    {zanRemoteAccessIcmpWan, "icmp", "respondToWan"},
    {zanRemoteAccessIcmpLan, "icmp", "respondToLan"},
    {zanRemoteAccessHTTPEnabled, "http", "enabled"},
    {zanRemoteAccessHTTPWan, "http", "wan"},
    {zanRemoteAccessHTTPLan, "http", "lan"},
    {zanRemoteAccessHTTPtoHTTPs, "http", "redirectToHttps"},
    {zanRemoteAccessHTTPsEnabled, "https", "enabled"},
    {zanRemoteAccessHTTPsWan, "https", "wan"},
    {zanRemoteAccessHTTPsLan, "https", "lan"},
};

class RemoteAccessTest : public GroupTest {
protected:
    RemoteAccessTest() : GroupTest("/api?fields=remoteAccess") {}

    static Objects objects()
    {
        Objects all{{zanRemoteAccessIpDefenseEnabled}, {zanRemoteAccessHTTPSessionTimeout}};
        for (const Flag& flag : flags) {
            all.texts.push_back(flag.provider);
        }
        return all;
    }
};

/// The `result` with this (the inside of a JSON object) below "remoteAccess".
std::string access(const std::string& members)
{
    return R"({"remoteAccess": {)" + members + "}}";
}

/// The `result` with one member in one section.
std::string access(const std::string& section, const std::string& member, const std::string& value)
{
    return access("\"" + section + R"(": {")" + member + R"(": )" + value + "}");
}

/// The `result` with these flags (JSON texts) of the three defences.
std::string defences(const std::string& dosAttack, const std::string& pingLimit,
                     const std::string& bruteForce)
{
    return access(R"("dosAttackPrevention": {"enabled": )" + dosAttack + R"(}, "pingLimit": {"enabled": )" +
                  pingLimit + R"(}, "bruteForcePrevention": {"enabled": )" + bruteForce + "}");
}

TEST_F(RemoteAccessTest, ObjectsShareOneRequest)
{
    ASSERT_EQ(objects().texts.size() + objects().unsigneds.size(), 18U);
    expectOneRequest(objects());
}

TEST_F(RemoteAccessTest, SeventeenUnknownAndAZeroTimeoutWhenTheApiFails)
{
    expectFallbacks(objects());
}

TEST_F(RemoteAccessTest, EachFlagReadsItsOwnMember)
{
    for (const Flag& state : flags) {
        for (const Flag& object : flags) {
            expectRows(object.provider, {{access(state.section, state.member, "true"),
                                          state.provider == object.provider ? "True" : "False"}});
        }
    }
}

TEST_F(RemoteAccessTest, FlagOfEveryType)
{
    for (const Flag& flag : flags) {
        SCOPED_TRACE(std::string(flag.section) + "." + flag.member);
        const std::vector<std::pair<std::string, std::string>> values{
            {"true", "True"},     {"false", "False"},
            {"null", "False"},    {"1", "True"},
            {"0", "False"},       {"-1", "True"},
            {"0.5", "True"},      {"0.0", "False"},
            {R"("")", "Unknown"}, {R"("True")", "Unknown"},
            {"[]", "Unknown"},    {"[true]", "Unknown"},
            {"{}", "Unknown"},    {R"({"enabled": true})", "Unknown"}};
        for (const auto& [value, text] : values) {
            expectRows(flag.provider, {{access(flag.section, flag.member, value), text}});
        }
    }
}

TEST_F(RemoteAccessTest, AbsentSectionsReadFalse)
{
    for (const Flag& flag : flags) {
        expectRows(flag.provider, {
                                      {"{}", "False"},
                                      {"null", "False"},
                                      {R"({"remoteAccess": null})", "False"},
                                      {R"({"remoteAccess": {}})", "False"},
                                      {access("\"" + std::string(flag.section) + "\": null"), "False"},
                                      {access("\"" + std::string(flag.section) + "\": {}"), "False"},
                                  });
    }
}

TEST_F(RemoteAccessTest, SectionsOfTheWrongTypeAreAFailure)
{
    for (const Flag& flag : flags) {
        for (const char* bad : {"1", "true", R"("x")", "[]"}) {
            expectRows(flag.provider,
                       {
                           {bad, "Unknown"},
                           {R"({"remoteAccess": )" + std::string(bad) + "}", "Unknown"},
                           {access("\"" + std::string(flag.section) + "\": " + bad), "Unknown"},
                       });
        }
    }
}

TEST_F(RemoteAccessTest, IcmpSidesHaveNamesOfTheirOwn)
{
    const std::string otherNames = access(R"("icmp": {"wan": true, "lan": true})");
    expectRows(zanRemoteAccessIcmpWan, {{otherNames, "False"}});
    expectRows(zanRemoteAccessIcmpLan, {{otherNames, "False"}});
    const std::string icmpNames = access(
        R"("ssh": {"respondToWan": true}, "http": {"respondToLan": true}, "https": {"respondToWan": true})");
    expectRows(zanRemoteAccessSSHWan, {{icmpNames, "False"}});
    expectRows(zanRemoteAccessHTTPLan, {{icmpNames, "False"}});
    expectRows(zanRemoteAccessHTTPsWan, {{icmpNames, "False"}});
}

// The defences as a whole.

TEST_F(RemoteAccessTest, AnyOneDefenceIsIpDefence)
{
    expectRows(zanRemoteAccessIpDefenseEnabled, {
                                                    {defences("true", "false", "false"), "True"},
                                                    {defences("false", "true", "false"), "True"},
                                                    {defences("false", "false", "true"), "True"},
                                                    {defences("true", "true", "true"), "True"},
                                                    {defences("0", "null", "1"), "True"},
                                                });
}

TEST_F(RemoteAccessTest, PingLimitAloneIsIpDefenceButNotDosPrevention)
{
    const std::string result = access("pingLimit", "enabled", "true");
    expectRows(zanRemoteAccessIpDefenseEnabled, {{result, "True"}});
    expectRows(zanRemoteAccessDoSPreventEnabled, {{result, "False"}});
    expectRows(zanRemoteAccessPingLimitEnabled, {{result, "True"}});
}

TEST_F(RemoteAccessTest, WithoutAnyDefenceThereIsNoIpDefence)
{
    expectRows(zanRemoteAccessIpDefenseEnabled,
               {
                   {defences("false", "false", "false"), "False"},
                   {defences("null", "0", "false"), "False"},
                   {access(R"("dosAttackPrevention": {}, "pingLimit": null)"), "False"},
                   {access(R"("ssh": {"enabled": true})"), "False"},
                   {R"({"remoteAccess": {}})", "False"},
                   {R"({"remoteAccess": null})", "False"},
                   {"{}", "False"},
                   {"null", "False"},
               });
}

TEST_F(RemoteAccessTest, DefenceFlagsBehindTheFirstThatIsOnAreNotRead)
{
    for (const char* bad : {R"("x")", "[]", "{}"}) {
        expectRows(zanRemoteAccessIpDefenseEnabled, {
                                                        {defences("true", bad, bad), "True"},
                                                        {defences("false", "true", bad), "True"},
                                                        {defences(bad, "true", "true"), "Unknown"},
                                                        {defences("false", bad, "true"), "Unknown"},
                                                        {defences("false", "false", bad), "Unknown"},
                                                    });
    }
}

TEST_F(RemoteAccessTest, DefenceSectionsBehindTheFirstThatIsOnAreNotReadEither)
{
    expectRows(
        zanRemoteAccessIpDefenseEnabled,
        {{access(R"("dosAttackPrevention": {"enabled": true}, "pingLimit": 7, "bruteForcePrevention": "x")"),
          "True"}});
}

TEST_F(RemoteAccessTest, DefenceSectionsOfTheWrongTypeAreAFailure)
{
    expectRows(zanRemoteAccessIpDefenseEnabled,
               {
                   {access(R"("dosAttackPrevention": 1, "pingLimit": {"enabled": true})"), "Unknown"},
                   {access(R"("pingLimit": [], "bruteForcePrevention": {"enabled": true})"), "Unknown"},
                   {access(R"("bruteForcePrevention": "x")"), "Unknown"},
                   {R"({"remoteAccess": []})", "Unknown"},
                   {"[]", "Unknown"},
               });
}

// The session timeout.

TEST_F(RemoteAccessTest, SessionTimeoutIsInSeconds)
{
    expectRows(zanRemoteAccessHTTPSessionTimeout, {
                                                      {access(R"("timeoutSeconds": 600)"), 600},
                                                      {access(R"("timeoutSeconds": 0)"), 0},
                                                      {access(R"("timeoutSeconds": 600.9)"), 600},
                                                      {access(R"("timeoutSeconds": true)"), 1},
                                                      {access(R"("timeoutSeconds": 4294967295)"), 4294967295},
                                                  });
}

TEST_F(RemoteAccessTest, SessionTimeoutAbsentOrNotConvertibleIsZero)
{
    expectRows(zanRemoteAccessHTTPSessionTimeout, {
                                                      {"{}", 0},
                                                      {"null", 0},
                                                      {R"({"remoteAccess": null})", 0},
                                                      {access(""), 0},
                                                      {access(R"("timeoutSeconds": null)"), 0},
                                                      {access(R"("timeoutSeconds": "600")"), 0},
                                                      {access(R"("timeoutSeconds": -1)"), 0},
                                                      {access(R"("timeoutSeconds": 4294967296)"), 0},
                                                      {access(R"("timeoutSeconds": [])"), 0},
                                                      {access(R"("timeoutSeconds": {})"), 0},
                                                      {R"({"remoteAccess": 600})", 0},
                                                      {"[]", 0},
                                                  });
}

} // namespace
