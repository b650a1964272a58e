#include "zanserialtoip.h"

#include "zangetter.h"

namespace zansnmp {

namespace {

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=ipPipes/SERIAL2IP,stats/serial,serial"), cacheLifetime);
    return data;
}

} // namespace

bool serialToIPData(Json::Value& out)
{
    return query().get(out);
}

std::string zanSerialToIPEnabled()
{
    return flagMember(query, {"ipPipes_SERIAL2IP", "enabled"});
}

std::string zanSerialToIPMode()
{
    return textMember(query, {"ipPipes_SERIAL2IP", "mode"});
}

std::string zanSerialToIPProtocol()
{
    return textMember(query, {"ipPipes_SERIAL2IP", "protocol"});
}

std::uint32_t zanSerialToIPPort()
{
    return unsignedMember(query, {"ipPipes_SERIAL2IP", "port"});
}

std::string zanSerialToIPServerIP()
{
    return provideText(query, [](const Json::Value& result) -> std::string {
        const Json::Value& pipe = result["ipPipes_SERIAL2IP"];
        return pipe["mode"].asString() == "CLIENT" ? pipe["ip"].asString() : unknown;
    });
}

std::uint32_t zanSerialToIPTx()
{
    return unsignedMember(query, {"stats_serial", "tx"});
}

std::uint32_t zanSerialToIPRx()
{
    return unsignedMember(query, {"stats_serial", "rx"});
}

std::string zanSerialToIPDCD()
{
    return textMember(query, {"stats_serial", "dcd"});
}

std::string zanSerialToIPModbusGatewayEnabled()
{
    return flagMember(query, {"serial", "modbus"});
}

} // namespace zansnmp
