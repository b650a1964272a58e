#pragma once

#include "zanjsondb.h"

#include <json/value.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>

namespace zansnmp {

/// Gives the query that a group's objects share: one object, made on first use. May throw std::bad_alloc
/// then.
using Query = ZanCachedData& (*)();

/// A way through objects by member names, outermost first.
using Path = std::initializer_list<const char*>;

/// The value of a text object whose data cannot be had or cannot be read.
constexpr const char* unknown = "Unknown";

/// What `resultOf` throws.
constexpr const char* getDataFailed = "get data form API failed";

/// The text of a boolean: "True" or "False".
constexpr const char* flagText(bool flag)
{
    return flag ? "True" : "False";
}

/// The query's `result`.
/// @throws getDataFailed  (the text itself) when the API failed, which is then in the log
/// @throws what ZanCachedData::result throws
SharedJson resultOf(ZanCachedData& query);

/// The member at the end of `path` below `value`; the null value when one on the way is missing.
/// @throws Json::LogicError  when a value on the way is neither an object nor null
const Json::Value& memberAt(const Json::Value& value, Path path);

/// What `make` gives; `fallback` when it throws, whatever that is. Nothing is logged then.
template <class Value, class Make>
Value valueOr(Value fallback, const Make& make) noexcept
{
    try {
        return make();
    } catch (...) {
        return fallback;
    }
}

/// The frame of every value provider: fetch, read, fall back.
///
/// @param query     the query that has the value in its `result`
/// @param fallback  the value when the API failed or `read` threw
/// @param read      reads the value from the `const Json::Value&` of the `result`
template <class Value, class Read>
Value provide(Query query, Value fallback, const Read& read) noexcept
{
    return valueOr<Value>(std::move(fallback), [&]() -> Value { return read(*resultOf(query())); });
}

/// A text object whose text `read` gives. "Unknown" on failure.
template <class Read>
std::string provideText(Query query, const Read& read) noexcept
{
    return provide<std::string>(query, unknown, read);
}

/// The member at `path` as text: empty when missing, decimal for a number; "Unknown" on failure.
std::string textMember(Query query, Path path) noexcept;

/// The member at `path` as "True" or "False" ("False" when missing); "Unknown" on failure.
std::string flagMember(Query query, Path path) noexcept;

/// The member at `path` as an unsigned number: 0 when missing and on failure.
std::uint32_t unsignedMember(Query query, Path path) noexcept;

} // namespace zansnmp
