#include "zanjsondb.h"

#include "support/allocations.h"
#include "support/apitest.h"
#include "support/clock.h"

#include <json/json.h>

#include <limits>
#include <new>
#include <stdexcept>

using namespace zantest;
using zansnmp::apiUrl;
using zansnmp::appendResponse;
using zansnmp::Question;
using zansnmp::SharedJson;
using zansnmp::ZanCachedData;

namespace {

constexpr const char* path = "/api?fields=system";

Json::Value json(const std::string& text)
{
    Json::Value value;
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
        throw std::invalid_argument(errors);
    }
    return value;
}

/// A query with a lifetime of 5 seconds that is fetched at an uptime of 1000 seconds unless a test says
/// otherwise.
class ZanCachedDataTest : public ApiTest {
protected:
    ZanCachedDataTest() { setUptime(100000); }

    void replyBody(const std::string& body) { api().setReply(httpReply(body)); }

    /// Fetches this result and forgets the traces of it.
    void fetched(const std::string& result)
    {
        replyBody(envelope(result));
        ASSERT_TRUE(query.get(out));
        ASSERT_EQ(out, json(result));
        api().takeRequests();
        takeLog();
        resetInterposed();
    }

    /// Checks that a reply, to a query that holds no result, fails with this one message after the trace.
    void expectFailure(const std::string& reply, const std::string& message)
    {
        api().setReply(reply);
        ZanCachedData fresh(apiUrl(path), 5);
        takeLog();
        out = "before";
        EXPECT_FALSE(fresh.get(out));
        EXPECT_EQ(takeLog(), (LogLines{executing(path), {LOG_ERR, message}}));
        EXPECT_TRUE(out.isNull());
    }

    /// Checks that a reply succeeds with this result.
    void expectResult(const std::string& reply, const std::string& result)
    {
        api().setReply(reply);
        ZanCachedData fresh(apiUrl(path), 5);
        takeLog();
        EXPECT_TRUE(fresh.get(out));
        EXPECT_EQ(out, json(result));
        EXPECT_EQ(takeLog(), LogLines{executing(path)});
    }

    /// Checks that a body makes `get` throw what the JSON library throws, with the trace alone in the log and
    /// the caller's value as it was.
    template <class Exception>
    void expectThrow(const std::string& body)
    {
        replyBody(body);
        ZanCachedData fresh(apiUrl(path), 5);
        out = "the caller's";
        takeLog();
        EXPECT_THROW(fresh.get(out), Exception) << body.substr(0, 80);
        EXPECT_EQ(takeLog(), LogLines{executing(path)}) << body.substr(0, 80);
        EXPECT_EQ(out, Json::Value("the caller's"));
    }

    ZanCachedData query{apiUrl(path), 5};
    Json::Value out;
};

// The request.

TEST_F(ZanCachedDataTest, UrlIsSchemeLoopbackHostAndPath)
{
    EXPECT_EQ(apiUrl("/api?fields=system"), "http://localhost/api?fields=system");
}

TEST_F(ZanCachedDataTest, RequestIsAPlainGetOverTheSocket)
{
    query.get(out);
    EXPECT_EQ(api().takeRequests(), std::vector<std::string>{"GET /api?fields=system HTTP/1.1\r\n"
                                                             "Host: localhost\r\n"
                                                             "Accept: */*\r\n"
                                                             "\r\n"});
}

TEST_F(ZanCachedDataTest, OptionsAreSetInTheirOrderAndNoOthers)
{
    query.get(out);
    const std::vector<CurlOption> expected{
        {CURLOPT_UNIX_SOCKET_PATH, "/var/run/api/http.sock"},
        {CURLOPT_URL, "http://localhost/api?fields=system"},
        {CURLOPT_HEADER, "0"},
        {CURLOPT_FOLLOWLOCATION, "0"},
        {CURLOPT_WRITEFUNCTION, "appendResponse"},
        {CURLOPT_WRITEDATA, "pointer"},
        {CURLOPT_SSL_VERIFYPEER, "0"},
        {CURLOPT_SSL_VERIFYHOST, "0"},
    };
    EXPECT_EQ(interposed().curlOptions, expected);
}

