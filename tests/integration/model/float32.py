"""Single-precision arithmetic as the router's uptime object does it: text to float, times 100, to ticks."""

from __future__ import annotations

import re
import struct
from fractions import Fraction

from .jsonvalue import INT32_MAX, INT32_MIN


class NoNumber(Exception):
    """No leading number in the text: the conversion throws an invalid-argument error."""


class OutOfRange(Exception):
    """The number does not fit a float: the conversion throws an out-of-range error."""


_BLANKS = b" \t\n\v\f\r"
_SPECIAL = re.compile(rb"([+-]?)(infinity|inf|nan(?:\([0-9A-Za-z_]*\))?)", re.IGNORECASE)
_HEX = re.compile(rb"([+-]?)0[xX]([0-9a-fA-F]*)(?:\.([0-9a-fA-F]*))?(?:[pP]([+-]?[0-9]+))?")
_DECIMAL = re.compile(rb"([+-]?)([0-9]*)(?:\.([0-9]*))?(?:[eE]([+-]?[0-9]+))?")

_MANTISSA_BITS, _SMALLEST_EXPONENT, _LARGEST = 24, -149, Fraction(2**24 - 1) * 2**104
# Beyond these decimal exponents the answer is known without exact arithmetic on huge numbers.
_HOPELESS_EXPONENT = 100_000


def _digits_to_fraction(whole: bytes, part: bytes, exponent: int, base: int, exponent_base: int) -> Fraction:
    digits = (whole + part) or b"0"
    magnitude = int(digits, base)
    if magnitude == 0:
        return Fraction(0)
    if abs(exponent) > _HOPELESS_EXPONENT:
        raise OutOfRange
    return Fraction(magnitude) * Fraction(exponent_base) ** exponent / Fraction(base) ** len(part)


def _round_to_float32(exact: Fraction) -> Fraction:
    """The nearest float, ties to even; OutOfRange where the result is no faithful float."""
    if exact == 0:
        return exact
    exponent = exact.numerator.bit_length() - exact.denominator.bit_length()
    if Fraction(2) ** exponent > exact:
        exponent -= 1
    quantum = Fraction(2) ** max(exponent - (_MANTISSA_BITS - 1), _SMALLEST_EXPONENT)
    rounded = round(exact / quantum) * quantum
    if rounded > _LARGEST:
        raise OutOfRange
    if rounded < Fraction(1, 2**126) and rounded != exact:
        raise OutOfRange
    return rounded


def _leading_number(text: bytes) -> float:
    special = _SPECIAL.match(text)
    if special:
        value = float("nan") if special.group(2)[:1] in b"nN" else float("inf")
        return -value if special.group(1) == b"-" else value
    match = _HEX.match(text)
    if match and (match.group(2) or match.group(3)):
        base, exponent_base = 16, 2
    else:
        match = _DECIMAL.match(text)
        base, exponent_base = 10, 10
        if not match or not (match.group(2) or match.group(3)):
            raise NoNumber
    exact = _digits_to_fraction(match.group(2), match.group(3) or b"", int(match.group(4) or b"0"), base,
                                exponent_base)
    value = float(_round_to_float32(exact))
    return -value if match.group(1) == b"-" else value


def text_to_float(text: bytes) -> float:
    """The text's leading number as a float; a zero byte ends the text, what follows the number is ignored."""
    return _leading_number(text.split(b"\0", 1)[0].lstrip(_BLANKS))


def times_100(value: float) -> float:
    """The product in single precision (the exact product of a float and 100 fits a double)."""
    product = value * 100.0
    try:
        return struct.unpack("<f", struct.pack("<f", product))[0]
    except OverflowError:
        return float("inf") if product > 0 else float("-inf")


def saturate_int32(value: float) -> int:
    """Toward zero, held at the ends of the range; what is not a number is 0, as on the router."""
    if value != value:
        return 0
    if value >= INT32_MAX:
        return INT32_MAX
    if value <= INT32_MIN:
        return INT32_MIN
    return int(value)


def uptime_ticks(text: bytes) -> int:
    """Seconds in text to a signed count of hundredths; 0 where the conversion throws."""
    try:
        return saturate_int32(times_100(text_to_float(text)))
    except (NoNumber, OutOfRange):
        return 0
