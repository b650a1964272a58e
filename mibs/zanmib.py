"""The MIB module as libsmi reads it: documentation is made from it, and the agent is tested against it."""

from __future__ import annotations

import os
import re
import subprocess
import xml.etree.ElementTree as ElementTree
from dataclasses import dataclass, replace
from pathlib import Path
from typing import Dict, List, Optional, Tuple

NAME = "ZAN-SNMPEXT-MIB"
TEMPLATE = Path(__file__).with_name(f"{NAME}.txt.in")

#: What the router's events mean, for the integrators to say.
EVENTS = TEMPLATE.parents[1] / "monitoring" / "zan-events.conf"

# The text goes into a quoted text of the MIB module.
_EVENT = re.compile(r"(\d+)\s+(info|warning|critical)\s+([\w.-]+)\s+((?=\S)(?:(?![\"@;\[\]\\])[ -~])*\S)\s*",
                    re.ASCII)

#: The number that RFC 5612 sets aside for documentation.
DOCUMENTATION_NUMBER = 32473

Oid = Tuple[int, ...]
Paragraphs = Tuple[str, ...]


class MibError(Exception):
    """libsmi could not read the module, or the module breaks a rule of this project."""


@dataclass(frozen=True)
class Type:
    """What a value is: `name` is that of a textual convention of ours, else that of a base type of SMIv2."""

    name: str
    base: str  # OctetString, Integer32 or TimeTicks
    ranges: Tuple[Tuple[int, int], ...]  # of the number, or of the text's length in octets; empty: any
    hint: str
    description: Paragraphs

    def allows(self, value: object) -> bool:
        """Whether a decoded value is of this type and within its range or size."""
        if self.base == "OctetString":
            measure = len(value) if isinstance(value, bytes) else None
        else:
            measure = value if isinstance(value, int) else None
        if measure is None:
            return False
        return not self.ranges or any(low <= measure <= high for low, high in self.ranges)


@dataclass(frozen=True)
class Source:
    """Where a value comes from: the API's query, and members below its result ("[]": of each element)."""

    query: str
    members: Tuple[str, ...]


@dataclass(frozen=True)
class Object:
    """A scalar or a column; `oid` is without the instance."""

    name: str
    oid: Oid
    type: Type
    access: str  # as smidump writes it: readonly, noaccess
    units: Optional[str]
    description: Paragraphs
    source: Optional[Source]


@dataclass(frozen=True)
class Table:
    """A table; `columns` are those that are served, `indexes` those that are only part of the instance."""

    name: str
    oid: Oid
    entry: str
    description: Paragraphs
    source: Optional[Source]
    columns: Tuple[Object, ...]
    indexes: Tuple[Object, ...]


@dataclass(frozen=True)
class Notification:
    """A notification and the objects that it carries."""

    name: str
    oid: Oid
    objects: Tuple[str, ...]
    description: Paragraphs


@dataclass(frozen=True)
class Group:
    """A conformance group."""

    name: str
    oid: Oid
    description: Paragraphs
    members: Tuple[str, ...]


@dataclass(frozen=True)
class Mib:
    """The whole module; every tuple is in the order of the OIDs."""

    root: Oid
    description: Paragraphs
    types: Tuple[Type, ...]
    nodes: Dict[str, Oid]  # everything that has a name and an OID
    scalars: Tuple[Object, ...]
    tables: Tuple[Table, ...]
    notifications: Tuple[Notification, ...]
    groups: Tuple[Group, ...]
    mandatory: Tuple[str, ...]  # groups that the compliance statement demands

    @property
    def objects(self) -> Oid:
        """The arc that all objects are below."""
        return self.nodes["zanObjects"]

    @property
    def columns(self) -> List[Object]:
        """The columns that are served, of all tables."""
        return [column for table in self.tables for column in table.columns]

    def name_of(self, oid: Oid) -> str:
        """The name of a node."""
        return next(name for name, known in self.nodes.items() if known == oid)


@dataclass(frozen=True)
class Event:
    """What the integrators say of one of the router's events."""

    number: int
    severity: str
    name: str
    text: str


