"""How each table's rows come from its query's result, and what each column makes of a row.  Where the tables
lie, their queries and the members that they show stand in the MIB module."""

from __future__ import annotations

from typing import Callable, Dict, List, NamedTuple, Tuple, Union

from harness.router import Table, zanmib
from harness.snmp import INTEGER, OCTET_STRING, TIMETICKS, Oid

from .jsonvalue import Json, JsonError, as_bool, as_int, as_text, as_uint, member
from .readers import flag

Value = Tuple[int, Union[bytes, int]]
Cell = Callable[[int, Json], Value]


class Content(NamedTuple):
    """Where the rows come from, and the columns from 1 on."""

    rows: Callable[[Json], Json]
    columns: Tuple[Cell, ...]


def position_cell(position: int, row: Json) -> Value:
    """One less than the row's index."""
    return INTEGER, position


def octets_or_unknown(key: str, convert: Callable[[Json], bytes]) -> Cell:
    def cell(position: int, row: Json) -> Value:
        try:
            return OCTET_STRING, convert(member(row, key))
        except JsonError:
            return OCTET_STRING, b"Unknown"
    return cell


def text_cell(key: str) -> Cell:
    return octets_or_unknown(key, as_text)


def flag_cell(key: str) -> Cell:
    return octets_or_unknown(key, flag)


def constant_cell(text: bytes) -> Cell:
    return lambda position, row: (OCTET_STRING, text)


def expiration_cell(position: int, row: Json) -> Value:
    try:
        return TIMETICKS, as_uint(member(row, "expiration")) * 100 % 2**32
    except JsonError:
        return TIMETICKS, 0


def port_cell(position: int, row: Json) -> Value:
    try:
        return INTEGER, as_int(member(row, "port"))
    except JsonError:
        return INTEGER, -1


_SEVERITIES = ((50, "MAXIMUM"), (40, "DEBUG"), (30, "INFO"), (20, "WARNING"), (10, "ERROR"))


def severity(level: int) -> str:
    return next((name for least, name in _SEVERITIES if level >= least), "MINIMUM")


def syslog_rows(result: Json) -> List[Json]:
    settings = member(result, "syslog")
    return [{
        "alias": "remote",
        "host": as_text(member(settings, "ipAddress")),
        "port": 514,
        "enabled": "True" if as_bool(member(settings, "enabled")) else "False",
        "severityLevel": severity(as_int(member(settings, "logLevel"))),
    }]


def _at(path: str) -> Callable[[Json], Json]:
    return lambda result: member(result, *path.replace("[]", "").split("."))


#: Columns that do more than show a member of the row.
SPECIAL: Dict[str, Cell] = {
    "zanDHCPServerLeasesExpiration": expiration_cell,
    "zanStaticRoutesEnabled": constant_cell(b"True"),
    "zanRemoteSyslogDestAlias": text_cell("alias"),
    "zanRemoteSyslogDestHost": text_cell("host"),
    "zanRemoteSyslogDestPort": port_cell,
    "zanRemoteSyslogDestSeverityLevel": text_cell("severityLevel"),
    "zanRemoteSyslogDestEnabled": text_cell("enabled"),
}


def _cell(column: zanmib.Sketch) -> Cell:
    if column.syntax == "ZanRowPosition":
        return position_cell
    if column.name in SPECIAL:
        return SPECIAL[column.name]
    path, = column.source.members
    return (flag_cell if column.syntax == "ZanSwitch" else text_cell)(path.rpartition("[].")[2])


def _content(table: zanmib.Sketch) -> Content:
    path = table.source.members[0]
    rows = syslog_rows if table.name == "zanRemoteSyslogDestTable" else _at(path)
    return Content(rows, tuple(map(_cell, table.columns)))


CONTENTS: Dict[str, Content] = {each.name: _content(each) for each in zanmib.sketch() if each.columns}


def cells(table: Table, result: Json) -> Dict[Oid, Value]:
    """The cells of a table whose query succeeded."""
    content = CONTENTS[table.name]
    try:
        rows = content.rows(result)
    except JsonError:
        return {}
    if not isinstance(rows, list):
        return {}
    return {table.cell(column, position + 1): cell(position, row)
            for position, row in enumerate(rows)
            for column, cell in enumerate(content.columns, start=1)}
