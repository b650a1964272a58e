"""What the managers' files have in common: the form of each object's value, and what only a person knows."""

from __future__ import annotations

import sys
import tempfile
from dataclasses import dataclass
from enum import Enum
from pathlib import Path
from typing import List, Optional, Tuple

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "mibs"))

import zanmib  # noqa: E402  (found through the line above)


class Form(Enum):
    """What a manager has to make of a value."""

    SWITCH = "switch"  # "True", "False", "Unknown"
    SENTENCE = "sentence"  # one of two sentences, which say yes and no
    DBM = "dBm"  # a signal as a text with its unit
    TRAFFIC = "traffic"  # counts of bytes in one line: current, today, total
    PACKETS = "packets"  # the same of packets, which has the first count only
    PRIORITIES = "priorities"  # the WAN links by their priority numbers
    WRAPPED = "wrapped"  # an unsigned 32-bit number, sent as a signed one
    NUMBER = "number"
    TICKS = "ticks"  # hundredths of a second
    TEXT = "text"
    POSITION = "position"  # the row's index less one
    NOTHING = "nothing"  # has no value on any router


_BY_TYPE = {"ZanSwitch": Form.SWITCH, "ZanWrappedInteger": Form.WRAPPED, "Integer32": Form.NUMBER,
            "TimeTicks": Form.TICKS, "ZanText": Form.TEXT, "ZanRowPosition": Form.POSITION}

_BY_NAME = {
    "zanRadioTemperature": Form.NOTHING,
    "zanDiagnosticsRemoteSyslog": Form.SENTENCE,
    "zanWanManagerPriority": Form.PRIORITIES,
    "zanRadioRSSI": Form.DBM, "zanCellularInterfaceSignal": Form.DBM, "zanWiFiInterfaceSignal": Form.DBM,
    "zanCellularInterfaceStatsTxBytes": Form.TRAFFIC, "zanCellularInterfaceStatsRxBytes": Form.TRAFFIC,
    "zanCellularInterfaceStatsTxPkts": Form.PACKETS, "zanCellularInterfaceStatsRxPkts": Form.PACKETS,
}

#: Who the subscriber is. Nobody needs it to watch a router: no manager asks for it unless told to.
SUBSCRIBER = ("zanRadioMEIDorIMEI", "zanRadioIMSI", "zanRadioMSID", "zanRadioMDN")

#: The two sentences of Form.SENTENCE: the text, and whether it means yes.
SENTENCES = (("Remote Syslog is enabled", True), ("Remote Syslog is disabled", False))

#: The counts of Form.TRAFFIC as the module names them, and how metrics call them. What is called "total"
#: grows like a counter, but the exporter calls it a gauge; a name that ends so would promise more.
COUNTS = (("current", "current"), ("today", "today"), ("total", "ever"))


@dataclass(frozen=True)
class Item:
    """A scalar, or a column of a table."""

    name: str
    oid: str  # with the instance of a scalar, without that of a column
    form: Form
    subscriber: bool
    units: Optional[str]
    description: Tuple[str, ...]

    @property
    def summary(self) -> str:
        """The first sentence of what the MIB module says."""
        return self.description[0].partition(". ")[0].rstrip(".")


@dataclass(frozen=True)
class Rows:
    """A table: the name of what a row is, the texts that a row is known by, and its other columns."""

    name: str
    index: zanmib.Object
    labels: Tuple[Item, ...]
    values: Tuple[Item, ...]


@dataclass(frozen=True)
class Managed:
    """The whole module as managers see it."""

    number: int
    mib: zanmib.Mib
    scalars: Tuple[Item, ...]
    tables: Tuple[Rows, ...]
    events: Tuple[zanmib.Event, ...]

    def oid(self, name: str) -> str:
        """The OID of a node by its name."""
        return zanmib.dotted(self.mib.nodes[name])

    def item(self, name: str) -> Item:
        """A scalar or column by its name."""
        columns: List[Item] = [item for table in self.tables for item in (*table.labels, *table.values)]
        return next(item for item in (*self.scalars, *columns) if item.name == name)


def _item(object_: zanmib.Object, instance: str) -> Item:
    form = _BY_NAME.get(object_.name) or _BY_TYPE.get(object_.type.name)
    if form is None:
        raise zanmib.MibError(f"{object_.name} is of the type {object_.type.name}: say in "
                              f"{Path(__file__).name} what managers make of it")
    return Item(object_.name, zanmib.dotted(object_.oid) + instance, form, object_.name in SUBSCRIBER,
                object_.units, object_.description)


def _rows(table: zanmib.Table) -> Rows:
    items = [_item(column, "") for column in table.columns]
    return Rows(name=table.name, index=table.indexes[0],
                labels=tuple(item for item in items if item.form is Form.TEXT),
                values=tuple(item for item in items if item.form not in (Form.TEXT, Form.POSITION)))


def load(number: int = zanmib.DOCUMENTATION_NUMBER, events: Path = zanmib.EVENTS) -> Managed:
    """The module for an enterprise number, and what the integrators say of its events."""
    with tempfile.TemporaryDirectory() as folder:
        mib = zanmib.load(zanmib.render(Path(folder), number, events), zanmib.fetch_base())
    return Managed(number=number, mib=mib, scalars=tuple(_item(scalar, ".0") for scalar in mib.scalars),
                   tables=tuple(map(_rows, mib.tables)), events=zanmib.read_events(events))
