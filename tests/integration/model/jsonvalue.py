"""The JSON library's values as the module sees them: access, conversions and what each refuses.

A value is an ordinary Python value: None, bool, int, float, str, list, dict.  Two more kinds exist
because a JSON text can say what these cannot: `bytes` is a text given byte for byte (it need not be
UTF-8) and `Number` a number given by its literal ("1E3", "-0", "1.50").

test_model.py holds every function of this file against the installed library.
"""

from __future__ import annotations

import os
import re
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Iterable, Tuple, Union

INT32_MIN, INT32_MAX, UINT32_MAX = -2**31, 2**31 - 1, 2**32 - 1
INT64_MIN, UINT64_MAX = -2**63, 2**64 - 1


class JsonError(Exception):
    """The library throws here."""


class UnparsableNumber(Exception):
    """The library's parser refuses the document that holds this number (a real beyond the range)."""


def library_version() -> Tuple[int, ...]:
    """The version of the library with which the module is built."""
    header = os.environ.get("ZAN_JSONCPP_VERSION") or "/usr/include/jsoncpp/json/version.h"
    text = Path(header).read_text(encoding="utf-8")
    return tuple(map(int, re.search(r'JSONCPP_VERSION_STRING "(\d+)\.(\d+)\.(\d+)', text).groups()))


#: Since this version the parser takes a real beyond the range for an infinite one.
READS_INFINITY = library_version() >= (1, 9, 6)

#: In this version (what 1.9.7 does was not seen) reals are compared with a number's bounds otherwise: one
#: between 0 and 1 is no unsigned number, nor is 2**64.
OTHER_BOUNDS = library_version() >= (1, 9, 8)


@dataclass(frozen=True)
class Number:
    """A number by its literal text."""

    literal: str

    def value(self) -> Union[int, float]:
        if self.literal.lstrip("-").isdigit():
            return int(self.literal)
        return float(self.literal)


Json = Any  # None | bool | int | float | str | bytes | Number | list | dict


def plain(value: Json) -> Json:
    """The value as the parser stores it: literals resolved, integers beyond 64 bits turned into reals."""
    if isinstance(value, Number):
        value = value.value()
    if isinstance(value, str):
        return value.encode("utf-8", "surrogatepass")
    if isinstance(value, int) and not isinstance(value, bool) and not INT64_MIN <= value <= UINT64_MAX:
        try:
            value = float(value)
        except OverflowError:
            value = float("inf") if value > 0 else float("-inf")
    if isinstance(value, float) and value in (float("inf"), float("-inf")) and not READS_INFINITY:
        raise UnparsableNumber(repr(value))
    return value


def check_parsable(value: Json) -> None:
    """Raise UnparsableNumber if any number of the tree makes the parser refuse the whole document."""
    if isinstance(value, dict):
        for member_value in value.values():
            check_parsable(member_value)
    elif isinstance(value, list):
        for element_value in value:
            check_parsable(element_value)
    else:
        plain(value)


def real_text(value: float) -> bytes:
    """A real in decimal: 17 significant digits, and recognisable as a real."""
    if value in (float("inf"), float("-inf")):
        return b"1e+9999" if value > 0 else b"-1e+9999"
    text = "%.17g" % value
    if "." not in text and "e" not in text:
        text += ".0"
    return text.encode()


def as_text(value: Json) -> bytes:
    value = plain(value)
    if value is None:
        return b""
    if isinstance(value, bool):
        return b"true" if value else b"false"
    if isinstance(value, bytes):
        return value
    if isinstance(value, int):
        return str(value).encode()
    if isinstance(value, float):
        return real_text(value)
    raise JsonError("no text")


def as_bool(value: Json) -> bool:
    value = plain(value)
    if value is None:
        return False
    if isinstance(value, (bool, int, float)):
        return value != 0
    raise JsonError("no boolean")


