"""The recipes for build systems of firmware, as far as they can be tried without one.

OpenWrt's makefile is read by make, with stand-ins for OpenWrt's own makefiles, and builds the module with
this machine's compiler. Buildroot's and Yocto's give CMake the same options, so that what they do with an
installation is tried on that build.
"""

import hashlib
import os
import re
import subprocess
from pathlib import Path
from typing import Dict, List, NamedTuple

import pytest
from conftest import NUMBER, ROOT, version

PACKAGING = ROOT / "packaging"
BUILDROOT = PACKAGING / "buildroot" / "package" / "zansnmpext"
YOCTO = PACKAGING / "yocto" / "recipes-zansnmpext" / "zansnmpext"

#: In place of the build systems' own makefiles.
STANDINS = ROOT / "tests" / "packaging" / "standins"


class Firmware(NamedTuple):
    """What OpenWrt's recipe has built: the build folder, and a folder for each package."""

    build: Path
    packages: Path


def make(*arguments) -> str:
    """What make prints."""
    done = subprocess.run(["make", "-s", "--no-print-directory", *map(str, arguments)], text=True,
                          check=False, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    assert done.returncode == 0, done.stdout[-4000:]
    return done.stdout


@pytest.fixture(scope="module")
def openwrt(tmp_path_factory) -> List[str]:
    """The command line that reads OpenWrt's recipe, without the goal."""
    return ["-C", PACKAGING / "openwrt" / "zansnmpext", f"TOPDIR={STANDINS / 'openwrt'}",
            f"OUT={tmp_path_factory.mktemp('openwrt')}", f"CONFIG_ZANSNMPEXT_ENTERPRISE_NUMBER={NUMBER}"]


@pytest.fixture(scope="module")
def firmware(openwrt) -> Firmware:
    """The packages of OpenWrt's recipe."""
    make(*openwrt, "packages")
    out = Path(openwrt[3].removeprefix("OUT="))
    return Firmware(out / "build" / "out", out)


def files(folder: Path) -> List[str]:
    """The files below a folder."""
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*")
                  if path.is_symlink() or not path.is_dir())


def cache(build: Path) -> Dict[str, str]:
    """The settings of a build."""
    return dict(re.findall(r"^(\w+):\w+=(.*)$", (build / "CMakeCache.txt").read_text("utf-8"), re.M))


def settings(options: str) -> Dict[str, str]:
    """The settings that options of CMake make."""
    return dict(re.findall(r"-D(\w+)=(\S+)", options))


def test_openwrt_takes_version_and_number(openwrt, firmware):
    printed = make(*openwrt, "print")
    assert f"zansnmpext {version()} " in printed
    given = settings(printed)
    assert given["ZAN_ENTERPRISE_NUMBER"] == str(NUMBER) and len(given) >= 3
    assert {name: cache(firmware.build)[name] for name in given} == given
    poster = firmware.packages / "zansnmpext/usr/bin/zan-post-event"
    stamp = subprocess.run([poster, "--version"], stdout=subprocess.PIPE, text=True, check=True).stdout
    assert f"(enterprise number {NUMBER})" in stamp


def test_openwrt_packs_the_module(firmware):
    assert files(firmware.packages / "zansnmpext") == ["usr/bin/zan-post-event",
                                                       "usr/lib/snmp/dlmod/zansnmpext.so"]


def test_openwrt_packs_the_host_with_all_that_it_starts_with(firmware):
    host = firmware.packages / "zansnmpext-host"
    assert files(host) == ["etc/init.d/zansnmpext-host", "etc/zansnmpext/host.conf",
                           "usr/lib/snmp/dlmod/zanhost.so"]
    configuration = (host / "etc/zansnmpext/host.conf").read_text("ascii")
    assert re.findall("^agentXSocket (.*)$", configuration, re.M) == ["/var/run/agentx.sock"]
    loaded = re.findall(r"^dlmod \w+ /(.*)$", configuration, re.M)
    assert len(loaded) == 2
    for module in loaded:
        assert any((firmware.packages / name / module).is_file() for name in (host.name, "zansnmpext"))


def test_openwrts_init_script_starts_the_host_under_procd(firmware):
    """In busybox's shell, with a procd that prints what it is told."""
    script = firmware.packages / "zansnmpext-host/etc/init.d/zansnmpext-host"
    procd = "".join(f'procd_{name}() {{ echo "{name} $*"; }}; '
                    for name in ("open_instance", "set_param", "close_instance"))
    run = procd + '. "$0"; start_service; echo "$START $USE_PROCD"'
    said = subprocess.run(["busybox", "ash", "-euc", run, script], stdout=subprocess.PIPE, check=True,
                          text=True).stdout.splitlines()
    assert (said[0].strip(), said[-2].strip()) == ("open_instance", "close_instance")
    command = next(line.split()[2:] for line in said if line.startswith("set_param command "))
    assert command[0] == "/usr/sbin/snmpd"
    assert command[command.index("-c") + 1] == "/etc/zansnmpext/host.conf"
    # Behind the agent's own, which OpenWrt starts at 50.
    assert said[-1] == "51 1"