// Failures of libcurl.

TEST_F(ZanCachedDataTest, WithoutAHandleTheTraceIsWrittenAndNothingCleanedUp)
{
    interposed().failCurlInit = true;
    EXPECT_FALSE(query.get(out));
    EXPECT_EQ(takeLog(), (LogLines{executing(path), {3, "failed to create curl instance"}}));
    EXPECT_EQ(interposed().curlCleanups, 0);
    EXPECT_TRUE(interposed().curlOptions.empty());
}

TEST_F(ZanCachedDataTest, EachOptionThatFailsIsNamedAndEndsTheRequest)
{
    const std::vector<std::pair<CURLoption, std::string>> options{
        {CURLOPT_UNIX_SOCKET_PATH, " curl_easy_setopt(CURLOPT_UNIX_SOCKET_PATH) failed"},
        {CURLOPT_URL, " curl_easy_setopt(CURLOPT_URL) failed"},
        {CURLOPT_HEADER, " curl_easy_setopt(CURLOPT_HEADER) failed"},
        {CURLOPT_FOLLOWLOCATION, " curl_easy_setopt(CURLOPT_FOLLOWLOCATION) failed"},
        {CURLOPT_WRITEFUNCTION, " curl_easy_setopt(CURLOPT_WRITEFUNCTION) failed"},
        {CURLOPT_WRITEDATA, " curl_easy_setopt(CURLOPT_WRITEDATA) failed"},
        {CURLOPT_SSL_VERIFYPEER, " curl_easy_setopt(CURLOPT_SSL_VERIFYPEER) failed"},
        {CURLOPT_SSL_VERIFYHOST, " curl_easy_setopt(CURLOPT_SSL_VERIFYHOST) failed"},
    };
    for (std::size_t i = 0; i < options.size(); ++i) {
        SCOPED_TRACE(options[i].second);
        resetInterposed();
        interposed().failCurlOption = options[i].first;
        EXPECT_FALSE(query.get(out));
        EXPECT_EQ(takeLog(), (LogLines{executing(path), {3, options[i].second}}));
        EXPECT_EQ(interposed().curlOptions.size(), i + 1) << "an option was set after the one that failed";
        EXPECT_EQ(interposed().transfers, 0);
        EXPECT_EQ(interposed().curlInits, 1);
        EXPECT_EQ(interposed().curlCleanups, 1);
    }
}

TEST_F(ZanCachedDataTest, SocketMissingFailsTheTransferOnEveryRequest)
{
    apiDown();
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(query.get(out));
        EXPECT_EQ(takeLog(), (LogLines{executing(path), {3, " curl_easy_perform failed"}}));
    }
    EXPECT_EQ(interposed().curlInits, 3);
    EXPECT_EQ(interposed().curlCleanups, 3);
}

// Transfers that succeed. (test_faults.py and test_spine.py have them cut short, in chunks, byte by byte.)

TEST_F(ZanCachedDataTest, HttpErrorStatusWithAGoodEnvelopeSucceeds)
{
    for (const char* status : {"201 Created", "400 Bad Request", "401 Unauthorized", "404 Not Found",
                               "500 Internal Server Error", "503 Service Unavailable", "999 Whatever"}) {
        SCOPED_TRACE(status);
        expectResult(httpReply(envelope(R"({"a": 1})"), status), R"({"a": 1})");
    }
}

TEST_F(ZanCachedDataTest, RedirectIsNotFollowed)
{
    const char* location = "Location: http://localhost/elsewhere\r\n";
    for (const char* status : {"301 Moved Permanently", "302 Found", "307 Temporary Redirect"}) {
        SCOPED_TRACE(status);
        api().takeRequests();
        expectResult(httpReply(envelope("\"here\""), status, location), "\"here\"");
        expectFailure(httpReply("", status, location), " failed to parse json response");
        EXPECT_EQ(api().takePaths(), (std::vector<std::string>{path, path}));
    }
}

// What is no strict JSON.

