#pragma once

#include "zanjsondb.h"

#include <json/value.h>

#include <cstdint>
#include <initializer_list>
#include <string>

namespace zansnmp {

/// A query accessor: fills its argument with the query's `result`; false when the API failed. Throws as
/// ZanCachedData::get does.
using Accessor = bool (*)(Json::Value&);

/// A way through objects by member names, outermost first.
using Path = std::initializer_list<const char*>;

/// The value of a text object whose data cannot be had or cannot be read.
constexpr const char* unknown = "Unknown";

/// What a fetch of the data throws, within a provider or a table's loader, when its query fails.
constexpr const char* getDataFailed = "get data form API failed";

/// The text of a boolean: "True" or "False".
constexpr const char* flagText(bool flag)
{
    return flag ? "True" : "False";
}

/// The member at the end of `path` below `value`; the null value when one on the way is missing.
/// @throws Json::LogicError  when a value on the way is neither an object nor null
const Json::Value& memberAt(const Json::Value& value, Path path);

/// The frame of every value provider: fetch, read, fall back.
///
/// @param accessor  the query accessor that provides the `result`
/// @param fallback  the value when the API failed or `read` threw, whatever it was; nothing is logged then
/// @param read      reads the value from the `const Json::Value&` of the `result`
template <class Value, class Read>
Value provide(Accessor accessor, Value fallback, const Read& read) noexcept
{
    try {
        BorrowedResult result;
        if (!accessor(result.value())) {
            // NOLINTNEXTLINE(cert-err*,misc-throw-by-value-catch-by-reference): the text itself is thrown.
            throw getDataFailed;
        }
        return read(static_cast<const Json::Value&>(result.value()));
    } catch (...) {
        return fallback;
    }
}

/// A text object whose text `read` gives. "Unknown" on failure.
template <class Read>
std::string provideText(Accessor accessor, const Read& read) noexcept
{
    return provide<std::string>(accessor, unknown, read);
}

/// A numeric object whose 32 bits `read` gives. 0 on failure.
template <class Read>
std::uint32_t provideUnsigned(Accessor accessor, const Read& read) noexcept
{
    return provide<std::uint32_t>(accessor, 0, read);
}

/// The member at `path` as text: empty when missing, decimal for a number; "Unknown" on failure.
std::string textMember(Accessor accessor, Path path) noexcept;

/// The member at `path` as "True" or "False" ("False" when missing); "Unknown" on failure.
std::string flagMember(Accessor accessor, Path path) noexcept;

/// The member at `path` as an unsigned number: 0 when missing and on failure.
std::uint32_t unsignedMember(Accessor accessor, Path path) noexcept;

} // namespace zansnmp
