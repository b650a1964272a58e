// The frame of the providers. What a provider reads from which member is told in tests/cases.

#include "zangetter.h"

#include "support/apitest.h"

#include <json/json.h>

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
    GetterTest() { api().setReply(httpReply(envelope(R"({"number": 7})"))); }

    /// From now on the query fails; it has been successful before.
    void fail()
    {
        query().result();
        api().setReply(httpReply(R"({"code": 404, "result": {}})"));
    }
};

TEST_F(GetterTest, LookingForAMemberMakesNone)
{
    const Json::Value nothing(Json::objectValue);
    EXPECT_TRUE(memberAt(nothing, {"missing", "deeper"}).isNull());
    EXPECT_EQ(nothing.size(), 0U);
    EXPECT_EQ(&memberAt(nothing, {}), &nothing);
}

TEST_F(GetterTest, ResultOfIsTheQuerysOwn)
{
    const SharedJson result = resultOf(query());
    EXPECT_EQ((*result)["number"], 7);
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
    EXPECT_EQ(provide<int>(query, -5, [](const Json::Value& result) { return result["number"].asInt(); }), 7);
    EXPECT_EQ(provide<int>(throwing, -5, [](const Json::Value&) { return 1; }), -5);
    EXPECT_EQ(provide<int>(query, -5, [](const Json::Value&) -> int { throw "a text"; }), -5);
    EXPECT_EQ(provide<int>(query, -5, [](const Json::Value&) -> int { throw 42; }), -5);
    EXPECT_EQ(provide<int>(query, -5, [](const Json::Value&) -> int { throw std::runtime_error("x"); }), -5);
    EXPECT_EQ(provide<int>(query, -5, [](const Json::Value& result) { return result[0].asInt(); }), -5);
}

} // namespace
