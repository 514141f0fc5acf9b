"""muxctl through the running mux-proxy."""
import json
import os
import pathlib
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "proxy" / "running"))

from proxy_site import MUX_AWAY, PROGRAMS, Site, certificates  # noqa: E402

LOCK = ("--gateway", "1", "--lock", "5")


def run_muxctl(*arguments):
    return subprocess.run([PROGRAMS / "muxctl", *arguments], capture_output=True, text=True, check=False,
                          env={**os.environ, "LC_ALL": "C"})


class ThroughProxy(Site):
    def address(self):
        return "--host", "localhost", "--port", str(self.proxy_port)

    def muxctl(self, *arguments, client="reception"):
        return run_muxctl(*arguments, *self.address(), *self.certificates_of(client))

    def certificates_of(self, client):
        if client is None:
            return "--ca", str(self.authority / "authority.crt")
        files = self.authority / "clients" / client
        return "--ca", str(self.authority / "authority.crt"), "--cert", f"{files}.crt", "--key", f"{files}.key"

    def assert_ends(self, done, status, text):
        self.assertEqual(done.returncode, status, done)
        self.assertRegex(done.stdout + done.stderr, text)

    def test_opens_a_door(self):
        self.assert_ends(self.muxctl("open", *LOCK), 0, r"^ACK   open, gateway 1, lock 5 \(")
        self.assertEqual(self.opened(), 1)

    def test_takes_the_entrance_of_a_site_from_its_files(self):
        files = self.authority / "clients" / "reception"
        (self.folder / "mux.env").write_text(
            f"MUX_PORT=1\nMUX_TLS_HOST=localhost\nMUX_TLS_PORT={self.proxy_port}\n"
            f"MUX_TLS_CA={self.authority / 'authority.crt'}\nMUX_TLS_CERT={files}.crt\nMUX_TLS_KEY={files}.key\n")
        self.assert_ends(run_muxctl("open", "Door 5", "--config", self.mux_file), 0, "^ACK")

    def test_prints_a_refusal_of_the_proxy(self):
        self.assert_ends(self.muxctl("open", *LOCK, client="guest"), 1, r": Not allowed \[error -1\] \(")
        self.assertEqual(self.opened(), 0)

    def test_an_unanswered_request_ends_with_the_status_of_one_that_may_have_been_executed(self):
        self.simulator.command("fault silence 1 lock 5")
        self.assert_ends(self.muxctl("open", *LOCK), 2, r"it may have been done \[error -4\]")

    def test_names_the_certificate_that_the_server_refuses_and_the_reason(self):
        self.assert_ends(self.muxctl("open", *LOCK, client=None), 2, "the server requires a client certificate$")
        certificates(self.authority, "client", "leaver")
        certificates(self.authority, "revoke", "leaver")
        self.reload()
        for command in (("open", *LOCK), ("watch",)):
            self.assert_ends(self.muxctl(*command, client="leaver"), 2,
                             r"the server refused the certificate .*/leaver\.crt: it was revoked\n$")

    def test_names_the_certificate_of_a_server_that_it_refuses_and_the_reason(self):
        other = self.folder / "other"
        certificates(other, "server", "elsewhere")
        self.write_configuration(Certificates={
            **self.configuration()["Certificates"],
            "Certificate": str(other / "server.crt"), "Key": str(other / "server.key")})
        self.reload()
        self.assert_ends(self.muxctl("open", *LOCK), 2,
                         r"server's certificate \"CN = .*\" is refused: its authority is not trusted$")
        self.assert_ends(run_muxctl("open", *LOCK, *self.address(), "--ca", other / "authority.crt"), 2,
                         r"\"CN = elsewhere\" is refused: it is not for localhost$")

    def test_says_which_file_cannot_be_used(self):
        files = self.authority / "clients"
        missing = run_muxctl("health", "--ca", "/nowhere.crt")
        self.assertEqual(missing.stderr, "muxctl: /nowhere.crt cannot be used: No such file or directory\n")
        for key, reason in ((files / "guest.key", "the key does not belong to the certificate"),
                            (files / "guest.crt", "it has no private key without a password")):
            done = run_muxctl("health", "--ca", self.authority / "authority.crt", "--cert", files / "reception.crt",
                              "--key", key)
            self.assertEqual(done.stderr, f"muxctl: {key} cannot be used: {reason}\n")

    def test_a_port_without_tls_is_reported(self):
        done = run_muxctl("open", *LOCK, "--timeout", "1", "--port", str(self.mux_port),
                          *self.certificates_of("reception"))
        self.assert_ends(done, 2, "cannot connect to 127.0.0.1:[0-9]+: no TLS handshake")

    def test_checks_the_mux_and_its_gateways(self):
        self.assert_ends(self.muxctl("health"), 0, r"^localhost:\d+ answers")
        self.assert_ends(self.muxctl("health", "--gateway", "1"), 0, "^OK - gateway 1: answers")
        self.assert_ends(self.muxctl("health", client="guest"), 1, "Not allowed; without --gateway this requires the right")
        self.mux.kill()
        self.proxy.wait_for("The connection to the Mux was lost")
        done = self.muxctl("open", *LOCK, "--json")
        self.assertEqual((done.returncode, json.loads(done.stdout)["Data"]["ErrorCode"]), (1, MUX_AWAY))
        self.assert_ends(self.muxctl("health"), 2, "the proxy at localhost:[0-9]+ answers: Not sent, the Mux cannot be reached")

    def test_prints_events(self):
        program = self.start(PROGRAMS / "muxctl", "watch", "--count", "1", *self.address(),
                             *self.certificates_of("reception"))
        program.wait_for("watching localhost")
        self.simulator.command("card 5 04A1B2C3")
        program.wait_for("card 04A1B2C3")

    def test_loads_a_whitelist(self):
        cards = self.folder / "cards.csv"
        cards.write_text("gateway,lock,card,uid\n1,5,04A1B2C3,yes\n")
        self.assert_ends(self.muxctl("whitelist", "load", str(cards)), 0, "1 card")
        self.assert_ends(self.muxctl("whitelist", "load", str(cards), client="guest"), 1, "Not allowed")


if __name__ == "__main__":
    unittest.main()
