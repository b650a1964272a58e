"""The Debian packages and the installation, short of installing them: see scripts/test-package for that."""

import filecmp
import gzip
import os
import re
import subprocess
from pathlib import Path
from typing import Dict, List

import pytest
from conftest import NUMBER, ROOT, version

PACKAGES = ["zansnmpext", "zansnmpext-host", "zansnmpext-mib", "zansnmpext-sim"]

DOCUMENTS = ["changelog.Debian.gz", "changelog.gz", "copyright"]


def output(*command) -> str:
    """What a command prints."""
    return subprocess.run([*map(str, command)], stdout=subprocess.PIPE, check=True, text=True).stdout


TRIPLET = output("dpkg-architecture", "-q", "DEB_HOST_MULTIARCH").strip()
MODULE = f"usr/lib/{TRIPLET}/snmp/dlmod/zansnmpext.so"
HOST_MODULE = f"usr/lib/{TRIPLET}/snmp/dlmod/zanhost.so"
UNIT = "zansnmpext-host.service"

#: What the sandbox of the host's unit may be rated at most, from 0 (safe) to 10.
EXPOSURE = 2.0


def control(package: Path) -> Dict[str, str]:
    """The control fields of a package."""
    fields = re.findall(r"^(\S+):((?:.*\n)(?: .*\n)*)", output("dpkg-deb", "--field", package), re.M)
    return {name: text.strip() for name, text in fields}


@pytest.fixture(scope="module")
def contents(build, tmp_path_factory) -> Dict[str, Path]:
    """The packages, unpacked, with their control files in DEBIAN."""
    folders = {}
    for name, package in build.packages.items():
        folders[name] = tmp_path_factory.mktemp(name)
        subprocess.run(["dpkg-deb", "--raw-extract", package, folders[name]], check=True)
    return folders


def files(folder: Path) -> List[str]:
    """The files below a folder, but for monitoring, whose contents are its own affair."""
    paths = [path for path in folder.rglob("*") if path.is_symlink() or not path.is_dir()]
    names = [str(path.relative_to(folder)) for path in paths]
    return sorted(name for name in names if not name.startswith("DEBIAN/") and "/monitoring/" not in name)


def documents(package: str) -> List[str]:
    """What every package has."""
    folder = f"usr/share/doc/{package}"
    return [*(f"{folder}/{name}" for name in DOCUMENTS), f"usr/share/lintian/overrides/{package}"]


def test_two_builds_give_the_same_bytes(build, other_build):
    assert sorted(build.packages) == sorted(other_build.packages) == PACKAGES
    for name in PACKAGES:
        assert build.packages[name].name == other_build.packages[name].name
        assert filecmp.cmp(build.packages[name], other_build.packages[name], shallow=False), name


def test_the_router_gets_what_it_needs(contents):
    assert files(contents["zansnmpext"]) == sorted([
        *documents("zansnmpext"), MODULE, "etc/zansnmpext/snmpd.conf", "usr/bin/zan-post-event",
        "usr/share/doc/zansnmpext/examples/snmpd-access.conf",
        "usr/share/doc/zansnmpext/examples/zan-post-event.cpp",
        "usr/share/doc/zansnmpext/examples/zansnmpext-host.apparmor",
        "usr/share/doc/zansnmpext/hosting.md", "usr/share/doc/zansnmpext/integrating-events.md",
        "usr/share/doc/zansnmpext/operations.md",
        "usr/share/doc/zansnmpext/zansnmpext.cdx.json", "usr/share/doc/zansnmpext/zansnmpext.spdx.json",
        "usr/share/man/man1/zan-post-event.1.gz", "usr/share/man/man8/zansnmpext.8.gz"])


def test_the_host_gets_what_it_needs(contents):
    assert files(contents["zansnmpext-host"]) == sorted([
        *documents("zansnmpext-host"), HOST_MODULE, "etc/zansnmpext/host.conf", "etc/zansnmpext/master.conf",
        "etc/init.d/zansnmpext-host", f"usr/lib/systemd/system/{UNIT}",
        "usr/share/doc/zansnmpext-host/examples/zansnmpext-host.procd"])


def test_the_manager_gets_what_it_needs(contents):
    assert files(contents["zansnmpext-mib"]) == sorted([
        *documents("zansnmpext-mib"), "usr/share/doc/zansnmpext-mib/objects.md",
        "usr/share/snmp/mibs/ZAN-SNMPEXT-MIB.txt"])
    if (ROOT / "monitoring").exists():
        assert (contents["zansnmpext-mib"] / "usr/share/doc/zansnmpext-mib/monitoring").is_dir()


