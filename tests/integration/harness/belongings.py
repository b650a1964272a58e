"""What an agent has, before and after: memory, descriptors, mappings."""

from typing import List, NamedTuple

from .settings import EXACT_MEMORY, HEAP_SLACK


class Belongings(NamedTuple):
    """What an agent has at one moment."""

    memory: int
    descriptors: List[str]
    mappings: int

    def __str__(self) -> str:
        return f"{self.memory / 1e6:.2f} MB, {len(self.descriptors)} descriptors, {self.mappings} mappings"


def belongings(agent) -> Belongings:
    """What the idle agent has now."""
    return Belongings(agent.rss(), agent.descriptors(), agent.mappings())


def assert_kept(before: Belongings, now: Belongings, memory: int = 0) -> None:
    """Nothing has been gained but so much memory."""
    assert (now.descriptors, now.mappings) == (before.descriptors, before.mappings)
    if EXACT_MEMORY:
        assert now.memory - before.memory < memory + HEAP_SLACK, f"{before}, then {now}"
