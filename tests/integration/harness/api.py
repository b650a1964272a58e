"""A fake of the router's management API on its real socket path, with faults and a record of all requests."""

import contextlib
import json
import os
import socket
import threading
from dataclasses import dataclass, field
from typing import Any, Callable, Dict, Iterator, List, Optional, Tuple

from .settings import SOCKET_PATH, deadline

_PREFIX = "/api?fields="


@dataclass(frozen=True)
class Request:
    """One request as it came over the socket."""

    target: str  # path and query, e.g. "/api?fields=system"
    raw: bytes


@dataclass(frozen=True)
class Fault:
    """A way of going wrong: what is done on the connection instead of sending the answer as it is."""

    name: str
    act: "Callable[[socket.socket, bytes, Api], None]"
    waits: bool = False  # takes its time, so it gets a thread and does not hold up other connections
    early: bool = False  # acts without reading the request, so it cannot be one target's own

    def __str__(self) -> str:
        return self.name


def http_answer(body: bytes, status: str = "200 OK", headers: Tuple[str, ...] = ()) -> bytes:
    """A whole HTTP answer with the body's length announced."""
    lines = [f"HTTP/1.1 {status}", "Content-Type: application/json", f"Content-Length: {len(body)}",
             "Connection: close", *headers]
    return "\r\n".join(lines).encode() + b"\r\n\r\n" + body


def envelope(result: Any, code: Any = 200) -> bytes:
    """The JSON envelope of the API around a result."""
    return json.dumps({"code": code, "result": result}).encode()


# --- faults of the connection and of HTTP -------------------------------------------------------------------

