"""Who gets in: certificates, revocation, reading anew, other people's TLS clients."""
import pathlib
import signal
import socket
import ssl
import subprocess
import tempfile
import unittest

from proxy_site import (CERTIFICATES, ENDED, NOT_ALLOWED, OPEN, PROGRAMS, STATUS, Installation, PlayError, Site,
                        certificates, free_port, new_revocation_list, openssl, packet, result, wait_until)


class Certificates(Site):
    clients = ("reception", "guest", "thief")

    def assert_turned_away(self, context, reason):
        """In TLS 1.3 a client learns of it by its first read."""
        with self.assertRaises((OSError, PlayError)):
            client = self.client(context=context)
            client.ask(STATUS)
        wait_until(lambda: any(reason in row["remark"] for row in self.audit("--kind", "connection")), reason)

    def test_without_a_certificate_nobody_gets_in(self):
        self.assert_turned_away(self.context(None), "peer did not return a certificate")

    def test_a_certificate_of_another_authority_does_not_get_in(self):
        with tempfile.TemporaryDirectory() as folder:
            certificates(folder, "server", "localhost")
            certificates(folder, "client", "reception")
            context = self.context(None)
            context.load_cert_chain(f"{folder}/clients/reception.crt", f"{folder}/clients/reception.key")
            self.assert_turned_away(context, "unable to get local issuer certificate")

    def test_the_certificate_of_a_server_is_none_of_a_client(self):
        context = self.context(None)
        context.load_cert_chain(self.authority / "server.crt", self.authority / "server.key")
        self.assert_turned_away(context, "unsuitable certificate purpose")

    def test_old_versions_of_tls_are_refused(self):
        context = self.context("reception")
        context.set_ciphers("ALL:@SECLEVEL=0")
        context.minimum_version = context.maximum_version = ssl.TLSVersion.TLSv1_1
        with self.assertRaises(OSError):
            self.client(context=context)

    def test_both_versions_of_tls_are_spoken(self):
        for version in (ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3):
            context = self.context("reception")
            context.minimum_version = context.maximum_version = version
            self.assertEqual(result(self.client(context=context).ask(STATUS)), 0)

    def test_plain_clients_are_turned_away(self):
        with socket.create_connection(("127.0.0.1", self.proxy_port), 10) as plain:
            plain.sendall(packet('{"MessageID":"a","MessageCode":12,"Data":{"gatewayID":1,"lockID":5}}'))
            received = plain.recv(1000)
            self.assertNotIn(b"MessageCode", received)

    def test_a_revoked_client_is_closed_and_the_others_stay(self):
        reception, thief = self.client(), self.client("thief")
        self.assertEqual(result(thief.ask(STATUS)), NOT_ALLOWED)
        certificates(self.authority, "revoke", "thief")
        self.reload()
        self.assertTrue(thief.is_closed())
        self.assertEqual(result(reception.ask(STATUS)), 0)
        self.assert_turned_away(self.context("thief"), "certificate revoked")

    def test_a_client_that_loses_rights_stays_without_them(self):
        reception, guest = self.client(), self.client("guest")
        self.assertEqual(result(guest.ask(STATUS)), 0)
        self.write_configuration(Rules=[self.rules[0], {**self.rules[1], "Rights": ["status"]}])
        self.reload()
        self.simulator.command("card 5 04A1B2C3")
        reception.receive()
        message_id = guest.request(STATUS)
        self.assertEqual(guest.receive()["MessageID"], message_id)
        self.write_configuration(Rules=self.rules[:1])
        self.reload(2)
        self.assertEqual(result(guest.ask(STATUS)), NOT_ALLOWED)

    def test_a_new_certificate_is_for_new_connections(self):
        before = self.client()
        certificates(self.authority, "server", "localhost")
        self.reload()
        after = self.client()
        self.assertNotEqual(before.socket.getpeercert(True), after.socket.getpeercert(True))
        self.assertEqual([result(client.ask(STATUS)) for client in (before, after)], [0, 0])

    def test_a_revocation_list_that_is_over_is_not_used(self):
        reception, file = self.client(), self.authority / "revoked.crl"
        new_revocation_list(self.authority, file, *ENDED)
        self.proxy.process.send_signal(signal.SIGHUP)
        self.proxy.wait_for("is over: make a new one")
        self.assertEqual([result(client.ask(STATUS)) for client in (reception, self.client())], [0, 0])
        self.proxy.stop(signal.SIGTERM, 0)
        refused = self.start(PROGRAMS / "mux-proxy", "--config", self.folder / "proxy.json")
        self.assertEqual(refused.process.wait(10), 1)
        certificates(self.authority, "renew")
        self.start_proxy()
        self.assertEqual(result(self.client().ask(STATUS)), 0)

    def test_the_journal_says_that_the_list_ends_soon(self):
        new_revocation_list(self.authority, self.authority / "revoked.crl", "-crldays", "10")
        self.restart_proxy()
        self.proxy.wait_for("revoked.crl ends in")

    def test_a_certificate_without_one_usable_name_does_not_get_in(self):
        key, request, signed = (self.folder / name for name in ("odd.key", "odd.csr", "odd.crt"))
        openssl("genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", key)
        for subject in ("/O=reception", "/CN=reception/CN=guest", "/CN=" + 33 * "\u00fc", "/CN=recep\ntion"):
            with self.subTest(subject):
                openssl("req", "-new", "-utf8", "-key", key, "-subj", subject, "-out", request)
                openssl("x509", "-req", "-in", request, "-CA", self.authority / "authority.crt", "-CAkey",
                        self.authority / "authority.key", "-CAcreateserial", "-extfile",
                        self.authority / "openssl.cnf", "-extensions", "client", "-out", signed)
                context = self.context(None)
                context.load_cert_chain(signed, key)
                with self.assertRaises((OSError, PlayError)):
                    self.client(context=context).ask(STATUS)
        self.assertEqual({row["client"] for row in self.audit("--kind", "connection")}, {""})

    def test_a_file_that_cannot_be_used_changes_nothing(self):
        reception = self.client()
        (self.folder / "proxy.json").write_text("{")
        self.proxy.process.send_signal(signal.SIGHUP)
        self.proxy.wait_for("The configuration is not read anew")
        self.assertEqual(result(reception.ask(OPEN)), 0)

    def test_openssl_opens_a_door(self):
        request = packet('{"MessageID":"o","MessageCode":10,"Data":{"gatewayID":1,"lockID":5}}')
        with subprocess.Popen(
                ["openssl", "s_client", "-quiet", "-connect", f"127.0.0.1:{self.proxy_port}", "-CAfile",
                 str(self.authority / "authority.crt"), "-cert", str(self.authority / "clients/reception.crt"), "-key",
                 str(self.authority / "clients/reception.key"), "-verify_return_error"],
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as process:
            process.stdin.write(request)
            process.stdin.flush()
            answer = process.stdout.read1(1000)
            process.stdin.close()
            process.kill()
        self.assertIn(b'"MessageID":"o","MessageCode":0', answer)

    def test_a_client_without_tls_comes_through_stunnel(self):
        port = free_port()
        settings = self.folder / "stunnel.conf"
        settings.write_text(f"""foreground = yes
pid =
[mux]
client = yes
accept = 127.0.0.1:{port}
connect = 127.0.0.1:{self.proxy_port}
CAfile = {self.authority}/authority.crt
cert = {self.authority}/clients/reception.crt
key = {self.authority}/clients/reception.key
verifyChain = yes
checkHost = localhost
""")
        tunnel = self.start("stunnel4" if pathlib.Path("/usr/bin/stunnel4").exists() else "stunnel", str(settings))
        tunnel.wait_for("Configuration successful")
        done = subprocess.run([PROGRAMS / "muxctl", "--port", str(port), "open", "--gateway", "1", "--lock", "5"],
                              stdout=subprocess.PIPE, text=True)
        self.assertEqual(done.returncode, 0, done.stdout)


class Authority(Installation):
    clients = ("reception", "guest", "thief")

    def test_lists_what_it_signed(self):
        certificates(self.authority, "revoke", "thief")
        request = self.folder / "former.csr"
        openssl("req", "-new", "-key", self.authority / "clients/guest.key", "-subj", "/CN=former", "-out", request)
        openssl("ca", "-config", self.authority / "openssl.cnf", "-batch", "-extensions", "client", "-startdate",
                "20250101000000Z", "-enddate", "20250102000000Z", "-in", request, "-out", self.folder / "former.crt")
        listed = subprocess.run([CERTIFICATES, self.authority, "list"], check=True, stdout=subprocess.PIPE, text=True)
        states = {line.split()[2]: line.split()[0] for line in listed.stdout.splitlines()[1:]}
        self.assertEqual(states, {"localhost": "valid", "reception": "valid", "guest": "valid", "thief": "revoked",
                                  "former": "ended"})

    def test_makes_no_second_certificate_of_one_name(self):
        before = (self.authority / "clients/guest.crt").read_bytes()
        with self.assertRaises(subprocess.CalledProcessError):
            certificates(self.authority, "client", "guest")
        self.assertEqual((self.authority / "clients/guest.crt").read_bytes(), before)


if __name__ == "__main__":
    unittest.main()
