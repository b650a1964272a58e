"""Prometheus's SNMP exporter in both forms of its file: Debian 12's version, 0.21, and Debian 13's, 0.28."""

import os
import re
import subprocess
from pathlib import Path
from typing import Any, Dict, Iterator, List

import pytest

from harness import CACHE_LIFETIME
from monitoring_support import MADE, Exporter

#: Another Debian's root, made by scripts/test-managers.
DEBIAN_13 = os.environ.get("ZAN_DEBIAN_13")

#: Routers, as changes of the harness's, whose values are told differently or not at all.
ROUTERS: List[Dict[str, Any]] = [
    {},
    {"productId": ""},
    {"productId": 'a "quoted" \\ text\nGebäude 3 ☎'},
    {"productId": "x" * 3000},
]


@pytest.fixture(scope="module", name="exporters")
def exporters_fixture(tmp_path_factory) -> Iterator[List[Exporter]]:
    """This machine's exporter, and that of Debian 13, each with the file of its form."""
    assert DEBIAN_13, "ZAN_DEBIAN_13 names no root: this test is run by scripts/test-managers"
    # The mount is this test's alone: it runs in a mount namespace of its own.
    seen = Path(DEBIAN_13 + str(MADE))
    seen.mkdir(parents=True, exist_ok=True)
    subprocess.run(["mount", "--bind", MADE, seen], check=True)
    made = [Exporter(tmp_path_factory.mktemp("this")),
            Exporter(tmp_path_factory.mktemp("other"), ["chroot", DEBIAN_13, "prometheus-snmp-exporter"])]
    yield made
    for exporter in made:
        exporter.stop()


def test_both_forms_are_read_by_the_versions_that_they_are_for(exporters):
    assert [exporter.version for exporter in exporters] == [(0, 21), (0, 28)]


@pytest.mark.parametrize("access", ["v2c", "v3"])
@pytest.mark.parametrize("module", ["zansnmpext", "zansnmpext_subscriber"])
def test_both_give_the_same_metrics(module, access, exporters, make_agent, api, clock):
    agent = make_agent(extra_configuration='createUser manager SHA-256 "a passphrase of 8 or more" '
                                           'AES "another passphrase"\nrouser manager priv').start()
    for changes in ROUTERS:
        api.fields["system"].update(changes)
        clock.advance(CACHE_LIFETIME)
        first, second = (exporter.scrape(agent.port, module, access) for exporter in exporters)
        assert first == second != {}


def test_both_say_the_same_in_their_help(exporters, agent):
    first, second = (re.findall(r"^# (?:HELP|TYPE) (zan.*)$", exporter.text(agent.port), re.M)
                     for exporter in exporters)
    assert first == second != []


def test_both_tell_the_same_of_a_router_whose_api_is_down(exporters, agent, api, clock):
    api.down()
    clock.advance(CACHE_LIFETIME)
    first, second = (exporter.scrape(agent.port) for exporter in exporters)
    agent.mark()  # one failure is logged for each query and object
    assert first == second != {}