def read_events(path: Path = EVENTS) -> Tuple[Event, ...]:
    """The integrators' file; MibError for a line or an event that is not as it should be."""
    events = []
    for line in path.read_text(encoding="utf-8").splitlines():
        if not line.strip() or line.startswith("#"):
            continue
        found = _EVENT.fullmatch(line)
        if not found:
            raise MibError(f'{path}: a line is NUMBER SEVERITY NAME TEXT, in ASCII and without " @ ; [ ] and '
                           f"\\; this one is\n{line}")
        number, severity, name, text = found.groups()
        events.append(Event(int(number), severity, name, text))
    if [event.number for event in events] != list(range(1, 12)):
        raise MibError(f"{path}: it has to have the events 1 to 11, in this order")
    return tuple(events)


def render(folder: Path, number: int = DOCUMENTATION_NUMBER, events: Path = EVENTS) -> Path:
    """Make the module from the template as the build does it, for those who have no build."""
    text = TEMPLATE.read_text(encoding="ascii").replace("@ZAN_ENTERPRISE_NUMBER@", str(number))
    for event in read_events(events):
        text = text.replace(f"@ZAN_EVENT_{event.number}@", event.text)
    made = folder / f"{NAME}.txt"
    made.write_text(text, encoding="ascii")
    return made


