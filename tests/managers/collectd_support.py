"""collectd with its SNMP plugin, storing what it reads in files."""

import contextlib
import csv
import re
import subprocess
from pathlib import Path
from typing import Dict, Iterator, List

from monitoring_support import MADE, until

#: Makes the user whom the shipped file names.
USER = 'createUser poller SHA "a fifth passphrase" AES "a sixth passphrase"\nrouser poller priv'

_SHIPPED = (MADE / "collectd.conf").read_text()

_CONFIGURATION = """\
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


def _stored(folder: Path) -> Dict[str, List[str]]:
    """The last values of each kind, by the names that collectd gives them."""
    found = {}
    for file in (folder / "data").rglob("*-20*"):
        with open(file, encoding="ascii") as lines:
            rows = list(csv.reader(lines))
        if len(rows) > 1:
            found[re.sub(r"-\d{4}-\d\d-\d\d$", "", file.name)] = rows[-1][1:]
    return found


@contextlib.contextmanager
def collectd(folder: Path, port: int) -> Iterator[Dict[str, List[str]]]:
    """Asks a router as shipped, but for its address; inside, everything has been stored once."""
    (folder / "router.conf").write_text(
        _SHIPPED.replace('Address "router.example.net"', f'Address "127.0.0.1:{port}"'))
    (folder / "collectd.conf").write_text(_CONFIGURATION.format(folder=folder))
    process = subprocess.Popen(["/usr/sbin/collectd", "-f", "-C", str(folder / "collectd.conf")],
                               stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "MIBS": ""})
    try:
        expected = len(re.findall("<Data ", _SHIPPED))
        yield until(lambda: len(_stored(folder)) == expected and _stored(folder), "all values")
    finally:
        process.terminate()
        process.wait()
