#include "support/grouptest.h"

namespace zantest {

void GroupTest::expectOneRequest(const Objects& objects)
{
    freshResult("{}");
    takeLog();
    for (const auto provider : objects.texts) {
        provider();
    }
    for (const auto provider : objects.unsigneds) {
        provider();
    }
    for (const auto provider : objects.integers) {
        provider();
    }
    EXPECT_EQ(api().takePaths(), std::vector<std::string>{path});
    EXPECT_EQ(takeLog(), LogLines{executing(path)});
}

void GroupTest::expectFallbacks(const Objects& objects)
{
    freshResult("{}");
    api().setReply(httpReply(R"({"code": 404, "result": {}})"));
    expectFallbacksWith(objects, " bad json response code");
    api().setReply(httpReply("<html>"));
    expectFallbacksWith(objects, " failed to parse json response");
    apiDown();
    expectFallbacksWith(objects, " curl_easy_perform failed");
}

void GroupTest::expectFallbacksWith(const Objects& objects, const std::string& failure)
{
    const LogLines failedRequest{executing(path), {LOG_ERR, failure}};
    takeLog();
    for (const auto provider : objects.texts) {
        EXPECT_EQ(provider(), "Unknown") << failure;
        EXPECT_EQ(takeLog(), failedRequest);
    }
    for (const auto provider : objects.unsigneds) {
        EXPECT_EQ(provider(), 0U) << failure;
        EXPECT_EQ(takeLog(), failedRequest);
    }
    for (const auto provider : objects.integers) {
        EXPECT_EQ(provider(), 0) << failure;
        EXPECT_EQ(takeLog(), failedRequest);
    }
}

} // namespace zantest
