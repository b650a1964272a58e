"""What the tests are run against, from the environment that tests/integration/run describes."""

import os
from pathlib import Path

SOURCE_ROOT = Path(__file__).resolve().parents[3]

#: The module under test; the agent's loader wants an absolute path.
MODULE = Path(os.environ.get("ZAN_MODULE") or SOURCE_ROOT / "build" / "zansnmpext.so").resolve()

#: Seventh arc of every OID and key of the event queue.
ENTERPRISE_NUMBER = int(os.environ.get("ZAN_ENTERPRISE_NUMBER") or 32473)

MODULE_ROOT = (1, 3, 6, 1, 4, 1, ENTERPRISE_NUMBER, 14, 1)
OBJECTS = MODULE_ROOT + (1,)
NOTIFICATIONS = MODULE_ROOT + (2,)

#: Factor on every deadline: emulated and checked agents are slower, none of the deadlines is a measurement.
TIME_SCALE = float(os.environ.get("ZAN_TIME_SCALE") or 1)

#: Whether the module was built with sanitizers, whose runtimes are then preloaded into the agent.
SANITIZED = bool(os.environ.get("ZAN_AGENT_SANITIZED"))

#: Whether the agent's resident memory is that of its own doing, and not of a checker's or an emulator's.
EXACT_MEMORY = not (os.environ.get("ZAN_AGENT_WRAPPER") or os.environ.get("ZAN_AGENT_PRELOAD"))

#: What resident memory may differ by without anything having been gained, in bytes: the C library keeps up to
#: 128 KiB at the top of its heap, and some more in its lists.
HEAP_SLACK = 300_000

SOCKET_PATH = "/var/run/api/http.sock"

#: Lifetime of the module's caches and period of its alarm, in seconds.
CACHE_LIFETIME = 5
ALARM_PERIOD = 5

#: How much of the long tests is run, in percent of their whole length; without it, their short forms.
LENGTH = float(os.environ.get("ZAN_LENGTH") or 0)


def lasting(short: int, whole: int) -> int:
    """How often, or how long, a long test does what it does."""
    return max(short if EXACT_MEMORY else short // 10, round(whole * LENGTH / 100))


def long_size() -> int:
    """Bytes of the agent's long, from the class of the module's ELF header."""
    with open(MODULE, "rb") as file:
        return {1: 4, 2: 8}[file.read(5)[4]]


def deadline(seconds: float) -> float:
    """A time limit that an ordinary agent never gets near, stretched for slow ones."""
    return seconds * TIME_SCALE
