"""A small SNMPv1/v2c client: fast enough for thousands of walks, and exact to the byte."""

import functools
import itertools
import socket
import time
from typing import Any, Iterable, Iterator, List, NamedTuple, Optional, Sequence, Tuple, Union

from .settings import deadline

Oid = Tuple[int, ...]

INTEGER, OCTET_STRING, NULL, OBJECT_ID, SEQUENCE = 0x02, 0x04, 0x05, 0x06, 0x30
IP_ADDRESS, COUNTER32, GAUGE32, TIMETICKS, OPAQUE, COUNTER64 = 0x40, 0x41, 0x42, 0x43, 0x44, 0x46
NO_SUCH_OBJECT, NO_SUCH_INSTANCE, END_OF_MIB_VIEW = 0x80, 0x81, 0x82
GET, GETNEXT, RESPONSE, SET, GETBULK, INFORM, TRAP2, TRAP1 = 0xA0, 0xA1, 0xA2, 0xA3, 0xA5, 0xA6, 0xA7, 0xA4

NO_ERROR, TOO_BIG, NO_SUCH_NAME, GEN_ERR, NO_ACCESS, NOT_WRITABLE = 0, 1, 2, 5, 6, 17

SYS_UPTIME: Oid = (1, 3, 6, 1, 2, 1, 1, 3, 0)
SNMP_TRAP_OID: Oid = (1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0)

_SIGNED = {INTEGER}
_UNSIGNED = {COUNTER32, GAUGE32, TIMETICKS, COUNTER64}


class VarBind(NamedTuple):
    """One variable: its name, the tag of its value and the value's content bytes as they came."""

    oid: Oid
    tag: int
    raw: bytes

    @property
    def value(self) -> Any:
        """The decoded value: int, bytes, OID, or None for NULL and the three exceptions."""
        return decode_value(self.tag, self.raw)


class Message(NamedTuple):
    """A decoded message with any PDU but the SNMPv1 trap."""

    version: int
    community: bytes
    pdu: int
    request_id: int
    error_status: int
    error_index: int
    varbinds: List[VarBind]


class SnmpError(Exception):
    """The agent answered with an error status."""

    def __init__(self, status: int, index: int) -> None:
        super().__init__(f"error-status {status}, error-index {index}")
        self.status = status
        self.index = index


class SnmpTimeout(Exception):
    """No answer came in time."""


def oid(text: str) -> Oid:
    """An OID from its dotted form."""
    return tuple(int(arc) for arc in text.strip(".").split("."))


def dotted(name: Oid) -> str:
    """The dotted form of an OID, with the leading dot that the command-line tools like."""
    return "." + ".".join(map(str, name))


# --- BER ----------------------------------------------------------------------------------------------------

