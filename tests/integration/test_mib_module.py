"""The MIB module by itself: what checkers and parsers make of it, and that nothing drifts away from it."""

import json
import re
import shutil
from pathlib import Path
from typing import Callable, Dict, List, NamedTuple

import pytest
from harness import ENTERPRISE_NUMBER, MODULE_ROOT, SOURCE_ROOT
from mib_support import base_fixture, mib_file_fixture, mib_fixture  # noqa: F401  (used by their names)
from mib_support import netsnmp_options, run, zanmib

LINT = SOURCE_ROOT / "mibs" / "lint"
HEADERS = SOURCE_ROOT / "include"
OBJECTS_MD = SOURCE_ROOT / "docs" / "objects.md"


# --- made by the build --------------------------------------------------------------------------------------

def test_the_build_put_its_number_into_the_template_and_changed_nothing_else(mib_file, mib, tmp_path):
    assert mib_file.read_bytes() == zanmib.render(tmp_path, ENTERPRISE_NUMBER).read_bytes()
    assert mib.root == MODULE_ROOT


def test_the_sketch_of_the_template_is_what_libsmi_reads(mib):
    def drawn(object_, columns=()):
        type_ = getattr(object_, "type", None)
        syntax = (type_.name, type_.base) if type_ else ("", "")
        return zanmib.Sketch(object_.name, object_.oid[len(mib.objects):], *syntax, object_.source, columns)

    tables = [drawn(table, tuple(map(drawn, table.columns))) for table in mib.tables]
    assert zanmib.sketch() == sorted([*map(drawn, mib.scalars), *tables], key=lambda each: each.arcs)


# --- smilint ------------------------------------------------------------------------------------------------

def test_smilint_finds_only_what_the_oids_force(mib_file, base):
    done = run(LINT, "--base", base, mib_file)
    assert done.returncode == 0, done.stdout + done.stderr


MISTAKES = {
    "no end": lambda text: text.replace("\nEND\n", "\n"),
    "unknown type": lambda text: text.replace("SYNTAX      ZanSwitch", "SYNTAX      ZanSwitches", 1),
    "unused type": lambda text: text.replace("SYNTAX      ZanTrafficLine", "SYNTAX      ZanText"),
    "two objects of one OID": lambda text: text.replace("::= { zanRadio 2 }", "::= { zanRadio 1 }"),
    "an arc below zero": lambda text: text.replace("{ zanDdns 2 }", "{ zanDdns -2 }"),
    "an object in no group": lambda text: text.replace("        zanRouterModelId,\n", ""),
    "an event SNMPv1 can name": lambda text: text.replace("{ zanEventArc3 1 }", "{ zanNotifications 0 3 }"),
    "not a MIB module": lambda text: "not a MIB module",
}


@pytest.mark.parametrize("mistake", MISTAKES.values(), ids=MISTAKES.keys())
def test_the_lint_check_notices_a_mistake(mistake: Callable[[str], str], mib_file, base, tmp_path):
    text = mib_file.read_text(encoding="ascii")
    wrong = tmp_path / mib_file.name
    wrong.write_text(mistake(text), encoding="ascii")
    assert mistake(text) != text
    done = run(LINT, "--base", base, wrong)
    assert done.returncode == 1 and done.stdout, done.stdout + done.stderr


# --- four parsers beside libsmi -----------------------------------------------------------------------------

class Parsed(NamedTuple):
    """What one parser makes of an object, in the words of SMIv2; `syntax` is the base type."""

    oid: str
    access: str
    syntax: str


_BASE_TYPES = {"OctetString": "OCTET STRING"}
_ACCESS = {"readonly": "read-only", "noaccess": "not-accessible"}


def by_libsmi(mib: zanmib.Mib) -> Dict[str, Parsed]:
    """Every scalar and column, the index columns included."""
    objects = [*mib.scalars, *mib.columns, *(index for table in mib.tables for index in table.indexes)]
    return {each.name: Parsed(zanmib.dotted(each.oid), _ACCESS[each.access],
                              _BASE_TYPES.get(each.type.base, each.type.base)) for each in objects}


