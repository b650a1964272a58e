#!/usr/bin/python3
"""The cases of all objects: what the API says, and what the object must read then.

Usage: tests/cases/cases.py FILE   (writes them all, with their objects, as one JSON document)

Every object has cases without anybody writing them. An object whose REFERENCE in the MIB module names one
member shows that member; kinds.cases says what a value of each type reads as, and what stands for a member
that is out of reach. Objects that do more than show a member are told in the other files, one section each:

  OBJECT TEMPLATE                 a section: the JSON of a result, with @ where the rows differ
    NAME: JSON => VALUE             a row: what stands for the @ (several: JSON @ JSON), and what is read then
    NAME: result JSON => VALUE      a row: the whole result
    NAME: JSON | JSON => VALUE      a row that is tried with each of them
  OBJECT and TEMPLATE             a section of an object that shows a member and more than that
  OBJECT as KIND PATH in JSON     shows the member PATH, as objects of that kind do, if the rest is JSON
  $WORD = JSON                    from here on, $WORD stands for that JSON

An OBJECT is a scalar, or a column: its value is that of the first row of its table, and null where there is
no such row. A section may be about several objects, OBJECT/OBJECT; a VALUE or a word that differs between
them is then VALUE / VALUE, in their order. "x" * 9 is a text of nine x.
"""

import json
import re
import sys
from pathlib import Path
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple, Union

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parents[1] / "mibs"))
sys.dont_write_bytecode = True

import zanmib  # noqa: E402  (found through the line above)

GATE = "system_capabilities.cell"
HOLE = "\0"

Value = Union[str, int, None]


class Case(NamedTuple):
    """One result of an object's query."""

    object: str
    name: str
    result: str  # JSON
    value: Value  # None: there is no such instance


class Row(NamedTuple):
    """A row of a section, or of a kind."""

    name: str
    json: str
    values: List[str]


class Section(NamedTuple):
    """A section of a file."""

    objects: List[str]
    template: str
    shows_member: bool
    words: Dict[str, List[str]]
    rows: List[Row]

    def text(self, text: str, position: int) -> str:
        """A text with its words replaced, for the object at this position."""
        replaced = re.sub(r"\$(\w+)", lambda word: _of(self.words[word[1]], position), text)
        return replaced if replaced == text else self.text(replaced, position)


class Object(NamedTuple):
    """A scalar or a column."""

    name: str
    arcs: Tuple[int, ...]  # below the arc of all objects
    syntax: str
    base: str
    query: Optional[str]  # None: answered without the API, in a table from the table's query
    members: Tuple[str, ...]
    table: Optional[str]

    @property
    def fallback(self) -> Value:
        """What it reads when its member cannot be read."""
        return "Unknown" if self.base == "OctetString" else 0


def objects() -> Dict[str, Object]:
    """All scalars and columns of the MIB module by name."""
    found = {}
    for entry in zanmib.sketch():
        for each in entry.columns or (entry,):
            source = each.source or entry.source
            found[each.name] = Object(each.name, each.arcs, each.syntax, each.base, source and source.query,
                                      each.source.members if each.source else (),
                                      entry.name if entry.columns else None)
    return found


OBJECTS = objects()


# --- Reading the files --------------------------------------------------------------------------------------

def _alternatives(text: str) -> List[str]:
    return [each.strip() for each in text.split(" / ")]


def _of(alternatives: List[str], position: int) -> str:
    return alternatives[position if len(alternatives) > 1 else 0]


def _row(line: str) -> Row:
    line = re.sub(r'"(.)" \* (\d+)', lambda long: f'"{long[1] * int(long[2])}"', line)
    rest, _, values = line.rpartition("=>")
    name, _, json_text = rest.partition(": ")
    return Row(name.strip(), json_text.strip(), _alternatives(values))


def _sections(path: Path) -> Iterator[Section]:
    words: Dict[str, List[str]] = {}
    section = None
    for line in path.read_text("utf-8").splitlines():
        if line.startswith(" "):
            section.rows.append(_row(line))
        elif line.startswith("$"):
            word, _, text = line[1:].partition(" = ")
            words = {**words, word: _alternatives(text)}
        elif line and not line.startswith("#"):
            if section:
                yield section
            names, _, template = line.partition(" ")
            adds = template.startswith("and ")
            section = Section(names.split("/"), template[4:] if adds else template, adds, words, [])
    yield section


# For each kind of object, and "container", "array" and "gate", what reads as what.
KINDS: Dict[str, List[Row]] = {
    kind: section.rows for section in _sections(HERE / "kinds.cases") for kind in section.objects}


# --- A member and all that can stand in its place -----------------------------------------------------------

def _steps(path: str) -> List[Union[str, int]]:
    steps: List[Union[str, int]] = []
    for name in path.split(".") if path != "result" else ():
        steps += [name[:-2], 0] if name.endswith("[]") else [name]
    return steps


