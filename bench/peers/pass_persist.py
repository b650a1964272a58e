#!/usr/bin/python3
"""What an operator may use instead of the module: a pass_persist script.

It serves the radio group, the router's serial number and the leases table from the same API below an OID of
its own, with a cache that lives as long as the module's.

usage: pass_persist.py API-SOCKET BASE-OID LIFETIME
"""

import bisect
import http.client
import json
import socket
import sys
import time
from typing import Any, Callable, Dict, List, Optional, Tuple

Oid = Tuple[int, ...]
Answer = str  # the three lines: OID, type, value

RADIO_MEMBERS = {1: "type", 3: "imsi", 4: "firmware", 6: "network", 7: "service", 8: "carrier", 9: "msid",
                 10: "mdn"}


class ApiConnection(http.client.HTTPConnection):
    """HTTP over the API's UNIX-domain socket."""

    def __init__(self, path: str) -> None:
        super().__init__("localhost")
        self.path = path

    def connect(self) -> None:
        """Connect to the socket instead of to the host."""
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.sock.connect(self.path)


def radio(result: Dict[str, Any]) -> Dict[Oid, Tuple[str, Any]]:
    """The texts of the radio group."""
    if not result.get("system_capabilities", {}).get("cell"):
        return {(3, number, 0): ("string", "Unknown") for number in range(1, 11)}
    stats = result.get("stats_radio", {})
    texts = {number: stats.get(member, "") for number, member in RADIO_MEMBERS.items()}
    texts[2] = stats.get("meid" if stats.get("type") == "CDMA" else "imei", "")
    texts[5] = stats["rssidBm"] + "dBm" if stats.get("rssidBm") else ""
    return {(3, number, 0): ("string", text) for number, text in texts.items()}


def router(result: Dict[str, Any]) -> Dict[Oid, Tuple[str, Any]]:
    """The serial number."""
    return {(8, 2, 0): ("string", result.get("system", {}).get("deviceId", ""))}


def leases(result: Dict[str, Any]) -> Dict[Oid, Tuple[str, Any]]:
    """The cells of the leases table."""
    cells: Dict[Oid, Tuple[str, Any]] = {}
    entry = (11, 1, 2, 1)
    for position, lease in enumerate(result.get("dhcp", {}).get("leases", [])):
        cells[entry + (1, position + 1)] = ("integer", position)
        cells[entry + (2, position + 1)] = ("string", lease.get("ip", ""))
        cells[entry + (3, position + 1)] = ("string", lease.get("mac", ""))
        cells[entry + (4, position + 1)] = ("timeticks", lease.get("expiration", 0) * 100 % 2**32)
    return cells


class Part:
    """The objects of one query, ready to be sent, for as long as the cache lives."""

    def __init__(self, first: Oid, target: str, read: Callable[[Dict[str, Any]], Dict[Oid, Tuple[str, Any]]],
                 base: Oid, api_socket: str, lifetime: float) -> None:
        self.first = base + first
        self.target = target
        self.read = read
        self.base = base
        self.api_socket = api_socket
        self.lifetime = lifetime
        self.expires = 0.0
        self.oids: List[Oid] = []
        self.answers: List[Answer] = []

    def refresh(self) -> None:
        """Fetch anew what has expired; nothing is served while the API is down."""
        now = time.monotonic()
        if now < self.expires:
            return
        self.oids, self.answers = [], []
        try:
            cells = self.read(self.fetch())
        except (OSError, ValueError, http.client.HTTPException):
            return
        for arcs, (kind, value) in sorted(cells.items()):
            oid = self.base + arcs
            self.oids.append(oid)
            self.answers.append("." + ".".join(map(str, oid)) + f"\n{kind}\n{value}\n")
        self.expires = now + self.lifetime

    def fetch(self) -> Dict[str, Any]:
        """The `result` of the query."""
        connection = ApiConnection(self.api_socket)
        try:
            connection.request("GET", self.target)
            envelope = json.loads(connection.getresponse().read())
        finally:
            connection.close()
        if envelope["code"] != 200:
            raise ValueError("the API reports a failure")
        return envelope["result"]

    def get(self, oid: Oid) -> Optional[Answer]:
        """The object of exactly this OID."""
        self.refresh()
        place = bisect.bisect_left(self.oids, oid)
        return self.answers[place] if place < len(self.oids) and self.oids[place] == oid else None

    def get_next(self, oid: Oid) -> Optional[Answer]:
        """The first object after this OID."""
        self.refresh()
        place = bisect.bisect_right(self.oids, oid)
        return self.answers[place] if place < len(self.oids) else None


class Tree:
    """All objects: the parts in the order of their OIDs."""

    def __init__(self, api_socket: str, base: Oid, lifetime: float) -> None:
        self.parts = [Part(first, target, read, base, api_socket, lifetime) for first, target, read in (
            ((3,), "/api?fields=system/capabilities,stats/radio", radio),
            ((8,), "/api?fields=system", router),
            ((11,), "/api?fields=dhcp", leases))]

    def get(self, oid: Oid) -> Optional[Answer]:
        """The object of exactly this OID."""
        for part in self.parts:
            if oid[:len(part.first)] == part.first:
                return part.get(oid)
        return None

    def get_next(self, oid: Oid) -> Optional[Answer]:
        """The first object after this OID."""
        for part in self.parts:
            if oid[:len(part.first)] <= part.first:
                answer = part.get_next(oid)
                if answer is not None:
                    return answer
        return None


def parse(text: str) -> Oid:
    """An OID from its text."""
    return tuple(map(int, text.strip().strip(".").split(".")))


def main() -> None:
    """Answer the agent until it closes the pipe."""
    api_socket, base, lifetime = sys.argv[1:]
    tree = Tree(api_socket, parse(base), float(lifetime))
    commands = {"get\n": tree.get, "getnext\n": tree.get_next}
    read, write, flush = sys.stdin.readline, sys.stdout.write, sys.stdout.flush
    while True:
        line = read()
        if not line:
            return
        if line in commands:
            write(commands[line](parse(read())) or "NONE\n")
        elif line == "PING\n":
            write("PONG\n")
        elif line == "set\n":
            read()
            read()
            write("not-writable\n")
        flush()


if __name__ == "__main__":
    main()