def _as_integer(value: Json, low: int, high: int) -> int:
    value = plain(value)
    if value is None:
        return 0
    if isinstance(value, (bool, int)):
        if low <= value <= high:
            return int(value)
    elif isinstance(value, float):
        # The library compares as reals, where the bound 2**64 - 1 is 2**64; its cast of that one value
        # overflows, to 0 on x86-64.
        if OTHER_BOUNDS and (low == 0 and 0 < value < 1 or value >= high + 1):
            raise JsonError("no such integer")
        if float(low) <= value <= float(high):
            return int(value) if int(value) <= high else 0
    raise JsonError("no such integer")


def as_uint(value: Json) -> int:
    return _as_integer(value, 0, UINT32_MAX)


def as_int(value: Json) -> int:
    return _as_integer(value, INT32_MIN, INT32_MAX)


def as_uint64(value: Json) -> int:
    return _as_integer(value, 0, UINT64_MAX)


def member(value: Json, *names: str) -> Json:
    """Walk down by member names; what is missing reads as null, what cannot have members throws."""
    for name in names:
        if value is None:
            continue
        if not isinstance(value, dict):
            raise JsonError("no members")
        value = value.get(name)
    return value


def has_member(value: Json, name: str) -> bool:
    """Membership, not value: a member that is null is one."""
    if value is None:
        return False
    if not isinstance(value, dict):
        raise JsonError("no members")
    return name in value


def element(value: Json, position: int) -> Json:
    """An array's element; past the end, and in null, it reads as null."""
    if value is None:
        return None
    if not isinstance(value, list):
        raise JsonError("no elements")
    return value[position] if position < len(value) else None


def size(value: Json) -> int:
    return len(value) if isinstance(value, (list, dict)) else 0


def _member_order(name: str) -> bytes:
    return name.encode("utf-8", "surrogatepass")


def walk(value: Json) -> Iterable[Json]:
    """What a walk over the value meets: an array's elements, an object's values by the order of their
    names' bytes, nothing in anything else."""
    if isinstance(value, list):
        return list(value)
    if isinstance(value, dict):
        return [value[name] for name in sorted(value, key=_member_order)]
    return []


_SHORT_ESCAPES = {'"': '\\"', "\\": "\\\\", "\n": "\\n", "\r": "\\r", "\t": "\\t", "\b": "\\b", "\f": "\\f"}


def _encode_char(char: str, ascii_only: bool) -> str:
    code = ord(char)
    if char in _SHORT_ESCAPES:
        return _SHORT_ESCAPES[char]
    if code < 0x20 or code == 0x7F or 0xD800 <= code <= 0xDFFF:
        return "\\u%04x" % code
    if code < 0x7F or not ascii_only:
        return char
    units = char.encode("utf-16-be")
    return "".join("\\u" + units[at:at + 2].hex() for at in range(0, len(units), 2))


def _encode_text(value: Union[str, bytes], ascii_only: bool) -> bytes:
    if isinstance(value, str):
        return b'"' + "".join(_encode_char(char, ascii_only) for char in value).encode("utf-8") + b'"'
    # Every byte of 0x80 and above as it is, so that the text need not be UTF-8.
    parts = [bytes([byte]) if byte > 0x7F else _encode_char(chr(byte), True).encode() for byte in value]
    return b'"' + b"".join(parts) + b'"'


def encode(value: Json, ascii_only: bool = True, decoys: bool = False) -> bytes:
    """The value as JSON text.

    With `decoys` every member is written twice, the first time as null: of members with one name the
    last one counts.
    """
    if value is None:
        return b"null"
    if isinstance(value, bool):
        return b"true" if value else b"false"
    if isinstance(value, Number):
        return value.literal.encode()
    if isinstance(value, (str, bytes)):
        return _encode_text(value, ascii_only)
    if isinstance(value, (int, float)):
        return repr(value).encode()
    if isinstance(value, list):
        return b"[" + b", ".join(encode(each, ascii_only, decoys) for each in value) + b"]"
    if isinstance(value, dict):
        parts = []
        for name, each in value.items():
            key = _encode_text(name, ascii_only) + b": "
            if decoys:
                parts.append(key + b"null")
            parts.append(key + encode(each, ascii_only, decoys))
        return b"{" + b", ".join(parts) + b"}"
    raise TypeError(type(value).__name__)