def by_netsnmp(names: List[str], mib_file: Path, base: Path) -> Dict[str, Parsed]:
    """With snmptranslate."""
    options = netsnmp_options(mib_file, base)
    qualified = [f"{zanmib.NAME}::{name}" for name in names]
    numeric = run("snmptranslate", *options, "-On", *qualified)
    detailed = run("snmptranslate", *options, "-Td", *qualified)
    assert numeric.stderr == "" and detailed.stderr == ""
    parsed = {}
    definitions = re.split(r"^::= .*\n\n?", detailed.stdout, flags=re.MULTILINE)
    for name, oid, text in zip(names, numeric.stdout.split(), definitions):
        assert text.splitlines()[1].strip() == f"{name} OBJECT-TYPE"
        fields = dict(line.strip().split("\t", 1) for line in text.splitlines() if "\t" in line)
        parsed[name] = Parsed(oid.lstrip("."), fields["MAX-ACCESS"], fields["SYNTAX"].split("(")[0].strip())
    return parsed


def by_pysmi(_names: List[str], mib_file: Path, base: Path) -> Dict[str, Parsed]:
    """With pysmi's compiler."""
    from pysmi.codegen.jsondoc import JsonCodeGen
    from pysmi.compiler import MibCompiler
    from pysmi.parser.dialect import smiV2
    from pysmi.parser.smi import parserFactory
    from pysmi.reader.localfile import FileReader
    from pysmi.searcher.stub import StubSearcher
    from pysmi.writer.callback import CallbackWriter

    documents: Dict[str, str] = {}
    writer = CallbackWriter(lambda name, document, _context: documents.__setitem__(name, document))
    compiler = MibCompiler(parserFactory(**smiV2)(), JsonCodeGen(), writer)
    compiler.addSources(FileReader(str(mib_file.parent)), FileReader(str(base)))
    compiler.addSearchers(StubSearcher(*JsonCodeGen.baseMibs))
    assert compiler.compile(zanmib.NAME)[zanmib.NAME] == "compiled"
    nodes = json.loads(documents[zanmib.NAME])

    def syntax(type_: Dict) -> str:
        convention = nodes.get(type_["type"])
        return syntax(convention["type"]) if convention else type_["type"]

    return {name: Parsed(node["oid"], node["maxaccess"], syntax(node["syntax"]))
            for name, node in nodes.items() if node.get("nodetype") in ("scalar", "column")}


def parsed_by_node(mib_file: Path, base: Path) -> Dict[str, Dict]:
    """Everything that has a name, by the parser of the npm package net-snmp."""
    script = SOURCE_ROOT / "tests" / "mib" / "parse.js"
    done = run("node", script, base.parent / "node_modules", mib_file, zanmib.NAME)
    assert (done.returncode, done.stderr) == (0, "")
    return json.loads(done.stdout)


def by_node(_names: List[str], mib_file: Path, base: Path) -> Dict[str, Parsed]:
    """The same parser's objects."""
    nodes = parsed_by_node(mib_file, base)

    def syntax(given: object) -> str:
        name = given if isinstance(given, str) else next(iter(given))
        convention = nodes.get(name)
        return syntax(convention["SYNTAX"]) if convention else name

    objects = {name: node for name, node in nodes.items() if node.get("MACRO") == "OBJECT-TYPE"}
    values = {name: node for name, node in objects.items()
              if not re.search(r"(?:Table|Entry)$", name)}
    return {name: Parsed(node["OID"], node["MAX-ACCESS"], syntax(node["SYNTAX"]))
            for name, node in values.items()}


@pytest.mark.filterwarnings("ignore:the imp module is deprecated")  # in pysmi
@pytest.mark.parametrize("parser", [by_netsnmp, by_pysmi, by_node], ids=["net-snmp", "pysmi", "node"])
def test_every_parser_reads_the_same_objects(parser, mib, mib_file, base):
    expected = by_libsmi(mib)
    assert len(expected) == len(mib.scalars) + len(mib.columns) + len(mib.tables)
    assert parser(list(expected), mib_file, base) == expected


def test_every_parser_knows_every_name(mib, mib_file, base):
    dump = run("snmptranslate", *netsnmp_options(mib_file, base), "-Tz")
    netsnmp = dict(re.findall(r'^"(\w+)"\s+"([\d.]+)"$', dump.stdout, re.MULTILINE))
    node = {name: node["OID"] for name, node in parsed_by_node(mib_file, base).items() if "OID" in node}
    expected = {name: zanmib.dotted(oid) for name, oid in mib.nodes.items()}
    assert node == expected
    assert {name: netsnmp.get(name) for name in expected} == expected


def test_a_strict_compiler_of_old_takes_it_too(mib_file, base, tmp_path):
    program = """
        use SNMP::MIB::Compiler;
        my ($base, $folder, $name, $out) = @ARGV;
        my $compiler = SNMP::MIB::Compiler->new;
        $compiler->add_path($base, $folder);
        $compiler->add_extension("", ".txt");
        $compiler->repository($out);
        $compiler->{accept_smiv2} = 1;
        $compiler->compile($name) or exit 1;
    """
    done = run("perl", "-e", program, base, mib_file.parent, zanmib.NAME, tmp_path)
    assert (done.returncode, done.stderr) == (0, "")
    assert "zanRemoteAccessHTTPSessionTimeout" in (tmp_path / f"{zanmib.NAME}.dump").read_text()


