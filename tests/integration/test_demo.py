"""scripts/demo and the helpers that it shares with the other scripts, run as a person would run them."""

import os
import re
import shlex
import shutil
import signal
import socket
import subprocess
import tempfile
from pathlib import Path
from typing import Any, Callable, Dict, Iterator, List, Optional

import pytest

from harness import ENTERPRISE_NUMBER, MODULE
from listening import open_to_others
from mib_support import zanmib
from terminal import PATIENCE_SECONDS, Terminal, plain, until

ROOT = Path(__file__).resolve().parents[2]
DEMO = ROOT / "scripts" / "demo"
ROUTER = ROOT / "tools" / "scenarios" / "router.json"
BUILD = MODULE.parent if (MODULE.parent / "CMakeCache.txt").exists() else ROOT / "build"
OPTIONS = ["--no-install", "--build-dir", str(BUILD)]
SERIAL = "ZAN-SNMPEXT-MIB::zanRouterSerialNumber.0 = STRING: ZR42-0017-3391"


def processes() -> Dict[str, str]:
    """The command lines of all processes but the zombies, by number."""
    found = {}
    for folder in Path("/proc").glob("[0-9]*"):
        try:
            found[folder.name] = (folder / "cmdline").read_bytes().replace(b"\0", b" ").decode()
        except OSError:
            continue
    return {number: command for number, command in found.items() if command}


def state_of_the_machine() -> Dict[str, Any]:
    """What a demo could leave behind, or change."""
    return {
        "processes": processes(),
        "mounts": Path("/proc/self/mounts").read_text(),
        "queues": Path("/proc/sysvipc/msg").read_text(),
        "ports": [line.split()[1] for line in Path("/proc/net/udp").read_text().splitlines()],
        "temporary": sorted(os.listdir(os.environ["TMPDIR"])),
        "run": sorted(os.listdir("/run")),
        "persistent": sorted(os.listdir("/var/lib/snmp")) if os.path.isdir("/var/lib/snmp") else None,
    }


def all_have_ended(before: Dict[str, Any]) -> bool:
    """Whether the processes are those of before; one that ends loses its command line before its ports."""
    now = state_of_the_machine()
    return (now["processes"], now["ports"]) == (before["processes"], before["ports"])


@pytest.fixture(name="temporary", scope="module", autouse=True)
def fixture_temporary() -> Iterator[Path]:
    """A folder for temporary files; not below /run, which is another one inside the demo."""
    with tempfile.TemporaryDirectory(dir="/tmp") as folder, pytest.MonkeyPatch.context() as patch:
        patch.setenv("TMPDIR", folder)
        yield Path(folder)


@pytest.fixture(name="unchanged")
def fixture_unchanged() -> Iterator[None]:
    """The machine is afterwards as it was before."""
    before = state_of_the_machine()
    yield
    until(lambda: all_have_ended(before))
    assert state_of_the_machine() == before


def build_options(clone: Path) -> List[str]:
    """What tells the demo of a clone where its build is."""
    return ["--build-dir", str(clone / BUILD.relative_to(ROOT) if BUILD.is_relative_to(ROOT) else BUILD)]


def run(*arguments: str, prefix: Optional[List[str]] = None) -> "subprocess.CompletedProcess[str]":
    """Run the demo to its end, without a terminal."""
    command = [*(prefix or []), str(DEMO), *OPTIONS, *arguments]
    return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False,
                          timeout=PATIENCE_SECONDS)


def section(output: str, heading: str) -> str:
    """The text below a heading, up to the next empty line."""
    match = re.search(rf"^{re.escape(heading)}.*?$(.*?)(?:\n\n|\Z)", output, re.DOTALL | re.MULTILINE)
    assert match, f"no heading {heading!r} in:\n{output}"
    return match.group(1)


def mib_definitions(pattern: str) -> List[Any]:
    """What the pattern's groups catch in the MIB, in its order."""
    return re.findall(pattern, (BUILD / "mibs" / "ZAN-SNMPEXT-MIB.txt").read_text(), re.MULTILINE)