def test_the_simulator_comes_with_its_scenarios(contents):
    folder = "usr/share/zansnmpext"
    scenarios = [f"{folder}/scenarios/{path.name}" for path in ROOT.glob("tools/scenarios/*.json")]
    assert scenarios
    assert files(contents["zansnmpext-sim"]) == sorted([
        *documents("zansnmpext-sim"), *scenarios, "usr/bin/zan-router-sim",
        f"{folder}/zan-router-sim",
        "usr/share/man/man1/zan-router-sim.1.gz"])
    command = contents["zansnmpext-sim"] / "usr/bin/zan-router-sim"
    assert command.is_symlink()
    output(command, "--check")


def test_version_and_number_are_stamped(build, contents):
    stamp = f"{version()}+pen{NUMBER}-1"
    for name, package in build.packages.items():
        assert control(package)["Version"] == stamp
        assert package.name.split("_")[1] == stamp
        changelog = gzip.open(contents[name] / f"usr/share/doc/{name}/changelog.Debian.gz", "rt").read()
        assert changelog.startswith(f"zansnmpext ({stamp}) ")
    router = contents["zansnmpext"]
    assert output(router / "usr/bin/zan-post-event", "--version") == (
        f"zan-post-event {version()} (enterprise number {NUMBER})\n")
    for page in ("man8/zansnmpext.8.gz", "man1/zan-post-event.1.gz"):
        text = gzip.open(router / "usr/share/man" / page, "rt").read()
        assert f"zansnmpext {version()}" in text and str(NUMBER) in text and "32473" not in text
    mib = (contents["zansnmpext-mib"] / "usr/share/snmp/mibs/ZAN-SNMPEXT-MIB.txt").read_text("utf-8")
    assert f"enterprises {NUMBER} " in mib
    assert f"number {NUMBER}" in control(build.packages["zansnmpext"])["Description"]


def owner(library: str) -> str:
    """The package of a library that the module is linked with."""
    file = Path(f"/usr/lib/{TRIPLET}", library).resolve()
    return output("dpkg-query", "--search", file).split(":")[0]


def test_control_fields(build):
    router = control(build.packages["zansnmpext"])
    depends = {entry.split()[0] for entry in router["Depends"].split(", ")}
    assert {"snmpd", *map(owner, ("libcurl.so", "libjsoncpp.so", "libnetsnmp.so"))} <= depends
    assert router["Recommends"] == f"zansnmpext-mib (= {router['Version']})"
    assert router["Architecture"] == output("dpkg", "--print-architecture").strip()
    # What a cross build says instead of asking dpkg-shlibdeps: the names of Debian 12.
    recipe = (ROOT / "packaging/debian/Packages.cmake").read_text("utf-8")
    listed = re.search(r'APPEND CPACK_DEBIAN_AGENT_PACKAGE_DEPENDS ", (.*)"\)', recipe)[1]
    if "libjsoncpp25" in depends:
        assert set(listed.split(", ")) | {"snmpd"} == depends
    else:
        assert "libjsoncpp25" in listed
    host = control(build.packages["zansnmpext-host"])
    assert f"zansnmpext (= {host['Version']})" in host["Depends"].split(", ")
    assert host["Architecture"] == router["Architecture"]
    depends = {entry.split()[0] for entry in host["Depends"].split(", ")}
    assert {"adduser", "zansnmpext", owner("libnetsnmp.so")} <= depends
    listed = re.search(r'APPEND CPACK_DEBIAN_HOST_PACKAGE_DEPENDS ", (.*)"\)', recipe)[1]
    if "libsnmp40" in depends:
        assert set(listed.split(", ")) | {"adduser", "zansnmpext"} == depends
    else:
        assert "libsnmp40" in listed
    for name in PACKAGES[2:]:
        assert control(build.packages[name])["Architecture"] == "all"
    assert control(build.packages["zansnmpext-sim"])["Depends"] == "python3:any"


def test_the_drop_in_loads_the_module_and_grants_nothing(contents):
    lines = (contents["zansnmpext"] / "etc/zansnmpext/snmpd.conf").read_text("ascii").splitlines()
    assert [line for line in lines if line and not line.startswith("#")] == [
        "[snmp] sendMessageMaxSize 65507", f"dlmod zansnmpext /{MODULE}"]
    assert (contents["zansnmpext"] / "DEBIAN/conffiles").read_text("ascii") == "/etc/zansnmpext/snmpd.conf\n"


