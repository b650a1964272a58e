"""What the documents say is what the sources, the tools and the packages have."""

import os
import re
import subprocess
from collections import Counter
from pathlib import Path
from typing import Dict, Iterator, List, Set, Tuple

import pytest
from conftest import ROOT, version

DOCS = ROOT / "docs"

#: Every document but the part that another is made of.
DOCUMENTS = ("*.md", "docs/*.md", "packaging/*.md", "monitoring/zabbix/*.md")

PRIORITIES = {"LOG_ERR": 3, "LOG_WARNING": 4, "LOG_DEBUG": 7}

#: One call of snmp_log: its priority and the string literals that make up its text.
SNMP_LOG = re.compile(r'\bsnmp_log\(\s*(\w+)\s*,\s*((?:"(?:[^"\\]|\\.)*"\s*)+)[,)]')
LITERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')


def tracked(*patterns: str) -> List[Path]:
    """The files of the tree that match the patterns."""
    return sorted(path for pattern in patterns for path in ROOT.glob(pattern))


def logged() -> Set[Tuple[int, str]]:
    """Priority and text of every line that the module can log, the text as it stands in the source."""
    texts = set()
    for source in tracked("src/*.cpp", "include/*.h"):
        code = re.sub(r"//[^\n]*", "", source.read_text(encoding="utf-8"))
        calls = list(SNMP_LOG.finditer(code))
        assert len(calls) == len(re.findall(r"\bsnmp_log\(", code)), f"a text in {source} is no literal"
        texts |= {(PRIORITIES[call[1]], "".join(LITERAL.findall(call[2]))) for call in calls}
    return texts


def documented() -> List[Tuple[int, str]]:
    """The same of operations.md: a heading of level 4 for a text, below one of level 3 for its priority."""
    lines = []
    priority = None
    for line in (DOCS / "operations.md").read_text(encoding="utf-8").splitlines():
        heading = re.match(r"### Priority (\d)", line)
        if heading:
            priority = int(heading[1])
        text = re.fullmatch(r"#### `(.*)`", line)
        if text:
            lines.append((priority, text[1]))
    return lines


def test_every_log_text_is_documented_and_nothing_else():
    assert logged() and set(documented()) == logged()
    assert max(Counter(documented()).values()) == 1


def test_every_log_text_of_the_host_is_documented():
    texts = [text for _, text in SNMP_LOG.findall((ROOT / "host/zanhost.cpp").read_text(encoding="utf-8"))]
    page = (DOCS / "hosting.md").read_text(encoding="utf-8")
    assert texts and all(text[1:].partition("\\n")[0] in page for text in texts)


def test_the_readme_quotes_lines_that_are_logged():
    section = re.search(r"^## Troubleshooting$(.*?)^## ", (ROOT / "README.md").read_text(encoding="utf-8"),
                        flags=re.M | re.S)[1]
    cells = re.findall(r"^\| (.*?) \|", section, re.M)
    quoted = {text for cell in cells for text in re.findall("`(.*?)`", cell)}
    assert len(quoted) == 4
    assert quoted <= {text.removesuffix("\\n") for _, text in logged()}


def test_the_readme_and_the_script_name_the_same_packages():
    line = re.search(r"apt-get install (.*)", (ROOT / "README.md").read_text("utf-8"))[1]
    tools = group("run") - {"iproute2"}  # which is for namespaces
    assert set(line.split()) == group("build") | tools


def headings(document: Path) -> Set[str]:
    """The anchors of a document, as they are made of its headings."""
    text = re.sub(r"^```.*?^```", "", document.read_text(encoding="utf-8"), flags=re.M | re.S)
    return {re.sub(r"[^\w\- ]", "", title.lower()).strip().replace(" ", "-")
            for title in re.findall(r"^#+ (.*)$", text, re.M)}


def links() -> Iterator[Tuple[Path, str]]:
    """Every link of the documents to a file or heading of the tree."""
    for document in tracked(*DOCUMENTS):
        for target in re.findall(r"\]\(([^)\s]+)\)", document.read_text(encoding="utf-8")):
            if "://" not in target:
                yield document, target


@pytest.mark.parametrize("document, target", links(), ids=lambda value: str(getattr(value, "name", value)))
def test_a_link_leads_somewhere(document, target):
    file, _, anchor = target.partition("#")
    path = document.parent / file if file else document
    assert path.exists()
    if anchor:
        assert anchor in headings(path)


#: Folders of the tree that documents name files of.
FOLDERS = "bench|docs|include|mibs|monitoring|packaging|scripts|src|tests|tools"


def code_of(document: Path) -> List[str]:
    """The code spans of a document, and the lines of its blocks without the prompt."""
    text = document.read_text(encoding="utf-8")
    blocks = re.findall(r"^```\w*\n(.*?)^```", text, re.M | re.S)
    spans = re.findall(r"`([^`\n]+)`", re.sub(r"^```.*?^```", "", text, flags=re.M | re.S))
    return spans + [line.removeprefix("$ ") for block in blocks for line in block.splitlines()]


def test_paths_that_documents_name_are_there():
    named = {(document.name, path) for document in tracked(*DOCUMENTS)
             for code in code_of(document)
             for path in re.findall(rf"^(?:sudo )?((?:{FOLDERS})/[\w.*/-]+)", code)}
    assert len(named) > 30
    assert sorted((name, path) for name, path in named if not tracked(path)) == []