TEST_F(ZanCachedDataTest, BodyThatIsNotStrictJsonFailsToParse)
{
    for (const char* body : {
             "",
             " ",
             "<html>404</html>",
             R"({"code": 200, "result": {})",
             R"(/* a comment */ {"code": 200, "result": {}})",
             R"({"code": /* a comment */ 200, "result": {}})",
             "// a comment\n{\"code\": 200, \"result\": {}}",
             R"({'code': 200, 'result': {}})",
             R"({code: 200, result: {}})",
             R"({"code": 200, "result": })",
             R"({"code": 200 "result": {}})",
             R"({"code": 200, "result": tru})",
             "{\"code\": 200, \"result\": \"unfinished}",
             "200",
             "\"200\"",
             "true",
             "null",
             "1.5",
         }) {
        SCOPED_TRACE(body);
        expectFailure(httpReply(body), " failed to parse json response");
    }
}

// The reader's own idea of strictness, relied on as it is.
TEST_F(ZanCachedDataTest, ReaderOverlooksTextBehindTheRoot)
{
    expectResult(httpReply(R"({"code": 200, "result": 7} and more)"), "7");
}

/// Of the library: its strict reader overlooked comments around members until version 1.9.6.
TEST_F(ZanCachedDataTest, CommentsAreTheLibrarysBusiness)
{
    for (const char* body :
         {R"({/* a comment */ "code": 200, "result": 7})", R"({"code": 200, "result": 7 /* a comment */})"}) {
        SCOPED_TRACE(body);
        if (JSONCPP_VERSION_HEXA < 0x01090600) {
            expectResult(httpReply(body), "7");
        } else {
            expectFailure(httpReply(body), " failed to parse json response");
        }
    }
}

// The envelope.

TEST_F(ZanCachedDataTest, EnvelopeWithoutCodeOrResultHasTheWrongFormat)
{
    for (const char* body :
         {R"({})", R"({"code": 200})", R"({"result": {}})", R"({"Code": 200, "Result": {}})",
          R"({"code": 404})", R"({"code": "200"})", R"({"data": {"code": 200, "result": {}}})"}) {
        SCOPED_TRACE(body);
        expectFailure(httpReply(body), " wrong format of json response");
    }
}

TEST_F(ZanCachedDataTest, CodeOtherThan200IsABadCode)
{
    for (const char* code :
         {"404", "0", "199", "201", "2000", "4294967295", "null", "true", "false", "199.99"}) {
        SCOPED_TRACE(code);
        expectFailure(httpReply(R"({"code": )" + std::string(code) + R"(, "result": {}})"),
                      " bad json response code");
    }
}

TEST_F(ZanCachedDataTest, CodeThatConvertsTo200Succeeds)
{
    for (const char* code : {"200", "200.0", "200.9", "2e2"}) {
        SCOPED_TRACE(code);
        expectResult(httpReply(R"({"code": )" + std::string(code) + R"(, "result": {"a": 1}})"),
                     R"({"a": 1})");
    }
}

TEST_F(ZanCachedDataTest, OtherMembersAreIgnored)
{
    expectResult(
        httpReply(R"({"status": "error", "code": 200, "results": 1, "result": {"a": 1}, "code2": 404})"),
        R"({"a": 1})");
}

TEST_F(ZanCachedDataTest, ResultMayBeOfAnyType)
{
    for (const char* result : {"null", "true", "false", "\"\"", "\"text\"", "0", "-1", "1.5", "[]",
                               "[1, [2]]", "{}", R"({"a": {"b": null}})"}) {
        SCOPED_TRACE(result);
        expectResult(httpReply(envelope(result)), result);
    }
}

// What the JSON library throws leaves `get`, and the handle is cleaned up (see ApiTest::TearDown).

TEST_F(ZanCachedDataTest, CodeThatDoesNotConvertThrows)
{
    for (const char* code : {"\"200\"", "\"\"", "-1", "-200", "4294967296", "4294967496", "1e99", "[]",
                             "[200]", "{}", R"({"code": 200})"}) {
        expectThrow<Json::LogicError>(R"({"code": )" + std::string(code) + R"(, "result": {}})");
    }
    EXPECT_EQ(interposed().curlCleanups, 11);
}

