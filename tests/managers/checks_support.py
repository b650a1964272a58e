"""What Icinga and Nagios have in common: the services, what happens to the router, and what it runs on."""

from typing import Any, Dict, Iterator

import pytest

from harness import SOCKET_PATH, TIME_SCALE
from monitoring_support import Router, uptime_passes

OK, WARNING, CRITICAL = 0, 1, 2

#: The service that all others depend on.
API = "Management API"

#: What happens to the router, and the service that tells it, with its state.
EVENTS: Dict[str, Any] = {
    "Cellular signal": (["stats/ppp/rssiDbm=-105"], WARNING),
    "Roaming": (["stats/ppp/roaming=true"], CRITICAL),
    "Cellular link": (["stats/ppp/uptime=0"], CRITICAL),
    "WAN link in use": (["waninfo/wans/1/current=false", "waninfo/wans/2/current=true"], CRITICAL),
    "DoS prevention": (["remoteAccess/dosAttackPrevention/enabled=false"], CRITICAL),
    "Uptime": (["system/uptime=5.00"], WARNING),
    API: (["fault=down"], CRITICAL),
}

ALL_RIGHT = {name: OK for name in EVENTS}

#: The user whom the shipped files name.
USER = ('createUser manager SHA-256 "a passphrase of 8 or more" AES "another passphrase"\n'
        "rouser manager priv")


@pytest.fixture(name="router", scope="module")
def router_fixture(tmp_path_factory) -> Iterator[Router]:
    """The simulated router."""
    router = Router(tmp_path_factory.mktemp("router"), SOCKET_PATH)
    yield router
    router.stop()


@pytest.fixture(name="time_passes", autouse=True)
def time_passes_fixture(clock) -> Iterator[None]:
    """The agent's values are never old."""
    with uptime_passes(clock, 20 / TIME_SCALE):
        yield
