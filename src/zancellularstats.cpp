#include "zancellularstats.h"

#include "zancellular.h"
#include "zangetter.h"
#include "zanradio.h"

namespace zansnmp {

namespace {

/// The current connection's part of a traffic line. Membership decides, not the value: a connection without
/// the counter has an empty text, no connection has "0".
std::string currentPart(const Json::Value& result, const char* direction, const char* counter)
{
    const Json::Value& connection = result["stats_ppp"];
    return "current : " + (connection.isMember(direction) ? connection[direction][counter].asString() : "0");
}

/// A counter kept across connections: unsigned 64-bit.
std::string totalPart(const Json::Value& result, const char* counter)
{
    return std::to_string(memberAt(result, {"stats_pppTotal", counter}).asUInt64());
}

std::string byteLine(const char* direction, const char* today, const char* total)
{
    return provideWithRadio<std::string>(cellularQuery, unknown, [=](const Json::Value& result) {
        return currentPart(result, direction, "bytes") + ", today : " + totalPart(result, today) +
               ", total : " + totalPart(result, total);
    });
}

std::string packetLine(const char* direction)
{
    return provideWithRadio<std::string>(cellularQuery, unknown, [=](const Json::Value& result) {
        return currentPart(result, direction, "packets");
    });
}

} // namespace

std::string zanCellularInterfaceStatsTxBytes()
{
    return byteLine("tx", "todayTx", "totalTx");
}

std::string zanCellularInterfaceStatsRxBytes()
{
    return byteLine("rx", "todayRx", "totalRx");
}

std::string zanCellularInterfaceStatsTxPkts()
{
    return packetLine("tx");
}

std::string zanCellularInterfaceStatsRxPkts()
{
    return packetLine("rx");
}

} // namespace zansnmp
