"""The MIB module against the running agent: names, OIDs, types, access, values, sources and notifications."""

import copy
import itertools
import re
from typing import Any, Dict, Iterable, Iterator, List, Set, Tuple

import pytest
from harness import CACHE_LIFETIME, WARNING, faults
from harness.hosted import in_process_only
from harness.router import router
from harness.snmp import (INTEGER, NO_SUCH_INSTANCE, NO_SUCH_OBJECT, NOT_WRITABLE, OCTET_STRING, TIMETICKS,
                          Oid, encode_integer, octets)
from mib_support import base_fixture, mib_file_fixture, mib_fixture  # noqa: F401  (used by their names)
from mib_support import netsnmp_options, run, zanmib

# NET-SNMP-AGENT-MIB::nsModuleTable, the agent's own list of what has been registered with it. Its index is
# the context, the registered OID and the priority; the first two are preceded by their length.
NS_MODULE_NAME = (1, 3, 6, 1, 4, 1, 8072, 1, 2, 1, 1, 4)
NS_MODULE_MODES = (1, 3, 6, 1, 4, 1, 8072, 1, 2, 1, 1, 5)
GET_AND_GETNEXT_ONLY = b"\x80"

TAGS = {"OctetString": OCTET_STRING, "Integer32": INTEGER, "TimeTicks": TIMETICKS}

#: An event of the router beyond those that there are.
NO_EVENT = 12


# --- name, OID, type and access -----------------------------------------------------------------------------

def registered(client, column: Oid) -> Dict[Oid, bytes]:
    """One column of nsModuleTable, by the OID that is registered."""
    found = {}
    for varbind in client.walk(column):
        index = varbind.oid[len(column):]
        context = 1 + index[0]
        length = index[context]
        found[index[context + 1:context + 1 + length]] = varbind.value
    return found


def below(root: Oid, oids: Dict[Oid, bytes]) -> Dict[Oid, bytes]:
    """Only what is the module's."""
    return {oid: value for oid, value in oids.items() if oid[:len(root)] == root}


@in_process_only("a master names its sessions in its registration table, and not their objects")
def test_the_agent_has_registered_just_what_the_mib_defines(agent, mib):
    names = below(mib.root, registered(agent.client, NS_MODULE_NAME))
    defined = {each.oid: each.name.encode() for each in [*mib.scalars, *mib.tables]}
    assert names == defined


@in_process_only("a master registers everything as writable, and leaves it to the host to refuse")
def test_it_has_registered_all_of_it_read_only(agent, mib):
    modes = below(mib.root, registered(agent.client, NS_MODULE_MODES))
    assert len(modes) == len(mib.scalars) + len(mib.tables)
    assert set(modes.values()) == {GET_AND_GETNEXT_ONLY}


def test_scalars_and_columns_are_of_their_types(agent, mib):
    served = {}
    for varbind in agent.client.walk(mib.root, max_repetitions=50):
        served.setdefault(varbind.oid[:-1], set()).add(varbind.tag)
    defined = {each.oid: {TAGS[each.type.base]} for each in [*mib.scalars, *mib.columns]}
    assert served == defined


def test_what_is_not_accessible_is_not_there(agent, mib):
    for table in mib.tables:
        beyond = table.columns[-1].oid[:-1] + (len(table.columns) + 1,)
        for column in (table.indexes[0].oid, beyond):
            varbind, = agent.client.get(column + (1,))
            assert varbind.tag in (NO_SUCH_OBJECT, NO_SUCH_INSTANCE), (table.name, column)


def test_nothing_can_be_set(agent, api, mib):
    agent.client.walk(mib.root, max_repetitions=50)
    values = {OCTET_STRING: octets("new"), INTEGER: encode_integer(1),
              TIMETICKS: encode_integer(1, TIMETICKS)}
    instances = [(scalar, scalar.oid + (0,)) for scalar in mib.scalars]
    instances += [(column, column.oid + (1,)) for column in mib.columns]
    agent.client.community, community = b"private", agent.client.community
    try:
        refused = {each.name: agent.client.set((oid, values[TAGS[each.type.base]])).error_status
                   for each, oid in instances}
    finally:
        agent.client.community = community
    assert set(refused.values()) == {NOT_WRITABLE}, refused


# --- values -------------------------------------------------------------------------------------------------

