"""Programs on terminals, as a person has them."""

import fcntl
import os
import pty
import re
import select
import signal
import struct
import termios
from typing import Any, Callable, List, Optional, Sequence

import patience

PATIENCE_SECONDS = 90.0


def until(condition: Callable[[], Any]) -> Any:
    """Wait for the condition to hold, and return its value."""
    return patience.until(condition, PATIENCE_SECONDS)


def plain(text: str) -> str:
    """The text without colours."""
    return re.sub(r"\x1b\[[0-9;]*[mK]", "", text)


class Terminal:
    """A command on a terminal of its own."""

    def __init__(self, command: Sequence[str], columns: int = 80) -> None:
        self.text = ""
        self.status: Optional[int] = None
        self.columns = columns
        self._closed = False
        self.process_id, self._terminal = pty.fork()
        if self.process_id == 0:
            fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            environment = {name: value for name, value in os.environ.items() if name != "NO_COLOR"}
            environment["TERM"] = "xterm"
            os.execvpe(command[0], list(command), environment)

    def read_until(self, wanted: str) -> str:
        """Read until the text is there; all that was read so far."""
        def found() -> bool:
            self.read()
            assert wanted in self.text or not self._closed, f"ended without {wanted!r}: {self.text}"
            return wanted in self.text
        until(found)
        return self.text

    def read(self) -> str:
        """Read what is there; all that was read so far."""
        while select.select([self._terminal], [], [], 0)[0]:
            try:
                piece = os.read(self._terminal, 65536)
            except OSError:  # how Linux says that nobody has the other end open any more
                self._closed = True
                break
            self.text += piece.decode(errors="replace").replace("\r\n", "\n")
        return self.text

    def press(self, keys: bytes) -> None:
        """Press keys."""
        os.write(self._terminal, keys)

    def wait(self) -> int:
        """Wait for the end; the exit status, or minus the signal."""
        until(self._ended)
        self.read()
        os.close(self._terminal)
        assert self.status is not None
        return self.status

    def _ended(self) -> bool:
        self.read()
        number, raw = os.waitpid(self.process_id, os.WNOHANG)
        if number:
            self.status = os.waitstatus_to_exitcode(raw)
        return bool(number)

    def give_up(self) -> None:
        """End it if it still runs, as after a failed test."""
        if self.status is None:
            os.kill(self.process_id, signal.SIGTERM)
            self.wait()

    def screen(self) -> List[str]:
        """What is to be seen, line by line; long lines wrap as on a terminal, and nothing scrolls away."""
        lines, column = [""], 0
        for part in re.findall(r"\x1b\[[0-9;]*[mK]|.", self.text, re.DOTALL):
            if part == "\r":
                column = 0
            elif part == "\n":  # as read, with the carriage return that the terminal adds
                lines.append("")
                column = 0
            elif part == "\x1b[K":
                lines[-1] = lines[-1][:column]
            elif part[0] != "\x1b":
                if column == self.columns:
                    lines.append("")
                    column = 0
                lines[-1] = lines[-1][:column].ljust(column) + part + lines[-1][column + 1:]
                column += 1
        return [line.rstrip() for line in lines]
