#include "zangetter.h"

namespace zansnmp {

SharedJson resultOf(ZanCachedData& query)
{
    SharedJson result = query.result();
    if (!result) {
        // NOLINTNEXTLINE(cert-err*,misc-throw-by-value-catch-by-reference): the text itself is thrown.
        throw getDataFailed;
    }
    return result;
}

const Json::Value& memberAt(const Json::Value& value, Path path)
{
    const Json::Value* current = &value;
    for (const char* name : path) {
        current = &(*current)[name];
    }
    return *current;
}

std::string textMember(Query query, Path path) noexcept
{
    return provideText(query,
                       [path](const Json::Value& result) { return memberAt(result, path).asString(); });
}

std::string flagMember(Query query, Path path) noexcept
{
    return provideText(
        query, [path](const Json::Value& result) { return flagText(memberAt(result, path).asBool()); });
}

std::uint32_t unsignedMember(Query query, Path path) noexcept
{
    return provide<std::uint32_t>(
        query, 0, [path](const Json::Value& result) { return memberAt(result, path).asUInt(); });
}

} // namespace zansnmp
