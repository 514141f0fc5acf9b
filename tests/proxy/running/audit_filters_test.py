"""What the audit shows, keeps and passes on."""
import csv
import io
import socket
import sqlite3
import subprocess
import unittest

from proxy_site import ADD, OPEN, PROGRAMS, STATUS, Site, result, wait_until

MEBIBYTE = 1 << 20
# The journal as the proxy finds it is a socket in this folder.
WITH_JOURNAL = ("unshare", "--mount", "--map-root-user", "sh", "-c",
                'mount -t tmpfs none /run && mkdir -p /run/systemd/journal && mount --bind "$0" /run/systemd/journal &&'
                ' exec "$@"')


class Filters(Site):
    def shown(self, *arguments):
        return [(row["client"], row["lock"], row["result"]) for row in self.audit("--kind", "request", *arguments)]

    def test_each_filter_shows_its_rows(self):
        self.assertEqual(result(self.client().ask(OPEN)), 0)
        self.client().ask(STATUS, gateway=99, lock=6)
        self.client("guest").ask(STATUS, lock=6)
        self.wait_for_rows(3)
        every = [("reception", 5, "ack"), ("reception", 6, "nack"), ("guest", 6, "not-allowed")]
        opened, unknown, refused = every
        times = [row["time"][:19] for row in self.audit("--utc", "--kind", "request")]
        for arguments, expected in (
                ((), every), (("--client", "guest"), [refused]), (("--lock", "6"), [unknown, refused]),
                (("--gateway", "1"), [opened, refused]), (("--result", "nack"), [unknown]),
                (("--limit", "1"), [refused]),
                (("--lock", "6", "--client", "reception"), [unknown]), (("--since", "today"), every),
                (("--until", "today"), []), (("--since", "1 hour ago", "--until", "1 minute ago"), []),
                (("--utc", "--since", times[0]), every), (("--utc", "--until", times[0]), [])):
            with self.subTest(arguments):
                self.assertEqual(self.shown(*arguments), expected)

    def test_csv_has_the_rows_of_json(self):
        self.assertEqual(result(self.client().ask(OPEN)), 0)
        self.client("guest").ask(OPEN)
        self.wait_for_rows(2)
        done = subprocess.run([PROGRAMS / "mux-proxy", "audit", "--config", self.folder / "proxy.json", "--csv"],
                              check=True, stdout=subprocess.PIPE, text=True)
        rows = list(csv.DictReader(io.StringIO(done.stdout)))
        json_rows = [{name: "" if value is None else str(value) for name, value in row.items()} for row in self.audit()]
        self.assertEqual(rows, json_rows[:len(rows)])
        self.assertIn("not-allowed", [row["result"] for row in rows])


class Keeping(Site):
    def test_shows_whole_cards_if_the_file_says_so(self):
        client, card = self.client(), "04A1B2C3D4E5F6"
        client.ask(ADD, cardData=card, isUIDCard=True)
        self.write_configuration(Audit={**self.configuration()["Audit"], "WholeCards": True})
        self.reload()
        client.ask(ADD, cardData=card, isUIDCard=True)
        self.assertEqual([row["card"] for row in self.wait_for_rows(2, "--kind", "request")], ["*E5F6", card])

    def test_a_file_that_is_too_large_loses_its_oldest_rows(self):
        file = self.folder / "audit.db"
        self.proxy.kill()
        with sqlite3.connect(file) as database:
            time = database.execute("SELECT max(time) FROM audit").fetchone()[0]
            for number in range(100, 20100):
                row = (number, time, "request", "reception", "127.0.0.1", "open", 1, 5, "", "ack", 0, 300,
                       str(number).rjust(100))
                database.execute("INSERT INTO audit VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)", row)
        database.close()
        self.assertGreater(file.stat().st_size, 3 * MEBIBYTE)
        self.start_proxy(Audit={**self.configuration()["Audit"], "MiB": 1})
        wait_until(lambda: file.stat().st_size <= 1.3 * MEBIBYTE, "a file that fits", 30)
        remarks = [row["remark"].strip() for row in self.audit("--kind", "request")]
        self.assertGreater(len(remarks), 2000)
        self.assertEqual((remarks[-1], remarks), ("20099", sorted(remarks)))


class Journal(Site):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        if subprocess.run(WITH_JOURNAL + (cls.shared.name, "true"), stderr=subprocess.DEVNULL).returncode != 0:
            raise unittest.SkipTest("this user may not have a folder /run of its own")

    def start_proxy(self):
        self.write_configuration()
        folder = self.folder / "journal"
        folder.mkdir()
        self.journal = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(self.journal.close)
        self.journal.bind(str(folder / "socket"))
        self.journal.settimeout(10)
        self.proxy = self.start(*WITH_JOURNAL, folder, PROGRAMS / "mux-proxy", "--config", self.folder / "proxy.json")
        self.proxy.wait_for("Connected to the Mux")

    def test_the_journal_gets_each_row_as_fields(self):
        self.assertEqual(result(self.client().ask(OPEN)), 0)
        fields = {}
        while fields.get("MUX_PROXY_KIND") != "request":
            fields = dict(line.split("=", 1) for line in self.journal.recv(65536).decode().splitlines())
        self.assertEqual(fields.pop("MUX_PROXY_MILLISECONDS").isdigit(), True)
        self.assertEqual(fields, {
            "MESSAGE": "request open gateway 1 lock 5 by reception from 127.0.0.1: ack", "PRIORITY": "6",
            "SYSLOG_IDENTIFIER": "mux-proxy", "MUX_PROXY_KIND": "request", "MUX_PROXY_CLIENT": "reception",
            "MUX_PROXY_ADDRESS": "127.0.0.1", "MUX_PROXY_OPERATION": "open", "MUX_PROXY_GATEWAY": "1",
            "MUX_PROXY_LOCK": "5", "MUX_PROXY_RESULT": "ack", "MUX_PROXY_ERROR_CODE": "0"})


if __name__ == "__main__":
    unittest.main()