TEST_F(ZanCachedDataTest, ArrayAsRootThrows)
{
    expectThrow<Json::LogicError>("[]");
    expectThrow<Json::LogicError>(R"([{"code": 200, "result": {}}])");
    EXPECT_EQ(interposed().curlCleanups, 2);
}

TEST_F(ZanCachedDataTest, NestingTooDeepForTheParserThrows)
{
    constexpr std::size_t depth = 2000;
    expectThrow<Json::RuntimeError>(envelope(std::string(depth, '[') + std::string(depth, ']')));
    EXPECT_EQ(interposed().curlCleanups, 1);
}

TEST_F(ZanCachedDataTest, NestingThatTheParserTakesSucceeds)
{
    constexpr std::size_t depth = 500;
    const std::string result = std::string(depth, '[') + std::string(depth, ']');
    expectResult(httpReply(envelope(result)), result);
}

TEST_F(ZanCachedDataTest, ThrowKeepsTheCacheAndTheNextGetFetchesAgain)
{
    fetched("\"good\"");
    passSeconds(5);
    replyBody(R"({"code": "200", "result": {}})");
    EXPECT_THROW(query.get(out), Json::LogicError);
    EXPECT_THROW(query.get(out), Json::LogicError);
    EXPECT_EQ(api().takePaths().size(), 2U);
    apiDown();
    EXPECT_FALSE(query.get(out));
    EXPECT_EQ(out, Json::Value("good"));
}

// The cache.

TEST_F(ZanCachedDataTest, ExpiresAtItsLifetimeInWholeSecondsModulo32Bits)
{
    struct Moments {
        std::int64_t fetched, asked; ///< uptimes in hundredths
        bool fresh;
    };
    for (const Moments& moments : {
             Moments{100000, 100000, true},
             {100000, 100499, true},
             {100000, 100500, false},
             {100099, 100499, true},  // fetched in the second 1000, up to its last hundredth
             {100099, 100500, false}, // the second 1005, 4.01 seconds later
             {100000, 99900, false},  // the clock went back: an age of 2^32 - 1 seconds
             {100000, 8740000, false},
             {429496729400, 429496729800, true}, // from the second 2^32 - 2 to 2^32 + 2, which is 2
             {429496729400, 429496729900, false},
         }) {
        if (sizeof(long) == 4 && moments.asked > std::numeric_limits<std::int32_t>::max()) {
            continue; // in hundredths an uptime of 32 bits wraps long before its seconds do
        }
        setUptime(static_cast<long>(moments.fetched));
        ZanCachedData timed(apiUrl(path), 5);
        replyBody(envelope("1"));
        EXPECT_TRUE(timed.get(out));
        replyBody(envelope("2"));
        setUptime(static_cast<long>(moments.asked));
        EXPECT_TRUE(timed.get(out));
        EXPECT_EQ(out, Json::Value(moments.fresh ? 1 : 2)) << moments.fetched << " " << moments.asked;
    }
}

TEST_F(ZanCachedDataTest, AgeCountsFromTheFetchAndNotFromTheLastGet)
{
    fetched("1");
    for (int second = 1; second < 5; ++second) {
        passSeconds(1);
        EXPECT_TRUE(query.get(out));
    }
    EXPECT_TRUE(api().takeRequests().empty());
    passSeconds(1);
    EXPECT_TRUE(query.get(out));
    EXPECT_EQ(api().takeRequests().size(), 1U);
}

TEST_F(ZanCachedDataTest, AgeCountsFromTheStartOfTheTransfer)
{
    interposed().transferSeconds = 3;
    fetched("1");
    api().setReply(httpReply(envelope("2")));
    passSeconds(1);
    EXPECT_TRUE(query.get(out));
    EXPECT_EQ(out, Json::Value(1));
    passSeconds(1); // the fifth second since
    EXPECT_TRUE(query.get(out));
    EXPECT_EQ(out, Json::Value(2));
}

TEST_F(ZanCachedDataTest, LifetimeIsTheObjectsOwn)
{
    ZanCachedData longer(apiUrl(path), 60);
    ZanCachedData none(apiUrl(path), 0);
    longer.get(out);
    none.get(out);
    api().takeRequests();
    passSeconds(59);
    longer.get(out);
    EXPECT_EQ(api().takeRequests().size(), 0U);
    passSeconds(1);
    longer.get(out);
    EXPECT_EQ(api().takeRequests().size(), 1U);
    none.get(out);
    none.get(out);
    EXPECT_EQ(api().takeRequests().size(), 2U);
}

