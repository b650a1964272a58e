"""SECURITY.md names the tests that hold its promises: each of them has to be there.

Environment: ZAN_TESTS, a file with the names of CTest's tests, one a line.
"""

import os
import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PAGE = (ROOT / "SECURITY.md").read_text(encoding="utf-8")
PROMISES = re.search(r"^## What is promised$(.*?)^## ", PAGE, re.MULTILINE | re.DOTALL)[1]


def test_every_promise_names_a_test():
    rows = re.findall(r"^\| (?!Promise|---).*$", PROMISES, re.MULTILINE)
    assert len(rows) > 8
    for row in rows:
        assert re.search(r"`(tests/\S+::test_\w+|(fuzz|trust)\.\w+)`", row.rsplit("|", 2)[1]), row


def test_the_tests_are_there():
    named = re.findall(r"`(tests/\S+\.py)::(test_\w+)`", PROMISES)
    assert len(named) > 8
    for file, test in named:
        assert f"\ndef {test}(" in (ROOT / file).read_text(encoding="utf-8"), f"{file}::{test}"


def test_the_tests_of_ctest_are_there():
    known = Path(os.environ["ZAN_TESTS"]).read_text(encoding="utf-8").split()
    named = re.findall(r"`((?:fuzz|trust)\.\w+)`", PROMISES)
    assert len(named) > 5 and set(named) <= set(known)