def test_the_examples_of_access_are_comments(contents):
    example = contents["zansnmpext"] / "usr/share/doc/zansnmpext/examples/snmpd-access.conf"
    lines = example.read_text("ascii").splitlines()
    assert any(line.startswith("#rouser") for line in lines)
    assert all(not line or line.startswith("#") for line in lines)


def test_links_of_installed_pages_lead_to_what_is_installed(contents):
    everything, pages = set(), []
    for folder in contents.values():
        for path in folder.rglob("*"):
            installed = "/" / path.relative_to(folder)
            everything.add(str(installed))
            if path.suffix == ".md":
                links = re.findall(r"\]\((?![a-z]+:|#)([^)#\s]+)", path.read_text("utf-8"))
                pages += [(installed, os.path.normpath(installed.parent / target)) for target in links]
    assert len(pages) > 3 and [page for page in pages if page[1] not in everything] == []


def settings(file: Path) -> List[str]:
    """The lines of a configuration that say something."""
    lines = [line.strip() for line in file.read_text("ascii").splitlines()]
    return [line for line in lines if line and not line.startswith("#")]


def test_agent_and_host_meet_at_the_same_socket_and_load_what_is_installed(contents):
    folder = contents["zansnmpext-host"] / "etc/zansnmpext"
    master, host = settings(folder / "master.conf"), settings(folder / "host.conf")
    assert [line for line in host if line.startswith("dlmod")] == [
        f"dlmod zanhost /{HOST_MODULE}", f"dlmod zansnmpext /{MODULE}"]
    assert not [line for line in master if line.startswith(("dlmod", "view", "ro", "rw", "com"))]
    [listens] = [line.split()[1].split(",") for line in master if line.startswith("agentXSocket")]
    [connects] = [line.split()[1] for line in host if line.startswith("agentXSocket")]
    assert connects in listens
    # What the configuration of the agent with the module inside has besides the module, it has here as well.
    inside = settings(contents["zansnmpext"] / "etc/zansnmpext/snmpd.conf")
    assert {line for line in inside if not line.startswith("dlmod")} < set(master)


def test_one_user_is_the_hosts_everywhere(contents):
    host = contents["zansnmpext-host"]
    [permissions] = [line.split() for line in settings(host / "etc/zansnmpext/master.conf")
                     if line.startswith("agentXPerms")]
    user = permissions[3]
    assert permissions[4] == user
    assert f"\nUser={user}\n" in (host / "usr/lib/systemd/system" / UNIT).read_text("ascii")
    for script in ("etc/init.d/zansnmpext-host", "DEBIAN/postinst"):
        assert f"\nuser={user}\n" in (host / script).read_text("ascii")
    assert f" {user} " in (host / "DEBIAN/postrm").read_text("ascii")


def test_every_init_system_runs_the_same_host(contents):
    host = contents["zansnmpext-host"]
    unit = (host / "usr/lib/systemd/system" / UNIT).read_text("ascii")
    init = (host / "etc/init.d/zansnmpext-host").read_text("ascii")
    procd = (host / "usr/share/doc/zansnmpext-host/examples/zansnmpext-host.procd").read_text("ascii")
    options = re.search(r"^ExecStart=/usr/sbin/snmpd -X -f -L\w+ (.*)$", unit, re.M)[1]
    configuration = options.split()[2]
    assert (host / configuration.removeprefix("/")).is_file()
    folder, name = configuration.rsplit("/", 1)
    assert f"\nconf={folder}\n" in init
    assert options.replace(configuration, f"$conf/{name}") in init
    assert f"\nCONF={configuration}\n" in procd
    assert options.replace(configuration, '"$CONF"') in procd


