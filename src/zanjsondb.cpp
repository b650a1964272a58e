#include "zanjsondb.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/library/snmp_logging.h>
#include <net-snmp/library/system.h>

#include <curl/curl.h>
#include <json/json_features.h>
#include <json/reader.h>

#include <malloc.h>
#include <new>
#include <utility>

namespace zansnmp {

namespace {

using CurlHandle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

template <class Value>
bool setOption(CURL* handle, CURLoption option, const char* name, Value value)
{
    if (curl_easy_setopt(handle, option, value) == CURLE_OK) {
        return true;
    }
    snmp_log(LOG_ERR, " curl_easy_setopt(%s) failed", name);
    return false;
}

/// A plain GET with the library's defaults: no time-out is set on purpose.
bool setOptions(CURL* handle, const std::string& url, std::string& body)
{
    return setOption(handle, CURLOPT_UNIX_SOCKET_PATH, "CURLOPT_UNIX_SOCKET_PATH", apiSocket) &&
           setOption(handle, CURLOPT_URL, "CURLOPT_URL", url.c_str()) &&
           setOption(handle, CURLOPT_HEADER, "CURLOPT_HEADER", 0L) &&
           setOption(handle, CURLOPT_FOLLOWLOCATION, "CURLOPT_FOLLOWLOCATION", 0L) &&
           setOption(handle, CURLOPT_WRITEFUNCTION, "CURLOPT_WRITEFUNCTION", &appendResponse) &&
           setOption(handle, CURLOPT_WRITEDATA, "CURLOPT_WRITEDATA", static_cast<void*>(&body)) &&
           setOption(handle, CURLOPT_SSL_VERIFYPEER, "CURLOPT_SSL_VERIFYPEER", 0L) &&
           setOption(handle, CURLOPT_SSL_VERIFYHOST, "CURLOPT_SSL_VERIFYHOST", 0L);
}

// Json::Reader is deprecated in favour of CharReader, whose strict mode refuses other texts than the
// Reader's. What a manager sees of a malformed answer depends on the Reader's own idea of strictness.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
bool parse(const std::string& body, Json::Value& root)
{
    Json::Reader reader(Json::Features::strictMode());
    return reader.parse(body.data(), body.data() + body.size(), root, true);
}
#pragma GCC diagnostic pop

/// Answers of this size in bytes are not what a router gives every day.
constexpr std::size_t largeAnswer = 1 << 20;

/// Gives the system back what a large answer has taken: the C library alone keeps freed memory for the next.
void releaseMemory([[maybe_unused]] std::size_t answerSize)
{
#ifdef __GLIBC__
    if (answerSize >= largeAnswer) {
        malloc_trim(0);
    }
#endif
}

/// Makes the request and opens the envelope.
/// @return the answer's `result`; none (a null pointer) after a failure, which is then in the log
SharedJson request(const std::string& url)
{
    // When the body goes, all that was made of it and is not kept has gone before.
    const std::unique_ptr<std::string, void (*)(std::string*)> body(new std::string, [](std::string* text) {
        const std::size_t size = text->size();
        delete text;
        releaseMemory(size);
    });
    const CurlHandle handle(curl_easy_init(), curl_easy_cleanup);
    snmp_log(LOG_DEBUG, "zanjsondb:  executing [%s] request", url.c_str());
    if (!handle) {
        snmp_log(LOG_ERR, "failed to create curl instance");
        return nullptr;
    }
    if (!setOptions(handle.get(), url, *body)) {
        return nullptr;
    }
    if (curl_easy_perform(handle.get()) != CURLE_OK) {
        snmp_log(LOG_ERR, " curl_easy_perform failed");
        return nullptr;
    }
    Json::Value root;
    if (!parse(*body, root)) {
        snmp_log(LOG_ERR, " failed to parse json response");
        return nullptr;
    }
    if (!root.isMember("code") || !root.isMember("result")) {
        snmp_log(LOG_ERR, " wrong format of json response");
        return nullptr;
    }
    if (root["code"].asUInt() != 200) { // success; the status line of HTTP does not count
        snmp_log(LOG_ERR, " bad json response code");
        return nullptr;
    }
    auto result = std::make_unique<const Json::Value>(std::move(root["result"]));
    return {result.release(), [size = body->size()](const Json::Value* unread) {
                delete unread;
                releaseMemory(size);
            }};
}

} // namespace

std::string apiUrl(const char* pathAndQuery)
{
    // The host only fills the Host header: the connection goes through the socket.
    return std::string("http://localhost") + pathAndQuery;
}

std::size_t appendResponse(char* data, std::size_t size, std::size_t count, void* buffer)
{
    if (buffer == nullptr) {
        return 0;
    }
    try {
        static_cast<std::string*>(buffer)->append(data, size * count);
    } catch (const std::bad_alloc&) {
        return 0; // the transfer fails as any other, instead of an exception unwinding libcurl's frames
    }
    return size * count;
}

long Question::current = 0;

ZanCachedData::ZanCachedData(std::string requestUrl, std::uint32_t lifetimeSeconds)
    : url(std::move(requestUrl)), lifetime(lifetimeSeconds), cache(std::make_shared<const Json::Value>())
{}

bool ZanCachedData::get(Json::Value& out)
{
    const bool valid = refresh();
    out = *cache;
    return valid;
}

SharedJson ZanCachedData::result()
{
    return refresh() ? cache : nullptr;
}

/// Sees to it that `cache` is fresh.
/// @return false when it is not, as the API has failed
bool ZanCachedData::refresh()
{
    if (questioned != 0 && questioned == Question::current) {
        return true;
    }
    const auto now = static_cast<std::uint32_t>(get_uptime() / 100); // the library counts hundredths
    if (now - lastUpdate >= lifetime) {
        SharedJson result = request(url);
        if (!result) {
            lastUpdate = 0;
            return false;
        }
        lastUpdate = now;
        cache = std::move(result);
    }
    questioned = Question::current;
    return true;
}

} // namespace zansnmp
