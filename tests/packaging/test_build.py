"""What a person meets who builds and installs the module by hand."""

import subprocess
from pathlib import Path

import pytest
from conftest import ROOT

TRIPLET = subprocess.check_output(["dpkg-architecture", "-q", "DEB_HOST_MULTIARCH"], text=True).strip()


@pytest.mark.parametrize("folder, package", [
    ("/usr/include", "libsnmp-dev"), ("/usr/include/jsoncpp", "libjsoncpp-dev"),
    (f"/usr/include/{TRIPLET}", "libcurl4-openssl-dev")])
def test_a_missing_library_names_its_package(folder: str, package: str, tmp_path: Path) -> None:
    done = subprocess.run(["cmake", "-S", ROOT, "-B", tmp_path, f"-DCMAKE_IGNORE_PATH={folder}"],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    assert done.returncode != 0
    assert f"\n    apt-get install {package}\n" in done.stdout, done.stdout


def uninstall(build: Path, root: Path) -> "subprocess.CompletedProcess[str]":
    """What the target "uninstall" runs."""
    return subprocess.run(["cmake", f"-DZAN_BUILD_DIR={build}", "-P", ROOT / "cmake" / "Uninstall.cmake"],
                          env={"PATH": "/usr/bin", "DESTDIR": str(root)}, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)


def test_what_was_installed_can_be_removed_and_nothing_else(tmp_path: Path) -> None:
    root = tmp_path / "root with a blank"
    installed = ["/usr/lib/snmp/dlmod/zansnmpext.so", "/etc/zansnmpext/snmpd.conf", "/usr/bin/zan-router-sim",
                 "/usr/share/zansnmpext/scenarios/router.json", "/usr/share/doc/zansnmpext/examples/one.conf"]
    kept = [root / "usr/share/doc/zansnmpext/mine.txt", root / "usr/bin/other"]
    files = [root / name[1:] for name in installed]
    for file in files + kept:
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text("")
    files[2].unlink()
    files[2].symlink_to("../share/zansnmpext/gone")
    (tmp_path / "install_manifest.txt").write_text("\n".join(installed))
    done = uninstall(tmp_path, root)
    assert done.returncode == 0, done.stdout
    assert sorted(path for path in root.rglob("*") if not path.is_dir()) == sorted(kept)
    assert not (root / "etc/zansnmpext").exists() and not (root / "usr/share/zansnmpext").exists()
    again = uninstall(tmp_path, root)
    assert again.returncode != 0 and "Nothing has been installed from this build" in again.stdout