def _send_chunked(connection: socket.socket, body: bytes, _api: "Api") -> None:
    head = b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n"
    step = max(1, len(body) // 7)
    chunks = [body[i:i + step] for i in range(0, len(body), step)] + [b""]
    connection.sendall(head + b"".join(b"%x\r\n%s\r\n" % (len(chunk), chunk) for chunk in chunks))


def _send_byte_by_byte(connection: socket.socket, body: bytes, _api: "Api") -> None:
    for byte in http_answer(body):
        connection.sendall(bytes([byte]))


def _send_until_close(connection: socket.socket, body: bytes, _api: "Api") -> None:
    connection.sendall(b"HTTP/1.0 200 OK\r\n\r\n" + body)


def _send_part_of_body(connection: socket.socket, body: bytes, _api: "Api") -> None:
    connection.sendall(http_answer(body)[:-max(1, len(body) // 2)])


def _send_part_of_chunks(connection: socket.socket, body: bytes, _api: "Api") -> None:
    head = b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
    connection.sendall(head + b"%x\r\n%s\r\n" % (len(body), body))


def _send_bad_chunk(connection: socket.socket, body: bytes, _api: "Api") -> None:
    connection.sendall(b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n" + body)


def _close_without_a_word(_connection: socket.socket, _body: bytes, _api: "Api") -> None:
    return


def raw_answer(name: str, answer: bytes) -> Fault:
    """Exactly these bytes, then the end of the connection."""
    return Fault(name, lambda connection, _body, _api: connection.sendall(answer))


def http_status(status: str, *headers: str) -> Fault:
    """The right body under another HTTP status."""
    return Fault(f"HTTP status {status}",
                 lambda connection, body, _api: connection.sendall(http_answer(body, status, headers)))


def body_instead(name: str, body: bytes) -> Fault:
    """A complete and correct HTTP answer with another body."""
    return Fault(name, lambda connection, _body, _api: connection.sendall(http_answer(body)))


def hang(sent: int = 0, then_answer: bool = False) -> Fault:
    """Nothing after the first `sent` bytes of the answer until Api.release(); then the rest, or the end."""
    def act(connection: socket.socket, body: bytes, api: "Api") -> None:
        answer = http_answer(body)
        connection.sendall(answer[:sent])
        api.wait_for_release()
        if then_answer:
            connection.sendall(answer[sent:])
    return Fault(f"hung after {sent} bytes" if sent else "hung", act, waits=True)


CHUNKED = Fault("chunked", _send_chunked)
BYTE_BY_BYTE = Fault("byte by byte", _send_byte_by_byte)
UNTIL_CLOSE = Fault("length told by closing", _send_until_close)
CLOSED = Fault("closed without a word", _close_without_a_word)
CLOSED_EARLY = Fault("closed without reading", _close_without_a_word, early=True)
CUT_BODY = Fault("cut body", _send_part_of_body)
CUT_CHUNKS = Fault("cut between chunks", _send_part_of_chunks)
BAD_CHUNK = Fault("bad chunk", _send_bad_chunk)
NOT_HTTP = raw_answer("not HTTP", b"220 mail.example.net ESMTP ready\r\n")
CUT_HEADERS = raw_answer("cut headers", b"HTTP/1.1 200 OK\r\nContent-Le")
EMPTY_BODY = raw_answer("empty body", http_answer(b""))


@dataclass(repr=False)
class Api:
    """The fake API. Answers come from, in this order: `faults`, `answers`, `bodies`, `results`, `fields`.

    `fields` is the router as the API's own nested tree; a query's "fields=" parameter picks from it, and the
    member of the result is the field's path with "/" turned into "_", as the real API does it. A field that
    the tree lacks is left out of the result. Keys of the other tables are whole targets such as
    "/api?fields=system".
    """

    path: str = SOCKET_PATH
    fields: Dict[str, Any] = field(default_factory=dict)
    results: Dict[str, Any] = field(default_factory=dict)  # target -> result, in an envelope of code 200
    bodies: Dict[str, bytes] = field(default_factory=dict)  # target -> body of a correct HTTP answer
    answers: Dict[str, bytes] = field(default_factory=dict)  # target -> all bytes of the answer
    faults: Dict[str, Fault] = field(default_factory=dict)  # target -> what goes wrong
    fault: Optional[Fault] = None  # what goes wrong with every target that has no fault of its own
    requests: List[Request] = field(default_factory=list)

    def __post_init__(self) -> None:
        self._listener: Optional[socket.socket] = None
        self._thread: Optional[threading.Thread] = None
        self._released = threading.Event()
        self._waiting = threading.Semaphore(0)
        self._errors: List[BaseException] = []

    # --- life -----------------------------------------------------------------------------------------------

    def up(self) -> None:
        """Listen on the socket path; nothing happens when the API already does."""
        if self._listener is not None:
            return
        os.makedirs(os.path.dirname(self.path), exist_ok=True)
        self._remove_path()
        listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        listener.bind(self.path)
        listener.listen(64)
        self._released.clear()
        self._listener = listener
        self._thread = threading.Thread(target=self._serve, args=(listener,), daemon=True)
        self._thread.start()

    def down(self) -> None:
        """Stop, and take the socket away: connecting finds no such file."""
        self._stop_listening()
        self._remove_path()

    def refuse(self) -> None:
        """Stop, and leave the socket behind: connecting is refused, as after a crash of the API."""
        self.up()
        self._stop_listening()

    def file_in_place(self) -> None:
        """Stop, and leave a plain file where the socket was."""
        self.down()
        with open(self.path, "w", encoding="ascii"):
            pass

    def release(self) -> None:
        """End every hang()."""
        self._released.set()

    def reset(self, fields: Optional[Dict[str, Any]] = None) -> None:
        """Up, without faults, without recorded requests, and serving these fields."""
        self.release()
        self.down()
        self.fields = fields if fields is not None else {}
        for table in (self.results, self.bodies, self.answers, self.faults):
            table.clear()
        self.fault = None
        while self._waiting.acquire(blocking=False):
            pass
        self.up()
        self.requests.clear()

    # --- what was asked -------------------------------------------------------------------------------------

    def targets(self) -> List[str]:
        """The targets asked for, in order."""
        return [request.target for request in self.requests]

    def count(self, target: Optional[str] = None) -> int:
        """How many requests came, for one target or in all."""
        return len(self.requests) if target is None else self.targets().count(target)

    @contextlib.contextmanager
    def counting(self) -> Iterator[List[str]]:
        """The targets asked for inside the with statement, filled in when it ends."""
        before = len(self.requests)
        seen: List[str] = []
        yield seen
        seen.extend(self.targets()[before:])

    def wait_until_hung(self, timeout: float = 20) -> None:
        """Return once a request has reached a hang()."""
        if not self._waiting.acquire(timeout=deadline(timeout)):
            raise AssertionError("no request reached the hung API")

    def wait_for_release(self) -> None:
        """For faults: hold the connection until release()."""
        self._waiting.release()
        self._released.wait()

    # --- answers --------------------------------------------------------------------------------------------

    def result(self, target: str) -> Any:
        """What `fields` and `results` hold for a target."""
        if target in self.results:
            return self.results[target]
        if target.startswith(_PREFIX):
            found = ((name, self._field(name)) for name in target[len(_PREFIX):].split(","))
            return {name.replace("/", "_"): value for name, (known, value) in found if known}
        return self._field(target[len("/api/"):])[1]

    def body(self, target: str) -> bytes:
        """The JSON text for a target."""
        return self.bodies[target] if target in self.bodies else envelope(self.result(target))

    def _field(self, name: str) -> Tuple[bool, Any]:
        value: Any = self.fields
        for step in name.split("/"):
            if not isinstance(value, dict) or step not in value:
                return False, None
            value = value[step]
        return True, value

    def _serve(self, listener: socket.socket) -> None:
        while True:
            try:
                connection, _ = listener.accept()
            except OSError:
                return
            try:
                self._converse(connection)
            except OSError:
                connection.close()  # the client went away

    def _converse(self, connection: socket.socket) -> None:
        if self.fault is not None and self.fault.early:
            self.fault.act(connection, b"", self)
            connection.close()
            return
        raw = b""
        while b"\r\n\r\n" not in raw:
            more = connection.recv(65536)
            if not more:
                connection.close()
                return
            raw += more
        target = raw.split(b" ", 2)[1].decode()
        fault = self.faults.get(target, self.fault)
        self.requests.append(Request(target, raw))
        if fault is None:
            connection.sendall(self.answers.get(target) or http_answer(self.body(target)))
            connection.close()
        elif fault.waits:
            threading.Thread(target=self._misbehave, args=(connection, fault, target), daemon=True).start()
        else:
            self._misbehave(connection, fault, target)

    def _misbehave(self, connection: socket.socket, fault: Fault, target: str) -> None:
        with connection, contextlib.suppress(OSError):
            fault.act(connection, self.body(target), self)

    def _stop_listening(self) -> None:
        if self._listener is not None:
            self._listener.shutdown(socket.SHUT_RDWR)  # wakes the accept() of the serving thread
            self._thread.join()
            self._listener.close()
            self._listener = None

    def _remove_path(self) -> None:
        with contextlib.suppress(FileNotFoundError):
            os.unlink(self.path)
