#pragma once

#include <json/value.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace zansnmp {

/// Seconds for which every query of the module is served from its cache.
constexpr std::uint32_t cacheLifetime = 5;

/// The UNIX-domain socket on which the router's local management API listens.
constexpr const char* apiSocket = "/var/run/api/http.sock";

/// The full URL of a request.
/// @param pathAndQuery  what to ask for, such as "/api?fields=system"
std::string apiUrl(const char* pathAndQuery);

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
    /// @param[out] out  a copy of the `result`; after a failure one of the last good `result` (null when
    ///                  there was none), which callers do not use
    /// @return true when `out` holds a fresh or still valid result; false on every failure of the API, which
    ///         is then in the log
    /// @throws Json::Exception  when the answer is no object or nests too deeply for the parser, or when its
    ///                          `code` cannot be read as an unsigned number
    /// @throws std::bad_alloc
    bool get(Json::Value& out);

    /// Whether `get` would answer now without asking the API.
    bool isCached() const;

    /// How many fetches have succeeded so far. Whoever keeps something made from a result learns here whether
    /// that is still the result of the last fetch.
    std::uint32_t fetchCount() const { return fetches; }

private:
    friend class BorrowedResult;

    bool isFresh(std::uint32_t now) const { return now - lastUpdate < lifetime; }
    void giveCopy(Json::Value& out);

    std::string url;              ///< the full request URL
    std::uint32_t lifetime;       ///< seconds
    std::uint32_t lastUpdate = 0; ///< uptime at the last good fetch, in seconds; 0 if new or after a failure
    Json::Value cache;            ///< `result` of the last successful answer; null before the first
    std::uint32_t fetches = 0;    ///< successful fetches so far
    Json::Value spare;            ///< a copy of `cache` to give away; null when there is none
};

/// A variable for the result of one query that gives it back when it goes out of scope.
///
/// Every GET of a scalar wants the whole `result` of its query for a moment, to read one member of it.
/// Copying it costs more than all else that the module does in a warm GET, the reading of the clock left out,
/// and with many leases far more than that too. So what `get` has copied into `value()` returns to its query,
/// unless that has made a new fetch meanwhile, and the next `get` hands the same copy out again.
///
/// A local variable only: the innermost one is the one that borrows. Whoever borrows may not change
/// `value()`.
class BorrowedResult {
public:
    BorrowedResult() noexcept;
    ~BorrowedResult();

    BorrowedResult(const BorrowedResult&) = delete;
    BorrowedResult& operator=(const BorrowedResult&) = delete;

    /// Null at first; for `get` to fill.
    Json::Value& value() { return result; }

private:
    friend class ZanCachedData;

    static BorrowedResult* innermost; ///< of those alive; null without one. Not owned

    Json::Value result;              ///< what is borrowed
    BorrowedResult* outer;           ///< the innermost one before; not owned
    ZanCachedData* lender = nullptr; ///< whose `get` has filled `result`; null after none. Not owned
    std::uint32_t fetch = 0;         ///< the lender's fetch that `result` is a copy of
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