def group(name: str) -> Set[str]:
    """The packages of a group in scripts/packages."""
    text = (ROOT / "scripts/packages").read_text("ascii")
    return set(re.search(rf"^# {name}\n(.*?)(?:^$|\Z)", text, re.M | re.S)[1].split())


def test_what_packaging_needs_is_what_the_script_installs_for_it():
    line = re.search(r"apt-get install (.*)", (ROOT / "packaging/README.md").read_text("utf-8"))[1]
    # The rest of the script's packages are those that the fresh Debian and the tests in it need.
    assert set(line.split()) == group("build") | {"dpkg-dev", "file"} <= group("build") | group("package")


def help_of(script: str) -> str:
    """What a script of the tree says of itself."""
    result = subprocess.run([ROOT / script, "--help"], stdout=subprocess.PIPE, text=True, check=True)
    assert result.stdout.startswith("usage: ")
    return result.stdout


@pytest.mark.parametrize("script", [str(path.relative_to(ROOT)) for path in tracked("scripts/*")
                                    if os.access(path, os.X_OK)])
def test_every_script_has_a_help(script):
    help_of(script)


def test_scripts_have_the_options_that_documents_name():
    named = {(call[1], option) for document in tracked(*DOCUMENTS) for code in code_of(document)
             for call in [re.match(r"((?:scripts|monitoring)/[\w-]+)(.*)", code)] if call
             for option in options(call[2].split(" -- ")[0])}
    assert len(named) > 8
    helps = {script: options(help_of(script)) for script, _ in named}
    assert sorted((script, option) for script, option in named if option not in helps[script]) == []


def test_the_agent_takes_the_log_options_that_documents_name(tmp_path):
    named = {option for document in tracked(*DOCUMENTS) for code in code_of(document)
             for option in re.findall(r"(?<![\w-])-L[a-zA-Z]+(?: \d(?:-\d)?)?(?: FILE)?", code)}
    assert len(named) > 3
    refused = [option for option in named if subprocess.run(
        ["/usr/sbin/snmpd", *option.replace("FILE", str(tmp_path / "log")).split(), "-v"],
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode != 0]
    assert refused == []


def faults_of_the_page() -> Dict[str, str]:
    """What the simulator's manual page says of each fault."""
    page = (ROOT / "packaging/man/zan-router-sim.1.in").read_text("ascii")
    section = re.search(r"^\.SH FAULTS\n(.*?)^\.SH ", page, re.M | re.S)[1]
    entries = re.findall(r"^\.TP\n\.BI? (.*)\n(.*)\n", section, re.M)
    return {name.replace('"', "").replace("  ", " "): text.replace("\\(dq", '"') for name, text in entries}


def test_the_page_of_the_simulator_has_the_faults_of_its_help():
    text = subprocess.run([ROOT / "tools/zan-router-sim", "--help"], stdout=subprocess.PIPE, text=True,
                          check=True).stdout
    block = re.search(r"^faults .*:\n((?:  .*\n)+)", text, re.M)[1]
    assert faults_of_the_page() == dict(re.findall(r"^  (\w+(?: [A-Z]+)?) +(.*)$", block, re.M)) != {}


def test_the_command_that_shows_the_log_is_debian_s_but_for_one_option():
    unit = Path("/usr/lib/systemd/system/snmpd.service").read_text(encoding="utf-8")
    command = re.search(r"^ExecStart=.* -LOw .*$", unit, re.M)[0]
    assert command.replace("-LOw", "-LSwd") in code_of(DOCS / "operations.md")


def test_the_host_is_started_with_that_option_by_every_init():
    files = "".join(path.read_text("utf-8") for path in tracked("host/*.in"))
    assert re.findall(r"^[^#\n]*(?:snmpd|\$program) -X -f (\S+)", files, re.M) == ["-LSwd"] * 3


def test_the_changelog_begins_with_this_version():
    newest = re.search(r"^## (\S+) - (\d{4}-\d\d-\d\d)$", (ROOT / "CHANGELOG.md").read_text("utf-8"), re.M)
    assert newest[1] == version()


def test_no_other_file_repeats_the_version():
    """Documents may show the version in file names; what is built takes it from CMake."""
    built = tracked("src/*", "include/*", "tools/*.cpp", "packaging/**/*", "mibs/*.in", "cmake/*")
    assert [path for path in built if path.is_file() and path.suffix != ".md"
            and version() in path.read_text("utf-8")] == []


def options(text: str) -> Set[str]:
    """The long options that a text names."""
    return set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", text.replace("\\-", "-")))


def explained(help_text: str) -> Set[str]:
    """The long options that a help explains: those at the beginning of a line."""
    return options("\n".join(re.findall(r"^  (?:-\w, )?(--[a-z-]+)", help_text, re.M)))


@pytest.mark.parametrize("page", ["zan-post-event.1", "zan-router-sim.1"])
def test_a_man_page_has_the_options_of_the_help(page, request):
    program = {"zan-post-event.1": request.config.getoption("--poster"),
               "zan-router-sim.1": ROOT / "tools" / "zan-router-sim"}[page]
    result = subprocess.run([program, "--help"], stdout=subprocess.PIPE, text=True, check=True)
    manual = (ROOT / "packaging" / "man" / f"{page}.in").read_text("ascii")
    assert options(manual) == explained(result.stdout) != set()
