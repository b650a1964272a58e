// Whatever the API sends on its connection, through libcurl, the parser and the envelope.
//
// connect() gives libcurl one end of a socket pair into which the whole answer has been written: all of
// libcurl runs, its options and its HTTP code, without a server, a thread or a file in the way. After each
// answer the query must be in the state of its last good one, and a good answer must be served again.

#include "support/httpmutator.h"
#include "support/world.h"

#include "zanjsondb.h"

#include <curl/curl.h>
#include <json/value.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>

namespace {

using namespace world;
using zansnmp::ZanCachedData;

/// Larger answers than this would not fit the socket's buffer, where they wait for libcurl.
constexpr std::size_t largest = 128 * 1024;

void giveGood(ZanCachedData& query, const Json::Value& good)
{
    api().answer = Answer::body;
    api().text = R"({"code":200,"result":{"good":[1,"2"]}})";
    Json::Value out;
    passTime(zansnmp::cacheLifetime);
    require(query.get(out), "a good answer fails");
    require(out == good, "a good answer's result is another");
}

enum class Outcome { good, bad, thrown };

/// libcurl is not built for the fuzzer, which sees of it only what it says of a transfer: an input that makes
/// it say something new is kept, as is one that reaches new code.
__attribute__((section("__libfuzzer_extra_counters"))) std::array<std::uint8_t, 3 * CURL_LAST> verdicts;

Outcome ask(ZanCachedData& query, Json::Value& out)
{
    try {
        return query.get(out) ? Outcome::good : Outcome::bad;
    } catch (const std::exception&) {
        return Outcome::thrown; // a code that is no number, nesting too deep, a root that is no object
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    startModule(true);
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed)
{
    return mutateHttp(data, size, std::min(maxSize, largest), seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > largest) {
        return -1;
    }
    Json::Value good;
    good["good"].append(1);
    good["good"].append("2");

    ZanCachedData query(zansnmp::apiUrl("/api?fields=system"), zansnmp::cacheLifetime);
    giveGood(query, good);

    api().answer = Answer::raw;
    api().text.assign(reinterpret_cast<const char*>(data), size);
    passTime(zansnmp::cacheLifetime);
    const std::size_t before = api().requests;
    Json::Value out;
    const Outcome outcome = ask(query, out);
    require(api().requests == before + 1, "not exactly one request");
    verdicts[3 * static_cast<std::size_t>(api().verdict) + static_cast<std::size_t>(outcome)] = 1;
    switch (outcome) {
    case Outcome::good: {
        Json::Value again;
        require(query.get(again) && again == out, "the cache holds another result than it gave");
        require(api().requests == before + 1, "a request although the answer was cached");
        break;
    }
    case Outcome::bad:
        require(out == good, "after a failure the last good result is not given");
        break;
    case Outcome::thrown:
        break;
    }
    giveGood(query, good);
    return 0;
}