def test_the_hosts_sandbox_is_tight(contents):
    unit = contents["zansnmpext-host"] / "usr/lib/systemd/system" / UNIT
    rating = subprocess.run(["systemd-analyze", "security", "--offline=true", "--no-pager",
                             f"--threshold={round(EXPOSURE * 10)}", unit],
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    assert rating.returncode == 0, rating.stdout
    assert float(re.search(r"Overall exposure level for \S+: ([\d.]+)", rating.stdout)[1]) <= EXPOSURE


def test_the_hosts_sandbox_leaves_it_what_it_needs(contents):
    text = (contents["zansnmpext-host"] / "usr/lib/systemd/system" / UNIT).read_text("ascii")
    lines = dict(re.findall(r"^(\w+)=(.*)$", text, re.M))
    # The clock of the caches is /proc/uptime; the event queue is the router's; all its sockets are UNIX ones.
    assert "ProcSubset" not in lines
    assert lines.get("PrivateIPC", "no") == lines.get("RemoveIPC", "no") == "no"
    assert lines["RestrictAddressFamilies"] == "AF_UNIX"


@pytest.mark.parametrize("package", ["zansnmpext", "zansnmpext-host"])
@pytest.mark.parametrize("script", ["postinst", "prerm", "postrm"])
def test_maintainer_scripts_are_clean(contents, package, script):
    subprocess.run(["shellcheck", "--shell=dash", contents[package] / "DEBIAN" / script], check=True)


@pytest.mark.parametrize("script", ["etc/init.d/zansnmpext-host",
                                    "usr/share/doc/zansnmpext-host/examples/zansnmpext-host.procd"])
def test_init_scripts_are_clean(contents, script):
    subprocess.run(["shellcheck", "--shell=dash", "--exclude=SC1091", contents["zansnmpext-host"] / script],
                   check=True)


def test_lintian_finds_nothing(build):
    result = subprocess.run(["lintian", "--allow-root", "--display-info", "--pedantic",
                             "--fail-on", "error,warning,info,pedantic", *build.packages.values()],
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    assert (result.returncode, result.stdout) == (0, "")


def test_every_override_of_lintian_has_a_reason():
    for overrides in (ROOT / "packaging/debian").glob("*.lintian-overrides"):
        lines = overrides.read_text("ascii").splitlines()
        for above, line in zip(["", *lines], lines):
            assert line.startswith(("#", overrides.stem)) and (line.startswith("#") or above.startswith("#"))


@pytest.fixture
def moved(build):
    """The build with another prefix, for the length of a test."""
    def configure(prefix: str) -> None:
        for command in (["-S", ROOT, "-B", build.folder, f"-DCMAKE_INSTALL_PREFIX={prefix}"],
                        ["--build", build.folder, "--parallel", "2"]):
            subprocess.run(["cmake", *command], stdout=subprocess.DEVNULL, check=True)

    configure("/opt/zan")
    yield build.folder
    configure("/usr")


def install(build: Path, destination: Path, *options: str) -> List[str]:
    """What cmake --install puts below the destination."""
    subprocess.run(["cmake", "--install", build, "--strip", *options], check=True, stdout=subprocess.DEVNULL,
                   env={"PATH": "/usr/bin:/bin", "DESTDIR": str(destination)})
    return files(destination)


def test_installing_below_another_prefix(moved, tmp_path):
    installed = install(moved, tmp_path)
    assert {name.split("/")[0] for name in installed} == {"opt"}
    module = "opt/zan/lib/snmp/dlmod/zansnmpext.so"
    assert {module, "opt/zan/etc/zansnmpext/snmpd.conf", "opt/zan/share/snmp/mibs/ZAN-SNMPEXT-MIB.txt",
            "opt/zan/bin/zan-post-event", "opt/zan/share/man/man8/zansnmpext.8.gz",
            "opt/zan/lib/snmp/dlmod/zanhost.so", "opt/zan/etc/zansnmpext/host.conf",
            "opt/zan/etc/zansnmpext/master.conf", "opt/zan/etc/init.d/zansnmpext-host",
            f"opt/zan/lib/systemd/system/{UNIT}"} <= set(installed)
    assert "-c /opt/zan/etc/zansnmpext/host.conf " in (
        tmp_path / "opt/zan/lib/systemd/system" / UNIT).read_text("ascii")
    configuration = (tmp_path / "opt/zan/etc/zansnmpext/snmpd.conf").read_text("ascii")
    assert configuration.endswith(f"dlmod zansnmpext /{module}\n")
    output(tmp_path / "opt/zan/bin/zan-router-sim", "--check")


def test_installing_into_an_image_of_a_router(build, tmp_path):
    installed = install(build.folder, tmp_path)
    assert {MODULE, "etc/zansnmpext/snmpd.conf", "usr/bin/zan-post-event"} <= set(installed)
    assert {name.split("/")[0] for name in installed} == {"etc", "usr"}
