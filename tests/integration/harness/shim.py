"""The library that every agent preloads; see shim.c."""

import functools
import os
import subprocess
import tempfile
from pathlib import Path


@functools.lru_cache(maxsize=None)
def shared_object() -> Path:
    """The library, compiled once per run unless one is given for the agent's architecture."""
    given = os.environ.get("ZAN_SHIM")
    if given:
        return Path(given)
    built = Path(tempfile.mkdtemp()) / "shim.so"
    subprocess.run(["cc", "-O1", "-Wall", "-Wextra", "-Werror", "-shared", "-fPIC", "-o", str(built),
                    str(Path(__file__).with_name("shim.c")), "-ldl"], check=True)
    return built