TEST_F(ZanCachedDataTest, NewObjectAnswersNullWithoutARequestInTheFirstSecondsOfUptime)
{
    for (const long uptime : {0L, 99L, 100L, 499L}) {
        setUptime(uptime);
        out = "before";
        EXPECT_TRUE(query.get(out)) << uptime;
        EXPECT_TRUE(out.isNull()) << uptime;
    }
    EXPECT_TRUE(api().takeRequests().empty());
    EXPECT_TRUE(takeLog().empty());
    setUptime(500);
    EXPECT_TRUE(query.get(out));
    EXPECT_EQ(out, json("{}"));
    EXPECT_EQ(api().takeRequests().size(), 1U);
}

TEST_F(ZanCachedDataTest, ResultHandedOutIsTheCallersOwn)
{
    fetched(R"({"a": [1, 2]})");
    out["a"].clear();
    out["b"] = 1;
    EXPECT_TRUE(query.get(out));
    EXPECT_EQ(out, json(R"({"a": [1, 2]})"));
}

TEST_F(ZanCachedDataTest, ObjectsOfTheSameUrlKeepTheirResultsApart)
{
    ZanCachedData other(apiUrl(path), 5);
    fetched("1");
    replyBody(envelope("2"));
    EXPECT_TRUE(other.get(out));
    EXPECT_EQ(out, Json::Value(2));
    EXPECT_TRUE(query.get(out));
    EXPECT_EQ(out, Json::Value(1));
}

TEST_F(ZanCachedDataTest, WarmGetCopiesTheResultOnceAndNothingElse)
{
    fetched(R"({"a": [1, 2, 3], "b": {"c": "text", "d": {"e": true}}})");
    const long before = allocationsMade();
    const Json::Value copy(out);
    const long oneCopy = allocationsMade() - before;
    ASSERT_GT(oneCopy, 0);
    Json::Value empty;
    EXPECT_TRUE(query.get(empty));
    EXPECT_EQ(allocationsMade() - before, 2 * oneCopy);
}

// Results that are shared.

TEST_F(ZanCachedDataTest, SharedResultIsTheCacheItself)
{
    fetched(R"({"text": "a"})");
    const long before = allocationsMade();
    const SharedJson first = query.result();
    const SharedJson second = query.result();
    EXPECT_EQ(allocationsMade(), before) << "a copy";
    EXPECT_EQ(first, second);
    EXPECT_EQ(*first, json(R"({"text": "a"})"));
    EXPECT_EQ(api().takeRequests().size(), 0U);
}

TEST_F(ZanCachedDataTest, SharedResultOutlivesAFetchAFailureAndItsQuery)
{
    fetched(R"({"text": "old"})");
    const SharedJson old = query.result();
    passSeconds(5);
    fetched(R"({"text": "new"})");
    EXPECT_EQ((*old)["text"], "old");
    EXPECT_EQ((*query.result())["text"], "new");
    SharedJson kept;
    {
        ZanCachedData other(apiUrl(path), 5);
        kept = other.result();
        passSeconds(5);
        apiDown();
        EXPECT_FALSE(other.result());
    }
    EXPECT_EQ((*kept)["text"], "new");
}

TEST_F(ZanCachedDataTest, FailureHasNoSharedResultButNullIsOne)
{
    fetched("null");
    ASSERT_TRUE(query.result());
    EXPECT_TRUE(query.result()->isNull());
    passSeconds(5);
    replyBody(R"({"code": 404, "result": 1})");
    EXPECT_FALSE(query.result());
    setUptime(100);
    ZanCachedData fresh(apiUrl(path), 5); // in the first seconds of uptime nothing counts as fresh
    ASSERT_TRUE(fresh.result());
    EXPECT_TRUE(fresh.result()->isNull());
}

TEST_F(ZanCachedDataTest, SharingThrowsWhatGetThrows)
{
    replyBody(R"({"code": "200", "result": {}})");
    EXPECT_THROW(query.result(), Json::LogicError);
}

