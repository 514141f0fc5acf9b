"""What --check finds, and that the program reads just the files that its schema allows."""
import json
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from proxy_site import ENDED, PROGRAMS, ROOT, Installation, certificates, new_revocation_list, openssl


class Check(Installation):
    def setUp(self):
        super().setUp()
        self.mux_file.write_text('{"Gateways": [{"ID": 1, "Devices": [{"ID": 5}, {"ID": 6}]}]}')
        self.certificate_files = self.configuration()["Certificates"]

    def check(self, **changes):
        self.write_configuration(**changes)
        done = subprocess.run([PROGRAMS / "mux-proxy", "--check", "--config", self.folder / "proxy.json"],
                              stdin=subprocess.DEVNULL, capture_output=True, text=True)
        return done.returncode, done.stdout

    def assert_finds(self, status, text, **changes):
        with self.subTest(text):
            returned, found = self.check(**changes)
            self.assertIn(text, found)
            self.assertEqual(returned, status, found)

    def assert_finds_in_certificates(self, status, text, **files):
        self.assert_finds(status, text, Certificates={**self.certificate_files, **{name: str(file) for name, file in
                                                                                   files.items()}})

    def test_finds_nothing_where_nothing_is_wrong(self):
        self.assert_finds(0, "no findings")

    def test_names_line_and_column(self):
        (self.folder / "proxy.json").write_text('{\n  "Listen": {\n    "Port": 0}}')
        done = subprocess.run([PROGRAMS / "mux-proxy", "--check", "--config", self.folder / "proxy.json"],
                              stdout=subprocess.PIPE, text=True)
        self.assertIn("proxy.json:3:5: error: Listen/Port must be", done.stdout)
        self.assertEqual(done.returncode, 1)

    def test_looks_into_keys_and_certificates(self):
        other, locked, short = (self.folder / name for name in ("other.key", "locked.key", "short.crt"))
        openssl("genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", other)
        openssl("pkey", "-in", self.authority / "server.key", "-aes256", "-passout", "pass:secret", "-out", locked)
        openssl("req", "-x509", "-key", other, "-subj", "/CN=short", "-days", "10", "-out", short)
        self.assert_finds_in_certificates(1, "missing.key cannot be used: No such file", Key="missing.key")
        self.assert_finds_in_certificates(1, "mux.json cannot be used: there is none in it", Key=self.mux_file)
        self.assert_finds_in_certificates(1, "other.key cannot be used: key values mismatch", Key=other)
        self.assert_finds_in_certificates(1, "locked.key cannot be used: it has a password", Key=locked)
        self.assert_finds_in_certificates(0, "warning: the certificate " + str(short), Certificate=short, Key=other)

    def test_looks_into_the_revocation_list(self):
        authority = self.authority
        ended, short, foreign = (self.folder / name for name in ("ended.crl", "short.crl", "foreign.crl"))
        new_revocation_list(authority, ended, *ENDED)
        new_revocation_list(authority, short, "-crldays", "10")
        with tempfile.TemporaryDirectory() as folder:
            certificates(folder, "server", "localhost")
            shutil.copy(pathlib.Path(folder) / "revoked.crl", foreign)
        self.assert_finds_in_certificates(1, 'ended.crl is over: make a new one with "mux-proxy-certificates DIR renew"',
                                          RevocationList=ended)
        self.assert_finds_in_certificates(0, "warning: the revocation list " + str(short), RevocationList=short)
        self.assert_finds_in_certificates(1, "foreign.crl is not signed by the authority", RevocationList=foreign)

    def test_looks_into_the_files_of_mqtt(self):
        password, keys = self.folder / "password", self.folder / "keys.json"
        password.write_text("secret\n")
        public = subprocess.check_output([PROGRAMS / "muxctl", "new-key", self.folder / "key.json", "--kid", "desk"],
                                         text=True)
        keys.write_text(f'{{"keys": [{public}]}}')
        broker = {"Host": "127.0.0.1", "Site": "hall"}
        encrypted = {**broker, "Host": "broker", "Authority": self.certificate_files["Authority"]}
        client = {"Certificate": self.certificate_files["Certificate"], "Key": self.certificate_files["Key"]}
        whole = {**encrypted, **client, "User": "hall", "PasswordFile": str(password), "CommandKeys": str(keys)}
        for usable in (broker, encrypted, whole):
            self.assert_finds(0, "no findings", Mqtt=usable)
        self.assert_finds(0, "warning: Mqtt: the connection to broker is not encrypted",
                          Mqtt={**broker, "Host": "broker"})
        self.assert_finds(1, "missing.crt: cannot be read: No such file",
                          Mqtt={**encrypted, "Authority": "missing.crt"})
        self.assert_finds(1, "password has no certificate", Mqtt={**encrypted, "Authority": str(password)})
        self.assert_finds(1, "missing.key cannot be used: No such file", Mqtt={**whole, "Key": "missing.key"})
        self.assert_finds(1, 'mux.json: the document must have a member "keys"', Mqtt={**whole, "CommandKeys": str(self.mux_file)})
        password.write_text("\nsecret\n")
        self.assert_finds(1, "the first line, which is the password, is empty", Mqtt=whole)
        self.assert_finds(1, "Metrics/Address: localhost is no IP address", Metrics={"Address": "localhost"})

    def test_looks_into_the_files_of_the_page(self):
        users = self.folder / "users"
        users.write_text("anna:secret\n")
        users.chmod(0o640)
        own = {"Certificate": self.certificate_files["Certificate"], "Key": self.certificate_files["Key"]}
        for usable in ({}, own):
            self.assert_finds(0, "no findings", Web=usable)
        self.assert_finds(1, "Web: the key missing.key cannot be used: No such file", Web={**own, "Key": "missing.key"})
        self.assert_finds(1, "error: Web: " + str(users) + ": line 1: must be NAME:", Web={"Users": str(users)})
        self.assert_finds(1, "Web/Addresses: localhost is no IP address", Web={"Addresses": ["localhost"]})
        self.assert_finds(1, "Web/Port must differ from Listen/Port", Web={"Port": self.proxy_port,
                                                                          "Addresses": ["127.0.0.1"]})

    def test_says_that_its_program_for_services_is_missing(self):
        alone = self.folder / "mux-proxy"
        shutil.copy(PROGRAMS / "mux-proxy", alone)
        for services, status, text in (({}, 0, "no findings"), ({"Metrics": {}}, 1, "which Mqtt, Metrics and Web need")):
            self.write_configuration(**services)
            done = subprocess.run([alone, "--check", "--config", self.folder / "proxy.json"], capture_output=True,
                                  text=True)
            self.assertIn(text, done.stdout + done.stderr)
            self.assertEqual(done.returncode, status)

    def test_refuses_locks_that_events_cannot_tell_apart(self):
        twins = "events cannot tell lock 5 from lock 65541"
        self.assert_finds(1, twins, Rules=[{**self.rules[1], "Locks": [5, 65541]}])
        self.mux_file.write_text('{"Gateways": [{"ID": 1, "Devices": [{"ID": 65541}, {"ID": 5}]}]}')
        self.assert_finds(1, twins)
        for mux in ({}, {"Configuration": "missing.json"}):
            self.assert_finds(0, "whose low 16 bits are the same are not found", Mux=mux)


