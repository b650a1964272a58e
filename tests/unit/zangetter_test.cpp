#include "zangetter.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdint>
#include <new>
#include <stdexcept>

using namespace zansnmp;

namespace {

/// What the accessors below hand out, and how often they were asked.
Json::Value served;
Json::Value received;
int calls = 0;

bool succeeding(Json::Value& out)
{
    ++calls;
    received = out;
    out = served;
    return true;
}

/// Fails as a query does that has been successful before: the last good result is in `out`.
bool failing(Json::Value& out)
{
    ++calls;
    out = served;
    return false;
}

bool throwing(Json::Value&)
{
    ++calls;
    throw std::bad_alloc();
}

class GetterTest : public testing::Test {
protected:
    GetterTest()
    {
        served = Json::Value(Json::objectValue);
        served["text"] = "a text";
        served["number"] = 7;
        served["flag"] = true;
        served["inner"]["inmost"] = "deep";
        served["list"].append(1);
        calls = 0;
    }
};

// The way through objects.

TEST_F(GetterTest, MemberAtFollowsThePath)
{
    EXPECT_EQ(memberAt(served, {"inner", "inmost"}), Json::Value("deep"));
    EXPECT_EQ(memberAt(served, {"number"}), Json::Value(7));
    EXPECT_EQ(&memberAt(served, {}), &served);
}

TEST_F(GetterTest, MemberAtGivesNullForWhatIsMissing)
{
    EXPECT_TRUE(memberAt(served, {"missing"}).isNull());
    EXPECT_TRUE(memberAt(served, {"missing", "deeper", "still"}).isNull());
    EXPECT_TRUE(memberAt(Json::Value(), {"any"}).isNull());
    EXPECT_FALSE(served.isMember("missing")) << "looking made a member";
}

TEST_F(GetterTest, MemberAtThrowsAtWhatIsNeitherObjectNorNull)
{
    for (const char* name : {"text", "number", "flag", "list"}) {
        EXPECT_THROW(memberAt(served, {name, "any"}), Json::LogicError) << name;
    }
}

// The frame.

TEST_F(GetterTest, ProvideHandsTheAccessorANullValueOnce)
{
    received = "something";
    provide<int>(succeeding, 0, [](const Json::Value&) { return 1; });
    EXPECT_TRUE(received.isNull());
    EXPECT_EQ(calls, 1);
}

TEST_F(GetterTest, ProvideGivesWhatIsRead)
{
    EXPECT_EQ(provide<int>(succeeding, 0, [](const Json::Value& result) { return result["number"].asInt(); }),
              7);
}

TEST_F(GetterTest, ProvideFallsBackWithoutReadingWhenTheQueryFails)
{
    bool read = false;
    const auto reader = [&read](const Json::Value&) {
        read = true;
        return 1;
    };
    EXPECT_EQ(provide<int>(failing, -5, reader), -5);
    EXPECT_FALSE(read);
}

TEST_F(GetterTest, ProvideFallsBackWhateverIsThrown)
{
    EXPECT_EQ(provide<int>(throwing, -5, [](const Json::Value&) { return 1; }), -5);
    EXPECT_EQ(provide<int>(succeeding, -5, [](const Json::Value&) -> int { throw "a text"; }), -5);
    EXPECT_EQ(provide<int>(succeeding, -5, [](const Json::Value&) -> int { throw 42; }), -5);
    EXPECT_EQ(provide<int>(succeeding, -5, [](const Json::Value&) -> int { throw std::runtime_error("x"); }),
              -5);
    EXPECT_EQ(provide<int>(succeeding, -5, [](const Json::Value& result) { return result["text"].asInt(); }),
              -5);
}

TEST_F(GetterTest, FallbacksOfTextsAndNumbers)
{
    EXPECT_EQ(provideText(failing, [](const Json::Value&) { return "x"; }), "Unknown");
    EXPECT_EQ(provideText(succeeding, [](const Json::Value&) { return "x"; }), "x");
    EXPECT_EQ(provideUnsigned(failing, [](const Json::Value&) { return 1U; }), 0U);
    EXPECT_EQ(provideUnsigned(succeeding, [](const Json::Value&) { return 4294967295U; }), 4294967295U);
}

TEST_F(GetterTest, FailedFetchIsThrownAsThisText)
{
    EXPECT_STREQ(getDataFailed, "get data form API failed");
}

// The plain members.

TEST_F(GetterTest, TextMember)
{
    EXPECT_EQ(textMember(succeeding, {"text"}), "a text");
    EXPECT_EQ(textMember(succeeding, {"inner", "inmost"}), "deep");
    EXPECT_EQ(textMember(succeeding, {"number"}), "7");
    EXPECT_EQ(textMember(succeeding, {"flag"}), "true");
    EXPECT_EQ(textMember(succeeding, {"missing"}), "");
    EXPECT_EQ(textMember(succeeding, {"missing", "deeper"}), "");
    EXPECT_EQ(textMember(succeeding, {"list"}), "Unknown");
    EXPECT_EQ(textMember(succeeding, {"inner"}), "Unknown");
    EXPECT_EQ(textMember(succeeding, {"text", "deeper"}), "Unknown");
    EXPECT_EQ(textMember(failing, {"text"}), "Unknown");
    EXPECT_EQ(textMember(throwing, {"text"}), "Unknown");
}

TEST_F(GetterTest, FlagMember)
{
    EXPECT_EQ(flagMember(succeeding, {"flag"}), "True");
    EXPECT_EQ(flagMember(succeeding, {"number"}), "True");
    EXPECT_EQ(flagMember(succeeding, {"missing"}), "False");
    EXPECT_EQ(flagMember(succeeding, {"text"}), "Unknown");
    EXPECT_EQ(flagMember(succeeding, {"list"}), "Unknown");
    EXPECT_EQ(flagMember(failing, {"flag"}), "Unknown");
    served = false;
    EXPECT_EQ(flagMember(succeeding, {}), "False");
    served = true;
    EXPECT_EQ(flagMember(succeeding, {}), "True");
}

TEST_F(GetterTest, UnsignedMember)
{
    EXPECT_EQ(unsignedMember(succeeding, {"number"}), 7U);
    EXPECT_EQ(unsignedMember(succeeding, {"flag"}), 1U);
    EXPECT_EQ(unsignedMember(succeeding, {"missing"}), 0U);
    EXPECT_EQ(unsignedMember(succeeding, {"text"}), 0U);
    EXPECT_EQ(unsignedMember(failing, {"number"}), 0U);
    served["number"] = 4294967295U;
    EXPECT_EQ(unsignedMember(succeeding, {"number"}), 4294967295U);
    served["number"] = -1;
    EXPECT_EQ(unsignedMember(succeeding, {"number"}), 0U);
}

TEST_F(GetterTest, TextsOfFlags)
{
    EXPECT_STREQ(flagText(true), "True");
    EXPECT_STREQ(flagText(false), "False");
    EXPECT_STREQ(unknown, "Unknown");
}

} // namespace
