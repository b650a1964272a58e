"""Who listens on more than the loopback interface."""

from pathlib import Path
from typing import List

LISTENING = "0A"
LOOPBACK = ("0100007F", "00000000000000000000000001000000")


def open_to_others() -> List[str]:
    """Local address and port, in hexadecimal, of each TCP socket that others could connect to."""
    found = []
    for table in ("tcp", "tcp6"):
        for line in Path("/proc/net", table).read_text(encoding="ascii").splitlines()[1:]:
            _, local, _, state, *_ = line.split()
            if state == LISTENING and not local.startswith(LOOPBACK):
                found.append(local)
    return found
