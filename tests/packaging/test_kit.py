"""The integrator's kit: what is said twice agrees, and what a firmware's build system takes is there."""

import gzip
import json
import re
import subprocess
from pathlib import Path
from typing import Iterable, List, Set, Tuple

from conftest import NUMBER, ROOT, version


def architectures():
    """The processors of the one list."""
    lines = (ROOT / "cmake/toolchains/architectures").read_text("ascii").splitlines()
    return [line.split()[0] for line in lines if line and not line.startswith("#")]


def test_each_processor_of_the_list_has_its_presets():
    presets = json.loads((ROOT / "CMakePresets.json").read_text("ascii"))
    configured = [preset["name"] for preset in presets["configurePresets"]
                  if preset.get("inherits") == "cross"]
    built = [preset["name"] for preset in presets["buildPresets"] if preset["configurePreset"] in configured]
    assert configured == built == architectures()


def test_each_setting_of_the_build_is_in_the_integrators_table(build):
    cached = (build.folder / "CMakeCache.txt").read_text("utf-8")
    settings = set(re.findall(r"^(ZAN_\w+):(?!INTERNAL)", cached, re.M))
    settings -= set(re.findall(r"^(ZAN_\w+)-ADVANCED:", cached, re.M))
    table = re.findall(r"^\| `(ZAN_\w+)` \|", (ROOT / "docs/integrating.md").read_text("utf-8"), re.M)
    assert set(table) == settings - {"ZAN_BUILD_BENCH", "ZAN_BUILD_FUZZ", "ZAN_SANITIZE"}  # the developers'


def readelf(option: str, file: Path) -> str:
    """What readelf prints of a file."""
    return subprocess.run(["readelf", "-W", option, file], stdout=subprocess.PIPE, check=True,
                          text=True).stdout


def needed(module: Path) -> Set[str]:
    """The libraries that an ELF file names."""
    return set(re.findall(r"\(NEEDED\)\s+Shared library: \[([^]]+)\]", readelf("-d", module)))


def write_sbom(build: Path, module: Path, folder: Path) -> Tuple[dict, dict]:
    """What the build's script makes of an ELF file: SPDX and CycloneDX."""
    written = folder / "spdx", folder / "cyclonedx"
    subprocess.run(["cmake", f"-DSETTINGS={build / 'sbom' / 'settings.cmake'}", f"-DMODULE={module}",
                    "-DREADELF=readelf", f"-DSPDX={written[0]}", f"-DCYCLONEDX={written[1]}",
                    "-P", ROOT / "cmake" / "WriteSbom.cmake"], check=True)
    return tuple(json.loads(path.read_text("utf-8")) for path in written)


def libraries(comments: Iterable[str]) -> List[str]:
    """The libraries that the components say they are needed as."""
    return [name for comment in comments for name in comment.removeprefix("needed as ").split()]


def check_sbom(spdx: dict, cyclonedx: dict, elf: Path) -> None:
    """Both forms name exactly the libraries that the file needs, each once, and hang together."""
    packages = {package["SPDXID"]: package for package in spdx["packages"]}
    module = packages.pop("SPDXRef-zansnmpext")
    assert sorted(libraries(package["comment"] for package in packages.values())) == sorted(needed(elf))
    links = {(link["spdxElementId"], link["relationshipType"], link["relatedSpdxElement"])
             for link in spdx["relationships"]}
    assert links == {("SPDXRef-DOCUMENT", "DESCRIBES", "SPDXRef-zansnmpext"),
                     *(("SPDXRef-zansnmpext", "DYNAMIC_LINK", name) for name in packages)}
    components = {component["bom-ref"]: component for component in cyclonedx["components"]}
    assert sorted(libraries(component["properties"][0]["value"] for component in components.values())) == (
        sorted(needed(elf)))
    assert cyclonedx["dependencies"] == [{"ref": "zansnmpext", "dependsOn": list(components)}]
    assert {package["name"]: package.get("versionInfo") for package in packages.values()} == (
        {component["name"]: component.get("version") for component in components.values()})
    stamp = f"{version()}+pen{NUMBER}"
    assert module["versionInfo"] == cyclonedx["metadata"]["component"]["version"] == stamp


def test_the_bill_of_materials_is_what_the_module_needs(build):
    folder = build.folder / "sbom"
    spdx, cyclonedx = (json.loads((folder / f"zansnmpext.{form}.json").read_text("utf-8"))
                       for form in ("spdx", "cdx"))
    check_sbom(spdx, cyclonedx, build.folder / "zansnmpext.so")
    versions = {component["name"]: component.get("version") for component in cyclonedx["components"]}
    packaged = {"net-snmp": "libsnmp-dev", "jsoncpp": "libjsoncpp-dev", "libcurl": "libcurl4-openssl-dev"}
    for name, package in packaged.items():
        installed = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package], stdout=subprocess.PIPE,
                                   check=True, text=True).stdout
        # Debian 13's agent library calls itself 5.9.4.pre2.
        assert installed.startswith(re.sub(r"\.pre\d+$", "", versions.pop(name))), package
    assert set(versions) == {"gcc", "libc"}


