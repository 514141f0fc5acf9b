"""The command that sets the passwords of users of the page."""
import os
import pty
import re
import stat
import subprocess
import unittest

from proxy_site import PROGRAMS, Installation

LINE = r"\$argon2id\$v=19\$m=19456,t=2,p=1\$[A-Za-z0-9+/]{22}\$[A-Za-z0-9+/]{43}"
HASH = "$argon2id$v=19$m=256,t=2,p=1$c29tZXNhbHQ$nf65EOgLrQMR/uIPnA4rEsF5h7TKyQwu9U1bMCHGi/4"


class User(Installation):
    def setUp(self):
        super().setUp()
        self.users = self.folder / "users"
        self.write_configuration(Web={"Users": str(self.users)})

    def command(self, *arguments):
        return [PROGRAMS / "mux-proxy", "user", *arguments, "--config", self.folder / "proxy.json"]

    def run_user(self, *arguments, given=""):
        done = subprocess.run(self.command(*arguments), input=given, capture_output=True, text=True, timeout=60)
        return done.returncode, done.stdout + done.stderr

    def assert_refuses(self, text, *arguments, given="correct horse\n"):
        before = self.users.read_text() if self.users.exists() else None
        status, said = self.run_user(*arguments, given=given)
        self.assertEqual(status, 1, said)
        self.assertIn(text, said)
        self.assertEqual(self.users.read_text() if self.users.exists() else None, before)
        self.assert_leaves_nothing_behind()

    def assert_leaves_nothing_behind(self):
        self.assertEqual([file.name for file in self.folder.glob("users*") if file != self.users], [])

    def test_begins_the_file_for_the_group_of_its_folder(self):
        os.umask(0o077)
        os.chown(self.folder, -1, 12345) if os.geteuid() == 0 else None
        status, said = self.run_user("anna", given="correct horse\nsecond line\n")
        self.assertEqual((status, said), (0, f"{self.users}: set the password of anna; reload the proxy\n"))
        self.assertRegex(self.users.read_text(), rf"\Aanna:{LINE}\n\Z")
        self.assertEqual(stat.S_IMODE(self.users.stat().st_mode), 0o640)
        self.assertEqual(self.users.stat().st_gid, self.folder.stat().st_gid)
        self.assert_leaves_nothing_behind()

    def test_leaves_other_lines_as_they_are(self):
        self.users.write_text(f"# Desk\nanna:{HASH}\n\nann:{HASH}\notto:{HASH}")
        self.assertEqual(self.run_user("ann", given="correct horse\n")[0], 0)
        self.assertRegex(self.users.read_text(),
                         rf"\A# Desk\nanna:{re.escape(HASH)}\n\nann:{LINE}\notto:{re.escape(HASH)}\n\Z")
        self.assertEqual(self.run_user("new", given="correct horse\n")[0], 0)
        self.assertRegex(self.users.read_text(), rf"\notto:{re.escape(HASH)}\nnew:{LINE}\n\Z")

    def test_keeps_the_owner_and_a_link(self):
        real = self.folder / "real"
        real.write_text(f"anna:{HASH}\n")
        real.chmod(0o600)
        self.users.symlink_to(real)
        if os.geteuid() == 0:
            os.chown(real, 12345, 54321)
        before = real.stat()
        self.assertEqual(self.run_user("otto", given="correct horse\n")[0], 0)
        self.assertTrue(self.users.is_symlink())
        self.assertRegex(real.read_text(), rf"\notto:{LINE}\n\Z")
        after = real.stat()
        self.assertEqual((after.st_uid, after.st_gid, stat.S_IMODE(after.st_mode)),
                         (before.st_uid, before.st_gid, 0o640))
        self.assertNotEqual(after.st_ino, before.st_ino)

    def test_removes_a_user(self):
        self.users.write_text(f"# Desk\nanna:{HASH}\nann:{HASH}\n")
        self.assertEqual(self.run_user("ann", "--remove"), (0, f"{self.users}: removed ann; reload the proxy\n"))
        self.assertEqual(self.users.read_text(), f"# Desk\nanna:{HASH}\n")
        self.assert_refuses("users: has no user ann", "ann", "--remove")

    def test_refuses_what_cannot_be(self):
        self.assert_refuses("a password must have 8 to 1024 bytes, not 7", "anna", given="1234567\n")
        self.assert_refuses("no password was given", "anna", given="")
        self.assert_refuses('must be 1 to 64 printable bytes without ":"', "an:na")
        self.assert_refuses("users: cannot be read: No such file or directory", "anna", "--remove")
        self.users.write_text("anna\n")
        self.assert_refuses("users: line 1: must be NAME:", "anna")

    def test_needs_the_section(self):
        for section in ({}, {"Web": {}}):
            self.write_configuration(**section)
            self.assert_refuses("proxy.json: Web/Users is missing", "anna")

    def at_a_terminal(self, *answers):
        """What the terminal shows, and the exit status."""
        process, terminal = pty.fork()
        if process == 0:
            os.execv(PROGRAMS / "mux-proxy", [str(part) for part in self.command("anna")])
        shown = b""
        for question, answer in zip((b"Password of anna: ", b"Again: "), answers):
            while question not in shown:
                shown += os.read(terminal, 1024)
            os.write(terminal, answer.encode() + b"\n")
        try:
            while more := os.read(terminal, 1024):
                shown += more
        except OSError:
            pass
        os.close(terminal)
        return shown.decode(), os.waitstatus_to_exitcode(os.waitpid(process, 0)[1])

    def test_asks_twice_at_a_terminal_without_echo(self):
        shown, status = self.at_a_terminal("correct horse", "correct horse")
        self.assertEqual(status, 0, shown)
        self.assertNotIn("correct", shown)
        self.assertIn("reload the proxy", shown)
        self.assertRegex(self.users.read_text(), rf"\Aanna:{LINE}\n\Z")

    def test_refuses_two_passwords_that_differ(self):
        shown, status = self.at_a_terminal("correct horse", "correct house")
        self.assertEqual(status, 1, shown)
        self.assertIn("these passwords differ; nothing was changed", shown)
        self.assertFalse(self.users.exists())

    def test_the_check_knows_the_users(self):
        self.assertEqual(self.run_user("anna", given="correct horse\n")[0], 0)
        self.mux_file.write_text('{"Gateways": [{"ID": 1, "Devices": [{"ID": 5}]}]}')
        done = subprocess.run([PROGRAMS / "mux-proxy", "--check", "--config", self.folder / "proxy.json"],
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        self.assertEqual(done.stdout, f"{self.folder}/proxy.json: warning: Web: no rule names anna, a user in "
                         f"{self.users}\n")
        self.assertEqual(done.returncode, 0)


if __name__ == "__main__":
    unittest.main()
