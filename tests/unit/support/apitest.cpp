#include "support/apitest.h"

#include "support/clock.h"

namespace zantest {

namespace {

/// Enough for every cache of the module to expire, whatever the last test did to the clock.
constexpr long longTime = 1000;

} // namespace

ApiTest::ApiTest()
{
    resetInterposed();
    captureLog();
    passSeconds(longTime);
    apiUp();
}

ApiTest::~ApiTest()
{
    resetInterposed();
}

void ApiTest::TearDown()
{
    EXPECT_EQ(interposed().curlCleanups, interposed().curlInits) << "transfer handles not cleaned up";
}

void ApiTest::freshResult(const std::string& result)
{
    passSeconds(longTime);
    api().setReply(httpReply(envelope(result)));
}

LogLine ApiTest::executing(const std::string& path)
{
    return {LOG_DEBUG, "zanjsondb:  executing [http://localhost" + path + "] request"};
}

} // namespace zantest