def extreme_router() -> Dict[str, Any]:
    """Numbers at the ends of their ranges, and texts longer than a manager may expect."""
    fields = router()
    for path in ("stats/serial/tx", "ipPipes/SERIAL2IP/port", "radius/timeout", "remoteAccess/timeoutSeconds",
                 "ppp/keepAlive/pingInterval", "stats/ppp/uptime"):
        *folders, last = path.split("/")
        parent = fields
        for step in folders:
            parent = parent[step]
        parent[last] = 4294967295
    fields["stats"]["pppTotal"] = dict.fromkeys(("todayTx", "totalTx", "todayRx", "totalRx"), 2**64 - 1)
    fields["system"].update(uptime="1e30", deviceId="Geräteschild " * 40)
    fields["syslog"]["logLevel"] = -2**31
    fields["routes"] = [{"name": f"route {number} with a long name"} for number in range(300)]
    return fields


STATES = {
    "all is well": lambda api: None,
    "at the ends of the ranges": lambda api: api.reset(extreme_router()),
    "the API knows nothing": lambda api: api.reset({}),
    "the API gives lists for everything": lambda api: api.reset({name: [[]] for name in router()}),
    "the API is down": lambda api: api.down(),
    "the API sends no JSON": lambda api: setattr(api, "fault", faults.body_instead("not JSON", b"<html>")),
}


@pytest.mark.parametrize("state", STATES.values(), ids=STATES.keys())
def test_values_are_within_their_sizes_and_ranges(state, agent, api, mib):
    state(api)
    types = {each.oid: each.type for each in [*mib.scalars, *mib.columns]}
    names = {each.oid: each.name for each in [*mib.scalars, *mib.columns]}
    seen = 0
    for varbind in agent.client.walk(mib.root, max_repetitions=50):
        seen += 1
        object_ = varbind.oid[:-1]
        assert types[object_].allows(varbind.value), (names[object_], varbind.value)
        if types[object_].name == "ZanSwitch":
            assert varbind.value in (b"True", b"False", b"Unknown"), names[object_]
        if types[object_].name == "ZanTrafficLine":
            assert re.fullmatch(rb"Unknown|current : \d+(?:, today : \d+, total : \d+)?", varbind.value)
    assert seen >= len(mib.scalars)
    agent.mark()


def test_position_is_the_index_less_one(agent, mib):
    positions = {table.columns[0].oid for table in mib.tables}
    tree = agent.client.walk(mib.root, max_repetitions=50)
    cells = [varbind for varbind in tree if varbind.oid[:-1] in positions]
    assert {varbind.oid[:-1] for varbind in cells} == positions
    assert [varbind.value for varbind in cells] == [varbind.oid[-1] - 1 for varbind in cells]


# --- a manager's tools --------------------------------------------------------------------------------------

def manager(program: str, agent, mib_file, base, *arguments: str) -> str:
    """A Net-SNMP tool with the MIB module; it must have nothing to complain of."""
    done = run(program, "-v2c", "-c", "public", *netsnmp_options(mib_file, base), *arguments[:-1],
               f"localhost:{agent.port}", f"{zanmib.NAME}::{arguments[-1]}")
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout


def test_a_walk_with_the_mib_reads_well(agent, mib, mib_file, base):
    lines = manager("snmpwalk", agent, mib_file, base, "zanSnmpExtMIB").splitlines()
    types = {each.name: each.type.base for each in [*mib.scalars, *mib.columns]}
    units = {each.name: each.units for each in [*mib.scalars, *mib.columns]}
    words = {"OctetString": "STRING", "Integer32": "INTEGER", "TimeTicks": "Timeticks"}
    named = set()
    for line in lines:
        match = re.fullmatch(rf"{zanmib.NAME}::(\w+)\.(\d+) = (\w+): (.*)", line)
        assert match, line
        name, _, word, value = match.groups()
        named.add(name)
        assert word == words[types[name]], line
        assert value.endswith(f" {units[name]}") or units[name] is None, line
    assert named == set(types)
    assert "zanRouterUptime.0 = Timeticks: (1234567) 3:25:45.67" in "\n".join(lines)
    assert f"{zanmib.NAME}::zanRemoteAccessHTTPSessionTimeout.0 = INTEGER: 600 seconds" in lines


def test_a_table_reads_as_a_table(agent, mib_file, base):
    text = manager("snmptable", agent, mib_file, base, "-Ci", "-Cb", "-Cf", "|", "zanOpenVpnTunnelsTable")
    assert [line for line in text.splitlines() if line][1:] == [
        "index|Position|Name|Enabled", "1|0|ovpn-a|True", "2|1|ovpn-b|False"]


# --- notifications ------------------------------------------------------------------------------------------

def test_events_are_sent_as_the_notifications_of_the_mib(make_agent, api, queue, traps, mib):
    agent = make_agent().start()
    numbers = range(1, len(mib.notifications) + 1)
    for number in [*numbers, NO_EVENT]:
        queue.post(number)
    agent.fire_alarm()
    sent = [trap.trap_oid for trap in traps.traps()]
    assert sent == [each.oid for each in mib.notifications]
    assert [each.name for each in mib.notifications] == [f"zanEvent{number}" for number in numbers]
    carried = {len(trap.message.varbinds) - len(("sysUpTime", "snmpTrapOID")) for trap in traps.traps()}
    assert carried == {len(each.objects) for each in mib.notifications}
    assert agent.take(WARNING) == b"unknown notification received [12].\n"


