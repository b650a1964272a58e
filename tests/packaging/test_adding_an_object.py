"""docs/adding-an-object.md, followed to the letter in a copy of the tree."""

import os
import re
import subprocess
from pathlib import Path
from typing import List

import pytest
from conftest import ROOT, copy_sources

DOCUMENT = (ROOT / "docs" / "adding-an-object.md").read_text("utf-8")
EDITS = re.findall(r"^```diff\n(.*?)^```$", DOCUMENT, re.M | re.S)

MIB = "mibs/ZAN-SNMPEXT-MIB.txt.in"

#: All that a change of an object can break, without what takes minutes.
FAST = (r"^(unit\.|integration-(spine|groups|tables|model|harness|generative|simulator|mib_contract|"
        r"mib_module|monitoring)$)")

ASK = f"""
. "{ROOT}/tests/packaging/wait"
"$TREE/tools/zan-router-sim" >"$HOME/simulator" 2>&1 &
wait_for test -S /run/api/http.sock
/usr/sbin/snmpd -f -r -C -c "$HOME/snmpd.conf" -Lf "$HOME/log" -I -ipAddressTable &
wait_for snmpget -v2c -c public -t 0.2 -r 0 127.0.0.1:1161 .1.3.6.1.2.1.1.3.0
snmpget -v2c -c public -Ovq 127.0.0.1:1161 .1.3.6.1.4.1.32473.14.1.1.3.12.0
"""


def edited(edit: str) -> str:
    """The file that an edit is for."""
    return re.search(r"^\+\+\+ b/(\S+)$", edit, re.M)[1]


class Tree:
    """A copy of the sources and its build, in a folder with a name as people give them."""

    def __init__(self, folder: Path) -> None:
        self.source = folder / "router's tree"
        self.build = self.source / "build"
        copy_sources(self.source)

    def apply(self, edits: List[str], *options: str) -> None:
        """Make the edits of the document, exactly where it says."""
        for edit in edits:
            subprocess.run(["patch", "-p1", "--fuzz=0", *options], cwd=self.source, input=edit, text=True,
                           stdout=subprocess.DEVNULL, check=True)

    def make_from_the_mib(self) -> None:
        """Run the commands that the document names for what is made from the MIB module."""
        block, = re.findall(r"^```sh\n((?:.*/generate.*\n)+)```$", DOCUMENT, re.M)
        for command in block.splitlines():
            base = ["--base", base_modules()] if "objects" in command else []
            subprocess.run([self.source / command, *base], stdout=subprocess.DEVNULL, check=True)

    def compile(self, *targets: str) -> None:
        """Configure and build."""
        subprocess.run(["cmake", "-S", self.source, "-B", self.build, "-G", "Ninja", "-DZAN_BUILD_TESTS=ON"],
                       stdout=subprocess.DEVNULL, check=True)
        chosen = ["--target", *targets] if targets else []
        result = subprocess.run(["cmake", "--build", self.build, "--parallel", "2", *chosen],
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        assert result.returncode == 0, result.stdout[-4000:]

    def test(self, names: str) -> "subprocess.CompletedProcess[str]":
        """Run tests of the copy."""
        environment = {**os.environ, "ZAN_BASE_MIBS": str(base_modules()), "ZAN_STATES": "20"}
        return subprocess.run(["ctest", "--test-dir", self.build, "--output-on-failure", "--parallel", "2",
                               "--no-tests=error", "--fixture-exclude-setup", "mib_base", "-R", names],
                              env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              check=False)


def base_modules() -> Path:
    """The modules that the MIB imports from, fetched if they are not there yet."""
    result = subprocess.run([ROOT / "mibs/base/fetch"], stdout=subprocess.PIPE, text=True, check=True)
    return Path(result.stdout.strip())


@pytest.fixture(scope="module")
def tree(tmp_path_factory) -> Tree:
    """The tree with all of the document's edits, built."""
    tree = Tree(tmp_path_factory.mktemp("adding"))
    tree.apply(EDITS)
    assert stale(tree)
    tree.make_from_the_mib()
    tree.compile()
    return tree


def stale(tree: Tree) -> bool:
    """Whether objects.md is not what the MIB module makes it."""
    command = [tree.source / "scripts/generate-objects-md", "--base", base_modules(), "--check"]
    done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
    return done.returncode != 0


def test_the_edits_are_those_of_the_steps():
    assert [edited(edit) for edit in EDITS] == [
        "include/zanradio.h", "src/zanradio.cpp", "src/zansnmpext.cpp", MIB, "tools/scenarios/router.json"]


def test_the_agent_serves_the_new_object(tree, tmp_path):
    # The agent splits this line at blanks.
    module = tmp_path / "zansnmpext.so"
    module.symlink_to(tree.build / "zansnmpext.so")
    (tmp_path / "snmpd.conf").write_text(
        f"agentaddress udp:127.0.0.1:1161\nrocommunity public\ndlmod zansnmpext {module}\n", "ascii")
    environment = {**os.environ, "HOME": str(tmp_path), "TREE": str(tree.source), "MIBS": "",
                   "SNMP_PERSISTENT_DIR": str(tmp_path), "SNMPCONFPATH": str(tmp_path)}
    result = subprocess.run([ROOT / "tests/private", "bash", "-euc", f"mkdir /run/api; {ASK}"],
                            env=environment, stdout=subprocess.PIPE, text=True, check=False)
    assert result.stdout.splitlines()[-1:] == ['"B20"']


def test_all_fast_tests_pass_with_no_other_edit(tree):
    result = tree.test(FAST)
    assert result.returncode == 0, result.stdout[-8000:]
    for name in ("unit.objects", "integration-groups", "integration-mib_contract", "integration-simulator"):
        assert re.search(rf" {re.escape(name)} \.+ +Passed ", result.stdout), name


def test_the_contract_breaks_without_the_mib_object(tree):
    mib = [edit for edit in EDITS if edited(edit) == MIB]
    tree.apply(mib, "--reverse")
    try:
        tree.compile("zansnmpext")
        result = tree.test("integration-mib_contract")
        assert result.returncode != 0
        assert re.search("^FAILED .*::test_the_agent_has_registered_just_what_the_mib_defines",
                         result.stdout, re.M)
    finally:
        tree.apply(mib)


def test_objects_md_is_made_from_the_mib(tree):
    assert not stale(tree)
    assert "| `zanRadioBand` | root.1.3.12 |" in (tree.source / "docs/objects.md").read_text("utf-8")
