"""A whole Zabbix in the test's namespaces: PostgreSQL, the server and its frontend with the API.

All of them listen on the loopback interface alone.
"""

import contextlib
import json
import shutil
import subprocess
import urllib.parse
import urllib.request
from pathlib import Path
from typing import Any, Dict, List, Optional

import patience
from harness import deadline

_API_PORT = 8080
_SERVER_PORT = 10051
_SCHEMA = "/usr/share/zabbix-server-pgsql"
_LOADED = ("schema.sql.gz", "images.sql.gz", "data.sql.gz")


def until(condition, what: str, seconds: float = 120) -> Any:
    """Wait for a true value, and return it."""
    return patience.until(condition, deadline(seconds), what)


class ApiError(AssertionError):
    """The API has refused something."""


class Zabbix:
    """PostgreSQL, zabbix_server and the API, from an empty database to the end."""
    def __init__(self, folder: Path) -> None:
        self._folder = folder
        self._processes: List[subprocess.Popen] = []
        self._token: Optional[str] = None
        self.traps = folder / "traps"
        folder.mkdir(mode=0o755)
        self.traps.touch()
        try:
            self._start_database()
            self._start_server()
            self._start_api()
        except BaseException:
            self.stop()
            raise

    # --- programs ------------------------------------------------------------------------------------------

    @staticmethod
    def _as(user: str, *command: str) -> List[str]:
        """A command as a user."""
        return ["runuser", "-u", user, "--", *command]

    def _run(self, *command: str, user: str = "root") -> str:
        """What a command prints; it has to succeed."""
        done = subprocess.run(self._as(user, *command), stdin=subprocess.DEVNULL, cwd="/",
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        assert done.returncode == 0, f"{command}: {done.stdout}"
        return done.stdout

    def _start(self, name: str, *command: str, user: str = "root") -> None:
        """Start a program that runs until stop()."""
        with open(self._folder / f"{name}.log", "wb") as output:
            self._processes.append(
                subprocess.Popen(self._as(user, "setpriv", "--pdeathsig", "TERM", *command),
                                 stdin=subprocess.DEVNULL, stdout=output, stderr=output, cwd="/"))

    def _own(self, name: str, user: str) -> Path:
        """A folder that is a user's own."""
        folder = self._folder / name
        folder.mkdir()
        shutil.chown(folder, user, user)
        return folder

    def _start_database(self) -> None:
        programs = sorted(Path("/usr/lib/postgresql").glob("*/bin"))[-1]
        place = self._own("database", "postgres")
        self._run(f"{programs}/initdb", "-D", f"{place}/data", "-E", "UTF8", "--locale=C.UTF-8", "--no-sync",
                  "-A", "trust", user="postgres")
        self._start("postgres", f"{programs}/postgres", "-D", f"{place}/data", "-k", str(place), "-F", "-c",
                    "listen_addresses=", user="postgres")
        ready = [f"{programs}/pg_isready", "-q", "-h", str(place)]
        until(lambda: subprocess.run(ready, check=False).returncode == 0, "PostgreSQL")
        self._run(f"{programs}/psql", "-q", "-h", str(place), "-U", "postgres", "-v", "ON_ERROR_STOP=1", "-c",
                  "create role zabbix login", "-c", "create database zabbix owner zabbix", user="postgres")
        script = ";".join(f"zcat {_SCHEMA}/{part}" for part in _LOADED)
        self._run(
            "sh", "-ec", f"({script}) | {programs}/psql -q -h {place} -U zabbix -1 -v ON_ERROR_STOP=1 zabbix "
            ">/dev/null", user="postgres")
        # What the database does by itself within minutes; until then it may look for a new host's triggers
        # as long.
        self._run(f"{programs}/psql", "-q", "-h", str(place), "-U", "zabbix", "-c", "analyze", "zabbix",
                  user="postgres")

    def _start_server(self) -> None:
        place = self._own("server", "zabbix")
        settings: Dict[str, object] = {
            "DBHost": self._folder / "database", "DBName": "zabbix", "DBUser": "zabbix",
            "ListenIP": "127.0.0.1", "LogType": "console", "PidFile": place / "pid", "SocketDir": place,
            "StartDiscoverers": 0, "StartSNMPTrapper": 1, "SNMPTrapperFile": self.traps}
        # Version 7.0 would ask its maker for news; earlier ones do not know the setting.
        if "AllowSoftwareUpdateCheck" in Path("/etc/zabbix/zabbix_server.conf").read_text(encoding="utf-8"):
            settings["AllowSoftwareUpdateCheck"] = 0
        self._configuration = self._folder / "zabbix_server.conf"
        self._configuration.write_text("".join(f"{name}={value}\n" for name, value in settings.items()),
                                       encoding="utf-8")
        self._start("server", "zabbix_server", "-f", "-c", str(self._configuration), user="zabbix")

    def _start_api(self) -> None:
        configuration = Path("/etc/zabbix/zabbix.conf.php")
        # Over that folder, so that the machine's own settings are neither read nor written.
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", str(configuration.parent)], check=True)
        configuration.write_text(
            f"""<?php
$DB['TYPE'] = 'POSTGRESQL'; $DB['SERVER'] = '{self._folder}/database'; $DB['PORT'] = '0';
$DB['DATABASE'] = 'zabbix'; $DB['USER'] = 'zabbix'; $DB['PASSWORD'] = ''; $DB['SCHEMA'] = '';
$DB['ENCRYPTION'] = false; $DB['KEY_FILE'] = ''; $DB['CERT_FILE'] = ''; $DB['CA_FILE'] = '';
$DB['VERIFY_HOST'] = false; $DB['CIPHER_LIST'] = ''; $DB['VAULT'] = ''; $DB['VAULT_URL'] = '';
$DB['VAULT_DB_PATH'] = ''; $DB['VAULT_TOKEN'] = ''; $DB['DOUBLE_IEEE754'] = true;
$ZBX_SERVER = '127.0.0.1'; $ZBX_SERVER_PORT = '{_SERVER_PORT}'; $ZBX_SERVER_NAME = '';
$IMAGE_FORMAT_DEFAULT = IMAGE_FORMAT_PNG;
""", encoding="utf-8")
        # Without the locale of its language the frontend shows no page and draws no graph.
        locales = self._folder / "locales"
        locales.mkdir()
        self._run("localedef", "-i", "en_US", "-f", "UTF-8", str(locales / "en_US.UTF-8"))
        self._start("api", "env", f"LOCPATH={locales}", "php", "-S", f"127.0.0.1:{_API_PORT}", "-t",
                    "/usr/share/zabbix")
        until(self._log_in, "the API")
        self._browser = urllib.request.build_opener(urllib.request.HTTPCookieProcessor())
        form = urllib.parse.urlencode({"name": "Admin", "password": "zabbix", "enter": "Sign in"})
        self._browser.open(f"http://127.0.0.1:{_API_PORT}/index.php", form.encode(), deadline(60)).close()

    def stop(self) -> None:
        """End everything, the last one first."""
        for process in reversed(self._processes):
            process.terminate()
            with contextlib.suppress(subprocess.TimeoutExpired):
                process.wait(deadline(60))
            if process.poll() is None:
                process.kill()
                process.wait()

    def log(self) -> str:
        """What the server has said."""
        return (self._folder / "server.log").read_text(encoding="utf-8", errors="replace")

    # --- the API -------------------------------------------------------------------------------------------

    def _log_in(self) -> bool:
        for process in self._processes:
            assert process.poll() is None, self.log()
        with contextlib.suppress(OSError):
            self._token = self.ask("user.login", username="Admin", password="zabbix")
        return bool(self._token)

    def ask(self, method: str, *positional: Any, **parameters: Any) -> Any:
        """The result of a method of the API; ApiError when it refuses."""
        request = {"jsonrpc": "2.0", "id": 1, "method": method, "params": list(positional) or parameters}
        if self._token and method not in ("user.login", "apiinfo.version"):
            request["auth"] = self._token
        answer = json.load(
            urllib.request.urlopen(
                urllib.request.Request(f"http://127.0.0.1:{_API_PORT}/api_jsonrpc.php",
                                       json.dumps(request).encode(),
                                       {"Content-Type": "application/json-rpc"}), timeout=deadline(120)))
        if "error" in answer:
            raise ApiError(f"{method}: {answer['error']['data']}")
        return answer["result"]

    def page(self, path: str) -> bytes:
        """A page of the frontend, as its administrator sees it."""
        with self._browser.open(f"http://127.0.0.1:{_API_PORT}/{path}", timeout=deadline(60)) as answer:
            return answer.read()

    @property
    def version(self) -> str:
        """Such as 6.0: what a template is made for."""
        return ".".join(self.ask("apiinfo.version").split(".")[:2])

    def import_template(self, file: Path) -> None:
        """Import a template as the frontend's form does it with everything ticked."""
        both = {"createMissing": True, "updateExisting": True}
        groups = {"groups": both} if self.version == "6.0" else {"template_groups": both}
        everything = {**both, "deleteMissing": True}
        self.ask(
            "configuration.import", format="yaml", source=file.read_text(encoding="utf-8"), rules={
                **groups, "templates": both, "valueMaps": everything, "templateDashboards": everything,
                "items": everything, "discoveryRules": everything, "triggers": everything,
                "graphs": everything, "templateLinkage": {"createMissing": True}})

    def add_router(self, name: str, port: int, template: str, macros: Dict[str, str],
                   access: Dict[str, Any]) -> "Host":
        """A host with an SNMP interface and the template; `access` is said as the API says it."""
        (group,) = self.ask("hostgroup.get", filter={"name": ["Discovered hosts"]})
        (found,) = self.ask("template.get", filter={"host": [template]})
        interface = {"type": 2, "main": 1, "useip": 1, "ip": "127.0.0.1", "dns": "", "port": str(port),
                     "details": access}
        (host,) = self.ask("host.create", host=name, groups=[{"groupid": group["groupid"]}],
                           inventory_mode=1, templates=[{"templateid": found["templateid"]}],
                           macros=[{"macro": macro, "value": value} for macro, value in macros.items()],
                           interfaces=[interface])["hostids"]
        self.reload()
        return Host(self, host)

    def reload(self) -> None:
        """Let the server take what has been changed over the API now, as an operator may tell it to."""
        # The server listens to this only some time after its start.
        until((self._folder / "server" / "zabbix_server_rtc.sock").exists, "the server")
        begun = "forced reloading of the configuration cache"
        before = self.log().count(begun)
        self._run("zabbix_server", "-c", str(self._configuration), "-R", "config_cache_reload", user="zabbix")
        until(lambda: self.log().count(begun) > before, begun)


class Host:
    """A router as Zabbix sees it."""
    def __init__(self, zabbix: Zabbix, identity: str) -> None:
        self.zabbix = zabbix
        self.identity = identity

    def items(self) -> Dict[str, Dict[str, str]]:
        """The items that the host has, by their keys."""
        found = self.zabbix.ask(
            "item.get", hostids=self.identity, webitems=True, output=[
                "itemid", "key_", "name", "status", "state", "error", "lastvalue", "lastclock", "value_type"])
        return {item["key_"]: item for item in found}

    def values(self) -> Dict[str, str]:
        """The last values of those items that have one."""
        return {key: item["lastvalue"] for key, item in self.items().items() if item["lastclock"] != "0"}

    def rules(self) -> List[Dict[str, str]]:
        """The discovery rules."""
        return self.zabbix.ask("discoveryrule.get", hostids=self.identity, output=[
            "itemid", "key_", "state", "error"])

    def problems(self) -> List[str]:
        """The names of the present problems, but for those that depend on another."""
        found = self.zabbix.ask("trigger.get", hostids=self.identity, only_true=True, filter={"value": 1},
                                skipDependent=True, expandDescription=True, output=["description"])
        return sorted(trigger["description"] for trigger in found)

    def triggers(self) -> Dict[str, Dict[str, str]]:
        """All triggers by their names."""
        found = self.zabbix.ask("trigger.get", hostids=self.identity, expandDescription=True, output=[
            "description", "value", "state", "error", "priority"])
        return {trigger["description"]: trigger for trigger in found}

    def history(self, key: str) -> List[str]:
        """All values that an item has had, the first one first."""
        item = self.items()[key]
        found = self.zabbix.ask("history.get", itemids=item["itemid"], history=item["value_type"],
                                sortfield="clock", output=["value"])
        return [entry["value"] for entry in found]
