"""Every case of tests/cases, over SNMP."""

from itertools import groupby

import pytest

from harness import CACHE_LIFETIME, ERROR
from harness.snmp import NO_SUCH_INSTANCE
from model.cases import OBJECTS, all_cases, instance, query, value

CASES = {name: list(cases) for name, cases in groupby(all_cases(), key=lambda case: case.object)}


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
