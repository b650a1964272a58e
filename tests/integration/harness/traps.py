"""A manager's trap port: every datagram is kept as it came."""

import socket
import threading
from typing import List, NamedTuple, Optional

from .settings import NOTIFICATIONS, deadline
from .snmp import OBJECT_ID, SNMP_TRAP_OID, Message, Oid, decode_message


class Trap(NamedTuple):
    """One datagram, raw and decoded."""

    raw: bytes
    message: Message

    @property
    def trap_oid(self) -> Optional[Oid]:
        """The value of snmpTrapOID.0."""
        for varbind in self.message.varbinds:
            if varbind.oid == SNMP_TRAP_OID and varbind.tag == OBJECT_ID:
                return varbind.value
        return None


def _is_ours(trap: Trap) -> bool:
    return (trap.trap_oid or ())[:len(NOTIFICATIONS)] == NOTIFICATIONS


class TrapListener:
    """Collects traps on a port of its own.

    The agent sends from its one thread, and loopback delivers at once: what was sent before an answer of the
    agent has arrived by the time of that answer, so traps() after it is the whole truth.
    """

    def __init__(self) -> None:
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        self._socket.bind(("127.0.0.1", 0))
        self.port: int = self._socket.getsockname()[1]
        self._marker = b"end of what has come"
        self._traps: List[Trap] = []
        self._changed = threading.Condition()
        self._markers = 0
        threading.Thread(target=self._collect, daemon=True).start()

    def _collect(self) -> None:
        while True:
            datagram = self._socket.recv(65536)
            with self._changed:
                if datagram == self._marker:
                    self._markers += 1
                else:
                    self._traps.append(Trap(datagram, decode_message(datagram)))
                self._changed.notify_all()

    def all(self) -> List[Trap]:
        """Every trap that has arrived, the agent's own (start, restart, shutdown) included."""
        # A marker queued behind everything that has arrived: once it is read, all of that has been read.
        with self._changed:
            wanted = self._markers + 1
            self._socket.sendto(self._marker, ("127.0.0.1", self.port))
            if not self._changed.wait_for(lambda: self._markers >= wanted, deadline(20)):
                raise AssertionError("the trap listener has stopped")
            return list(self._traps)

    def traps(self) -> List[Trap]:
        """The module's traps that have arrived."""
        return list(filter(_is_ours, self.all()))

    def events(self) -> List[int]:
        """The event ids of the module's traps, in the order of arrival."""
        return [trap.trap_oid[len(NOTIFICATIONS)] for trap in self.traps()]

    def wait(self, number: int, timeout: float = 20) -> List[Trap]:
        """The module's traps, once there are so many."""
        def enough() -> bool:
            return sum(map(_is_ours, self._traps)) >= number
        with self._changed:
            if not self._changed.wait_for(enough, deadline(timeout)):
                raise AssertionError(f"{len(self._traps)} traps came, waited for {number} of the module")
        return self.traps()

    def clear(self) -> None:
        """Forget what has arrived."""
        self.all()
        with self._changed:
            self._traps.clear()