def test_an_option_of_the_recipes_is_one_of_the_build(openwrt):
    """CMake takes what it does not know without a word."""
    listed = set(re.findall(r"\b(?:option|set)\((ZAN_\w+)", "".join(
        path.read_text("utf-8") for path in [ROOT / "CMakeLists.txt", *ROOT.glob("cmake/*.cmake"),
                                             *ROOT.glob("packaging/**/*.txt")])))
    recipes = [make(*openwrt, "print"), (BUILDROOT / "zansnmpext.mk").read_text("ascii"),
               (YOCTO / "zansnmpext.bb").read_text("ascii")]
    for recipe in recipes:
        assert settings(recipe) and set(settings(recipe)) <= listed


@pytest.fixture
def buildroot() -> List[str]:
    """The command line that reads Buildroot's recipe, without the goal."""
    return ["-C", STANDINS / "buildroot", f"BR2_EXTERNAL_ZANSNMPEXT_PATH={PACKAGING / 'buildroot'}",
            f"BR2_PACKAGE_ZANSNMPEXT_ENTERPRISE_NUMBER={NUMBER}", "BR2_CMAKE=cmake"]


def test_buildroot_installs_the_module_and_has_the_agent_load_it(buildroot, firmware, tmp_path):
    printed = make(*buildroot, f"TARGET_DIR={tmp_path}", f"ZANSNMPEXT_BUILDDIR={firmware.build}", "target")
    assert f"version {version()}\n" in printed
    assert settings(printed).items() <= cache(firmware.build).items()
    installed = files(tmp_path)
    assert {"usr/lib/snmp/dlmod/zansnmpext.so", "usr/bin/zan-post-event"} <= set(installed)
    assert "usr/bin/zan-router-sim" not in installed
    loading = (tmp_path / "etc/snmp/snmpd.local.conf").read_text("ascii")
    assert loading.endswith("dlmod zansnmpext /usr/lib/snmp/dlmod/zansnmpext.so\n")


def test_buildroots_options_are_read_by_a_parser_of_kconfig(tmp_path):
    script = tmp_path / "read"
    (tmp_path / "Config.in").write_text(
        "".join(f"config BR2_{name}\n\tbool\n\tdefault {value}\n" for name, value in {
            "INSTALL_LIBSTDCPP": "y", "USE_MMU": "y", "STATIC_LIBS": "n"}.items())
        + "".join(f"config BR2_PACKAGE_{name}\n\tbool\n" for name in (
            "JSONCPP", "LIBCURL", "NETSNMP", "NETSNMP_SERVER"))
        + 'source "$BR2_EXTERNAL_ZANSNMPEXT_PATH/Config.in"\n', encoding="ascii")
    script.write_text("""
import kconfiglib
config = kconfiglib.Kconfig("Config.in", warn_to_stderr=False)
config.syms["BR2_PACKAGE_ZANSNMPEXT"].set_value(2)
for name in ("JSONCPP", "LIBCURL", "NETSNMP", "NETSNMP_SERVER"):
    assert config.syms["BR2_PACKAGE_" + name].tri_value == 2, name
print(config.warnings, config.syms["BR2_PACKAGE_ZANSNMPEXT_ENTERPRISE_NUMBER"].str_value)
""", encoding="ascii")
    tree = {"BR2_EXTERNAL_ZANSNMPEXT_PATH": str(PACKAGING / "buildroot")}
    done = subprocess.run(["/usr/bin/python3", script], cwd=tmp_path, text=True, check=True,
                          stdout=subprocess.PIPE, env={**os.environ, **tree})
    assert done.stdout == "[] 32473\n"


def test_the_terms_are_those_that_buildroot_and_yocto_have_seen():
    terms = (PACKAGING / "debian" / "copyright").read_bytes()
    assert hashlib.sha256(terms).hexdigest() in (BUILDROOT / "zansnmpext.hash").read_text("ascii").split()
    assert f"packaging/debian/copyright;md5={hashlib.md5(terms).hexdigest()}" in (
        (YOCTO / "zansnmpext.bb").read_text("ascii"))


class Recipe:
    """The parts of a BitBake recipe that the tests look at, with the values of what BitBake would know."""

    def __init__(self, path: Path, **given: str) -> None:
        text = re.sub(r"\\\n", " ", path.read_text("ascii"))
        self.values = dict(given)
        for name, operator, value in re.findall(r'^([\w:${}-]+) *([?+:.=]*=[+.]?) *"(.*)"$', text, re.M):
            if operator == "?=" and name in self.values:
                continue
            before = self.values.get(name, "") + " " if "+" in operator else ""
            self.values[name] = before + value
        self.functions = dict(re.findall(r"^(\w[\w:]*)\(\) \{\n(.*?)^\}$", text, re.M | re.S))

    def expand(self, text: str) -> str:
        """The text with its variables' values in it."""
        def value(match: re.Match) -> str:
            if match[1].startswith("@"):
                return str(eval(match[1][1:], {"os": os, "d": self}))  # the recipe's own inline Python
            return self.expand(self.values[match[1]])

        return re.sub(r"\$\{([^}]+)\}", value, text)

    def getVar(self, name: str) -> str:  # noqa: N802: BitBake's name
        """As inline Python asks for a variable."""
        return self.expand(self.values[name])

    def run(self, function: str) -> None:
        """Run a shell function."""
        subprocess.run(["sh", "-euc", self.expand(self.functions[function])], check=True)


