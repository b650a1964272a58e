"""The event poster: what it posts, what becomes of it, and how each failure reads."""

import ctypes
import os
import re
import subprocess
from pathlib import Path

import pytest

from harness import ENTERPRISE_NUMBER, MODULE, SOURCE_ROOT, WARNING, kernel_limit, long_size

POSTER = Path(os.environ.get("ZAN_POSTER") or MODULE.parent / "tools" / "zan-post-event")

POSTED, FAILED, BAD_USAGE, NO_QUEUE, QUEUE_FULL, NOT_PERMITTED = range(6)


def run(*arguments, **options):
    """Run the poster to its end."""
    return subprocess.run([POSTER, *map(str, arguments)], text=True, check=False, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, **options)


def waiting(queue):
    """The messages that wait in the queue, and the bytes of their bodies."""
    state = queue.state()
    return state and (state.messages, state.size)


def refused(result, status, *words):
    """Whether the poster ended with a status and one message with these words in it."""
    message = result.stderr.split("\n")[0]
    return (result.returncode == status and not result.stdout and message.startswith("zan-post-event: ")
            and all(word in message for word in words))


@pytest.mark.parametrize("event", range(1, 12))
def test_an_event_is_posted_by_number_or_name(queue, event):
    queue.create()
    for argument in (event, f"zanEvent{event}"):
        result = run(argument)
        assert (result.returncode, result.stdout, result.stderr) == (POSTED, "", "")
        assert waiting(queue) == (1, 0)
        assert queue.take() == event


@pytest.mark.parametrize("body", ["", "x", "link down on ppp0", "\u00fcml\u00e4ut", "x" * 8192])
def test_a_body_goes_along(queue, body):
    queue.create()
    assert run(7, body).returncode == POSTED
    assert waiting(queue) == (1, len(body.encode()))
    assert queue.take() == 7


def test_a_body_of_more_than_the_kernel_allows(queue):
    queue.create()
    with kernel_limit("msgmax", 100):
        assert refused(run(7, "x" * 101), FAILED, "no body of 101 bytes", "kernel.msgmax")
        assert run(7, "x" * 100).returncode == POSTED
    assert waiting(queue) == (1, 100)


@pytest.mark.parametrize("arguments", [
    [], ["0"], ["12"], ["-1"], ["--", "-1"], ["x"], [""], ["1x"], [" 1"], ["+1"], ["1.0"], ["zanEvent"],
    ["zanEvent12"], ["zanevent1"], ["1", "body", "more"], ["--unknown", "1"], ["99999999999999999999"],
    ["--any", "0"], ["--any", "--", "-1"], ["--any", "99999999999999999999"],
], ids=" ".join)
def test_bad_arguments(queue, arguments):
    queue.create()
    result = run(*arguments)
    assert result.returncode == BAD_USAGE and result.stdout == ""
    assert result.stderr.endswith("Try 'zan-post-event --help'.\n") and result.stderr.count("\n") == 2
    assert queue.count() == 0


@pytest.mark.parametrize("event", [12, 4711, 2 ** (8 * (long_size() if MODULE.exists() else 8) - 1) - 1])
def test_any_id_above_0_when_asked_for(queue, event):
    queue.create()
    assert refused(run(event), BAD_USAGE, f"'{event}'", "1 to 11")
    assert run("--any", event).returncode == POSTED
    assert queue.take() == event


def test_a_missing_queue_is_an_error_and_stays_missing(queue):
    assert refused(run(3), NO_QUEUE, "no event queue", str(ENTERPRISE_NUMBER))
    assert queue.state() is None


def test_a_missing_queue_is_made_when_asked_for(queue):
    assert run("--create", 3).returncode == POSTED
    assert (queue.state().mode, queue.take()) == (0o666, 3)
    assert run("--create", 4).returncode == POSTED  # there is one by now
    assert queue.take() == 4


def test_a_queue_that_the_kernel_does_not_give(queue):
    with kernel_limit("msgmni", 0):
        assert refused(run("--create", 3), FAILED, "No space left on device")
    assert queue.state() is None


