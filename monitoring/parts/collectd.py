"""A configuration of collectd's SNMP plugin."""

from typing import Dict, List, NamedTuple

from zanobjects import Form, Managed


class Data(NamedTuple):
    """A block of values: what collectd stores it as, and the objects that it is made of."""

    name: str
    type: str
    instance: str
    objects: List[str]
    scale: str = ""


_HEAD = """\
# Made by monitoring/generate from the MIB module: change that, and not this file.
# For /etc/collectd/collectd.conf.d. collectd takes a number out of a text that begins with it: a signal, of
# which it logs each time that it leaves out the unit. It can do nothing with switches and lines of traffic,
# and it stores the 0 that a number reads while the router's API is down.
LoadPlugin snmp
<Plugin snmp>
"""

_TAIL = """\

  # One block for each router. Up to version 5.12 collectd knows no other authentication than MD5 and SHA-1.
  <Host "router.example.net">
    Address "router.example.net"
    Version 3
    SecurityLevel "authPriv"
    Username "poller"
    AuthProtocol "SHA"
    AuthPassphrase "a fifth passphrase"
    PrivacyProtocol "AES"
    PrivacyPassphrase "a sixth passphrase"
    Interval 60
    Collect {names}
  </Host>
</Plugin>
"""


def files(managed: Managed) -> Dict[str, str]:
    """The files of this part."""
    blocks = list(_blocks(managed))
    text = _HEAD + "\n".join(_written(managed, block) for block in blocks)
    return {"collectd.conf": text + _TAIL.format(names=" ".join(f'"{block.name}"' for block in blocks))}


def _blocks(managed: Managed) -> List[Data]:
    signals = [Data(f"{item.name}", "signal_power", item.name, [item.name])
               for item in managed.scalars if item.form is Form.DBM]
    uptimes = [Data(item.name, "uptime", item.name, [item.name], "0.01")
               for item in managed.scalars if item.form is Form.TICKS]
    counts = [Data(item.name, "count", item.name, [item.name])
              for item in managed.scalars if item.form is Form.NUMBER]
    serial = Data("zanSerialToIP", "if_octets", "serial", ["zanSerialToIPRx", "zanSerialToIPTx"])
    return [*signals, *uptimes, serial, *counts]


def _written(managed: Managed, block: Data) -> str:
    values = " ".join(f'".{managed.item(name).oid}"' for name in block.objects)
    scale = f"    Scale {block.scale}\n" if block.scale else ""
    return (f'  <Data "{block.name}">\n    Type "{block.type}"\n    TypeInstance "{block.instance}"\n'
            f"    Table false\n    Values {values}\n{scale}  </Data>\n")
