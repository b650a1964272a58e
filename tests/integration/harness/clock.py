"""The two clocks of the agent, in the test's hand.

The cache lives on the library's get_uptime(), which is /proc/uptime: Clock puts a plain file over it. The
alarm lives on CLOCK_MONOTONIC: AlarmClock moves it forward inside the agent through a preloaded library that
adds an offset.
"""

import contextlib
import math
import os
import struct
import subprocess
from pathlib import Path
from typing import Iterator

from .settings import ALARM_PERIOD, CACHE_LIFETIME

_WIDTH = 40  # characters of the uptime file, so that every rewrite has the same length


class Clock:
    """A file over /proc/uptime. One per mount namespace."""

    def __init__(self, folder: Path, start: float = 1000.0) -> None:
        self._path = folder / "uptime"
        self._hundredths = 0
        self._path.write_bytes(b"")
        self._file = os.open(self._path, os.O_WRONLY)
        self.set(start)
        subprocess.run(["mount", "--bind", str(self._path), "/proc/uptime"], check=True)

    @property
    def now(self) -> float:
        """The uptime in seconds."""
        return self._hundredths / 100

    def set(self, seconds: float) -> None:
        """Set the uptime, which may be moved back."""
        self._hundredths = round(seconds * 100)
        text = f"{self._hundredths // 100}.{self._hundredths % 100:02d} 0.00".ljust(_WIDTH - 1) + "\n"
        os.pwrite(self._file, text.encode(), 0)  # one write into the same file: no reader sees half of it

    def advance(self, seconds: float) -> None:
        """Let so much uptime pass, exact to the hundredth."""
        self.set((self._hundredths + round(seconds * 100)) / 100)

    @contextlib.contextmanager
    def booted(self, seconds: float) -> Iterator[None]:
        """So many seconds after the start of the router, for agents started within a with statement.

        After it the uptime goes on from where it was, but for a cache's lifetime: who has lived through it
        would otherwise take for fresh what was fetched before.
        """
        before = self.now
        self.set(seconds)
        yield
        self.set(before + CACHE_LIFETIME)

    def align(self) -> None:
        """Let the uptime reach its next whole second."""
        self.set(math.ceil(self.now))

    def close(self) -> None:
        """Give /proc/uptime back."""
        subprocess.run(["umount", "/proc/uptime"], check=False)
        os.close(self._file)


class AlarmClock:
    """The offset, in nanoseconds, that the preloaded library adds to an agent's CLOCK_MONOTONIC."""

    def __init__(self, folder: Path) -> None:
        self.path = folder / "monotonic-offset"
        self.path.write_bytes(struct.pack("<q", 0))
        self._offset = 0

    def advance(self, seconds: float = ALARM_PERIOD) -> None:
        """Move the agent's monotonic clock on; the agent notices when it next wakes up."""
        self._offset += round(seconds * 1_000_000_000)
        with open(self.path, "r+b", buffering=0) as file:
            file.write(struct.pack("<q", self._offset))
