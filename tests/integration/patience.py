"""Waiting for something to happen, without fixed sleeps."""

import time
from typing import Callable, TypeVar

Found = TypeVar("Found")


def until(condition: Callable[[], Found], seconds: float, what: str = "what was waited for") -> Found:
    """Wait for the condition to give something true, and return that; fail when the time is over."""
    end = time.monotonic() + seconds
    while True:
        found = condition()
        if found:
            return found
        assert time.monotonic() < end, f"not within {seconds:g} s: {what}"
        time.sleep(0.01)
