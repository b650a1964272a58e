"""The built module, looked at as a file: what its compiler and linker were told has to show in it.

Environment: ZAN_MODULE, the file; ZAN_COMPILE_COMMANDS, the compiler's command for each of its sources.
"""

import json
import os
import re
import shlex
import subprocess
from pathlib import Path
from typing import Dict, List, Set

import pytest

MODULE = Path(os.environ["ZAN_MODULE"]).resolve()

TABLES = ("Ipsec", "Gre", "OpenVpn")
HOOKED = [f"zan{name}TunnelsTable" for name in TABLES] + [
    "zanStaticRoutesTable", "zanDHCPServerLeasesTable", "zanRemoteSyslogDestTable"]
HOOKS = ("get_first_data_point", "get_next_data_point", "context_convert_function", "data_free", "loop_free",
         "handler")

#: Functions that the C library has a checking second version of.
FORTIFIABLE = {
    "memcpy", "memmove", "memset", "mempcpy", "strcpy", "strncpy", "stpcpy", "strcat", "strncat", "sprintf",
    "snprintf", "vsprintf", "vsnprintf", "printf", "fprintf", "vprintf", "vfprintf", "fgets", "fread", "read",
    "recv", "recvfrom", "readlink", "getcwd", "realpath", "gets", "poll"}

#: The compiler proves each of its uses, or knows nothing of the size of the buffer; either way it calls this.
UNCHECKED = {"memcpy"}


def run(*command: str) -> str:
    """The output of one of the binary utilities."""
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


@pytest.fixture(scope="module")
def dynamic() -> str:
    """The dynamic section."""
    return run("readelf", "-dW", str(MODULE))


@pytest.fixture(scope="module")
def segments() -> Dict[str, List[str]]:
    """The flags of the segments, by their type."""
    found: Dict[str, List[str]] = {}
    for line in run("readelf", "-lW", str(MODULE)).splitlines():
        match = re.match(r"\s+([A-Z_]+)\s+0x\S+ 0x\S+ 0x\S+ 0x\S+ 0x\S+ ([RWE ]{3})\s", line)
        if match:
            found.setdefault(match[1], []).append(match[2].replace(" ", ""))
    assert "LOAD" in found
    return found


def symbols(file: Path, *options: str) -> Set[str]:
    """Names of a file's dynamic symbols, without their versions."""
    lines = run("nm", "-D", *options, str(file)).splitlines()
    return {line.split()[-1].split("@")[0] for line in lines}


def needed(text: str) -> List[str]:
    """The libraries that a dynamic section names."""
    return re.findall(r"\(NEEDED\)\s+Shared library: \[([^]]+)\]", text)


def test_relocations_are_read_only_and_bound_at_once(dynamic, segments):
    assert segments["GNU_RELRO"] == ["R"]
    assert re.search(r"\(FLAGS_1\).*\bNOW\b", dynamic)
    assert "TEXTREL" not in dynamic


def test_nothing_is_both_writable_and_executable(segments):
    assert segments["GNU_STACK"] == ["RW"]
    assert not [flags for kind in segments.values() for flags in kind if "W" in flags and "E" in flags]


def test_libraries_are_searched_for_in_no_place_of_its_own(dynamic):
    assert "RPATH" not in dynamic and "RUNPATH" not in dynamic
    assert not [name for name in needed(dynamic) if "/" in name]


def test_it_stays_mapped_when_the_agent_closes_it(dynamic):
    assert re.search(r"\(FLAGS_1\).*\bNODELETE\b", dynamic)


def test_exports_are_the_entry_and_the_hooks():
    hooks = {f"{table}_{hook}" for table in HOOKED for hook in HOOKS}
    assert len(hooks) == 36
    assert symbols(MODULE, "--defined-only") == hooks | {"init_zansnmpext"}


def test_stacks_are_guarded():
    assert "__stack_chk_fail" in symbols(MODULE, "--undefined-only")


def test_fortified_functions_are_called_where_they_can_check():
    assert symbols(MODULE, "--undefined-only") & FORTIFIABLE <= UNCHECKED


def probing(words: List[str], probe: Path, built: Path) -> List[str]:
    """The command that compiles one source, made to compile another."""
    where = [place for place, word in enumerate(words) if word in ("-o", "-c", "-MF", "-MT")]
    dropped = {position for place in where for position in (place, place + 1)}
    kept = [word for place, word in enumerate(words) if place not in dropped]
    return [*kept, "-c", str(probe), "-o", str(built)]


def test_every_source_is_compiled_fortified(tmp_path):
    """With the command of each source, another one that has something to check."""
    probe, built = tmp_path / "probe.cpp", tmp_path / "probe.o"
    probe.write_text("#include <cstring>\n"
                     "char buffer[8];\n"
                     "void fill(const char* from, unsigned long size) { std::memcpy(buffer, from, size); }\n",
                     encoding="ascii")
    commands = json.loads(Path(os.environ["ZAN_COMPILE_COMMANDS"]).read_text(encoding="utf-8"))
    ours = [entry for entry in commands if re.search(r"/src/zan\w+\.cpp$", entry["file"])]
    assert len(ours) == 24
    for command in {tuple(probing(shlex.split(entry["command"]), probe, built)) for entry in ours}:
        subprocess.run(command, check=True, cwd=tmp_path)
        assert "__memcpy_chk" in run("nm", str(built)), shlex.join(command)


def test_what_it_calls_is_there(dynamic):
    """Every function comes out of the libraries that it names, found as the loader finds them."""
    listing = run("ldd", str(MODULE))
    assert "not found" not in listing
    paths = dict(re.findall(r"^\s*(\S+) => (\S+) \(", listing, re.MULTILINE))
    libraries = [Path(paths[name]) for name in needed(dynamic)]
    provided: Set[str] = set().union(*(symbols(library, "--defined-only") for library in libraries))
    lines = [line.split() for line in run("nm", "-D", "--undefined-only", str(MODULE)).splitlines()]
    strong = {name.split("@")[0] for *_, kind, name in lines if kind == "U"}
    assert strong and not strong - provided
