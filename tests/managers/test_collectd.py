"""collectd with its SNMP plugin, storing what it reads in files."""

import csv
import re
import subprocess
from pathlib import Path
from typing import Dict, List

from harness import CACHE_LIFETIME
from monitoring_support import MADE, until

CONFIGURATION = """\
Hostname "manager"
BaseDir "{folder}"
PIDFile "{folder}/pid"
TypesDB "/usr/share/collectd/types.db"
LoadPlugin csv
<Plugin csv>
  DataDir "{folder}/data"
</Plugin>
Include "{folder}/router.conf"
"""


def stored(folder: Path) -> Dict[str, List[str]]:
    """The last values of each kind, by the names that collectd gives them."""
    found = {}
    for file in (folder / "data").rglob("*-20*"):
        with open(file, encoding="ascii") as lines:
            rows = list(csv.reader(lines))
        if len(rows) > 1:
            found[re.sub(r"-\d{4}-\d\d-\d\d$", "", file.name)] = rows[-1][1:]
    return found


def test_collectd_stores_what_is_a_number(make_agent, api, clock, tmp_path):
    agent = make_agent(extra_configuration='createUser poller SHA "a fifth passphrase" AES '
                                           '"a sixth passphrase"\nrouser poller priv').start()
    api.fields["stats"]["wlan"]["link"] = {"signal": "-58 dBm"}
    api.fields["stats"]["serial"] = {"tx": 2**31 + 7, "rx": 4096}
    clock.advance(CACHE_LIFETIME)
    text = (MADE / "collectd.conf").read_text()
    # The router's address and the time between two askings, as an operator puts them in.
    text = text.replace('Address "router.example.net"', f'Address "127.0.0.1:{agent.port}"')
    (tmp_path / "router.conf").write_text(text.replace("Interval 60", "Interval 1"))
    (tmp_path / "collectd.conf").write_text(CONFIGURATION.format(folder=tmp_path))
    process = subprocess.Popen(["/usr/sbin/collectd", "-f", "-C", str(tmp_path / "collectd.conf")],
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "MIBS": ""})
    try:
        expected = len(re.findall("<Data ", text))
        values = until(lambda: len(stored(tmp_path)) == expected and stored(tmp_path), "all values")
    finally:
        process.terminate()
        process.wait()
    numbers = {name: list(map(float, row)) for name, row in values.items()}
    assert numbers["signal_power-zanCellularInterfaceSignal"] == [-75]
    assert numbers["signal_power-zanRadioRSSI"] == [-71]
    assert numbers["signal_power-zanWiFiInterfaceSignal"] == [-58]
    assert numbers["uptime-zanRouterUptime"] == [12345.67]
    assert numbers["count-zanFirewallInputFilterRulesNumEnabled"] != [0]
    # Received and sent; the latter is beyond what a signed number can say.
    assert numbers["if_octets-serial"] == [4096, -(2**31) + 7]
