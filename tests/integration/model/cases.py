"""The cases of tests/cases as the tests here want them."""

import json
import sys
from typing import Union

from harness.router import SCALAR, TABLE, Table
from harness.settings import SOURCE_ROOT
from harness.snmp import Oid

from .jsonvalue import Json, Number
from .tree import instances

sys.path.insert(0, str(SOURCE_ROOT / "tests" / "cases"))

from cases import OBJECTS, Case, all_cases  # noqa: E402  (found through the line above)

__all__ = ["Case", "OBJECTS", "all_cases", "expected", "instance", "query", "result", "value"]


def _entry(case: Case):
    object_ = OBJECTS[case.object]
    return TABLE[object_.table] if object_.table else SCALAR[case.object]


def instance(case: Case) -> Oid:
    """Whose value the case is about: of a column, that of the first row."""
    entry = _entry(case)
    return entry.cell(OBJECTS[case.object].arcs[-1], 1) if isinstance(entry, Table) else entry.instance


def query(case: Case) -> Union[str, None]:
    """What the object asks; None when it asks nothing."""
    return _entry(case).query


def result(case: Case) -> Json:
    """The result as the model wants it: numbers as they are written."""
    return json.loads(case.result, parse_float=Number)


def value(case: Case) -> Union[bytes, int, None]:
    """What the case says, as the client decodes it."""
    return case.value.encode() if isinstance(case.value, str) else case.value


def expected(case: Case) -> Union[bytes, int, None]:
    """What the model says."""
    entry = _entry(case)
    state = {entry.query: result(case)} if entry.query else {}
    return instances(entry, state).get(instance(case), (0, None))[1]
