"""The firewall of the examples, loaded into the kernel: a host of two network namespaces, one of which is the Mux's.

Runs in namespaces of its own, in which it is root. Loaded in another way, as by a test runner, it refuses: it would
replace the rules of the machine.
"""
import os
import subprocess
import sys
import unittest

from examples import DEADLINE, ExampleTest, adapted, skip, skip_without, wait_until

# The machine's network namespace, noted before this one was entered.
OUTSIDE = "MUX_TEST_OUTER_NETWORK"
PROXY_RULES = "../proxy/examples/nftables-proxy.conf"
MUX, LISTED, UNLISTED, GATEWAY = "192.168.1.5", "192.168.1.10", "192.168.1.99", "192.168.2.20"
CONNECTS = """
import socket, sys
source, target, port = sys.argv[1:]
socket.create_connection((target, int(port)), timeout=3, source_address=(source, 0) if source else None)
"""
LISTENS = """
import socket, sys
listeners = [socket.create_server(("0.0.0.0", int(port))) for port in sys.argv[1:]]
print("listening", flush=True)
sys.stdin.read()
"""


def network_namespace(process="self"):
    return os.readlink(f"/proc/{process}/ns/net")


def run(*command):
    subprocess.run(list(map(str, command)), check=True)


class Firewall(ExampleTest):
    @classmethod
    def setUpClass(cls):
        """The neighbour, with clients and gateway, is a process in another namespace."""
        if os.environ.get(OUTSIDE, network_namespace()) == network_namespace():
            raise RuntimeError(f"would replace this machine's rules; run {__file__}, which enters namespaces of its own")
        cls.neighbour = subprocess.Popen(["unshare", "--net", "sleep", "infinity"])
        cls.addClassCleanup(cls.neighbour.wait)
        cls.addClassCleanup(cls.neighbour.kill)
        wait_until(lambda: network_namespace(cls.neighbour.pid) != network_namespace(), "the neighbour's namespace", DEADLINE)
        run("ip", "link", "set", "lo", "up")
        run("ip", "link", "add", "mux", "type", "veth", "peer", "name", "lan", "netns", cls.neighbour.pid)
        for address in (f"{MUX}/24", "192.168.2.5/24"):
            run("ip", "address", "add", address, "dev", "mux")
        run("ip", "link", "set", "mux", "up")
        for address in (f"{LISTED}/24", f"{UNLISTED}/24", f"{GATEWAY}/24"):
            cls.run_beyond("ip", "address", "add", address, "dev", "lan")
        cls.run_beyond("ip", "link", "set", "lan", "up")

    @classmethod
    def beyond(cls, *command):
        return ["nsenter", "--target", str(cls.neighbour.pid), "--net", *map(str, command)]

    @classmethod
    def run_beyond(cls, *command):
        run(*cls.beyond(*command))

    def setUp(self):
        super().setUp()
        self.addCleanup(run, "nft", "flush", "ruleset")
        self.listen(sys.executable, "-c", LISTENS, 5555, 22)
        self.listen(*self.beyond(sys.executable, "-c", LISTENS, 2101))

    def listen(self, *command):
        self.start(*command).wait_for("listening", deadline=DEADLINE)

    def load(self, user):
        """The rules, with this user in place of the Mux's."""
        self.load_rules(adapted("nftables.conf", {'"dw-hal-mux"': user}))

    def load_rules(self, text):
        """The second time they replace the first."""
        file = self.write("nftables.conf", text)
        run("nft", "--check", "--file", file)
        for _ in range(2):
            run("nft", "--file", file)
        tables = subprocess.run(["nft", "list", "ruleset"], check=True, capture_output=True, text=True).stdout
        self.assertEqual(tables.count("chain input"), 1, tables)

    def connects(self, source, target, port, beyond=False):
        command = [sys.executable, "-c", CONNECTS, source, target, str(port)]
        return subprocess.run(self.beyond(*command) if beyond else command, capture_output=True,
                              check=False).returncode == 0

    def test_admits_listed_clients_to_the_mux_and_nobody_else(self):
        self.assertTrue(self.connects(UNLISTED, MUX, 5555, beyond=True))
        self.load(user=os.getuid())
        self.assertTrue(self.connects(LISTED, MUX, 5555, beyond=True))
        self.assertFalse(self.connects(UNLISTED, MUX, 5555, beyond=True))
        self.assertTrue(self.connects("", "127.0.0.1", 5555))
        self.assertTrue(self.connects(UNLISTED, MUX, 22, beyond=True))

    def test_lets_only_the_user_of_the_mux_reach_gateways(self):
        self.load(user=os.getuid())
        self.assertTrue(self.connects("", GATEWAY, 2101))
        self.load(user=os.getuid() + 1)
        self.assertFalse(self.connects("", GATEWAY, 2101))

    def test_lets_only_the_proxy_and_the_health_check_reach_the_mux_behind_a_proxy(self):
        for user, connects in ((os.getuid(), True), (os.getuid() + 1, False)):
            self.load_rules(adapted(PROXY_RULES, {'"dw-hal-mux-proxy", "dw-hal-mux"': f"{user}, {user + 2}"}))
            for address in ("127.0.0.1", MUX):
                self.assertEqual(self.connects("", address, 5555), connects, address)
            self.assertFalse(self.connects(LISTED, MUX, 5555, beyond=True))
            self.assertTrue(self.connects("", "127.0.0.1", 22))
            self.assertTrue(self.connects(LISTED, MUX, 22, beyond=True))


def enter_namespaces():
    """Starts again as root of namespaces that end with the process."""
    inside = ["unshare", "--user", "--map-root-user", "--net"]
    if subprocess.run([*inside, "true"], capture_output=True, check=False).returncode != 0:
        skip("this machine allows no namespaces")
    os.environ[OUTSIDE] = network_namespace()
    os.execvp(inside[0], [*inside, sys.executable, "-B", __file__, *sys.argv[1:]])


if __name__ == "__main__":
    skip_without("nft", "ip")
    if OUTSIDE not in os.environ:
        enter_namespaces()
    unittest.main()