// One question, one moment.

TEST_F(ZanCachedDataTest, WithinAQuestionAnAnswerStaysFresh)
{
    fetched("1");
    passSeconds(4);
    const Question question(7);
    EXPECT_TRUE(query.get(out));
    passSeconds(3600);
    EXPECT_TRUE(query.get(out));
    EXPECT_EQ(*query.result(), Json::Value(1));
    EXPECT_TRUE(api().takeRequests().empty());
}

TEST_F(ZanCachedDataTest, WhatAQuestionFetchesStaysFreshInIt)
{
    const Question question(7);
    replyBody(envelope("1"));
    EXPECT_TRUE(query.get(out));
    passSeconds(3600);
    replyBody(envelope("2"));
    EXPECT_EQ(*query.result(), Json::Value(1));
    EXPECT_EQ(api().takeRequests().size(), 1U);
}

TEST_F(ZanCachedDataTest, QuestionGoesOnUnderItsNumber)
{
    fetched("1");
    for (int step = 0; step < 3; ++step) {
        const Question question(7);
        EXPECT_EQ(*query.result(), Json::Value(1));
        passSeconds(4);
    }
    EXPECT_TRUE(api().takeRequests().empty());
}

TEST_F(ZanCachedDataTest, NextQuestionAndNoQuestionLookAtTheClock)
{
    fetched("1");
    {
        const Question question(7);
        EXPECT_TRUE(query.get(out));
    }
    passSeconds(5);
    replyBody(envelope("2"));
    {
        const Question question(8);
        EXPECT_EQ(*query.result(), Json::Value(2));
    }
    passSeconds(5);
    replyBody(envelope("3"));
    EXPECT_EQ(*query.result(), Json::Value(3));
    {
        const Question question(8); // its number again: the answer given without a question is not its
        passSeconds(5);
        replyBody(envelope("4"));
        EXPECT_EQ(*query.result(), Json::Value(4));
    }
}

TEST_F(ZanCachedDataTest, RequestsOfTheAgentToItselfAreNoQuestion)
{
    fetched("1");
    for (int number = 2; number < 4; ++number) {
        const Question question(0);
        passSeconds(4);
        EXPECT_EQ(*query.result(), Json::Value(number - 1));
        passSeconds(1);
        replyBody(envelope(std::to_string(number)));
        EXPECT_EQ(*query.result(), Json::Value(number));
    }
}

TEST_F(ZanCachedDataTest, EachQueryDecidesForItselfInAQuestion)
{
    fetched("1");
    passSeconds(4);
    ZanCachedData other(apiUrl(path), 5);
    const Question question(7);
    EXPECT_TRUE(query.get(out));
    passSeconds(1);
    replyBody(envelope("2"));
    EXPECT_EQ(*other.result(), Json::Value(2));
    EXPECT_EQ(*query.result(), Json::Value(1));
}

TEST_F(ZanCachedDataTest, FailureIsNotRememberedInAQuestion)
{
    apiDown();
    const Question question(7);
    EXPECT_FALSE(query.get(out));
    EXPECT_FALSE(query.get(out));
    apiUp();
    replyBody(envelope("1"));
    EXPECT_TRUE(query.get(out));
    EXPECT_EQ(out, Json::Value(1));
    passSeconds(5);
    apiDown();
    EXPECT_TRUE(query.get(out)) << "the question has its answer";
}

TEST_F(ZanCachedDataTest, ThrowIsNotRememberedInAQuestion)
{
    const Question question(7);
    replyBody(R"({"code": "200", "result": {}})");
    EXPECT_THROW(query.get(out), Json::LogicError);
    replyBody(envelope("1"));
    EXPECT_TRUE(query.get(out));
}

// Failures and the cache.

TEST_F(ZanCachedDataTest, FailureHandsOutTheLastGoodResultAndReturnsFalse)
{
    fetched("\"good\"");
    passSeconds(5);
    replyBody(R"({"code": 404, "result": "bad"})");
    EXPECT_FALSE(query.get(out));
    EXPECT_EQ(out, Json::Value("good"));
    EXPECT_FALSE(query.get(out));
    EXPECT_EQ(out, Json::Value("good"));
}

