#include "zangetter.h"

#include "support/apitest.h"

#include <json/json.h>

#include <cstdint>
#include <new>
#include <stdexcept>

using namespace zansnmp;
using namespace zantest;

namespace {

/// A query that asks the API each time.
ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=system"), 0);
    return data;
}

/// A query that cannot even be made.
ZanCachedData& throwing()
{
    throw std::bad_alloc();
}

class GetterTest : public ApiTest {
protected:
    GetterTest() { serve(served); }

    void serve(const Json::Value& result)
    {
        api().setReply(httpReply(envelope(Json::FastWriter().write(result))));
    }

    /// From now on the query fails; it has been successful before.
    void fail()
    {
        query().result();
        api().setReply(httpReply(R"({"code": 404, "result": {}})"));
    }

    Json::Value served = [] {
        Json::Value result;
        result["text"] = "a text";
        result["number"] = 7;
        result["flag"] = true;
        result["inner"]["inmost"] = "deep";
        result["list"].append(1);
        return result;
    }();
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

TEST_F(GetterTest, ResultOfIsTheQuerysOwn)
{
    const SharedJson result = resultOf(query());
    EXPECT_EQ(*result, served);
    EXPECT_EQ(result.use_count(), 2) << "a copy, or somebody else holds it";
}

TEST_F(GetterTest, ResultOfThrowsThisTextWhenTheApiFails)
{
    fail();
    try {
        resultOf(query());
        FAIL() << "nothing thrown";
    } catch (const char* text) {
        EXPECT_STREQ(text, "get data form API failed");
    }
}

TEST_F(GetterTest, ProvideAsksTheApiOnceAndGivesWhatIsRead)
{
    api().takePaths();
    EXPECT_EQ(provide<int>(query, 0, [](const Json::Value& result) { return result["number"].asInt(); }), 7);
    EXPECT_EQ(api().takePaths().size(), 1U);
}

TEST_F(GetterTest, ProvideFallsBackWithoutReadingWhenTheQueryFails)
{
    bool read = false;
    fail();
    EXPECT_EQ(provide<int>(query, -5,
                           [&read](const Json::Value&) {
                               read = true;
                               return 1;
                           }),
              -5);
    EXPECT_FALSE(read);
}

TEST_F(GetterTest, ProvideFallsBackWhateverIsThrown)
{
    EXPECT_EQ(provide<int>(throwing, -5, [](const Json::Value&) { return 1; }), -5);
    EXPECT_EQ(provide<int>(query, -5, [](const Json::Value&) -> int { throw "a text"; }), -5);
    EXPECT_EQ(provide<int>(query, -5, [](const Json::Value&) -> int { throw 42; }), -5);
    EXPECT_EQ(provide<int>(query, -5, [](const Json::Value&) -> int { throw std::runtime_error("x"); }), -5);
    EXPECT_EQ(provide<int>(query, -5, [](const Json::Value& result) { return result["text"].asInt(); }), -5);
}

// The plain members.

TEST_F(GetterTest, TextMember)
{
    EXPECT_EQ(textMember(query, {"text"}), "a text");
    EXPECT_EQ(textMember(query, {"inner", "inmost"}), "deep");
    EXPECT_EQ(textMember(query, {"number"}), "7");
    EXPECT_EQ(textMember(query, {"flag"}), "true");
    EXPECT_EQ(textMember(query, {"missing"}), "");
    EXPECT_EQ(textMember(query, {"missing", "deeper"}), "");
    EXPECT_EQ(textMember(query, {"list"}), "Unknown");
    EXPECT_EQ(textMember(query, {"inner"}), "Unknown");
    EXPECT_EQ(textMember(query, {"text", "deeper"}), "Unknown");
    EXPECT_EQ(textMember(throwing, {"text"}), "Unknown");
    fail();
    EXPECT_EQ(textMember(query, {"text"}), "Unknown");
}

TEST_F(GetterTest, FlagMember)
{
    EXPECT_EQ(flagMember(query, {"flag"}), "True");
    EXPECT_EQ(flagMember(query, {"number"}), "True");
    EXPECT_EQ(flagMember(query, {"missing"}), "False");
    EXPECT_EQ(flagMember(query, {"text"}), "Unknown");
    EXPECT_EQ(flagMember(query, {"list"}), "Unknown");
    serve(false);
    EXPECT_EQ(flagMember(query, {}), "False");
    serve(true);
    EXPECT_EQ(flagMember(query, {}), "True");
    fail();
    EXPECT_EQ(flagMember(query, {}), "Unknown");
}

TEST_F(GetterTest, UnsignedMember)
{
    EXPECT_EQ(unsignedMember(query, {"number"}), 7U);
    EXPECT_EQ(unsignedMember(query, {"flag"}), 1U);
    EXPECT_EQ(unsignedMember(query, {"missing"}), 0U);
    EXPECT_EQ(unsignedMember(query, {"text"}), 0U);
    served["number"] = 4294967295U;
    serve(served);
    EXPECT_EQ(unsignedMember(query, {"number"}), 4294967295U);
    served["number"] = -1;
    serve(served);
    EXPECT_EQ(unsignedMember(query, {"number"}), 0U);
    fail();
    EXPECT_EQ(unsignedMember(query, {"flag"}), 0U);
}

TEST_F(GetterTest, TextsOfFlags)
{
    EXPECT_STREQ(flagText(true), "True");
    EXPECT_STREQ(flagText(false), "False");
    EXPECT_STREQ(unknown, "Unknown");
}

} // namespace