# --- sources ------------------------------------------------------------------------------------------------

def read(agent, clock, oid: Oid) -> Tuple[int, Any]:
    """Tag and value after all caches have expired."""
    clock.advance(CACHE_LIFETIME)
    varbind, = agent.client.get(oid)
    return varbind.tag, varbind.value


def values_with_a_source(mib) -> Iterator[Tuple[str, zanmib.Source, Oid]]:
    """Every scalar and column with a source, and an instance of it."""
    for scalar in mib.scalars:
        if scalar.source:
            yield scalar.name, scalar.source, scalar.oid + (0,)
    for column in mib.columns:
        if column.source:
            yield column.name, column.source, column.oid + (1,)


class Members:
    """A result's members by their paths as the MIB names them: "[]" stands for each element of a list."""

    def __init__(self, result: Any) -> None:
        self.result = result

    def places(self, path: str) -> List[Tuple[Any, Any]]:
        """(container, key) of every member that a path names."""
        found: List[Tuple[Any, Any]] = [({"result": self.result}, "result")]
        for step in ([] if path == "result" else path.split(".")):
            name, lists = step.rstrip("[]"), step.count("[]")
            found = [(container[key], name) for container, key in found if name in container[key]]
            for _ in range(lists):
                found = [(container[key], index) for container, key in found
                         for index in range(len(container[key]))]
        return found

    def value(self, path: str) -> Any:
        """What the first place of a path holds."""
        container, key = self.places(path)[0]
        return container[key]

    def changed(self, path: str, value: Any) -> "Members":
        """A copy with another value at every place of a path."""
        other = Members(copy.deepcopy(self.result))
        if path == "result":
            return Members(value)
        for container, key in other.places(path):
            container[key] = value
        return other

    def only(self, paths: Set[str]) -> "Members":
        """A copy without the members that no path names; lists and objects on the way stay."""
        kept = {(id(container), key) for path in paths for container, key in self.places(path)}
        return Members(self._pruned(self.result, kept) if "result" not in paths else self.result)

    def _pruned(self, value: Any, kept: Set[Tuple[int, Any]]) -> Any:
        if isinstance(value, dict):
            return dict(self._kept_pairs(value, value.items(), kept))
        return [member for _, member in self._kept_pairs(value, enumerate(value), kept)]

    def _kept_pairs(self, container: Any, pairs: Iterable[Tuple[Any, Any]],
                    kept: Set[Tuple[int, Any]]) -> Iterator[Tuple[Any, Any]]:
        for key, member in pairs:
            if (id(container), key) in kept:
                yield key, member
            elif isinstance(member, (dict, list)):
                yield key, self._pruned(member, kept)


def test_the_members_of_a_source_are_enough(agent, api, clock, mib):
    for name, source, oid in values_with_a_source(mib):
        whole = read(agent, clock, oid)
        api.results[source.query] = Members(api.result(source.query)).only(set(source.members)).result
        assert read(agent, clock, oid) == whole, name
        del api.results[source.query]


#: What makes the module look at members that it has no use for in the standard router.
TURNS = (True, False, "", "CDMA", "CLIENT", "Connected", "NONE", "ppp0", "INPUT", "FORWARD", "OUTPUT", "DNAT",
         "SNAT")


def turned(members: Members, source: zanmib.Source) -> Iterator[Members]:
    """The router as it is, and with one member of a source changed in all sensible ways."""
    yield members
    for path, value in itertools.product(source.members, TURNS):
        if path != "result" and isinstance(value, type(members.value(path))):
            yield members.changed(path, value)


def test_every_member_of_a_source_counts(agent, api, clock, mib):
    def value_of(members: Members, source: zanmib.Source, oid: Oid) -> Tuple[int, Any]:
        api.results[source.query] = members.result
        return read(agent, clock, oid)

    def counts(path: str, source: zanmib.Source, oid: Oid) -> bool:
        for members in turned(Members(standard[source.query]), source):
            whole = value_of(members, source, oid)
            for poison in ({"no": "value"}, "", 1):
                if value_of(members.changed(path, poison), source, oid) != whole:
                    return True
        return False

    sources = list(values_with_a_source(mib))
    standard = {source.query: api.result(source.query) for _, source, _ in sources}
    idle = [(name, path) for name, source, oid in sources for path in source.members
            if not counts(path, source, oid)]
    assert idle == []
