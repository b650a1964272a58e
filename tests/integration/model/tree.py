"""The whole tree below the module root for one state of the API."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Dict, Union

from harness.router import SCALARS, TABLES, Scalar, Table
from harness.snmp import Oid

from .jsonvalue import Json, JsonError, UnparsableNumber, check_parsable
from .readers import READERS, on_the_wire
from .tables import Value, cells


@dataclass(frozen=True)
class Failure:
    """In the place of a result: the query fails, in one of the ways that `generator.FAILURES` names."""

    how: str


Result = Union[Json, Failure]
# For each query, as the module asks it, what comes of it.
State = Dict[str, Result]


def succeeds(result: Result) -> bool:
    if isinstance(result, Failure):
        return False
    try:
        check_parsable(result)
    except UnparsableNumber:
        return False
    return True


def scalar_value(scalar: Scalar, result: Result) -> Value:
    if not succeeds(result):
        return scalar.tag, scalar.fallback
    try:
        return scalar.tag, on_the_wire(scalar, READERS[scalar.name](result))
    except JsonError:
        return scalar.tag, scalar.fallback


def table_cells(table: Table, result: Result) -> Dict[Oid, Value]:
    return cells(table, result) if succeeds(result) else {}


def instances(entry: Union[Scalar, Table], state: State) -> Dict[Oid, Value]:
    """What one scalar or table answers."""
    result = state[entry.query] if entry.query is not None else None
    if isinstance(entry, Table):
        return table_cells(entry, result)
    return {entry.instance: scalar_value(entry, result)}


def expected_tree(state: State) -> Dict[Oid, Value]:
    """Every instance below the module root, in the order of a walk."""
    tree: Dict[Oid, Value] = {}
    for entry in [*SCALARS, *TABLES]:
        tree.update(instances(entry, state))
    return dict(sorted(tree.items()))


def owner(name: Oid) -> Union[Scalar, Table, None]:
    """The scalar or table that this instance belongs to; None for what should not be there at all."""
    entries = [entry for entry in [*SCALARS, *TABLES] if name[:len(entry.oid)] == entry.oid]
    return entries[0] if entries else None
