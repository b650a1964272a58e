"""What was built for the tests: the event poster of the build under test, and two builds of the packages."""

import os
import re
import shutil
import subprocess
import tempfile
from pathlib import Path
from typing import Dict, List, NamedTuple, Optional

import pytest

ROOT = Path(__file__).resolve().parents[2]

#: Not the default: what shows the default instead was not stamped.
NUMBER = 64999

NOBODY = 65534


def pytest_addoption(parser: pytest.Parser) -> None:
    parser.addoption("--poster", default=ROOT / "build" / "tools" / "zan-post-event", type=Path,
                     help="the event poster of the build")


def version() -> str:
    """The one version, CMake's."""
    return re.search(r"^project\(zansnmpext\s+VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text("ascii"),
                     re.M)[1]


#: Temporary files of this run, lintian's and the compilers' among them; removed when the interpreter ends.
TEMPORARY = tempfile.TemporaryDirectory(prefix="zansnmpext.")


def pytest_configure() -> None:
    os.chmod(TEMPORARY.name, 0o755)  # one of the builds is another user's
    os.environ["TMPDIR"] = tempfile.tempdir = TEMPORARY.name


class Build(NamedTuple):
    """A build folder, and the packages that were made in it by their names."""

    folder: Path
    packages: Dict[str, Path]


def copy_sources(target: Path) -> None:
    """The files that git knows or would add, in another place."""
    if (ROOT / ".git").exists():
        command = ["git", "-c", f"safe.directory={ROOT}", "ls-files", "-z", "--cached", "--others",
                   "--exclude-standard"]
        output = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, check=True).stdout
        files = output.decode().split("\0")
    else:  # an unpacked archive
        files = [str(path.relative_to(ROOT)) for path in ROOT.rglob("*") if "__pycache__" not in path.parts
                 and not path.relative_to(ROOT).parts[0].startswith("build")]
    for name in filter(None, files):
        if (ROOT / name).is_file():
            (target / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(ROOT / name, target / name)


def build_packages(source: Path, folder: Path, *options: str, prefix: Optional[List[str]] = None,
                   environment: Optional[Dict[str, str]] = None) -> Build:
    """Configure and pack; the prefix is a command put in front of the build's."""
    commands = [
        ["cmake", "-S", source, "-B", folder, "-DCMAKE_INSTALL_PREFIX=/usr", "-DZAN_BUILD_TESTS=OFF",
         f"-DZAN_ENTERPRISE_NUMBER={NUMBER}", *options],
        ["cmake", "--build", folder, "--parallel", "2", "--target", "package"],
    ]
    variables = {**os.environ, **(environment or {})}
    for command in commands:
        result = subprocess.run([*(prefix or []), *map(str, command)], env=variables, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True, check=False)
        assert result.returncode == 0, result.stdout[-4000:]
    return Build(folder, {path.name.split("_")[0]: path for path in folder.glob("*.deb")})


@pytest.fixture(scope="session")
def build(tmp_path_factory: pytest.TempPathFactory) -> Build:
    """The packages, made of this tree."""
    return build_packages(ROOT, tmp_path_factory.mktemp("build"), "-G", "Ninja")


@pytest.fixture(scope="session")
def other_build(tmp_path_factory: pytest.TempPathFactory) -> Build:
    """The same, made of a copy by another user with other habits."""
    folder = tmp_path_factory.mktemp("other")
    copy_sources(folder / "some" / "where" / "else")
    prefix = ["sh", "-c", 'umask 027; exec "$@"', "sh"]
    if os.getuid() == 0:
        subprocess.run(["chown", "-R", f"{NOBODY}:{NOBODY}", folder], check=True)
        for parent in folder.parents[:2]:  # pytest's own folders are for their owner only
            parent.chmod(0o755)
        prefix = ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups", *prefix]
    environment = {"TZ": "Pacific/Kiritimati", "LC_ALL": "C", "HOME": str(folder), "CCACHE_DISABLE": "1"}
    return build_packages(folder / "some" / "where" / "else", folder / "built here", "-G", "Unix Makefiles",
                          prefix=prefix, environment=environment)