def test_the_bill_of_materials_leaves_out_nothing_that_it_does_not_know(build, tmp_path):
    agent = Path("/usr/sbin/snmpd")
    check_sbom(*write_sbom(build.folder, agent, tmp_path), agent)


def test_what_is_linked_statically_is_in_the_bill_of_materials(build, tmp_path):
    (tmp_path / "sbom").mkdir()
    settings = (build.folder / "sbom" / "settings.cmake").read_text("utf-8")
    (tmp_path / "sbom" / "settings.cmake").write_text(settings + 'set(LINKED_STATICALLY jsoncpp)\n', "utf-8")
    spdx, _ = write_sbom(tmp_path, Path("/usr/sbin/snmpd"), tmp_path)
    assert [link["relatedSpdxElement"] for link in spdx["relationships"]
            if link["relationshipType"] == "STATIC_LINK"] == ["SPDXRef-jsoncpp"]


def configure(folder: Path, *options: str) -> subprocess.CompletedProcess:
    """Configure a build of the test."""
    return subprocess.run(["cmake", "-S", ROOT, "-B", folder, "-G", "Ninja", *options], text=True,
                          check=False, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)


def test_addresses_are_the_builds(build, tmp_path):
    assert configure(tmp_path, '-DZAN_PACKAGE_MAINTAINER=A "Maker" <makers@maker.example>',
                     "-DZAN_SECURITY_CONTACT=holes@maker.example").returncode == 0
    page = gzip.open(tmp_path / "packaging" / "man" / "zansnmpext.8.gz", "rt").read()
    assert 'A "Maker" <makers@maker.example>' in page and "\nholes@maker.example instead" in page
    spdx, cyclonedx = write_sbom(tmp_path, build.folder / "zansnmpext.so", tmp_path)
    assert spdx["packages"][0]["supplier"] == 'Organization: A "Maker" (makers@maker.example)'
    assert spdx["documentNamespace"].startswith("https://maker.example/")
    component = cyclonedx["metadata"]["component"]
    assert component["supplier"] == {"name": 'A "Maker"', "contact": [{"email": "makers@maker.example"}]}
    assert component["externalReferences"][0]["url"] == "mailto:holes@maker.example"


def test_a_shared_jsoncpp_and_a_cxx_library_inside_the_module_do_not_go_together(tmp_path):
    refused = configure(tmp_path, "-DZAN_STATIC_LIBSTDCXX=ON")
    assert refused.returncode != 0 and "ZAN_STATIC_LIBSTDCXX needs a static JsonCpp" in refused.stdout


#: What the module of the preset "small" may have at most: bytes that are loaded, which leaves out what the
#: file is padded with to the page size of some processors, and relocations that the loader does at each
#: start, of which GCC 14 makes a third more than 12.
BUDGET = 110_000, 700


def test_the_small_module_keeps_its_budget(tmp_path):
    for command in (["--preset", "small", "-B", tmp_path], ["--build", tmp_path, "--target", "zansnmpext"]):
        subprocess.run(["cmake", *command], cwd=ROOT, stdout=subprocess.DEVNULL, check=True)
    module = tmp_path / "stripped.so"
    subprocess.run(["strip", "--strip-unneeded", "-o", module, tmp_path / "zansnmpext.so"], check=True)
    relocations = re.findall(r"^[0-9a-f]+ +[0-9a-f]+ +R_", readelf("-r", module), re.M)
    loaded = re.findall(r"^ +LOAD +\S+ +\S+ +\S+ +(0x\S+) ", readelf("-l", module), re.M)
    used = sum(int(size, 16) for size in loaded), len(relocations)
    assert 0 < used[0] <= BUDGET[0] and 0 < used[1] <= BUDGET[1]


def test_the_profile_for_apparmor_is_one_and_names_what_is_installed(build, tmp_path):
    profile = build.folder / "packaging" / "zansnmpext-host.apparmor"
    command = ["/usr/sbin/apparmor_parser", "--skip-kernel-load", "--skip-cache"]
    subprocess.run([*command, profile], check=True)
    text = profile.read_text("ascii")
    broken = tmp_path / "broken"
    broken.write_text(text.replace("uptime r,", "uptime r"), "ascii")
    assert subprocess.run([*command, broken], stderr=subprocess.DEVNULL, check=False).returncode != 0
    folder = re.search(r"^  (/.*)/\*\.so mr,$", text, re.M)[1]
    assert f" {folder}/zansnmpext.so\n" in (build.folder / "packaging" / "snmpd.conf").read_text("ascii")
    assert "  /etc/zansnmpext/host.conf r,\n" in text