TEST_F(ZanCachedDataTest, FailureExpiresAResultEvenWhenTheClockGoesBackIntoItsLifetime)
{
    fetched("\"good\"");
    setUptime(100500);
    apiDown();
    EXPECT_FALSE(query.get(out));
    setUptime(100100); // one second after the fetch
    EXPECT_FALSE(query.get(out));
}

TEST_F(ZanCachedDataTest, FailureAtTheAgeOfALifetimeIsFetchedAgain)
{
    setUptime(500); // as far from 0, which a failure leaves behind, as the lifetime
    replyBody("");
    EXPECT_FALSE(query.get(out));
    replyBody(envelope("7"));
    EXPECT_TRUE(query.get(out));
    EXPECT_EQ(out, Json::Value(7));
}

TEST_F(ZanCachedDataTest, AfterAFailureTheFirstSecondsOfUptimeServeTheOldResult)
{
    fetched("\"good\"");
    passSeconds(5);
    apiDown();
    EXPECT_FALSE(query.get(out));
    setUptime(499); // the age counts from 0 now
    EXPECT_TRUE(query.get(out));
    EXPECT_EQ(out, Json::Value("good"));
}

// The append callback.

TEST(AppendResponseTest, AppendsSizeTimesCountBytes)
{
    std::string buffer = "before ";
    std::string data("ab\0defgh", 8);
    EXPECT_EQ(appendResponse(data.data(), 2, 3, &buffer), 6U);
    EXPECT_EQ(buffer, std::string("before ab\0def", 13));
    EXPECT_EQ(appendResponse(data.data(), 1, 0, &buffer), 0U);
    EXPECT_EQ(buffer.size(), 13U);
}

TEST(AppendResponseTest, WithoutABufferTakesNothing)
{
    std::string data = "data";
    EXPECT_EQ(appendResponse(data.data(), 1, data.size(), nullptr), 0U);
}

TEST(AppendResponseTest, ThrowsWhenTheBufferWouldPassItsMaximumSize)
{
    std::string buffer = "full";
    try {
        char data = 0;
        appendResponse(&data, 1, buffer.max_size() - buffer.size() + 1, &buffer);
        FAIL() << "nothing thrown";
    } catch (const std::length_error& error) {
        EXPECT_STREQ(error.what(), "basic_string::append");
    }
    EXPECT_EQ(buffer, "full");
}

TEST(AppendResponseTest, TakesNothingWhenMemoryIsShort)
{
    std::string buffer = "before";
    std::string data(1000, 'x');
    const FailingAllocation shortage(1);
    EXPECT_EQ(appendResponse(data.data(), 1, data.size(), &buffer), 0U);
    EXPECT_TRUE(shortage.happened());
    EXPECT_EQ(buffer, "before");
}

// Memory that runs short, at each of the allocations of a fetch in turn.

TEST_F(ZanCachedDataTest, NoShortageOfMemoryLeaksOrBreaksTheQuery)
{
    const std::string body =
        envelope(R"({"a": ["a text long enough for the heap", 1, {"b": true}], "c": {}})");
    replyBody(body);
    ASSERT_TRUE(query.get(out));
    passSeconds(5);
    ASSERT_TRUE(query.get(out));
    const Json::Value expected = out;
    const long alive = allocationsAlive();

    long nth = 0;
    bool happened = true;
    while (happened) {
        passSeconds(5);
        {
            const FailingAllocation shortage(++nth);
            try {
                query.get(out);
            } catch (const std::bad_alloc&) {
                takeLog();
            }
            happened = shortage.happened();
        }
        takeLog();
        passSeconds(5);
        ASSERT_TRUE(query.get(out)) << "after failing allocation " << nth;
        ASSERT_EQ(out, expected);
        ASSERT_EQ(allocationsAlive(), alive) << "after failing allocation " << nth;
        ASSERT_EQ(interposed().curlCleanups, interposed().curlInits) << "after failing allocation " << nth;
    }
    EXPECT_GT(nth, 10) << "hardly any allocation was reached";
}

} // namespace
