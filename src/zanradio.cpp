#include "zanradio.h"

#include "zangetter.h"
#include "zanjsondb.h"
#include "zanproviders.h"

namespace zansnmp {

namespace {

bool radioData(Json::Value& out)
{
    static ZanCachedData query(apiUrl("/api?fields=system/capabilities,stats/radio"), cacheLifetime);
    return query.get(out);
}

/// A text object of a router with a radio: `read` gives its text from the radio's statistics.
template <class Read>
std::string radioText(const Read& read)
{
    return provideText(radioData, [&read](const Json::Value& result) {
        return hasCellularRadio(result) ? read(result["stats_radio"]) : unknown;
    });
}

std::string radioMember(const char* name)
{
    return radioText([name](const Json::Value& radio) { return radio[name].asString(); });
}

} // namespace

bool hasCellularRadio(const Json::Value& result)
{
    return memberAt(result, {"system_capabilities", "cell"}).asBool();
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
