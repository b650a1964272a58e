"""The System V queue on which the router's processes post events, from a sender's side."""

import contextlib
import ctypes
import os
from typing import List, NamedTuple, Optional

from .settings import ENTERPRISE_NUMBER

_libc = ctypes.CDLL(None, use_errno=True)
_libc.msgsnd.argtypes = [ctypes.c_int, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_int]
_libc.msgrcv.argtypes = [ctypes.c_int, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_long, ctypes.c_int]
_libc.msgrcv.restype = ctypes.c_ssize_t

_IPC_CREAT, _IPC_NOWAIT, _MSG_NOERROR, _IPC_RMID = 0o1000, 0o4000, 0o10000, 0


class QueueState(NamedTuple):
    """One line of /proc/sysvipc/msg."""

    key: int
    identifier: int
    mode: int
    size: int  # bytes of all bodies
    messages: int


class EventQueue:
    """The queue of one enterprise number. Nothing is created until create() or the agent does it."""

    def __init__(self, key: int = ENTERPRISE_NUMBER) -> None:
        self.key = key

    def create(self, mode: int = 0o666) -> int:
        """Make the queue, by default as the module would; its identifier."""
        return self._checked("msgget", _libc.msgget(self.key, _IPC_CREAT | mode))

    def state(self) -> Optional[QueueState]:
        """What the kernel says of the queue; None when there is none."""
        for queue in self.all_queues():
            if queue.key == self.key:
                return queue
        return None

    @staticmethod
    def all_queues() -> List[QueueState]:
        """Every queue of this IPC namespace."""
        with open("/proc/sysvipc/msg", encoding="ascii") as file:
            rows = [line.split() for line in file][1:]
        return [QueueState(int(key), int(identifier), int(mode, 8), int(size), int(messages))
                for key, identifier, mode, size, messages, *_ in rows]

    def count(self) -> int:
        """Messages waiting."""
        state = self.state()
        return state.messages if state else 0

    def post(self, event: int, body: bytes = b"") -> None:
        """Post one event; BlockingIOError when the queue is full, FileNotFoundError when there is none."""
        identifier = self._checked("msgget", _libc.msgget(self.key, 0))
        message = ctypes.create_string_buffer(
            event.to_bytes(ctypes.sizeof(ctypes.c_long), "little", signed=True) + body)
        self._checked("msgsnd", _libc.msgsnd(identifier, message, len(body), _IPC_NOWAIT))

    def post_until_full(self, event: int, body: bytes) -> int:
        """Post the same event until the queue takes no more; how many it took."""
        posted = 0
        with contextlib.suppress(BlockingIOError):
            while True:
                self.post(event, body)
                posted += 1
        return posted

    def take(self) -> Optional[int]:
        """Receive one event, as another process that drains the same queue; None when it is empty."""
        identifier = self._checked("msgget", _libc.msgget(self.key, 0))
        message = ctypes.create_string_buffer(65536)
        if _libc.msgrcv(identifier, message, 65000, 0, _IPC_NOWAIT | _MSG_NOERROR) < 0:
            return None
        return ctypes.c_long.from_buffer(message).value

    def remove(self) -> None:
        """Remove the queue with all that waits in it; nothing happens when there is none."""
        state = self.state()
        if state is not None:
            self._checked("msgctl", _libc.msgctl(state.identifier, _IPC_RMID, None))

    @staticmethod
    def _checked(call: str, result: int) -> int:
        if result < 0:
            number = ctypes.get_errno()
            raise OSError(number, f"{call}: {os.strerror(number)}")
        return result


@contextlib.contextmanager
def kernel_limit(name: str, value: int):
    """A kernel.msg* limit of this IPC namespace, for the length of a with statement."""
    path = f"/proc/sys/kernel/{name}"
    with open(path, encoding="ascii") as file:
        before = file.read()
    with open(path, "w", encoding="ascii") as file:
        file.write(str(value))
    try:
        yield
    finally:
        with open(path, "w", encoding="ascii") as file:
            file.write(before)
