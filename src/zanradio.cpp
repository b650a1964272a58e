#include "zanradio.h"

namespace zansnmp {

namespace {

ZanCachedData& query()
{
    static ZanCachedData data(apiUrl("/api?fields=system/capabilities,stats/radio"), cacheLifetime);
    return data;
}

/// A text that `read` gives from the radio's statistics.
template <class Read>
std::string radioText(const Read& read)
{
    return provideWithRadio<std::string>(
        query, unknown, [&read](const Json::Value& result) { return read(result["stats_radio"]); });
}

std::string radioMember(const char* name)
{
    return radioText([name](const Json::Value& radio) { return radio[name].asString(); });
}

} // namespace

bool radioData(Json::Value& out)
{
    return query().get(out);
}

std::string zanRadioType()
{
    return radioMember("type");
}

std::string zanRadioMEIDorIMEI()
{
    return radioText([](const Json::Value& radio) {
        return radio[radio["type"].asString() == "CDMA" ? "meid" : "imei"].asString();
    });
}

std::string zanRadioIMSI()
{
    return radioMember("imsi");
}

std::string zanRadioFirmware()
{
    return radioMember("firmware");
}

std::string zanRadioRSSI()
{
    return radioText([](const Json::Value& radio) {
        std::string rssi = radio["rssidBm"].asString();
        if (!rssi.empty()) {
            rssi += "dBm"; // without a blank, unlike the cellular interface's signal
        }
        return rssi;
    });
}

std::string zanRadioNetwork()
{
    return radioMember("network");
}

std::string zanRadioService()
{
    return radioMember("service");
}

std::string zanRadioHomeNetwork()
{
    return radioMember("carrier");
}

std::string zanRadioMSID()
{
    return radioMember("msid");
}

std::string zanRadioMDN()
{
    return radioMember("mdn");
}

std::string zanRadioTemperature()
{
    return unknown; // the API has no source for it
}

} // namespace zansnmp
