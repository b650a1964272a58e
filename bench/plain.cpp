// What the module would cost if it copied JSON freely: the linker puts these two functions in front of the
// module's own in zansnmpext-plain.so, which exists for nothing but the comparison.

#include "zanjsondb.h"

#include <utility>

// The functions by the names that the linker's option --wrap gives them; a method's object is its first
// argument.
bool realGet(zansnmp::ZanCachedData* query,
             Json::Value& out) asm("__real__ZN7zansnmp13ZanCachedData3getERN4Json5ValueE");
bool copyingGet(zansnmp::ZanCachedData* query,
                Json::Value& out) asm("__wrap__ZN7zansnmp13ZanCachedData3getERN4Json5ValueE");
bool isNeverCached(const zansnmp::ZanCachedData* query) asm("__wrap__ZNK7zansnmp13ZanCachedData8isCachedEv");

/// Each result is copied out of the cache, as nobody borrows this variable, and then once more, as by a
/// caller who copies the member that it wants instead of referring to it or moving it.
bool copyingGet(zansnmp::ZanCachedData* query, Json::Value& out)
{
    Json::Value result;
    const bool valid = realGet(query, result);
    // The copy is the point.
    Json::Value copy = result;
    out = std::move(copy);
    return valid;
}

/// No rows are handed from one walk to the next.
bool isNeverCached(const zansnmp::ZanCachedData* /*query*/)
{
    return false;
}
