// What the module would cost if it copied JSON freely: the linker puts this function in front of the module's
// own in zansnmpext-plain.so, which exists for nothing but the comparison.

#include "zanjsondb.h"

#include <memory>

// The functions by the names that the linker's option --wrap gives them; a method's object is its first
// argument.
zansnmp::SharedJson
realResult(zansnmp::ZanCachedData* query) asm("__real__ZN7zansnmp13ZanCachedData6resultEv");
zansnmp::SharedJson
copyingResult(zansnmp::ZanCachedData* query) asm("__wrap__ZN7zansnmp13ZanCachedData6resultEv");

/// Each result is copied out of the cache, and then once more, as by a caller who copies the member that it
/// wants instead of referring to it.
zansnmp::SharedJson copyingResult(zansnmp::ZanCachedData* query)
{
    const zansnmp::SharedJson result = realResult(query);
    if (!result) {
        return nullptr;
    }
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copies are the point.
    const Json::Value copy = *result;
    return std::make_shared<const Json::Value>(copy);
}
