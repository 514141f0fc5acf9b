"""The TLS entrance of the examples for stunnel: certificates made as they say, a door opened through both ends."""
import os
import re
import shlex
import subprocess
import unittest

from examples import DEADLINE, EXAMPLES, ExampleTest, adapted, free_port, skip_without

OPEN = ("open", "--gateway", 1, "--lock", 5)


class TlsEntrance(ExampleTest):
    def setUp(self):
        super().setUp()
        self.mux_port = self.start_site({"ID": 5})
        self.tls_port = free_port()
        self.make_certificate("stunnel-server.conf")
        self.make_certificate("stunnel-client.conf")

    def make_certificate(self, example):
        command = re.search(r"^; +(openssl .*)$", (EXAMPLES / example).read_text(), re.MULTILINE)[1]
        subprocess.run(shlex.split(command), cwd=self.folder, check=True, capture_output=True)

    def start_server(self, admitted):
        (self.folder / "clients.pem").write_bytes((self.folder / admitted).read_bytes())
        self.start_stunnel("server", {
            "accept = 5543": f"accept = 127.0.0.1:{self.tls_port}",
            "127.0.0.1:5555": f"127.0.0.1:{self.mux_port}"})

    def start_client(self):
        """The port where it takes what is for the Mux."""
        port = free_port()
        self.client = self.start_stunnel("client", {
            "127.0.0.1:5555": f"127.0.0.1:{port}",
            "192.168.1.5:5543": f"127.0.0.1:{self.tls_port}"})
        return port

    def start_stunnel(self, end, changes):
        # Only root may change the user.
        user = {} if os.getuid() == 0 else {"setuid = stunnel4\nsetgid = stunnel4\n": ""}
        text = adapted(f"stunnel-{end}.conf", {**changes, **user, "/etc/stunnel/": f"{self.folder}/"})
        stunnel = self.start("stunnel4", self.write(f"{end}.conf", text))
        stunnel.wait_for("Configuration successful", deadline=DEADLINE)
        return stunnel

    def test_opens_a_door_for_a_listed_client(self):
        self.start_server(admitted="client.pem")
        opened = self.muxctl(self.start_client(), *OPEN, timeout=DEADLINE)
        self.assertEqual(opened.returncode, 0, opened.stderr)
        self.simulator.wait_for("OPEN_LOCK lock 5", deadline=DEADLINE)

    def test_refuses_a_client_that_is_not_listed(self):
        self.start_server(admitted="mux.pem")
        refused = self.muxctl(self.start_client(), *OPEN)
        self.assertEqual(refused.returncode, 2, refused.stdout)
        self.assertEqual(self.simulator.lines_with("OPEN_LOCK"), [])

    def test_refuses_a_host_that_has_the_place_of_the_mux(self):
        self.start_server(admitted="client.pem")
        (self.folder / "mux.pem").write_bytes((self.folder / "client.pem").read_bytes())
        refused = self.muxctl(self.start_client(), *OPEN)
        self.assertEqual(refused.returncode, 2, refused.stdout)
        self.client.wait_for("certificate verify failed", deadline=DEADLINE)

    def test_refuses_a_client_without_tls(self):
        self.start_server(admitted="client.pem")
        refused = self.muxctl(self.tls_port, *OPEN)
        self.assertEqual(refused.returncode, 2, refused.stdout)
        self.assertEqual(self.simulator.lines_with("OPEN_LOCK"), [])


if __name__ == "__main__":
    skip_without("stunnel4", "openssl")
    unittest.main()
