#pragma once

#include <json/value.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace zansnmp {

/// Seconds for which every query of the module is served from its cache.
constexpr std::uint32_t cacheLifetime = 5;

/// The UNIX-domain socket on which the router's local management API listens.
constexpr const char* apiSocket = "/var/run/api/http.sock";

/// The full URL of a request.
/// @param pathAndQuery  what to ask for, such as "/api?fields=system"
std::string apiUrl(const char* pathAndQuery);

/// A JSON value that all its readers share. Nobody can change it, and it lives as long as one of them holds
/// it, whatever its query fetches meanwhile.
using SharedJson = std::shared_ptr<const Json::Value>;

/// One request of a manager (one PDU): a question about one moment of the router.
///
/// Within a question a query decides once whether its last answer is still fresh; whatever else the question
/// wants of that query, scalars or rows of a table, comes from the same answer, however long the question
/// takes. Failures are not remembered: the next object of the question tries again.
///
/// Who answers a request begins its question, by keeping a Question while at work: the scalars' handler and,
/// on top of each table's handlers, one of the table pattern. Outside of questions (at the start, or when the
/// agent itself watches an object) a query looks at the clock each time.
class Question {
public:
    /// Begins a question, or goes on with it.
    /// @param transaction  the agent's number of the request (`transid` of its PDU): the same at all steps
    ///                     that answer it, of which a GETBULK takes many; 0, which is what all requests of
    ///                     the agent to itself have, for no question
    explicit Question(long transaction) noexcept { current = transaction; }
    ~Question() { current = 0; }

    Question(const Question&) = delete;
    Question& operator=(const Question&) = delete;

private:
    friend class ZanCachedData;

    static long current; ///< the transaction that is being answered; 0 for none
};

/// One query of the router's local management API, with the `result` of its last successful answer.
///
/// An answer is served again for `lifetime` seconds of the agent's uptime: a walk of a group makes one
/// request, and a change of the wall clock expires nothing. Failures are not cached. Used on the agent's only
/// thread; a request blocks it until the API has answered (there is no time-out).
class ZanCachedData {
public:
    /// @param requestUrl       the full request URL
    /// @param lifetimeSeconds  seconds during which an answer is served from the cache
    ZanCachedData(std::string requestUrl, std::uint32_t lifetimeSeconds);
    ~ZanCachedData() = default;

    ZanCachedData(const ZanCachedData&) = delete;
    ZanCachedData& operator=(const ZanCachedData&) = delete;

    /// Gives the query's `result`, from the cache or, when that has expired, from the API.
    ///
    /// @param[out] out  a copy of the `result`, the caller's own; after a failure one of the last good
    ///                  `result` (null when there was none), which callers do not use
    /// @return true when `out` holds a fresh or still valid result; false on every failure of the API, which
    ///         is then in the log
    /// @throws Json::Exception  when the answer is no object or nests too deeply for the parser, or when its
    ///                          `code` cannot be read as an unsigned number
    /// @throws std::bad_alloc
    bool get(Json::Value& out);

    /// The same without a copy, for those who only read.
    /// @return the `result`; no value at all (a null pointer) when `get` would return false
    /// @throws what `get` throws
    SharedJson result();

private:
    bool refresh();

    std::string url;              ///< the full request URL
    std::uint32_t lifetime;       ///< seconds
    std::uint32_t lastUpdate = 0; ///< uptime at the last good fetch, in seconds; 0 if new or after a failure
    SharedJson cache;             ///< `result` of the last successful answer; null before the first
    long questioned = 0;          ///< the last question that found `cache` fresh; 0 outside of one
};

/// libcurl's write function (a curl_write_callback): appends `size * count` bytes to the response buffer.
///
/// @param data    the bytes received; not owned, not written
/// @param size    size of one item
/// @param count   number of items
/// @param buffer  the std::string to append to; null makes the transfer fail
/// @return the number of bytes taken; 0 (which makes the transfer fail) without a buffer, or when memory is
///         short
/// @throws std::length_error  "basic_string::append", when the buffer would pass its maximum size
std::size_t appendResponse(char* data, std::size_t size, std::size_t count, void* buffer);

} // namespace zansnmp
