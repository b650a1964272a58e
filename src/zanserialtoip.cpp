#include "zangetter.h"
#include "zanjsondb.h"
#include "zanproviders.h"

namespace zansnmp {

namespace {

bool serialToIPData(Json::Value& out)
{
    static ZanCachedData query(apiUrl("/api?fields=ipPipes/SERIAL2IP,stats/serial,serial"), cacheLifetime);
    return query.get(out);
}

} // namespace

std::string zanSerialToIPEnabled()
{
    return flagMember(serialToIPData, {"ipPipes_SERIAL2IP", "enabled"});
}

std::string zanSerialToIPMode()
{
    return textMember(serialToIPData, {"ipPipes_SERIAL2IP", "mode"});
}

std::string zanSerialToIPProtocol()
{
    return textMember(serialToIPData, {"ipPipes_SERIAL2IP", "protocol"});
}

std::uint32_t zanSerialToIPPort()
{
    return unsignedMember(serialToIPData, {"ipPipes_SERIAL2IP", "port"});
}

std::string zanSerialToIPServerIP()
{
    return provideText(serialToIPData, [](const Json::Value& result) -> std::string {
        const Json::Value& pipe = result["ipPipes_SERIAL2IP"];
        return pipe["mode"].asString() == "CLIENT" ? pipe["ip"].asString() : unknown;
    });
}

std::uint32_t zanSerialToIPTx()
{
    return unsignedMember(serialToIPData, {"stats_serial", "tx"});
}

std::uint32_t zanSerialToIPRx()
{
    return unsignedMember(serialToIPData, {"stats_serial", "rx"});
}

std::string zanSerialToIPDCD()
{
    return textMember(serialToIPData, {"stats_serial", "dcd"});
}

std::string zanSerialToIPModbusGatewayEnabled()
{
    return flagMember(serialToIPData, {"serial", "modbus"});
}

} // namespace zansnmp
