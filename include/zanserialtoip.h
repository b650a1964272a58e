#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

/// Serial-to-IP gateway.
namespace zansnmp {

/// The query accessor: of `ipPipes_SERIAL2IP`, `stats_serial` and `serial`.
bool serialToIPData(Json::Value& out);

/// Whether the pipe is on: "True" or "False".
std::string zanSerialToIPEnabled();
/// The pipe's role, in the API's words.
std::string zanSerialToIPMode();
/// The pipe's transport protocol.
std::string zanSerialToIPProtocol();
/// The pipe's network port.
std::uint32_t zanSerialToIPPort();
/// The remote server of a pipe in the role "CLIENT"; else "Unknown".
std::string zanSerialToIPServerIP();
/// The serial port's transmit counter: 32 bits that a manager may see as a negative number.
std::uint32_t zanSerialToIPTx();
/// The serial port's receive counter, likewise.
std::uint32_t zanSerialToIPRx();
/// The state of the carrier detect line.
std::string zanSerialToIPDCD();
/// Whether the Modbus gateway is on: "True" or "False".
std::string zanSerialToIPModbusGatewayEnabled();

} // namespace zansnmp
