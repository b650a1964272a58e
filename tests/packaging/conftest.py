"""Options that tell the tests what was built."""

from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]


def pytest_addoption(parser: pytest.Parser) -> None:
    parser.addoption("--poster", default=ROOT / "build" / "tools" / "zan-post-event", type=Path,
                     help="the event poster of the build")
