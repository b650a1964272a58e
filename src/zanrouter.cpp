#include "zanrouter.h"

#include "zangetter.h"

#include <cmath>
#include <limits>
#include <string>

namespace zansnmp {

namespace {

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=system"), cacheLifetime);
    return data;
}

/// The conversion to an integer that saturates, as the router's processor has it: elsewhere a float beyond
/// the integer's range is undefined.
std::int32_t saturated(float value)
{
    constexpr float limit = 2147483648.0F; // 2^31: the first float beyond the range
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= limit) {
        return std::numeric_limits<std::int32_t>::max();
    }
    if (value < -limit) {
        return std::numeric_limits<std::int32_t>::min();
    }
    return static_cast<std::int32_t>(value);
}

/// Hundredths of a second from a decimal text of seconds, in single precision throughout: coarse on purpose
/// for uptimes above 2^24 hundredths.
/// @throws std::invalid_argument, std::out_of_range  with the text "stof"
std::int32_t uptimeTicks(const std::string& seconds)
{
    // Stored, so that a processor that computes in wider registers rounds to single precision too.
    const volatile float ticks = std::stof(seconds) * 100.0F;
    return saturated(ticks);
}

} // namespace

bool systemData(Json::Value& out)
{
    return query().get(out);
}

std::string zanRemoteManagementEnabled()
{
    return flagMember(
        []() -> ZanCachedData& {
            static ZanCachedData data(apiUrl("/api/remoteManagement/enabled"), cacheLifetime);
            return data;
        },
        {}); // the result itself is the flag
}

std::string zanRouterModelId()
{
    return textMember(query, {"system", "productId"});
}

std::string zanRouterSerialNumber()
{
    return textMember(query, {"system", "deviceId"});
}

std::string zanRouterFirmware()
{
    return textMember(query, {"system", "firmware"});
}

std::int32_t zanRouterUptime()
{
    return provide<std::int32_t>(query, 0, [](const Json::Value& result) {
        return uptimeTicks(memberAt(result, {"system", "uptime"}).asString());
    });
}

} // namespace zansnmp