# --- The tour ----------------------------------------------------------------------------------------

@pytest.fixture(name="tour", scope="module")
def fixture_tour(temporary: Path) -> "subprocess.CompletedProcess[str]":
    """One run of the demo, for all that is to be seen of it."""
    before = state_of_the_machine()
    done = run()
    assert state_of_the_machine() == before
    return done


def test_it_ends_well_without_complaints_and_without_colour(tour: "subprocess.CompletedProcess[str]") -> None:
    assert (tour.returncode, tour.stderr) == (0, "")
    assert "\x1b" not in tour.stdout and "\r" not in tour.stdout
    assert re.search(r"^That was all, in \d+ seconds\.$", tour.stdout, re.MULTILINE)


def test_single_values_are_read_by_name_and_ask_the_api(tour: "subprocess.CompletedProcess[str]") -> None:
    text = section(tour.stdout, "Values of the router")
    assert SERIAL in text
    assert "ZAN-SNMPEXT-MIB::zanRouterUptime.0 = Timeticks: " in text
    assert len(re.findall(r"^  [\d:.]+ 200 +GET /api\?fields=", text, re.MULTILINE)) == 3


def test_a_second_get_asks_the_api_nothing(tour: "subprocess.CompletedProcess[str]") -> None:
    text = section(tour.stdout, "Once more within 5 seconds")
    assert SERIAL in text
    assert text.endswith("\nThe router's API was asked nothing.")


def test_a_group_is_walked(tour: "subprocess.CompletedProcess[str]") -> None:
    text = section(tour.stdout, "A walk of one group")
    assert len(re.findall(r"^ZAN-SNMPEXT-MIB::zanRadio\w+\.0 = STRING: \S", text, re.MULTILINE)) == len(
        [each for each in zanmib.sketch() if re.match("zanRadio[A-Z]", each.name)])


def test_all_scalars_are_shown_under_their_groups(tour: "subprocess.CompletedProcess[str]") -> None:
    text = section(tour.stdout, "All groups")
    shown = re.findall(r"^  (zan\w+) +\S", text, re.MULTILINE)
    objects = mib_definitions(r"^(\w+) OBJECT-TYPE\n(?:.+\n|\n)*? *::= \{ (\w+) \d+ \}")
    scalars = [name for name, parent in objects
               if not name.endswith(("Table", "Entry")) and not parent.endswith("Entry")]
    assert sorted(shown) == sorted(scalars)
    assert re.search(r"^\d+ values, with those of the tables, .* no query twice\.$", text, re.MULTILINE)


def test_the_six_tables_have_their_rows(tour: "subprocess.CompletedProcess[str]") -> None:
    text = section(tour.stdout, "The six tables")
    assert len(re.findall(r"^ +index +Position ", text, re.MULTILINE)) == 6
    rows = re.findall(r"^ +(\d+) +(\d+) +(\S.*\S)$", text, re.MULTILINE)
    assert len(rows) == 2 + 2 + 1 + 2 + 3 + 1
    assert all(int(index) == int(position) + 1 for index, position, _ in rows)
    for name in ("maintenance", "headquarters", "gre-depot", "depot-lan", "192.168.1.101", "192.168.1.20"):
        assert name in text


def test_v1_and_v3_read_the_same(tour: "subprocess.CompletedProcess[str]") -> None:
    text = section(tour.stdout, "SNMPv1, and SNMPv3")
    assert "snmpget -v1 " in text and "snmpget -v3 " in text
    assert text.count(SERIAL) == 2


def test_eleven_notifications_arrive_by_name_and_in_order(tour: "subprocess.CompletedProcess[str]") -> None:
    text = section(tour.stdout, "Events of the router")
    arrived = re.findall(r"SNMPv2-MIB::snmpTrapOID\.0 = ZAN-SNMPEXT-MIB::(zanEvent\d+)$", text, re.MULTILINE)
    assert arrived == [f"zanEvent{number}" for number in range(1, 12)]
    assert arrived == mib_definitions(r"^(\w+) NOTIFICATION-TYPE")


