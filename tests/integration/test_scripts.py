"""What the scripts have in common, as a person at a terminal sees it."""

import re
import shlex
from pathlib import Path
from typing import Callable, Iterator, List

import pytest

from harness import SOURCE_ROOT
from terminal import Terminal, until

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
    terminal = script('step "Building" sh -c "echo begun; sleep 1000" || echo "failed"; touch went-on')
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
