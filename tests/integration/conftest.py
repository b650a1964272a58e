"""Fixtures: one fake API, one clock and one trap port per run, and an agent shared by most tests."""

from __future__ import annotations  # pytest 6.0 has not all of the names below

import os
import signal
from pathlib import Path
from typing import Callable, Iterator, List, Set, Tuple

import pytest

from harness import (ERROR, HOSTED, MODULE, WARNING, Agent, Api, CACHE_LIFETIME, Clock, EventQueue,
                     TrapListener)
from harness.router import router

_AGENTS: List[Agent] = []
_APIS: List[Api] = []
_FIGURES: List[Tuple[str, str, str]] = []  # the test's node, what it did, what came out
_FAILED: Set[str] = set()


def pytest_configure(config) -> None:
    config.addinivalue_line("markers", "in_process_only(reason): not for a hosted module")
    # A run in the background inherits that SIGINT is ignored, and so would whatever the tests end by it.
    signal.signal(signal.SIGINT, signal.default_int_handler)
    if not os.environ.get("ZAN_PRIVATE_NAMESPACES"):
        pytest.exit("these tests want namespaces of their own: start them with tests/integration/run", 4)


def pytest_collection_modifyitems(config, items: List[pytest.Item]) -> None:
    """Hosted, tests of the module inside the agent are none."""
    kept = [item for item in items if not (HOSTED and item.get_closest_marker("in_process_only"))]
    config.hook.pytest_deselected(items=[item for item in items if item not in kept])
    items[:] = kept


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    report = (yield).get_result()
    if report.failed:
        _FAILED.add(item.nodeid)
        for agent in _AGENTS:
            report.sections.append((f"agent in {agent.folder}", agent.report()))
        for api in _APIS:
            report.sections.append(("last API requests", "\n".join(api.targets()[-40:])))


def pytest_terminal_summary(terminalreporter) -> None:
    """What was measured, for a reader and for scripts/prove."""
    for node, what, figures in _FIGURES:
        result = "FAILED" if node in _FAILED else "passed"
        terminalreporter.write_line(f"measured: {what} | {result} | {figures}")


@pytest.fixture
def measured(request: pytest.FixtureRequest) -> Callable[[str, str], None]:
    """Takes what was done and how much of it, and the figures that came out, separated by semicolons."""
    return lambda what, figures: _FIGURES.append((request.node.nodeid, what, figures))


@pytest.fixture(scope="session")
def workspace(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """A folder for the files of this run."""
    return tmp_path_factory.mktemp("integration")


@pytest.fixture(scope="session")
def clock(workspace: Path) -> Iterator[Clock]:
    """The clock of the module's caches."""
    clock = Clock(workspace)
    yield clock
    clock.close()


@pytest.fixture(scope="session")
def module_file() -> Path:
    """The module under test."""
    if not MODULE.exists():
        pytest.exit(f"no module at {MODULE}: build it, or name it in ZAN_MODULE", returncode=4)
    return MODULE


@pytest.fixture(scope="session")
def _api() -> Iterator[Api]:
    api = Api(fields=router())
    api.up()
    _APIS.append(api)
    yield api
    api.release()
    api.down()


@pytest.fixture
def api(_api: Api, clock: Clock) -> Api:
    """The API, up and serving the standard router; whatever the module had cached before has expired."""
    _api.reset(router())
    clock.advance(CACHE_LIFETIME)
    return _api


@pytest.fixture(scope="session")
def _traps() -> TrapListener:
    return TrapListener()


@pytest.fixture
def traps(_traps: TrapListener) -> TrapListener:
    """The port that every agent sends its traps to, empty."""
    _traps.clear()
    return _traps


@pytest.fixture
def queue() -> Iterator[EventQueue]:
    """The event queue, as far as it exists; removed before and after the test."""
    queue = EventQueue()
    queue.remove()
    yield queue
    queue.remove()


@pytest.fixture(scope="session")
def _shared(workspace: Path, module_file: Path, _traps: TrapListener) -> Iterator[Agent]:
    agent = Agent(workspace / "shared", trap_port=_traps.port, module=module_file)
    yield agent
    if agent.alive:
        status = agent.stop()
        assert status == 0, agent.report()


@pytest.fixture
def agent(_shared: Agent, api: Api, clock: Clock) -> Iterator[Agent]:
    """An agent that serves many tests. A test takes from the log what it makes fail; nothing may be left."""
    if not _shared.alive:
        # Without the API at its start it has no alarm, and no test's queue is any of its business.
        api.down()
        _shared.start()
        api.up()
    _shared.mark()
    api.requests.clear()
    _AGENTS.append(_shared)
    yield _shared
    _AGENTS.remove(_shared)
    _shared.check_alive()
    assert (_shared.take(ERROR), _shared.take(WARNING)) == (b"", b""), "logged without being expected"


@pytest.fixture
def make_agent(workspace: Path, tmp_path_factory: pytest.TempPathFactory, _traps: TrapListener, clock: Clock,
               ) -> Iterator[Callable[..., Agent]]:
    """Makes agents of the test's own, not yet started. Those that run at its end must stop in good order."""
    made: List[Agent] = []

    def make(**options) -> Agent:
        options.setdefault("trap_port", _traps.port)
        agent = Agent(tmp_path_factory.mktemp("agent"), **options)
        made.append(agent)
        _AGENTS.append(agent)
        return agent

    yield make
    for api in _APIS:
        api.release()
    statuses = [agent.stop() for agent in made if agent.alive]
    for agent in made:
        agent.client.close()
        _AGENTS.remove(agent)
    assert not any(statuses), "an agent did not stop in good order"
