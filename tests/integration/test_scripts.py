"""What the scripts have in common, as a person at a terminal sees it."""

import os
import re
import shlex
from pathlib import Path
from typing import Callable, Iterator, List

import pytest

from harness import SOURCE_ROOT
from terminal import Terminal, plain, until

LIB = SOURCE_ROOT / "scripts" / "lib.sh"
CTRL_C = b"\x03"
STOPPING = "Stopping as soon as nothing is left half-way."

#: Longer than two lines of a terminal.
LONG = "Installing " + " ".join(f"package-{number}" for number in range(20))

#: As apt-get does while dpkg is at work, does not end before it is done, and fails then.
CAREFUL = """
work() {
    trap 'echo noted >>noted' INT
    echo begun
    until [[ -e go-on ]]; do sleep 0.05; done
    touch done
    return 100
}
"""


@pytest.fixture(name="script")
def fixture_script(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Iterator[Callable[..., Terminal]]:
    """Runs a script that uses the library on a terminal."""
    monkeypatch.setenv("TMPDIR", str(tmp_path))
    monkeypatch.chdir(tmp_path)
    started: List[Terminal] = []

    def start(text: str, columns: int = 80) -> Terminal:
        script = f"set -euo pipefail; ZAN_SCRIPT=script; source {shlex.quote(str(LIB))}\n{text}"
        started.append(Terminal(["bash", "-c", script], columns))
        return started[-1]

    yield start
    for terminal in started:
        terminal.give_up()
    assert [each.name for each in tmp_path.glob("zansnmpext.*")] == [], "left behind"


@pytest.mark.parametrize("columns", [80, 60])
@pytest.mark.parametrize("text", [LONG, "Building"])
def test_progress_stays_on_its_line(text: str, columns: int, script: Callable[..., Terminal]) -> None:
    terminal = script('work() { printf "%0200d" 7; until [[ -e go-on ]]; do sleep 0.05; done; }\n'
                      f'step "{text}" work; step "And" true', columns)
    until(lambda: terminal.read().count("\r") >= 4)
    [line] = terminal.screen()
    assert len(line) < columns
    assert line.startswith(text[:40]) and re.search(r"\d s(  0+)?$", line)
    Path("go-on").touch()
    assert terminal.wait() == 0
    lines = "".join(line.ljust(columns) for line in terminal.screen())
    assert re.fullmatch(rf"{text} \d+ s +And \d+ s *", lines), lines


def test_progress_shows_the_last_line_without_control_characters(script: Callable[..., Terminal]) -> None:
    terminal = script(r'work() { printf "first\n50%%\r51%% \033[1mé\0done"; '
                      "until [[ -e go-on ]]; do sleep 0.05; done; }"
                      '\nstep "Working" work')
    until(lambda: "51%" in terminal.read())
    assert re.fullmatch(r"Working \d s  51% \[1m done", terminal.screen()[-1])
    Path("go-on").touch()
    assert terminal.wait() == 0


def test_ctrl_c_ends_a_step_and_the_script(script: Callable[..., Terminal]) -> None:
    terminal = script('echo begun >text; step "Building" tail -f text || echo "failed"; touch went-on')
    terminal.read_until("begun")
    terminal.press(CTRL_C)
    assert terminal.wait() == 130
    assert terminal.screen() == [STOPPING, "Stopped: Building", ""]
    assert not Path("went-on").exists()


def test_ctrl_c_lets_a_step_end_that_must_not_be_left_half_way(script: Callable[..., Terminal]) -> None:
    terminal = script(CAREFUL + 'step "Installing" work 2>/dev/null || step "Updating" touch went-on')
    terminal.read_until("begun")
    terminal.press(CTRL_C)
    terminal.read_until(STOPPING)
    assert not Path("done").exists()
    Path("go-on").touch()
    assert terminal.wait() == 130
    assert Path("noted").exists() and Path("done").exists() and not Path("went-on").exists()
    assert terminal.screen() == [STOPPING, "Stopped: Installing", ""]


def test_ctrl_c_between_steps_ends_the_script_whatever_the_command_makes_of_it(
        script: Callable[..., Terminal]) -> None:
    terminal = script("""sh -c 'trap "exit 0" INT; echo begun; while true; do sleep 0.05; done'
                         touch went-on""")
    terminal.read_until("begun")
    terminal.press(CTRL_C)
    assert terminal.wait() == 130
    assert not Path("went-on").exists()


# --- scripts/test ----------------------------------------------------------------------------------------

CTEST_OUTPUT = """\
Internal ctest changing into directory: /build
Test project /build
      Start  1: unit.a
      Start  2: integration b
1/3 Test  #1: unit.a ...................   Passed    0.03 sec
      Start  3: integration-c
2/3 Test  #2: integration b ............***Failed    1.84 sec
3/3 Test  #3: integration-c ............   Passed    2.00 sec

67% tests passed, 1 tests failed out of 3

Total Test time (real) =   2.10 sec

The following tests FAILED:
\t  2 - integration b (Failed)
Errors while running CTest
Output from these tests are in: /build/Testing/Temporary/LastTest.log
"""

CTEST_SUMMARY = """\
Summary
\x1b[31m67% tests passed, 1 tests failed out of 3\x1b[0m

Total Test time (real) =   2.10 sec

The following tests FAILED:
\x1b[31m\t  2 - integration b (Failed)\x1b[0m
integration b                    \x1b[31m1 failed, 4 passed in 1.46s\x1b[0m
integration-c                    \x1b[32m5 passed in 1.90s\x1b[0m
"""


def log_of(number: int, name: str, output: str, result: str) -> str:
    """One test in CTest's log."""
    line = "-" * 58
    return (f'{number}/3 Testing: {name}\n{number}/3 Test: {name}\nCommand: "run"\nOutput:\n{line}\n{output}'
            f"<end of output>\nTest time =   2.29 sec\n{line}\nTest {result}.\n{line}\n\n")


@pytest.fixture(name="run_tests")
def fixture_run_tests(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Iterator[Callable[..., Terminal]]:
    """Runs scripts/test, with what CTest would print and leave."""
    started: List[Terminal] = []

    def start(output: str, log: str, status: int, *arguments: str) -> Terminal:
        for name, text in (("cmake", "exit 0"), ("ctest", f"cat {tmp_path}/output; exit {status}")):
            (tmp_path / name).write_text(f"#!/bin/sh\n{text}\n")
            (tmp_path / name).chmod(0o755)
        (tmp_path / "output").write_text(output)
        (tmp_path / "Testing" / "Temporary").mkdir(parents=True)
        (tmp_path / "Testing" / "Temporary" / "LastTest.log").write_text(log)
        monkeypatch.setenv("PATH", f"{tmp_path}:{os.environ['PATH']}")
        started.append(Terminal([str(SOURCE_ROOT / "scripts" / "test"), "--no-install",
                                 "--build-dir", str(tmp_path), *arguments]))
        return started[-1]

    yield start
    for terminal in started:
        terminal.give_up()


@pytest.mark.parametrize("lines", [0, 2000])
def test_a_failure_shows_itself_and_there_is_one_summary(
        lines: int, run_tests: Callable[..., Terminal]) -> None:
    noise = "".join(f"noise {number}\n" for number in range(lines))
    failed = f"assert 1 == 2\n{noise}==== 1 failed, 4 passed in 1.46s ====\n"
    log = (log_of(1, "unit.a", "fine\n", "Passed") + log_of(2, "integration b", failed, "Failed")
           + log_of(3, "integration-c", "1 failed in 0.01s\n5 passed in 1.90s\n", "Passed"))
    terminal = run_tests(CTEST_OUTPUT, log, 8)
    assert terminal.wait() == 8, terminal.text
    testing, _, rest = plain(terminal.text).partition("integration b failed\n")
    assert testing.splitlines()[-5:] == ["Testing", *re.findall(r"^./3 .*$", CTEST_OUTPUT, re.M), ""]
    failure, _, _ = rest.partition("\nSummary\n")
    assert failure.startswith("assert 1 == 2\n")
    assert failure.endswith("==== 1 failed, 4 passed in 1.46s ====\n")
    assert (failure.count("\n") == 2) if not lines else (failure.count("\n") == 111)
    assert ("1892 lines more, in" in failure) == (lines > 0)
    summary = terminal.text[terminal.text.index("Summary"):].replace("Summary\x1b[0m", "Summary")
    assert summary == CTEST_SUMMARY
    assert terminal.text.count("tests passed") == 1


def test_what_the_tests_print_is_shown_to_who_asks(run_tests: Callable[..., Terminal]) -> None:
    terminal = run_tests("1: all that is printed\n" + CTEST_OUTPUT, "", 0, "--", "-L", "unit", "-V")
    assert terminal.wait() == 0
    assert terminal.text.endswith("1: all that is printed\n" + CTEST_OUTPUT)