def fetch_base(*options: str) -> Path:
    """The folder of the modules that the MIB module imports from, fetched unless it is there."""
    done = subprocess.run([str(TEMPLATE.parent / "base" / "fetch"), *options], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    if done.returncode:
        raise MibError(done.stderr.decode(errors="replace").strip())
    return Path(done.stdout.decode().strip())


def load(mib: Path, base: Path) -> Mib:
    """Read a built MIB module with libsmi; `base` is the folder of the modules that it imports from."""
    return _Reader(dump(mib, base)).mib()


def dump(mib: Path, base: Path) -> ElementTree.Element:
    """libsmi's XML of the module; MibError on any complaint."""
    command = ["smidump", "--config=/dev/null", "--format=xml", str(mib.resolve())]
    try:
        done = subprocess.run(command, env={**os.environ, "SMIPATH": str(base)}, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    except FileNotFoundError as error:
        raise MibError("smidump is missing (Debian package: smitools)") from error
    complaint = done.stderr.decode(errors="replace").strip()
    if done.returncode or complaint:
        raise MibError(f"smidump cannot read {mib} with the base modules in {base}:\n{complaint}")
    root = ElementTree.fromstring(done.stdout)
    if root.find("module") is None or root.find("module").get("name") != NAME:
        raise MibError(f"{mib} is not {NAME}")
    return root


@dataclass(frozen=True)
class Sketch:
    """A scalar, a table or a column as the template has it; `arcs` are those below zanObjects."""

    name: str
    arcs: Oid
    syntax: str  # a textual convention of ours, or the base type
    base: str  # OctetString, Integer32 or TimeTicks; a table has none
    source: Optional[Source]
    columns: Tuple[Sketch, ...] = ()  # of a table, those that are served


def sketch(template: Path = TEMPLATE) -> List[Sketch]:
    """The scalars and tables in the order of their OIDs, for those who have nothing but the sources.

    Knows this project's way of writing a MIB module, and checks nothing: libsmi does that in the tests.
    """
    text = re.sub(r"--[^\n]*", "", template.read_text(encoding="ascii"))
    conventions = dict(re.findall(r"^(\w+) ::= TEXTUAL-CONVENTION.*?^    SYNTAX +(\w+)", text, re.M | re.S))
    arcs: Dict[str, Oid] = {"zanObjects": ()}
    columns: Dict[Oid, List[Sketch]] = {}
    found = []
    for name, clauses, parent, number in re.findall(
            r"^(zan\w+) +OBJECT(?:-TYPE| IDENTIFIER)(.*?)::= \{ (\w+) (\d+) \}", text, re.M | re.S):
        if parent not in arcs:
            continue
        arcs[name] = arcs[parent] + (int(number),)
        syntax = re.search(r"SYNTAX +(\w+)", clauses)
        if syntax is None or syntax[1].endswith("Entry") or syntax[1] == "ZanRowIndex":
            continue
        base = conventions.get(syntax[1], syntax[1]).replace("OCTET", "OctetString")
        reference = re.search(r'REFERENCE\s+"([^"]*)"', clauses)
        source = _parsed_source(name, " ".join(reference[1].split())) if reference else None
        if syntax[1] == "SEQUENCE":
            columns[arcs[name] + (1,)] = []
            found.append(Sketch(name, arcs[name], "", "", source))
        else:
            object_ = Sketch(name, arcs[name], syntax[1], base, source)
            columns.get(arcs[parent], found).append(object_)
    return sorted((replace(each, columns=tuple(columns.get(each.arcs + (1,), ()))) for each in found),
                  key=lambda each: each.arcs)


def dotted(oid: Oid) -> str:
    """An OID as text."""
    return ".".join(map(str, oid))


class _Reader:
    def __init__(self, root: ElementTree.Element) -> None:
        self._root = root
        types = root.iterfind("typedefs/typedef")
        self._types = {type_.get("name"): self._defined_type(type_) for type_ in types}

    def mib(self) -> Mib:
        nodes = {element.get("name"): _oid(element) for element in self._root.iter() if element.get("oid")}
        compliances = self._root.findall("compliances/compliance")
        return Mib(
            root=nodes[self._root.find("module").find("identity").get("node")],
            description=_paragraphs(self._root.find("module/description")),
            types=tuple(self._types.values()),
            nodes=nodes,
            scalars=_sorted(self._object(element) for element in self._root.iterfind("nodes/scalar")),
            tables=_sorted(self._table(element) for element in self._root.iterfind("nodes/table")),
            notifications=_sorted(map(_notification, self._root.iterfind("notifications/notification"))),
            groups=_sorted(map(_group, self._root.iterfind("groups/group"))),
            mandatory=tuple(group.get("name") for statement in compliances
                            for group in statement.iterfind("requires/mandatory")))

    def _table(self, element: ElementTree.Element) -> Table:
        row = element.find("row")
        index_names = {index.get("name") for index in row.iterfind("linkage/index")}
        columns = [self._object(column) for column in row.iterfind("column")]
        return Table(
            name=element.get("name"), oid=_oid(element), entry=row.get("name"),
            description=_paragraphs(element.find("description")), source=_source(element),
            columns=tuple(column for column in columns if column.name not in index_names),
            indexes=tuple(column for column in columns if column.name in index_names))

    def _object(self, element: ElementTree.Element) -> Object:
        return Object(
            name=element.get("name"), oid=_oid(element), type=self._type_of(element.find("syntax")),
            access=element.findtext("access"), units=element.findtext("units"),
            description=_paragraphs(element.find("description")), source=_source(element))

    def _type_of(self, syntax: ElementTree.Element) -> Type:
        named = syntax.find("type")
        if named is None:
            return self._defined_type(syntax.find("typedef"))
        name = named.get("name")
        return self._types.get(name) or Type(name, name, (), "", ())

    @staticmethod
    def _defined_type(element: ElementTree.Element) -> Type:
        base = element.get("basetype")
        ranges = tuple((int(limits.get("min")), int(limits.get("max")))
                       for limits in element.iterfind("range"))
        return Type(element.get("name", base), base, ranges, element.findtext("format", ""),
                    _paragraphs(element.find("description")))


def _oid(element: ElementTree.Element) -> Oid:
    return tuple(int(arc) for arc in element.get("oid").split("."))


def _sorted(items):
    return tuple(sorted(items, key=lambda item: item.oid))


def _paragraphs(element: Optional[ElementTree.Element]) -> Paragraphs:
    if element is None:
        return ()
    lines = [line.strip() for line in (element.text or "").strip().splitlines()]
    return tuple(paragraph.replace("\n", " ") for paragraph in "\n".join(lines).split("\n\n"))


def _source(element: ElementTree.Element) -> Optional[Source]:
    reference = element.find("reference")
    if reference is None:
        return None
    return _parsed_source(element.get("name"), " ".join(_paragraphs(reference)))


def _parsed_source(name: str, text: str) -> Source:
    lead, _, rest = text.partition(", ")
    query, colon, members = rest.partition(": ")
    if lead != "Management API" or not colon:
        raise MibError(f"{name}: a REFERENCE is of the form Management API, QUERY: MEMBERS; "
                       f"this one is {text}")
    return Source(query.replace(" ", ""), tuple(member.strip() for member in members.split(",")))


def _notification(element: ElementTree.Element) -> Notification:
    return Notification(element.get("name"), _oid(element),
                        tuple(object_.get("name") for object_ in element.iterfind("objects/object")),
                        _paragraphs(element.find("description")))


def _group(element: ElementTree.Element) -> Group:
    return Group(element.get("name"), _oid(element), _paragraphs(element.find("description")),
                 tuple(member.get("name") for member in element.iterfind("members/member")))
