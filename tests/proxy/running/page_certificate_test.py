"""Log-in to the page by a certificate that was imported into Chromium.

Chromium takes it without asking by a policy, which it looks for in /etc. Only this test's Chromium finds one there: it
runs in a mount namespace. The test is skipped where that is not allowed, and without the tools that import certificates,
which scripts/setup --with-checks installs.
"""
import json
import os
import pathlib
import shlex
import shutil
import subprocess
import tempfile

from page_site import Looking, run_tests
from proxy_site import openssl, wait_until

TOOLS = ("certutil", "pk12util")
POLICIES = "/etc/chromium"
# Who is not root is root in a namespace of users, too.
UNSHARE = ["unshare", "--mount"] + ([] if os.getuid() == 0 else ["--map-root-user"])
MOUNTED = f'mount --bind "$0" {POLICIES} && exec "$@"'


def why_not():
    """Why Chromium cannot get its certificate and policy here; nothing if it can."""
    missing = [tool for tool in TOOLS if shutil.which(tool) is None]
    if missing:
        return f"{', '.join(missing)}: not installed, run scripts/setup --with-checks"
    with tempfile.TemporaryDirectory() as folder:
        tried = subprocess.run([*UNSHARE, "sh", "-c", MOUNTED, folder, "true"], capture_output=True, text=True)
    return f"no mount namespace: {tried.stderr.strip()}" if tried.returncode else None


class Home:
    """A user's folder with one certificate in it, and the policy to show it to the page."""

    def __init__(self, site, name):
        self.folder = pathlib.Path(site.folder) / "home"
        self._import(site.authority / "clients" / name)
        self._write_policy(site.web_port)
        self.program = self.folder / "chromium"
        command = [*UNSHARE, "sh", "-c", MOUNTED, str(self.folder / "etc"), "/usr/bin/chromium"]
        self.program.write_text(f'#!/bin/sh\nexec {shlex.join(command)} "$@"\n', encoding="utf-8")
        self.program.chmod(0o755)

    def _import(self, pair):
        database, file = self.folder / ".pki" / "nssdb", self.folder / "client.p12"
        database.mkdir(parents=True)
        openssl("pkcs12", "-export", "-in", f"{pair}.crt", "-inkey", f"{pair}.key", "-out", file, "-passout",
                "pass:")
        self._nss("certutil", "-N", "-d", f"sql:{database}", "--empty-password")
        self._nss("pk12util", "-d", f"sql:{database}", "-i", file, "-W", "")

    def _nss(self, *command):
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)

    def _write_policy(self, port):
        folder = self.folder / "etc" / "policies" / "managed"
        folder.mkdir(parents=True)
        choice = json.dumps({"pattern": f"https://localhost:{port}", "filter": {}})
        (folder / "certificate.json").write_text(json.dumps({"AutoSelectCertificateForUrls": [choice]}), encoding="utf-8")


class Certificate(Looking):
    def setUp(self):
        if reason := why_not():
            self.skipTest(reason)
        super().setUp()

    def with_certificate(self, name):
        home = Home(self, name)
        return self.chromium(binary=home.program, home=home.folder)

    def log_ins(self):
        return [row["remark"] for row in self.audit("--client", "reception") if row["operation"] == "logged-in"]

    def test_logs_in_by_itself_and_opens_a_door(self):
        browser = self.with_certificate("reception")
        browser.wait(browser.is_logged_in, "the log-in")
        browser.see("reception")
        browser.press("Open, Door 7")
        browser.see("Done: the gateway has carried out the opening.", lambda: browser.door("Door 7"))
        self.assertEqual(self.opened(7), 1)
        self.assertEqual(self.log_ins(), ["certificate"])

    def test_does_not_log_in_again_who_has_logged_out(self):
        browser = self.with_certificate("reception")
        browser.press("Log out")
        browser.press("Log in with this browser's certificate")
        browser.wait(browser.doors, "doors")
        wait_until(lambda: len(self.log_ins()) >= 2, "the rows of both")
        self.assertEqual(self.log_ins(), ["certificate"] * 2)


if __name__ == "__main__":
    run_tests()
