"""The sanitizers' reports about one agent, judged for the module and its host alone.

The agent and its libraries leave allocations behind at their end; a leak is the module's when one of its
functions stands in the stack of the allocation, whoever it asked for the memory.
"""

import re
from pathlib import Path
from typing import Dict, List

from .settings import MODULE

#: Exit status of an agent that a sanitizer has ended; of its own accord the agent never has it.
STATUS = 99

_LEAK = re.compile(r"^(?:Direct|Indirect) leak of .*?(?=^\s*$)", re.MULTILINE | re.DOTALL)
_MODULE_FRAME = re.compile(r"^\s*#\d+ .*(" + re.escape(MODULE.name)
                           + r"|\bzanhost\.so|\b(src|include|host)/zan\w+\.(cpp|h))", re.MULTILINE)


def options(folder: Path) -> Dict[str, str]:
    """The environment that makes the runtimes write their reports into a folder."""
    log = folder / "sanitizer"
    common = f"log_path={log}:exitcode={STATUS}:halt_on_error=1:print_stacktrace=1"
    return {
        # The agent's libraries have no frame pointers: only the slow way of unwinding gets through them.
        "ASAN_OPTIONS": f"{common}:detect_leaks=1:fast_unwind_on_malloc=0:malloc_context_size=15"
                        ":quarantine_size_mb=16",
        "UBSAN_OPTIONS": common,
        "LSAN_OPTIONS": "exitcode=0:max_leaks=0:report_objects=0",
    }


def findings(folder: Path) -> List[str]:
    """The reports that the module has to answer for."""
    found = []
    for path in sorted(folder.glob("sanitizer.*")):
        text = path.read_text(encoding="utf-8", errors="replace")
        if "LeakSanitizer" not in text:
            found.append(text)
        found.extend(leak for leak in _LEAK.findall(text + "\n\n") if _MODULE_FRAME.search(leak))
    return found
