#pragma once

#include <cstdint>
#include <string>

/// The value providers: one per scalar object, named as the object.
///
/// A provider asks the router's API (through a cache of 5 seconds) on the agent's only thread. It never
/// throws and never logs. A text is the bytes of an OCTET STRING, an integer the 32 bits of an INTEGER or
/// TimeTicks. When the API fails, or gives what cannot be read, a text is "Unknown" and a number 0, unless
/// said otherwise; what the API merely leaves out is an empty text, "False" or 0.
namespace zansnmp {

// Remote management.

/// Whether the router is managed remotely: "True" or "False".
std::string zanRemoteManagementEnabled();

// WAN manager.

/// The link in use: "Cellular", "WiFi", or "None" for any other.
std::string zanWanManagerTransport();
/// The available links by ascending priority, each as "<priority>, <label>, enabled" or "..., disabled",
/// joined by "; ".
std::string zanWanManagerPriority();

// Radio. All but the temperature are "Unknown" on a router without a cellular radio.

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

// Cellular interface. "Unknown" or 0 on a router without a cellular radio.

/// Whether the interface is switched on: "True" or "False".
std::string zanCellularInterfaceEnabled();
/// The state of the link, in the API's words.
std::string zanCellularInterfaceConnectionStatus();
/// The access point name.
std::string zanCellularInterfaceAPN();
/// How long the link is up, in hundredths of a second, modulo 2^32.
std::uint32_t zanCellularInterfaceUptime();
/// The signal strength with its unit, such as "-75 dBm"; empty when the modem knows none.
std::string zanCellularInterfaceSignal();
/// Whether the link roams: "True" or "False".
std::string zanCellularInterfaceRoaming();
/// The serving tower.
std::string zanCellularInterfaceTower();
/// The link's own address.
std::string zanCellularInterfaceIP();
/// The link's DNS servers, joined by ", ".
std::string zanCellularInterfaceDNS();
/// The protocol mode.
std::string zanCellularInterfaceMode();
/// Whether the keep-alive check is on: "True" or "False".
std::string zanCellularInterfaceKeepAliveCheckEnabled();
/// The host that the keep-alive check pings.
std::string zanCellularInterfaceKeepAliveCheckHostname();
/// The interval of the keep-alive check, in the API's unit.
std::uint32_t zanCellularInterfaceKeepAliveCheckInterval();
/// Whether a call wakes the link up: "True" or "False".
std::string zanCellularInterfaceWakeUpOnCallEnabled();
/// Whether any ring does: "True" or "False".
std::string zanCellularInterfaceWakeUpOnCallOnRing();
/// Whether a known caller's does: "True" or "False".
std::string zanCellularInterfaceWakeUpOnCallerId();
/// Whether a short message does: "True" or "False".
std::string zanCellularInterfaceWakeUpOnSMS();

// Cellular traffic, as lines of text. "Unknown" on a router without a cellular radio.

/// Bytes sent: "current : <n>, today : <n>, total : <n>".
std::string zanCellularInterfaceStatsTxBytes();
/// Bytes received, likewise.
std::string zanCellularInterfaceStatsRxBytes();
/// Packets sent: "current : <n>".
std::string zanCellularInterfaceStatsTxPkts();
/// Packets received, likewise.
std::string zanCellularInterfaceStatsRxPkts();

// Ethernet interface.

/// The MAC address.
std::string zanEthernetInterfaceMAC();
/// The IPv4 address.
std::string zanEthernetInterfaceIP();
/// The netmask.
std::string zanEthernetInterfaceMask();
/// The gateway in use, else the one that the DHCP server hands out.
std::string zanEthernetInterfaceGateway();
/// The DNS servers: the router itself while it forwards, else at most two static ones, joined by ", ".
std::string zanEthernetInterfaceDNS();

// WiFi interface.

/// Whether the access point or the client is on: "True" or "False".
std::string zanWiFiInterfaceEnabled();
/// "Access Point", "WAN" (the client role) or "None"; the access point wins.
std::string zanWiFiInterfaceMode();
/// The MAC address.
std::string zanWiFiInterfaceMAC();
/// The access point's network name, else that of the network joined; "Unknown" without either.
std::string zanWiFiInterfaceSSID();
/// The client's link state in the API's words; "Unknown" while the client is off.
std::string zanWiFiInterfaceConnectionStatus();
/// The client's address while it is connected; else "Unknown".
std::string zanWiFiInterfaceIP();
/// The client's signal level while it is connected; else "Unknown".
std::string zanWiFiInterfaceSignal();
/// The access point's security mode while it is on; else "Unknown".
std::string zanWiFiInterfaceSecurity();

// Serial-to-IP gateway.

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

// Router.

/// The model.
std::string zanRouterModelId();
/// The serial number.
std::string zanRouterSerialNumber();
/// The firmware version.
std::string zanRouterFirmware();
/// How long the router is up, in hundredths of a second, rounded to single precision; at most 2^31 - 1.
std::int32_t zanRouterUptime();

// Network services.

/// Whether the DNS forwarder is on: "True" or "False".
std::string zanDNSForwarderEnabled();
/// The static primary DNS server.
std::string zanDNSStaticPrimaryHost();
/// The static secondary DNS server.
std::string zanDNSStaticSecondaryHost();
/// The DNS servers learnt on the WAN side, joined by ", ".
std::string zanDNSWanServers();
/// Whether dynamic DNS is on: "True" or "False".
std::string zanDdnsEnabled();
/// The dynamic DNS service provider.
std::string zanDdnsServiceProvider();
/// Whether the DHCP server is on: "True" or "False".
std::string zanDHCPServerEnabled();
/// Whether the SMS service is on: "True" or "False".
std::string zanSMSEnabled();
/// Whether the SMTP client is on: "True" or "False".
std::string zanSMTPEnabled();
/// Whether the SNTP client is on: "True" or "False".
std::string zanSNTPEnabled();

// Diagnostics: whether services run, as opposed to configured.

/// The run status of dynamic DNS, in the API's words.
std::string zanDiagnosticsServiceDDNS();
/// That of SNTP.
std::string zanDiagnosticsServiceSNTP();
/// That of the connection keep-alive.
std::string zanDiagnosticsServiceKeepAlive();
/// That of dial-on-demand.
std::string zanDiagnosticsServiceDialOnDemand();
/// That of SMTP.
std::string zanDiagnosticsServiceSMTP();
/// That of SMS.
std::string zanDiagnosticsServiceSMS();
/// Always "SNMP service is running".
std::string zanDiagnosticsSNMP();
/// "Remote Syslog is enabled" when a destination is forwarded anything, else "Remote Syslog is disabled".
std::string zanDiagnosticsRemoteSyslog();

// Firewall: numbers of enabled rules; 0 also when the rules cannot be read.

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

// RADIUS.

/// Whether authentication is on: "True" or "False".
std::string zanRadiusAuthEnabled();
/// Whether accounting is on: "True" or "False".
std::string zanRadiusAccountingEnabled();
/// The primary server.
std::string zanRadiusPrimaryHost();
/// The secondary server.
std::string zanRadiusSecondaryHost();
/// The authentication type.
std::string zanRadiusAuthType();
/// The connect time-out, in the API's unit.
std::uint32_t zanRadiusConnectTimeout();

// Remote access: how the router may be reached for management, and how it defends itself.

/// Whether any of the three defences below is on: "True" or "False".
std::string zanRemoteAccessIpDefenseEnabled();
/// DoS attack prevention: "True" or "False", as all below.
std::string zanRemoteAccessDoSPreventEnabled();
/// The ping rate limit.
std::string zanRemoteAccessPingLimitEnabled();
/// Brute-force login prevention.
std::string zanRemoteAccessBruteForcePrevEnabled();
/// The SSH server.
std::string zanRemoteAccessSSHEnabled();
/// SSH from the WAN side.
std::string zanRemoteAccessSSHWan();
/// SSH from the LAN side.
std::string zanRemoteAccessSSHLan();
/// Answers to ICMP echo.
std::string zanRemoteAccessIcmpEnabled();
/// ICMP echo from the WAN side.
std::string zanRemoteAccessIcmpWan();
/// ICMP echo from the LAN side.
std::string zanRemoteAccessIcmpLan();
/// The web server.
std::string zanRemoteAccessHTTPEnabled();
/// HTTP from the WAN side.
std::string zanRemoteAccessHTTPWan();
/// HTTP from the LAN side.
std::string zanRemoteAccessHTTPLan();
/// The redirect of HTTP requests to HTTPS.
std::string zanRemoteAccessHTTPtoHTTPs();
/// The HTTPS server.
std::string zanRemoteAccessHTTPsEnabled();
/// HTTPS from the WAN side.
std::string zanRemoteAccessHTTPsWan();
/// HTTPS from the LAN side.
std::string zanRemoteAccessHTTPsLan();
/// The web session time-out, in seconds.
std::uint32_t zanRemoteAccessHTTPSessionTimeout();

} // namespace zansnmp