@pytest.fixture
def recipe(tmp_path) -> Recipe:
    """Yocto's recipe, for an image in a folder."""
    return Recipe(YOCTO / "zansnmpext.bb", PN="zansnmpext", THISDIR=str(YOCTO), WORKDIR=str(tmp_path),
                  D=str(tmp_path / "image"), PTEST_PATH="/usr/lib/zansnmpext/ptest", libdir="/usr/lib",
                  bindir="/usr/bin", prefix="/usr", datadir="/usr/share", sysconfdir="/etc",
                  ZAN_ENTERPRISE_NUMBER=str(NUMBER))


def test_yocto_finds_the_sources_and_their_version(recipe):
    assert recipe.getVar("PV") == version()
    assert Path(recipe.getVar("EXTERNALSRC")) == ROOT
    for file in re.findall(r"file://([^\s;]+)", recipe.values["SRC_URI"]):
        assert (YOCTO / "files" / file).is_file()


def test_yocto_divides_all_that_is_installed_among_its_packages(recipe, firmware):
    given = settings(recipe.getVar("EXTRA_OECMAKE"))
    assert given.items() <= cache(firmware.build).items()
    image = Path(recipe.values["D"])
    subprocess.run(["cmake", "--install", firmware.build], check=True, stdout=subprocess.DEVNULL,
                   env={**os.environ, "DESTDIR": str(image)})
    recipe.run("do_install:append")
    assert (image / "etc/snmp/snmpd.local.conf").resolve() == image / "etc/zansnmpext/snmpd.conf"
    # What BitBake gives a package by default, as far as there is any of it here.
    standard = {"${PN}": ["/usr/bin/zan-post-event", "/etc"],
                "${PN}-doc": ["/usr/share/doc", "/usr/share/man"]}
    owners: Dict[str, List[str]] = {}
    for package in ["${PN}-host", "${PN}-mib", "${PN}-sim", "${PN}", "${PN}-doc"]:
        patterns = recipe.expand(recipe.values.get("FILES:" + package, "")).split()
        for pattern in patterns + standard.get(package, []):
            found = [file for file in files(image) if f"/{file}/".startswith(pattern + "/")]
            assert found, f"nothing for {pattern}"
            for file in found:
                owners.setdefault(file, []).append(package)
    assert set(owners) == set(files(image))
    assert owners["usr/lib/snmp/dlmod/zansnmpext.so"][0] == "${PN}"
    assert owners["usr/share/snmp/mibs/ZAN-SNMPEXT-MIB.txt"][0] == "${PN}-mib"
    for file in recipe.getVar("CONFFILES:${PN}").split():
        assert file.removeprefix("/") in owners


def test_yoctos_test_of_the_target_finds_the_module_and_its_absence(recipe, firmware, tmp_path):
    folder = tmp_path / "image/usr/lib/zansnmpext/ptest"
    folder.mkdir(parents=True)
    script = folder / "run-ptest"
    script.write_bytes((YOCTO / "files" / "run-ptest").read_bytes())
    recipe.run("do_install_ptest")

    def run(module: Path) -> List[str]:
        done = subprocess.run([ROOT / "tests" / "private", "busybox", "ash", script], text=True, check=False,
                              stdout=subprocess.PIPE, env={**os.environ, "ZAN_MODULE": str(module)})
        lines = done.stdout.splitlines()
        assert (done.returncode == 0) == all(line.startswith("PASS: ") for line in lines)
        return [line.split(":")[0] for line in lines]

    assert run(firmware.packages / "zansnmpext/usr/lib/snmp/dlmod/zansnmpext.so") == ["PASS"] * 4
    assert run(tmp_path / "missing.so") == ["PASS", "FAIL", "FAIL", "PASS"]


def test_an_agent_reads_the_link_beside_its_configuration(firmware, tmp_path):
    module = firmware.packages / "zansnmpext/usr/lib/snmp/dlmod/zansnmpext.so"
    (tmp_path / "snmpd.conf").write_text("agentaddress udp:127.0.0.1:1161\n", encoding="ascii")
    (tmp_path / "loading.conf").write_text(f"dlmod zansnmpext {module}\n", encoding="ascii")
    (tmp_path / "snmpd.local.conf").symlink_to("loading.conf")
    command = [ROOT / "tests" / "private", "timeout", "30", "/usr/sbin/snmpd", "-f", "-Lo", "-I", "-smux"]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, stderr=subprocess.STDOUT, env={
            **os.environ, "SNMPCONFPATH": str(tmp_path), "SNMP_PERSISTENT_DIR": str(tmp_path)}) as agent:
        try:
            assert any("zansnmpext:  initialization complete" in line for line in agent.stdout)
        finally:
            agent.kill()