def encode(tag: int, content: bytes) -> bytes:
    """Tag, length and content."""
    size = len(content)
    if size < 0x80:
        return bytes((tag, size)) + content
    length = size.to_bytes((size.bit_length() + 7) // 8, "big")
    return bytes((tag, 0x80 | len(length))) + length + content


def encode_integer(value: int, tag: int = INTEGER) -> bytes:
    """The shortest two's complement form."""
    size = (value if value >= 0 else ~value).bit_length() // 8 + 1
    return encode(tag, value.to_bytes(size, "big", signed=True))


@functools.lru_cache(maxsize=65536)
def encode_oid(name: Oid) -> bytes:
    """An OBJECT IDENTIFIER."""
    content = bytearray()
    for arc in (name[0] * 40 + name[1],) + name[2:]:
        base = [arc & 0x7F]
        arc >>= 7
        while arc:
            base.append(0x80 | (arc & 0x7F))
            arc >>= 7
        content.extend(reversed(base))
    return encode(OBJECT_ID, bytes(content))


@functools.lru_cache(maxsize=65536)
def decode_oid(content: bytes) -> Oid:
    """The arcs of an OBJECT IDENTIFIER's content."""
    arcs: List[int] = []
    arc = 0
    for byte in content:
        arc = arc << 7 | byte & 0x7F
        if not byte & 0x80:
            arcs.append(arc)
            arc = 0
    first = min(arcs[0] // 40, 2)
    return (first, arcs[0] - 40 * first, *arcs[1:])


def decode_value(tag: int, raw: bytes) -> Any:
    """The value behind a tag and its content bytes."""
    if tag in _SIGNED:
        return int.from_bytes(raw, "big", signed=True)
    if tag in _UNSIGNED:
        return int.from_bytes(raw, "big")
    if tag in (OCTET_STRING, OPAQUE):
        return raw
    if tag == OBJECT_ID:
        return decode_oid(raw)
    if tag == IP_ADDRESS:
        return ".".join(map(str, raw))
    if tag in (NULL, NO_SUCH_OBJECT, NO_SUCH_INSTANCE, END_OF_MIB_VIEW):
        return None
    raise ValueError(f"unknown tag 0x{tag:02x}")


def _header(data: bytes, at: int) -> Tuple[int, int, int]:
    """Tag, start of content and end of the element at an offset."""
    size = data[at + 1]
    start = at + 2
    if size & 0x80:
        count = size & 0x7F
        size = int.from_bytes(data[start:start + count], "big")
        start += count
    if start + size > len(data):
        raise ValueError("element longer than the message")
    return data[at], start, start + size


def _elements(data: bytes, at: int, end: int) -> Iterator[Tuple[int, int, int]]:
    while at < end:
        tag, start, stop = _header(data, at)
        yield tag, start, stop
        at = stop


def decode_message(data: bytes) -> Message:
    """A whole message; ValueError when it is not one."""
    tag, start, end = _header(data, 0)
    if tag != SEQUENCE or end != len(data):
        raise ValueError("not one SEQUENCE")
    (_, v0, v1), (_, c0, c1), (pdu, p0, p1) = _elements(data, start, end)
    (_, r0, r1), (_, s0, s1), (_, i0, i1), (_, l0, l1) = _elements(data, p0, p1)
    varbinds = []
    for _, b0, b1 in _elements(data, l0, l1):
        (_, n0, n1), (value, w0, w1) = _elements(data, b0, b1)
        varbinds.append(VarBind(decode_oid(data[n0:n1]), value, data[w0:w1]))

    def integer(first: int, last: int) -> int:
        return int.from_bytes(data[first:last], "big", signed=True)

    return Message(integer(v0, v1), data[c0:c1], pdu, integer(r0, r1), integer(s0, s1), integer(i0, i1),
                   varbinds)


def encode_message(version: int, community: bytes, pdu: int, request_id: int, status: int, index: int,
                   varbinds: Iterable[Tuple[Oid, bytes]]) -> bytes:
    """A whole message; each variable is an OID and an encoded value."""
    variables = b"".join(encode(SEQUENCE, encode_oid(name) + value) for name, value in varbinds)
    numbers = encode_integer(request_id) + encode_integer(status) + encode_integer(index)
    body = numbers + encode(SEQUENCE, variables)
    return encode(SEQUENCE, encode_integer(version) + encode(OCTET_STRING, community) + encode(pdu, body))


# --- the client ---------------------------------------------------------------------------------------------

_NULL = encode(NULL, b"")


class SnmpClient:
    """Speaks to one agent over UDP. A request that times out is not repeated: the tests count requests."""

    V1, V2C = 0, 1

    def __init__(self, port: int, community: str = "public", version: int = V2C, timeout: float = 20.0,
                 host: str = "127.0.0.1") -> None:
        self.version = version
        self.community = community.encode()
        self.timeout = timeout
        self._ids = itertools.count(1)
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._socket.connect((host, port))

    def close(self) -> None:
        """Release the socket."""
        self._socket.close()

    # Sending and receiving apart, for an agent that is kept waiting.

    def send(self, pdu: int, varbinds: Iterable[Tuple[Oid, bytes]], status: int = 0, index: int = 0) -> int:
        """Send one request; its id."""
        request_id = next(self._ids)
        datagram = encode_message(self.version, self.community, pdu, request_id, status, index, varbinds)
        try:
            self._socket.send(datagram)
        except ConnectionRefusedError:  # left over from a time when no agent listened
            self._socket.send(datagram)
        return request_id

    def send_get(self, *names: Oid) -> int:
        """Send a GET without waiting for its answer."""
        return self.send(GET, [(name, _NULL) for name in names])

    def receive(self, request_id: int, timeout: Optional[float] = None) -> Message:
        """The answer to a request; answers to earlier ones are passed over."""
        end = time.monotonic() + deadline(self.timeout if timeout is None else timeout)
        while True:
            self._socket.settimeout(max(0.001, end - time.monotonic()))
            try:
                message = decode_message(self._socket.recv(65536))
            except (socket.timeout, ConnectionRefusedError) as error:
                raise SnmpTimeout(f"no answer to request {request_id}") from error
            if message.request_id == request_id:
                return message

    def request(self, pdu: int, varbinds: Iterable[Tuple[Oid, bytes]], status: int = 0,
                index: int = 0) -> Message:
        """Send one request and wait for its answer, whatever its error status."""
        return self.receive(self.send(pdu, varbinds, status, index))

    def _ask(self, pdu: int, names: Sequence[Oid], status: int = 0, index: int = 0) -> List[VarBind]:
        answer = self.request(pdu, [(name, _NULL) for name in names], status, index)
        if answer.error_status:
            raise SnmpError(answer.error_status, answer.error_index)
        return answer.varbinds

    def get(self, *names: Oid) -> List[VarBind]:
        """GET; SnmpError when the agent reports one."""
        return self._ask(GET, names)

    def get_next(self, *names: Oid) -> List[VarBind]:
        """GETNEXT."""
        return self._ask(GETNEXT, names)

    def get_bulk(self, *names: Oid, non_repeaters: int = 0, max_repetitions: int = 50) -> List[VarBind]:
        """GETBULK."""
        return self._ask(GETBULK, names, non_repeaters, max_repetitions)

    def set(self, *varbinds: Tuple[Oid, bytes]) -> Message:
        """SET; each variable is an OID and an encoded value. The answer is returned whatever its status."""
        return self.request(SET, varbinds)

    def value(self, name: Oid) -> Any:
        """The decoded value of one GET."""
        return self.get(name)[0].value

    def walk(self, prefix: Oid, max_repetitions: int = 0) -> List[VarBind]:
        """All that is below an OID, by GETNEXT or, with repetitions, by GETBULK; a step back is an error."""
        return list(self.walking(prefix, max_repetitions))

    def walking(self, prefix: Oid, max_repetitions: int = 0) -> Iterator[VarBind]:
        """walk(), one variable at a time."""
        name = prefix
        while True:
            try:
                step = (self.get_bulk(name, max_repetitions=max_repetitions) if max_repetitions
                        else self.get_next(name))
            except SnmpError as error:
                if self.version == self.V1 and error.status == NO_SUCH_NAME:
                    return  # how SNMPv1 says that nothing follows
                raise
            for varbind in step:
                if varbind.tag == END_OF_MIB_VIEW or varbind.oid[:len(prefix)] != prefix:
                    return
                if varbind.oid <= name:
                    raise AssertionError(f"walk steps back from {dotted(name)} to {dotted(varbind.oid)}")
                name = varbind.oid
                yield varbind


def octets(value: Union[str, bytes]) -> bytes:
    """An encoded OCTET STRING, for SET."""
    return encode(OCTET_STRING, value.encode() if isinstance(value, str) else value)