class Schema(Installation):
    """Every bound, type, name and choice of the schema, by files that are valid but for one value."""

    schema = json.loads((ROOT / "docs" / "schema" / "proxy.schema.json").read_text())

    def is_read(self, configuration):
        file = self.folder / "proxy.json"
        file.write_text(json.dumps(configuration))
        done = subprocess.run([PROGRAMS / "mux-proxy", "rights", "--config", file, "--client", "nobody"],
                              capture_output=True)
        return done.returncode == 0

    def resolved(self, rule):
        name = rule.get("$ref", "").rpartition("/")[2]
        return self.schema["definitions"][name] if name else rule

    @staticmethod
    def fits(rule, text):
        return (rule.get("minLength", 0) <= len(text) <= rule.get("maxLength", len(text))
                and re.search(rule.get("pattern", ""), text) is not None)

    def edges(self, rule):
        """Values with whether the rule allows them."""
        if rule.get("type") == "integer":
            yield from ((rule["minimum"], True), (rule["maximum"], True), (rule["minimum"] - 1, False),
                        (rule["maximum"] + 1, False), ("1", False))
        elif rule.get("type") == "array":
            yield from (([value], isAllowed) for value, isAllowed in self.edges(self.resolved(rule["items"])))
            yield {}, False
        elif "anyOf" in rule:
            for each in map(self.resolved, rule["anyOf"]):
                yield from (edge for edge in self.edges(each) if edge[1])
            yield "none", False
        elif "enum" in rule:
            yield from ((value, True) for value in rule["enum"])
            yield "unheard", False
        elif rule.get("type") == "string":
            texts = ("text", "", "3-5", "-7--6", "a/b", "a//b", "a+b", "a" * 64, "a" * 65, "a" * 255, "a" * 256)
            yield from ((text, self.fits(rule, text)) for text in texts)
            yield 1, False
        elif rule.get("type") == "boolean":
            yield from ((True, True), (1, False))

    def spoiled(self, rule, value):
        """Copies of the value with one edge each, and whether the rule allows it."""
        rule = self.resolved(rule)
        if rule.get("type") == "object":
            yield {**value, "Unheard": 1}, False
            dependent = {other for others in rule.get("dependencies", {}).values() for other in others}
            for gone in {*rule.get("required", ()), *dependent}:
                yield {name: value[name] for name in value if name != gone}, False
            for name, member in rule["properties"].items():
                for inner, isAllowed in self.spoiled(member, value.get(name, {})):
                    yield {**value, name: inner}, isAllowed
        elif self.resolved(rule.get("items", {})).get("type") == "object":
            yield from (([inner], isAllowed) for inner, isAllowed in self.spoiled(rule["items"], value[0]))
        else:
            yield from self.edges(rule)

    def test_the_program_reads_what_its_schema_allows(self):
        whole = self.configuration()
        whole["Limits"] = {"Connections": 1}
        whole["Audit"]["WholeCards"] = True
        whole["Mqtt"] = {"Host": "broker", "Site": "hall", "Authority": "a", "Certificate": "b", "Key": "c",
                         "User": "d", "PasswordFile": "e"}
        whole["Web"] = {"Certificate": "a", "Key": "b"}
        cases = list(self.spoiled(self.schema, whole))
        self.assertGreater(len(cases), 200)
        for configuration, isAllowed in cases:
            with self.subTest(configuration=configuration):
                self.assertEqual(self.is_read(configuration), isAllowed)


if __name__ == "__main__":
    unittest.main()
