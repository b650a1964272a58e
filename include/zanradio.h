#pragma once

#include "zangetter.h"

#include <string>

/// Radio. All objects but the temperature read "Unknown" on a router without a cellular radio.
namespace zansnmp {

/// The query accessor: of `system_capabilities` and `stats_radio`.
bool radioData(Json::Value& out);

/// The frame of the objects that only a cellular radio gives a value, the cellular interface's among them:
/// `provide`, with the fallback also on a router without a radio, by its capabilities, whatever else the API
/// says.
template <class Value, class Read>
Value provideWithRadio(Query query, const Value& fallback, const Read& read) noexcept
{
    return provide<Value>(query, fallback, [&](const Json::Value& result) -> Value {
        return memberAt(result, {"system_capabilities", "cell"}).asBool() ? read(result) : fallback;
    });
}

/// The radio's technology, such as "LTE".
std::string zanRadioType();
/// The MEID of a radio of the type "CDMA", the IMEI of any other.
std::string zanRadioMEIDorIMEI();
/// The subscriber's identity.
std::string zanRadioIMSI();
/// The radio's firmware version.
std::string zanRadioFirmware();
/// The signal strength with its unit, such as "-71dBm"; empty without one.
std::string zanRadioRSSI();
/// The network that the radio is on.
std::string zanRadioNetwork();
/// The service that the network offers.
std::string zanRadioService();
/// The subscriber's own carrier.
std::string zanRadioHomeNetwork();
/// The mobile station's identity.
std::string zanRadioMSID();
/// The mobile directory number.
std::string zanRadioMDN();
/// Always "Unknown": the API has no source for it.
std::string zanRadioTemperature();

} // namespace zansnmp
