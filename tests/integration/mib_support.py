"""What the tests of the MIB module share: the module as built, the modules it imports from, libsmi's view."""

import os
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import Sequence

import pytest

from harness import MODULE, SOURCE_ROOT

sys.path.insert(0, str(SOURCE_ROOT / "mibs"))

import zanmib  # noqa: E402  (found through the line above)

#: The MIB module that the build made together with the agent module.
MIB_FILE = Path(os.environ.get("ZAN_MIB") or MODULE.parent / "mibs" / f"{zanmib.NAME}.txt")


@pytest.fixture(scope="session", name="mib_file")
def mib_file_fixture() -> Path:
    """The MIB module under test."""
    if not MIB_FILE.exists():
        pytest.fail(f"no MIB module at {MIB_FILE}: build it, or name it in ZAN_MIB")
    return MIB_FILE


@pytest.fixture(scope="session", name="base")
def base_fixture() -> Path:
    """The folder of the modules that the MIB module imports from; in here is no network to fetch them."""
    given = os.environ.get("ZAN_BASE_MIBS")
    try:
        return Path(given) if given else zanmib.fetch_base("--cached")
    except zanmib.MibError as error:
        pytest.fail(str(error))


@pytest.fixture(scope="session", name="mib")
def mib_fixture(mib_file: Path, base: Path) -> zanmib.Mib:
    """The MIB module as libsmi reads it."""
    return zanmib.load(mib_file, base)


def run(*command: object) -> "subprocess.CompletedProcess[str]":
    """A program's output, whatever its status, without the configuration of the host's Net-SNMP tools."""
    with tempfile.TemporaryDirectory() as folder:
        (Path(folder) / "cert_indexes").mkdir()  # which the tools would report having made
        environment = {**os.environ, "SNMPCONFPATH": folder, "SNMP_PERSISTENT_DIR": folder}
        return subprocess.run([str(word) for word in command], env=environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)


def netsnmp_options(mib_file: Path, base: Path) -> Sequence[str]:
    """What makes Net-SNMP's tools load the MIB module and nothing else, and complain of errors in it."""
    return ("-M", f"{base}:{mib_file.parent}", "-m", zanmib.NAME, "-Pe")
