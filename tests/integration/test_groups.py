"""Every case of tests/cases, over SNMP; and what the objects of a query share."""

from itertools import groupby
from typing import Dict, List

import pytest

from harness import CACHE_LIFETIME, ERROR
from harness.router import QUERIES, SCALARS, Scalar, router
from harness.snmp import NO_SUCH_INSTANCE
from model.cases import OBJECTS, all_cases, instance, query, value

CASES = {name: list(cases) for name, cases in groupby(all_cases(), key=lambda case: case.object)}
GROUPS: Dict[str, List[Scalar]] = {
    query: list(scalars) for query, scalars in groupby(
        sorted((scalar for scalar in SCALARS if scalar.query), key=lambda scalar: scalar.query),
        key=lambda scalar: scalar.query)}


@pytest.mark.parametrize("name", OBJECTS)
def test_cases(agent, api, clock, name):
    for case in CASES[name]:
        clock.advance(CACHE_LIFETIME)
        if query(case):
            api.bodies[query(case)] = b'{"code": 200, "result": %s}' % case.result.encode()
        varbind = agent.client.get(instance(case))[0]
        assert (None if varbind.tag == NO_SUCH_INSTANCE else varbind.value) == value(case), case
        assert set(api.targets()) == ({query(case)} if query(case) else set()), case
        api.requests.clear()
    assert agent.take(ERROR) == b""


@pytest.mark.parametrize("query", GROUPS)
def test_the_objects_of_a_query_share_one_request(agent, api, clock, query):
    clock.advance(-clock.now % 1)  # the cache counts whole seconds
    for lifetimes in (1, 2):
        agent.client.get(*(scalar.instance for scalar in GROUPS[query]))
        clock.advance(CACHE_LIFETIME - 0.01)
        agent.client.get(*(scalar.instance for scalar in GROUPS[query]))
        assert api.targets() == [query] * lifetimes
        clock.advance(0.01)


def test_a_walk_asks_each_query_once(agent, api):
    assert router() == api.fields
    agent.client.walk(SCALARS[0].oid[:-2])
    assert sorted(api.targets()) == QUERIES
