"""collectd with its SNMP plugin: what it stores."""

from collectd_support import USER, collectd
from harness import CACHE_LIFETIME


def test_collectd_stores_what_is_a_number(make_agent, api, clock, tmp_path):
    agent = make_agent(extra_configuration=USER).start()
    api.fields["stats"]["wlan"]["link"] = {"signal": "-58 dBm"}
    api.fields["stats"]["serial"] = {"tx": 2**31 + 7, "rx": 4096}
    clock.advance(CACHE_LIFETIME)
    with collectd(tmp_path, agent.port) as stored:
        numbers = {name: list(map(float, row)) for name, row in stored.items()}
    assert numbers["signal_power-zanCellularInterfaceSignal"] == [-75]
    assert numbers["signal_power-zanRadioRSSI"] == [-71]
    assert numbers["signal_power-zanWiFiInterfaceSignal"] == [-58]
    assert numbers["uptime-zanRouterUptime"] == [12345.67]
    assert numbers["count-zanFirewallInputFilterRulesNumEnabled"] != [0]
    # Received and sent; the latter is beyond what a signed number can say.
    assert numbers["if_octets-serial"] == [4096, -(2**31) + 7]