# --- its shape ----------------------------------------------------------------------------------------------

def test_nothing_can_be_written(mib):
    assert {each.access for each in [*mib.scalars, *mib.columns]} == {"readonly"}


def test_a_row_is_named_by_an_index_that_is_no_column(mib):
    for table in mib.tables:
        assert [index.access for index in table.indexes] == ["noaccess"]
        assert table.indexes[0].type.name == "ZanRowIndex"
        assert [column.oid for column in table.columns] \
            == [table.oid + (1, number) for number in range(1, len(table.columns) + 1)]
        assert table.columns[0].type.name == "ZanRowPosition"
        assert table.indexes[0].oid[-1] > len(table.columns)
    assert len({table.indexes[0].oid[-1] for table in mib.tables}) == 1


def test_group_n_holds_the_objects_below_arc_n(mib):
    areas = {}
    for each in [*mib.scalars, *mib.columns]:
        areas.setdefault(each.oid[len(mib.objects)], []).append(each.name)
    areas[max(areas) + 1] = [each.name for each in mib.notifications]
    groups = {group.oid: group.members for group in mib.groups}
    assert groups == {mib.nodes["zanGroups"] + (arc,): tuple(names) for arc, names in areas.items()}
    assert mib.mandatory == tuple(group.name for group in mib.groups)


def test_conformance_is_apart_from_what_the_agent_serves(mib):
    served = (mib.objects, mib.nodes["zanNotifications"])
    for group in mib.groups:
        assert group.oid[:len(mib.root) + 1] not in served


def test_everything_is_described(mib):
    described = [*mib.scalars, *mib.columns, *mib.tables, *mib.notifications, *mib.groups, *mib.types]
    described += [index for table in mib.tables for index in table.indexes]
    assert [each.name for each in described if not any(each.description)] == []


# --- the documentation and the providers --------------------------------------------------------------------

def copy_of_the_sources(folder: Path) -> Path:
    """The generator, what it reads and what it writes, to change."""
    shutil.copytree(SOURCE_ROOT / "mibs", folder / "mibs", ignore=shutil.ignore_patterns("__pycache__"))
    for file in ("scripts/generate-objects-md", "docs/objects.md", "monitoring/zan-events.conf"):
        (folder / file).parent.mkdir()
        shutil.copy(SOURCE_ROOT / file, folder / file)
    return folder


def test_the_documentation_is_current(base):
    done = run(SOURCE_ROOT / "scripts" / "generate-objects-md", "--check", "--base", base)
    assert done.returncode == 0, f"run scripts/generate-objects-md:\n{done.stdout}{done.stderr}"


def test_the_check_of_the_documentation_notices_a_change_of_the_mib(base, tmp_path):
    tree = copy_of_the_sources(tmp_path / "tree")
    template = tree / "mibs" / zanmib.TEMPLATE.name
    template.write_text(template.read_text().replace("{ zanDdns 2 }", "{ zanDdns 3 }"))
    generator = tree / "scripts" / "generate-objects-md"
    done = run(generator, "--check", "--base", base)
    assert done.returncode == 1 and "+| `zanDdnsServiceProvider` | root.1.10.3 |" in done.stdout, done.stdout
    assert run(generator, "--base", base).returncode == 0
    assert run(generator, "--check", "--base", base).returncode == 0


def test_the_documentation_has_one_line_for_every_object(mib):
    rows = re.findall(r"^\| `(zan\w+)` \|", OBJECTS_MD.read_text(encoding="utf-8"), re.MULTILINE)
    documented = [*mib.scalars, *mib.columns, *mib.notifications]
    assert sorted(rows) == sorted(each.name for each in documented)


def test_every_scalar_has_a_provider_of_its_name_and_kind(mib):
    kinds = {"std::string": "text", "std::int32_t": "number", "std::uint32_t": "number"}
    headers = "".join(path.read_text(encoding="utf-8") for path in HEADERS.glob("*.h"))
    declared = re.findall(r"^(std::\w+) (zan\w+)\(\);", headers, re.MULTILINE)
    providers = [(name, kinds[returned]) for returned, name in declared]
    assert sorted(providers) == sorted(
        (scalar.name, "text" if scalar.type.base == "OctetString" else "number") for scalar in mib.scalars)
