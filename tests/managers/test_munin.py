"""munin-node with the plugin, asked as Munin asks it."""

import shutil
import socket
import subprocess
from pathlib import Path
from typing import Dict, Iterator

import pytest

from harness import CACHE_LIFETIME, deadline
from monitoring_support import MADE, free_port, until

V3 = """\
env.user manager
env.auth_protocol SHA-256
env.auth_phrase a passphrase of 8 or more
env.priv_protocol AES
env.priv_phrase another passphrase
"""

#: Only one user is known there.
IN_USER_NAMESPACE = Path("/proc/self/uid_map").read_text().split()[2] == "1"

NODE = """\
log_level 4
log_file {folder}/log
pid_file {folder}/pid
background 0
setsid 0
user root
group root
host 127.0.0.1
port {port}
allow ^127\\.0\\.0\\.1$
"""


class Node:
    """munin-node, which takes the plugins and what they are told from Debian's folders."""

    def __init__(self, folder: Path) -> None:
        self._port = free_port()
        self._folder = folder
        for place in ("/etc/munin", "/var/lib/munin-node"):
            subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=0755", "tmpfs", place], check=True)
        for place in ("/etc/munin/plugins", "/etc/munin/plugin-conf.d", "/var/lib/munin-node/plugin-state",
                      "/run/munin"):
            Path(place).mkdir(parents=True)
        (folder / "node.conf").write_text(NODE.format(folder=folder, port=self._port))
        # The plugins are run as another user, who has to see the file.
        Path("/etc/munin/source").mkdir()
        self._plugin = Path(shutil.copy(MADE / "munin" / "zan_router_", "/etc/munin/source"))
        self._plugin.chmod(0o755)

    def start(self, routers: Dict[str, str]) -> None:
        """Begin to serve these routers, each with what its plugin is told."""
        for router, told in routers.items():
            Path(f"/etc/munin/plugins/zan_router_{router}").symlink_to(self._plugin)
            # An ordinary user's namespaces have no other user to become.
            become = "user root\ngroup root\n" if IN_USER_NAMESPACE else ""
            (Path("/etc/munin/plugin-conf.d") / router).write_text(f"[zan_router_{router}]\n{become}{told}")
        self._process = subprocess.Popen(
            ["/usr/sbin/munin-node", "--foreground", "--config", str(self._folder / "node.conf")],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        until(lambda: "munin node" in self.ask(), "munin-node")

    def ask(self, *commands: str) -> str:
        """What it answers; nothing while it does not listen."""
        try:
            with socket.create_connection(("127.0.0.1", self._port), deadline(20)) as connection:
                connection.sendall("".join(f"{command}\n" for command in (*commands, "quit")).encode())
                return b"".join(iter(lambda: connection.recv(4096), b"")).decode()
        except OSError:
            return ""

    def values(self, router: str) -> Dict[str, str]:
        """The values of a router's graphs."""
        answer = self.ask("cap multigraph", f"fetch zan_router_{router}")
        return dict(line.split(".value ") for line in answer.splitlines() if ".value " in line)

    def stop(self) -> None:
        """End it."""
        self._process.terminate()
        self._process.wait()


@pytest.fixture(name="node", scope="module")
def node_fixture(tmp_path_factory) -> Iterator[Node]:
    node = Node(tmp_path_factory.mktemp("node"))
    yield node
    node.stop()


def test_munin_draws_a_router(node, make_agent, api, clock):
    agent = make_agent(extra_configuration='createUser manager SHA-256 "a passphrase of 8 or more" '
                                           'AES "another passphrase"\nrouser manager priv').start()
    address = f"127.0.0.1:{agent.port}"
    node.start({"lab": f"env.router {address}\nenv.community public\n", "v3": f"env.router {address}\n{V3}",
                "wrong": f"env.router {address}\nenv.community nobody\n"})
    api.fields["stats"]["wlan"]["link"] = {"signal": "-58"}
    api.fields["stats"]["serial"] = {"tx": 2**31 + 7, "rx": 4096}
    api.fields["stats"]["pppTotal"] = {"totalTx": 2**53, "totalRx": 9}
    clock.advance(CACHE_LIFETIME)
    expected = {"signal": "-75", "wifi_signal": "-58", "received": "9", "sent": str(2**53),
                "serial_received": "4096", "serial_sent": str(2**31 + 7), "uptime": "0.1429",
                "link_uptime": node.values("lab")["link_uptime"]}
    assert node.values("lab") == node.values("v3") == expected
    assert float(expected["link_uptime"]) > 0
    # Every value has its place in a graph, and the router is a host of its own.
    assert {"lab", "v3", "wrong"} <= set(node.ask("nodes").splitlines())
    assert "zan_router_lab" in node.ask("cap multigraph", "list lab")
    described = node.ask("cap multigraph", "config zan_router_lab").splitlines()
    assert "host_name lab" in described
    assert all(f"{name}.label" in "\n".join(described) for name in expected)
    # Nothing is known of a router whose API is down, and of one that does not answer: no value is 0 then.
    api.down()
    clock.advance(CACHE_LIFETIME)
    assert set(node.values("lab").values()) == {"U"} and node.values("lab").keys() == expected.keys()
    assert node.values("wrong") == {}
    agent.mark()  # the outage is logged
