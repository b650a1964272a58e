#pragma once

#include <json/value.h>

#include <cstdint>

/// Firewall: numbers of enabled rules; 0 also when the rules cannot be read.
namespace zansnmp {

/// The query accessor: of `filters` and `nat`.
bool firewallData(Json::Value& out);

/// DNAT rules.
std::int32_t zanFirewallPreroutingRulesNumEnabled();
/// Filter rules of the chain INPUT.
std::int32_t zanFirewallInputFilterRulesNumEnabled();
/// Filter rules of the chain FORWARD.
std::int32_t zanFirewallForwardFilterRulesNumEnabled();
/// Filter rules of the chain OUTPUT.
std::int32_t zanFirewallOutputFilterRulesNumEnabled();
/// SNAT rules.
std::int32_t zanFirewallPostroutingRulesNumEnabled();

} // namespace zansnmp