def _placed(base: str, steps: Sequence[Union[str, int]], text: str) -> str:
    """The base with a JSON text at a place; an empty text leaves the last member out."""
    if not steps:
        return text or base
    result = node = json.loads(base)
    for step, following in zip(steps, [*steps[1:], None]):
        value: Any = HOLE if following is None else [] if isinstance(following, int) else {}
        if isinstance(node, list):
            node.append(value)
        elif following is None and not text:
            node.pop(step, None)
            break
        else:
            node[step] = value if following is None else node.get(step, value)
        node = node[step]
    return json.dumps(result).replace(json.dumps(HOLE), text)


def _holds(base: str, steps: Sequence[Union[str, int]]) -> bool:
    node = json.loads(base)
    for step in steps:
        node = node.get(step) if isinstance(node, dict) else None
    return bool(node)


def member_cases(object_: Object, kind: str, path: str, base: str) -> Iterator[Case]:
    """The member in every type, and everything in the place of what it is a member of."""
    steps = _steps(path)
    rows = KINDS[kind]
    read = {row.name: json.loads(row.values[0]) for row in rows}
    for row in rows:
        if row.json or steps:
            yield Case(object_.name, row.name, _placed(base, steps, row.json), read[row.name])
    rows_at = steps.index(0) if 0 in steps else -1
    for depth in range(len(steps)):
        place = ".".join(map(str, steps[:depth])) or "the result"
        for row in KINDS["array" if depth == rows_at else "container"]:
            what = row.values[0]
            if (what == "missing" and _holds(base, steps[:depth])) or (not row.json and not depth):
                continue  # another rule applies then
            value = {"missing": read["missing"], "failure": object_.fallback, "none": None}[what]
            if depth < rows_at or (depth == rows_at + 1 and rows_at >= 0 and not row.json):
                value = None
            yield Case(object_.name, f"{place} is {row.name}", _placed(base, steps[:depth], row.json), value)


def _gated(case: Case, fallback: Value) -> Iterator[Case]:
    complete = json.loads(case.result)
    complete.pop("system_capabilities")
    for row in KINDS["gate"]:
        result = json.dumps({**complete, "system_capabilities": HOLE})
        if not row.json:
            result = json.dumps(complete)
        yield Case(case.object, row.name, result.replace(json.dumps(HOLE), row.json), fallback)


# --- All of them --------------------------------------------------------------------------------------------

def _result(template: str, text: str) -> str:
    if text.startswith("result "):
        return text[len("result "):]
    holes = [*(hole.strip() for hole in f" {text} ".split(" @ ")), ""]
    return "".join(part + hole for part, hole in zip(template.split("@"), holes))


def _told(section: Section) -> Iterator[Case]:
    for position, name in enumerate(section.objects):
        template = section.text(section.template, position)
        shown = re.fullmatch(r"as (\w+) (\S+) in (.*)", template)
        if shown:
            yield from member_cases(OBJECTS[name], *shown.groups())
        for row in section.rows:
            value = json.loads(_of(row.values, position))
            for text in f" {section.text(row.json, position)} ".split(" | "):
                yield Case(name, row.name, _result(template, text.strip()), value)


def _shown(object_: Object) -> Iterator[Case]:
    """The cases of an object that shows the one member that its REFERENCE names."""
    members = [member for member in object_.members if member != GATE]
    if object_.syntax in KINDS and len(members) == 1 and not members[0].endswith("[]"):
        base = '{"system_capabilities": {"cell": true}}' if GATE in object_.members else "{}"
        yield from member_cases(object_, object_.syntax, members[0], base)
    elif object_.syntax == "ZanRowPosition":
        array = next(entry.source.members[0] for entry in zanmib.sketch() if entry.name == object_.table)
        yield from (Case(object_.name, row.name, _placed("{}", _steps(array), row.json), 0)
                    for row in KINDS["ZanText"] if row.json)


def all_cases() -> List[Case]:
    """Every case, those of one object together, in the order of the MIB module."""
    told: Dict[str, List[Case]] = {name: [] for name in OBJECTS}
    shows_member = set(OBJECTS)
    for path in sorted(HERE.glob("*.cases")):
        for section in _sections(path) if path.name != "kinds.cases" else ():
            for case in _told(section):
                told[case.object].append(case)
            if not section.shows_member:
                shows_member -= set(section.objects)
    for name, cases in told.items():
        object_ = OBJECTS[name]
        if name in shows_member:
            cases[:0] = _shown(object_)
        if GATE in object_.members:
            complete = next(case for case in cases if case.value != object_.fallback)
            cases += list(_gated(complete, object_.fallback))
    # What two rows say, the first says.
    once = {(case.object, case.result): case for cases in told.values() for case in reversed(cases)}
    return list(once.values())


def document() -> Dict[str, Any]:
    """What a program in another language needs to try every case."""
    return {"objects": [object_._asdict() for object_ in OBJECTS.values()],
            "cases": [case._asdict() for case in all_cases()]}


if __name__ == "__main__":
    Path(sys.argv[1]).write_text(json.dumps(document(), indent=0) + "\n", "ascii")
