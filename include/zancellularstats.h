#pragma once

#include <string>

/// Cellular traffic, as lines of text, from the query of the cellular interface. "Unknown" on a router
/// without a cellular radio.
namespace zansnmp {

/// Bytes sent: "current : <n>, today : <n>, total : <n>".
std::string zanCellularInterfaceStatsTxBytes();
/// Bytes received, likewise.
std::string zanCellularInterfaceStatsRxBytes();
/// Packets sent: "current : <n>".
std::string zanCellularInterfaceStatsTxPkts();
/// Packets received, likewise.
std::string zanCellularInterfaceStatsRxPkts();

} // namespace zansnmp