def test_an_outage_and_the_recovery_are_shown(tour: "subprocess.CompletedProcess[str]") -> None:
    down = section(tour.stdout, "The router's API goes down")
    cached, _, unknown = down.partition("That was the cache")
    assert SERIAL in cached and "--set fault=down" in cached
    for line in ("zanRouterSerialNumber.0 = STRING: Unknown", "zanRouterUptime.0 = Timeticks: (0) 0:00:00.00",
                 "zanSerialToIPPort.0 = INTEGER: 0", "zanIpsecTunnelsTable: No entries",
                 "curl_easy_perform failed"):
        assert line in unknown
    back = section(tour.stdout, "The API comes back")
    assert SERIAL in back and "zanSerialToIPPort.0 = INTEGER: 4001" in back


def test_hosted_the_agent_answers_while_the_api_hangs(unchanged: None) -> None:
    done = run("--hosted")
    assert (done.returncode, done.stderr) == (0, "")
    hang = section(done.stdout, "The router's API hangs")
    answers = re.findall(r"^\d.* sysUpTime: Timeticks: .* ms +zanRadioNetwork: (.*) in \d+ ms$", hang, re.M)
    assert "genError" in answers[0] and answers[1:] == ["No Such Object"] * 3
    killed = section(done.stdout, "The module's process is killed")
    for part in (done.stdout[done.stdout.index(hang):], killed):
        assert re.search(r"^Values are back after \d+ ms\.\n.* zanRadioNetwork: STRING: ", part, re.M)
    # An agent that has not noticed yet asks the dead.
    assert re.search(r"zanRadioNetwork: (No Such Object|.*genError)", killed)


# --- Serving -----------------------------------------------------------------------------------------

@pytest.fixture(name="on_terminal")
def fixture_on_terminal() -> Iterator[Callable[..., Terminal]]:
    """Starts demos on terminals, and ends them whatever happens."""
    started: List[Terminal] = []

    def start(*arguments: str, demo: Path = DEMO) -> Terminal:
        started.append(Terminal([str(demo), *OPTIONS, *arguments]))
        return started[-1]

    yield start
    for terminal in started:
        terminal.give_up()


@pytest.fixture(name="visible")
def fixture_visible() -> Iterator[Path]:
    """A folder for a test's own files that the demo sees inside its namespaces."""
    with tempfile.TemporaryDirectory(dir="/tmp") as folder:
        yield Path(folder)


def suggested_commands(text: str) -> List[List[str]]:
    """The commands that the demo suggests, as their words; what is to be exported first is in force."""
    joined = plain(text).replace("\\\n", " ")
    lines = re.findall(r"^  (\S.*)$", joined, re.MULTILINE)
    [[_, *settings], *commands] = map(shlex.split, lines)
    assert [setting.split("=")[0] for setting in settings][:2] == ["MIBDIRS", "MIBS"]
    os.environ.update(setting.split("=", 1) for setting in settings)
    return [[os.path.expandvars(word) for word in command] for command in commands]


def output_of(command: List[str]) -> str:
    """What a suggested command prints; it has to succeed."""
    done = subprocess.run(command, capture_output=True, text=True, check=False, timeout=PATIENCE_SECONDS)
    assert (done.returncode, done.stderr) == (0, ""), command
    return done.stdout


@pytest.fixture(name="clone", params=["ordinary", "Turkish, in a folder with blanks and quotes"])
def fixture_clone(request: pytest.FixtureRequest, visible: Path,
                  monkeypatch: pytest.MonkeyPatch) -> Iterator[Path]:
    """The source tree, also where and as not everybody has it."""
    monkeypatch.delenv("LC_ALL")
    if request.param == "ordinary":
        yield ROOT
        return
    locales = visible / "locales"
    locales.mkdir()
    subprocess.run(["localedef", "-i", "tr_TR", "-f", "UTF-8", str(locales / "tr_TR.UTF-8")], check=True)
    monkeypatch.setenv("LOCPATH", str(locales))
    monkeypatch.setenv("LC_ALL", "tr_TR.UTF-8")
    assert subprocess.check_output(["bash", "-c", "i=i; echo ${i^}"]).decode() == "\u0130\n"
    tree = visible / "Zoë's  own & only tree (1)"
    tree.mkdir()
    subprocess.run(["mount", "--bind", str(ROOT), str(tree)], check=True)
    yield tree
    subprocess.run(["umount", str(tree)], check=True)


