#include "zangetter.h"

namespace zansnmp {

const Json::Value& memberAt(const Json::Value& value, Path path)
{
    const Json::Value* current = &value;
    for (const char* name : path) {
        current = &(*current)[name];
    }
    return *current;
}

std::string textMember(Accessor accessor, Path path) noexcept
{
    return provideText(accessor,
                       [path](const Json::Value& result) { return memberAt(result, path).asString(); });
}

std::string flagMember(Accessor accessor, Path path) noexcept
{
    return provideText(
        accessor, [path](const Json::Value& result) { return flagText(memberAt(result, path).asBool()); });
}

std::uint32_t unsignedMember(Accessor accessor, Path path) noexcept
{
    return provideUnsigned(accessor,
                           [path](const Json::Value& result) { return memberAt(result, path).asUInt(); });
}

} // namespace zansnmp
