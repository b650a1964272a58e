"""Makes a failing value small: tries ever simpler values, and keeps each that still fails."""

from __future__ import annotations

from typing import Callable, Iterator

from .jsonvalue import Json, Number, encode


def _simpler_leaf(value: Json) -> Iterator[Json]:
    yield None
    if isinstance(value, (dict, list)):
        yield type(value)()
        yield from value.values() if isinstance(value, dict) else value
    elif isinstance(value, (str, bytes)):
        length = len(value)
        step = length
        while step:
            for start in range(0, length, step):
                yield value[:start] + value[start + step:]
            step //= 2
    elif isinstance(value, (int, float, Number)) and not isinstance(value, bool):
        yield from (0, 1, -1, 0.5)
    yield True


def _simpler(value: Json) -> Iterator[Json]:
    """Values with something less than this one, the boldest cuts first."""
    yield from _simpler_leaf(value)
    if isinstance(value, dict):
        for name in value:
            yield {key: each for key, each in value.items() if key != name}
        for name in value:
            for replacement in _simpler(value[name]):
                yield {**value, name: replacement}
    elif isinstance(value, list):
        for position in range(len(value)):
            yield value[:position] + value[position + 1:]
        for position in range(len(value)):
            for replacement in _simpler(value[position]):
                yield value[:position] + [replacement] + value[position + 1:]


def _cost(value: Json) -> int:
    return len(encode(value))


def shrink(value: Json, fails: Callable[[Json], bool], attempts: int = 3000) -> Json:
    """The smallest value found, in so many attempts, of which `fails` is still true."""
    simpler = True
    while simpler:
        simpler = False
        for candidate in _simpler(value):
            if _cost(candidate) >= _cost(value):
                continue
            if attempts <= 0:
                return value
            attempts -= 1
            if fails(candidate):
                value, simpler = candidate, True
                break
    return value