def test_serving_keeps_its_word(clone: Path, unchanged: None, on_terminal: Callable[..., Terminal],
                                tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    # The tools keep an index of certificates there, and say so when they make it.
    monkeypatch.setenv("SNMP_PERSISTENT_DIR", str(tmp_path))
    (tmp_path / "cert_indexes").mkdir()
    monkeypatch.setenv("MIBDIRS", "")
    monkeypatch.setenv("MIBS", "")
    terminal = on_terminal("--serve", *build_options(clone), demo=clone / "scripts" / "demo")
    text = terminal.read_until("200       GET /api?fields=snmp")
    assert "\x1b[32mThe agent answers on 127.0.0.1, UDP port 1161." in text
    assert open_to_others() == []
    commands = suggested_commands(text)
    outputs = {" ".join(command): output_of(command) for command in commands
               if command[0].startswith("snmp")}
    assert [command.split()[:2] for command in outputs] == [
        ["snmpget", "-v1"], ["snmpwalk", "-v2c"], ["snmpbulkwalk", "-v2c"], ["snmptable", "-v2c"],
        ["snmpget", "-v3"]]
    get_v1, walk, bulkwalk, table, get_v3 = outputs.values()
    assert get_v1 == SERIAL + "\n"
    assert get_v3 == "ZAN-SNMPEXT-MIB::zanRouterModelId.0 = STRING: ZR-4200-LTE\n"
    assert walk.count("\n") == 21 and bulkwalk.count("\n") > len(zanmib.sketch()) and "192.168.1.102" in table
    terminal.read_until("GET /api?fields=remoteAccess")

    weak, down, instructions = [command for command in commands if "zan-router-sim" in command[0]]
    assert "usage: zan-router-sim" in output_of(instructions)
    output_of(weak)
    output_of(down)
    terminal.read_until("fault: down")

    [listen] = [command for command in commands if command[0] == "/usr/sbin/snmptrapd"]
    [post] = [command for command in commands if command[0] == "nsenter"]
    with subprocess.Popen(listen, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as listener:
        assert listener.stdout is not None
        until(lambda: "0100007F:048A" in Path("/proc/net/udp").read_text())
        output_of(post)
        received = ""
        while "snmpTrapOID" not in received:
            received = listener.stdout.readline()
        listener.terminate()
    assert "SNMPv2-MIB::snmpTrapOID.0 = OID: ZAN-SNMPEXT-MIB::zanEvent7" in received

    terminal.press(b"\x03")
    assert terminal.wait() == 0
    assert plain(terminal.text).endswith("Stopped; nothing is left running.\n")


def test_serving_ends_when_the_agent_does(unchanged: None, on_terminal: Callable[..., Terminal]) -> None:
    terminal = on_terminal("--serve")
    terminal.read_until("GET /api?fields=snmp")
    [agent] = [number for number, command in processes().items()
               if command.startswith("/usr/sbin/snmpd ") and "/run/demo/" in command]
    os.kill(int(agent), signal.SIGTERM)
    assert terminal.wait() == 1
    assert "the router or the agent has ended" in terminal.text


def test_an_edited_scenario_of_ones_own_is_served(unchanged: None, on_terminal: Callable[..., Terminal],
                                                  visible: Path) -> None:
    scenario = visible / "mine.json"
    scenario.write_text('{"api": {"system": {"deviceId": "FIRST"}}}')
    terminal = on_terminal("--serve", "--port", "1261", "--scenario", str(scenario))
    text = terminal.read_until("GET /api?fields=snmp")
    get = ["snmpget", "-v2c", "-c", "public", "-Oqv", "127.0.0.1:1261",
           f".1.3.6.1.4.1.{ENTERPRISE_NUMBER}.14.1.1.8.2.0"]
    environment = {**os.environ, "MIBS": "", "SNMP_PERSISTENT_DIR": str(visible)}
    assert f"--scenario {scenario} --set" in plain(text)

    def serial() -> str:
        return subprocess.run(get, env=environment, capture_output=True, text=True, check=True).stdout

    assert serial() == '"FIRST"\n'
    scenario.write_text('{"api": {"system": {"deviceId": "SECOND"}}}')
    until(lambda: serial() == '"SECOND"\n')
    terminal.press(b"\x03")
    assert terminal.wait() == 0


@pytest.mark.parametrize("number, status", [(signal.SIGTERM, 0), (signal.SIGHUP, 0), (signal.SIGKILL, -9)])
def test_no_process_and_no_mount_outlives_it(on_terminal: Callable[..., Terminal], temporary: Path,
                                             number: int, status: int) -> None:
    before = state_of_the_machine()
    terminal = on_terminal("--serve")
    terminal.read_until("GET /api?fields=snmp")
    os.kill(terminal.process_id, number)
    assert terminal.wait() == status
    until(lambda: all_have_ended(before))
    after = state_of_the_machine()
    if number == signal.SIGKILL:
        # Nobody is left to remove the folder of temporary files.
        [left] = after["temporary"]
        shutil.rmtree(temporary / left)
        after["temporary"] = []
    assert after == before


def test_the_tour_can_be_cut_short(unchanged: None, on_terminal: Callable[..., Terminal]) -> None:
    terminal = on_terminal()
    terminal.read_until("All groups")
    terminal.press(b"\x03")
    assert terminal.wait() == 130


def test_what_cannot_be_seen_inside_is_told(unchanged: None) -> None:
    done = run("--scenario", "/run/router.json")
    assert (done.returncode, done.stdout) == (1, "")
    assert "/run/router.json cannot be seen inside" in done.stderr


# --- What can be wrong -------------------------------------------------------------------------------

def test_a_taken_port_is_told(unchanged: None) -> None:
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as other:
        other.bind(("127.0.0.1", 1161))
        done = run("--serve")
    assert done.returncode == 1
    assert "the agent cannot have UDP port 1161 of 127.0.0.1: Address already in use" in done.stderr
    assert "--port" in done.stderr


def test_a_module_that_the_agent_cannot_load_is_told(unchanged: None, visible: Path) -> None:
    build = visible / "build"
    shutil.copytree(BUILD / "mibs", build / "mibs")
    shutil.copy(BUILD / "CMakeCache.txt", build)
    (build / "zansnmpext.so").write_text("This is no module.")
    settings = {"ZAN_BUILD_DIR": build, "ZAN_TEMP": visible, "PORT": 1161, "SCENARIO": ROUTER}
    done = subprocess.run(["unshare", "--mount", "--ipc", "--net", "--pid", "--fork", "--kill-child",
                           "--mount-proc", ROOT / "tools" / "demo" / "inside", "serve"],
                          capture_output=True, text=True,
                          env={**os.environ, **{name: str(value) for name, value in settings.items()}},
                          check=False, timeout=PATIENCE_SECONDS)
    assert (done.returncode, done.stdout) == (1, "")
    assert f"snmpd answers, but has not loaded {build}/zansnmpext.so; its log:" in done.stderr
    assert "file too short" in done.stderr


def test_a_port_of_roots_is_told(unchanged: None) -> None:
    done = run("--serve", "--port", "161", prefix=["setpriv", "--bounding-set=-net_bind_service",
                                                   "--inh-caps=-net_bind_service"])
    assert done.returncode == 1
    assert "the agent cannot have UDP port 161 of 127.0.0.1: Permission denied" in done.stderr
    assert "Ports below 1024 are root's: run this as root, or choose another with --port." in done.stderr


def test_a_place_that_cannot_be_written_to_is_told(unchanged: None, visible: Path) -> None:
    subprocess.run(["mount", "--bind", "-o", "ro", str(visible), str(visible)], check=True)
    subprocess.run(["mount", "-o", "remount,bind,ro", str(visible)], check=True)
    done = run("--build-dir", str(visible / "new" / "build"))
    subprocess.run(["umount", str(visible)], check=True)
    assert (done.returncode, done.stdout) == (1, "")
    assert f"{visible} cannot be written to: choose another folder to build in with" in done.stderr


def test_a_place_that_cannot_be_built_in_is_told(unchanged: None, visible: Path) -> None:
    done = run("--build-dir", str(visible / "a;b"))
    assert (done.returncode, done.stdout) == (1, "")
    assert "cmake and what it calls cannot build in" in done.stderr


def test_refused_namespaces_are_told(unchanged: None) -> None:
    done = run(prefix=["setpriv", "--bounding-set=-sys_admin", "--inh-caps=-sys_admin"])
    assert done.returncode == 1
    assert "this machine refuses private namespaces: unshare: unshare failed: Operation not" in done.stderr
    assert "In a container:" in done.stderr


def test_a_bad_scenario_is_told_before_anything_is_built(unchanged: None, visible: Path) -> None:
    scenario = visible / "bad.json"
    scenario.write_text('{\n"api": {\n"sistem": {}}}')
    done = run("--scenario", str(scenario))
    assert (done.returncode, done.stdout) == (1, "")
    assert f'{scenario}:3:1: unknown field "sistem" (did you mean "system"?)' in done.stderr


@pytest.mark.parametrize("arguments, message", [
    (["--nonsense"], 'unknown argument "--nonsense"'), (["--port"], "--port needs a number"),
    (["--port", "70000"], "--port needs a number"), (["--serve", "--monitor"], "exclude each other"),
    (["--scenario"], "--scenario needs a file")])
def test_bad_arguments_are_told(unchanged: None, arguments: List[str], message: str) -> None:
    done = run(*arguments)
    assert (done.returncode, done.stdout) == (2, "")
    assert message in done.stderr and "--help" in done.stderr


@pytest.mark.parametrize("arguments, message", [
    ([], "which command?"), (["--user"], "which command?"), (["--release", "10", "true"], "unknown release"),
    (["--bring", "/nothing", "true"], "there is no /nothing"), (["--nonsense"], "unknown option")])
def test_bad_arguments_for_a_fresh_debian(unchanged: None, arguments: List[str], message: str) -> None:
    done = subprocess.run([ROOT / "scripts/in-fresh-debian", *arguments], stdin=subprocess.DEVNULL, text=True,
                          capture_output=True, check=False, timeout=PATIENCE_SECONDS)
    assert (done.returncode, done.stdout) == (2, "")
    assert message in done.stderr and "--help" in done.stderr


def test_help_tells_every_option(unchanged: None) -> None:
    done = run("--help")
    assert (done.returncode, done.stderr) == (0, "")
    for option in ("--serve", "--hosted", "--port", "--scenario", "--build-dir", "--no-install", "--help"):
        assert f"  {option}" in done.stdout


# --- Packages ----------------------------------------------------------------------------------------

POLICY = Path("/usr/sbin/policy-rc.d")


@pytest.fixture(name="own_sbin")
def fixture_own_sbin(tmp_path: Path) -> Iterator[None]:
    """/usr/sbin with the same programs, but a folder of the test's own, and without a policy for services."""
    before, own = tmp_path / "before", tmp_path / "own"
    before.mkdir()
    own.mkdir()
    subprocess.run(["mount", "--bind", "/usr/sbin", before], check=True)
    for program in before.iterdir():
        if program.name != POLICY.name:
            (own / program.name).symlink_to(before / program.name)
    subprocess.run(["mount", "--bind", own, "/usr/sbin"], check=True)
    yield
    # Lazily: of an installation that was interrupted, a program may still be ending.
    subprocess.run(["umount", "--lazy", "/usr/sbin", before], check=True)


def installation(tmp_path: Path, apt_get: str, group: str = "run",
                 option: str = ":") -> "subprocess.Popen[str]":
    """ensure_packages on a machine without snmpd, with an apt-get that does what the script says."""
    tools = {
        "dpkg-query": """case "$*" in
            *-L*) printf "%s\\n" /lib/systemd/system/snmpd.{service,socket} /etc/init.d/snmpd ;;
            *snmpd) exit 1 ;;
            *) printf installed ;;
            esac""",
        "apt-get": f"""[[ $* != *-s* ]] || {{ echo "Inst snmpd (5.9)"; exit; }}
            printf "%s\\n" "$*" >>"{tmp_path}/calls"
            {apt_get}""",
        "deb-systemd-helper": f'printf "%s\\n" "$*" >>"{tmp_path}/disabled"',
        "update-rc.d": f'printf "%s\\n" "$*" >>"{tmp_path}/disabled"',
    }
    for name, text in tools.items():
        (tmp_path / name).write_text(f"#!/bin/bash\n{text}\n")
        (tmp_path / name).chmod(0o755)
    (tmp_path / "calls").write_text("")
    script = (f"set -euo pipefail; source {shlex.quote(str(ROOT))}/scripts/lib.sh; {option}; "
              f"ensure_packages {group}")
    path = f"{tmp_path}:{os.environ['PATH']}"
    return subprocess.Popen(["bash", "-c", script], env={**os.environ, "PATH": path}, text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True)


def install(tmp_path: Path, apt_get: str, group: str = "run",
            option: str = ":") -> "subprocess.CompletedProcess[str]":
    """The same, to its end."""
    with installation(tmp_path, apt_get, group, option) as process:
        output, errors = process.communicate(timeout=PATIENCE_SECONDS)
    return subprocess.CompletedProcess(process.args, process.returncode, output, errors)


@pytest.mark.usefixtures("own_sbin")
def test_what_is_missing_is_installed_and_named(tmp_path: Path) -> None:
    done = install(tmp_path, "exit 0")
    assert done.returncode == 0
    assert "Installing snmpd ...\n" in done.stdout
    assert "New on this machine: 1 packages." in done.stdout
    assert "\n  apt-get autoremove --purge snmpd\n" in done.stdout
    assert (tmp_path / "calls").read_text() == (
        "-y -o DPkg::Lock::Timeout=600 install --no-install-recommends snmpd\n")


@pytest.mark.usefixtures("own_sbin")
def test_services_of_new_packages_are_off_and_no_others(tmp_path: Path) -> None:
    done = install(tmp_path, f"""for unit in snmpd snmpd.service snmpd.socket cron.service; do
        {POLICY} $unit start; echo "$unit $?" >>{tmp_path}/policy; done""")
    assert done.returncode == 0
    assert (tmp_path / "policy").read_text().splitlines() == [
        "snmpd 101", "snmpd.service 101", "snmpd.socket 101", "cron.service 0"]
    assert not POLICY.exists()
    assert sorted((tmp_path / "disabled").read_text().splitlines()) == [
        "disable snmpd.service", "disable snmpd.socket", "snmpd disable"]
    assert "off, now and at the next boot: snmpd.\n" in done.stdout


@pytest.mark.usefixtures("own_sbin")
def test_the_policy_of_an_administrator_stays_as_it_is(tmp_path: Path) -> None:
    POLICY.write_text("#!/bin/sh\nexit 104\n")
    POLICY.chmod(0o755)
    done = install(tmp_path, f"{POLICY} snmpd start; [[ $? -eq 104 ]]")
    assert (done.returncode, done.stderr) == (0, "")
    assert POLICY.read_text() == "#!/bin/sh\nexit 104\n"
    POLICY.unlink()


@pytest.mark.usefixtures("own_sbin")
@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_an_interrupted_installation_leaves_no_policy(tmp_path: Path, number: signal.Signals) -> None:
    with installation(tmp_path, f": >{tmp_path}/begun; exec sleep 1000") as process:
        until((tmp_path / "begun").exists)
        forbidden = POLICY.exists()
        os.killpg(process.pid, number)
        process.communicate(timeout=PATIENCE_SECONDS)
    assert forbidden and process.returncode != 0
    until(lambda: not POLICY.exists())


@pytest.mark.usefixtures("own_sbin")
def test_a_policy_that_was_left_is_without_effect_and_replaced(tmp_path: Path) -> None:
    with installation(tmp_path, f": >{tmp_path}/begun; exec sleep 1000") as process:
        until((tmp_path / "begun").exists)
        os.killpg(process.pid, signal.SIGKILL)
    until(lambda: subprocess.run([POLICY, "snmpd.service", "start"], check=False).returncode == 0)
    assert install(tmp_path, "exit 0").returncode == 0
    assert not POLICY.exists()


@pytest.mark.parametrize("system, reason", [
    ('ID=debian\nVERSION_ID="11"\nPRETTY_NAME="Debian 11"', "Debian 11 is not supported: its cmake is 3.18"),
    ('ID=another\nVERSION_ID="12"\nPRETTY_NAME=Another', "Another is not supported: its packages"),
    ("", "this system is not supported: its packages")])
def test_another_system_is_refused_untouched(tmp_path: Path, system: str, reason: str) -> None:
    (tmp_path / "os-release").write_text(system + "\n")
    subprocess.run(["mount", "--bind", tmp_path / "os-release", "/etc/os-release"], check=True)
    try:
        done = install(tmp_path, "exit 0")
    finally:
        subprocess.run(["umount", "/etc/os-release"], check=True)
    assert (done.returncode, done.stdout, (tmp_path / "calls").read_text()) == (1, "", "")
    assert reason in done.stderr
    assert " snmpd " in done.stderr and "--no-install" in done.stderr


@pytest.mark.parametrize("version", ["12", "13"])
@pytest.mark.usefixtures("own_sbin")
def test_the_supported_systems_are_supported(tmp_path: Path, version: str) -> None:
    (tmp_path / "os-release").write_text(f'ID=debian\nVERSION_ID="{version}"\n')
    subprocess.run(["mount", "--bind", tmp_path / "os-release", "/etc/os-release"], check=True)
    try:
        assert install(tmp_path, "exit 0").returncode == 0
    finally:
        subprocess.run(["umount", "/etc/os-release"], check=True)


@pytest.mark.usefixtures("own_sbin")
def test_old_package_lists_are_renewed(tmp_path: Path) -> None:
    done = install(tmp_path, f'[[ $* != *update* ]] || touch {tmp_path}/new; [[ -e {tmp_path}/new ]]')
    assert (done.returncode, done.stderr) == (0, "")
    assert re.findall("install|update", (tmp_path / "calls").read_text().replace("--no-install", "")) == [
        "install", "update", "install"]


@pytest.mark.usefixtures("own_sbin")
def test_no_network_for_packages_is_told(tmp_path: Path) -> None:
    done = install(tmp_path, "echo 'Temporary failure resolving the mirror'; exit 100")
    assert done.returncode == 1
    assert "Temporary failure resolving" in done.stderr
    assert "apt-get cannot reach a package mirror: no network" in done.stderr
    assert "apt-get install snmpd" in done.stderr


@pytest.mark.usefixtures("own_sbin")
def test_a_package_that_cannot_be_installed_is_told(tmp_path: Path) -> None:
    done = install(tmp_path, "[[ $* == *update* ]] || { echo 'Unable to locate package snmpd'; exit 100; }")
    assert done.returncode == 1
    assert "Unable to locate package snmpd" in done.stderr
    assert "apt-get could not install these packages" in done.stderr


def test_what_is_missing_is_named_to_who_installs_nothing(tmp_path: Path) -> None:
    done = install(tmp_path, "exit 1", option="common_option --no-install")
    assert (done.returncode, done.stdout) == (0, "")
    assert "not installed, as --no-install says: snmpd\n" in done.stderr


def test_an_unknown_group_of_packages_is_told(tmp_path: Path) -> None:
    done = install(tmp_path, "exit 0", group="nonsense")
    assert done.returncode == 1
    assert 'scripts/packages has no group "nonsense"' in done.stderr