def test_a_full_queue(queue):
    with kernel_limit("msgmnb", 100):
        queue.create()
        queue.post_until_full(1, b"x" * 10)
        assert refused(run(3, "body"), QUEUE_FULL, "full", str(ENTERPRISE_NUMBER))
        while queue.take():
            pass
        assert run(3, "body").returncode == POSTED


@pytest.mark.parametrize("option", [[], ["--create"]], ids=["plain", "--create"])
def test_a_queue_of_somebody_else(queue, option):
    """Root may do all to a queue, but for this capability."""
    ipc_creat = 0o1000
    assert ctypes.CDLL(None).msgget(ENTERPRISE_NUMBER, ipc_creat) >= 0  # a mode of 0: for nobody
    result = subprocess.run(["setpriv", "--bounding-set", "-ipc_owner", "--inh-caps", "-ipc_owner",
                             POSTER, *option, "3"], text=True, check=False, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE)
    assert refused(result, NOT_PERMITTED, "no permission", str(ENTERPRISE_NUMBER))
    assert queue.count() == 0


def test_help_and_version(queue):
    result = run("--help")
    assert (result.returncode, result.stderr) == (0, "")
    for status in range(6):
        assert f"\n  {status}  " in result.stdout
    result = run("--version")
    assert (result.returncode, result.stderr) == (0, "")
    assert result.stdout.endswith(f" (enterprise number {ENTERPRISE_NUMBER})\n")
    assert queue.state() is None


@pytest.mark.parametrize("option", ["--help", "--version"])
def test_output_that_cannot_be_written_is_an_error(option):
    with open("/dev/full", "w", encoding="ascii") as full:
        result = subprocess.run([POSTER, option], stdout=full, stderr=subprocess.PIPE, check=False)
    assert result.returncode == FAILED and b"No space left on device" in result.stderr


def test_it_stands_alone():
    """Integrators copy it into processes that know nothing of the agent."""
    source = (SOURCE_ROOT / "tools" / "zan-post-event.cpp").read_text(encoding="ascii")
    own = [line for line in source.splitlines() if line.startswith('#include "')]
    assert own == ['#include "zanconfig.h"'] and "net-snmp" not in source


def test_from_the_poster_to_the_manager(make_agent, api, queue, traps):
    assert run("--create", 1, "posted before the agent started").returncode == POSTED
    agent = make_agent().start()
    for event in range(2, 12):
        assert run(event, f"body of {event}").returncode == POSTED
    assert run("--any", 12).returncode == POSTED
    agent.fire_alarm()
    assert traps.events() == list(range(1, 12))
    assert agent.take(WARNING) == b"unknown notification received [12].\n"
    assert waiting(queue) == (0, 0)


# --- what docs/integrating-events.md tells integrators -----------------------------------------------------

def example(language):
    """The code that the document shows in a language, with this build's number."""
    document = (SOURCE_ROOT / "docs" / "integrating-events.md").read_text(encoding="utf-8")
    code, = re.findall(rf"^```{language}\n(.*?)^```$", document, re.M | re.S)
    assert "32473" in code
    return code.replace("32473", str(ENTERPRISE_NUMBER))


def test_the_documented_c_code_posts(queue, tmp_path):
    (tmp_path / "post.c").write_text(example("c"), encoding="ascii")
    subprocess.run(["cc", "-std=c99", "-D_XOPEN_SOURCE=700", "-Wall", "-Wextra", "-Werror", "-o",
                    tmp_path / "post", tmp_path / "post.c"], check=True)
    missing = subprocess.run([tmp_path / "post"], stderr=subprocess.PIPE, check=False)
    assert missing.returncode == 1 and b"No such file or directory" in missing.stderr
    queue.create()
    subprocess.run([tmp_path / "post"], check=True)
    assert (waiting(queue), queue.take()) == ((1, 0), 7)


def test_the_documented_python_code_posts(queue):
    command = ["/usr/bin/python3", "-c", example("python")]
    missing = subprocess.run(command, stderr=subprocess.PIPE, check=False)
    assert missing.returncode == 1 and b"No such file or directory" in missing.stderr
    queue.create()
    subprocess.run(command, check=True)
    assert (waiting(queue), queue.take()) == ((1, 0), 7)
