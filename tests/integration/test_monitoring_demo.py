"""scripts/demo --monitor, as a newcomer would run it."""

import os
import re
import shlex
import signal
import subprocess
import tempfile
from pathlib import Path

from harness import MODULE, SOURCE_ROOT, deadline
from listening import open_to_others
from monitoring_support import get, until

DEMO = SOURCE_ROOT / "scripts" / "demo"


def processes():
    """The command lines of all processes, by number."""
    found = {}
    for folder in Path("/proc").glob("[0-9]*"):
        try:
            found[folder.name] = (folder / "cmdline").read_bytes()
        except OSError:
            continue
    return {number: command for number, command in found.items() if command}


def test_a_newcomer_sees_the_router_pulls_the_signal_down_and_sees_the_alert():
    before = processes()
    # Not below /run, which is another one inside the demo.
    with tempfile.TemporaryDirectory(dir="/tmp") as folder:
        output = Path(folder) / "output"
        temporary = Path(folder) / "temporary"
        temporary.mkdir()
        with open(output, "wb") as file:
            demo = subprocess.Popen([DEMO, "--monitor", "--no-install", "--build-dir", MODULE.parent],
                                    env={**os.environ, "TMPDIR": str(temporary)}, start_new_session=True,
                                    stdin=subprocess.DEVNULL, stdout=file, stderr=file)
        try:
            def come(text: str) -> str:
                assert demo.poll() is None, output.read_text()
                return output.read_text() if text in output.read_text() else ""

            text = until(lambda: come("Alerts as they come and go:"), "the demo", 120)
            (address,) = re.findall(r"^The router is to be seen at\n  (http:\S+)$", text, re.M)
            until(lambda: "ZR-4200-LTE" in get(address), "the router on its page")
            assert open_to_others() == []
            for link in re.findall(r"http:\S+", text):
                assert get(link)
            commands = re.findall(r"^  (/\S+zan-router-sim .*)$", text, re.M)
            down, up, *others = map(shlex.split, commands)
            assert len(others) == 4
            subprocess.run(down, check=True)
            until(lambda: come("ALERT  Weak cellular signal"), "the alert")
            assert "ZanSignalWeak" in get(address)
            subprocess.run(up, check=True)
            until(lambda: come("over   Weak cellular signal"), "the end of the alert")
            *others, outage = others
            for command in others:
                subprocess.run(command, check=True)
            for alert in ("is roaming", "is on its backup WAN link", "has been disabled"):
                until(lambda alert=alert: come(alert), alert)
            subprocess.run(outage, check=True)
            until(lambda: "API down" in get(address), "the API's failure")
        finally:
            # Ctrl-C reaches the whole group of a terminal.
            os.killpg(demo.pid, signal.SIGINT)
            status = demo.wait(deadline(40))
        assert status == 0 and output.read_text().endswith("Stopped; nothing is left running.\n")
        until(lambda: processes().keys() <= before.keys(), "the end of all processes")
        assert list(temporary.iterdir()) == []
