#!/usr/bin/env python3
"""The steps of scripts/demo --proxy: python3 scripts/lib/proxy_demo.py BUILD_FOLDER CERTIFICATES_SCRIPT.

Starts the gateway simulator, the Mux and mux-proxy from the build folder, plays three clients with muxctl and checks
what becomes of them.
"""
import json
import pathlib
import signal
import subprocess
import sys

from demo import LOCK, Demo, play
from programs import PlayError, free_port, wait_until

CLIENTS = ("reception", "cleaning")
RULES = [
    {"Clients": ["reception"], "Rights": ["open", "close", "status", "events"], "Gateways": "all", "Locks": "all"},
    {"Clients": ["cleaning"], "Rights": ["status"], "Gateways": [1], "Locks": [LOCK]},
]


class ProxyDemo(Demo):
    def __init__(self, certificates_script):
        super().__init__()
        self.certificates_script = certificates_script

    def start(self, build, folder):
        self.build = build
        self.authority = folder / "certificates"
        self.make_certificates()
        mux_port = self.start_site(build, folder)[1]
        self.wait_for_quiet_gateway()
        self.port = free_port()
        self.file = folder / "proxy.json"
        self.file.write_text(json.dumps(self.configuration(mux_port, folder)))
        self.proxy = self.start_program(build / "mux-proxy", "--config", str(self.file))
        self.proxy.wait_for("Connected to the Mux")
        print(f"The Mux listens on port {mux_port}; mux-proxy, its only client, on port {self.port}.")

    def make_certificates(self):
        self.heading("Make the site's own authority and certificates")
        for arguments in (("server", "localhost"), *(("client", name) for name in CLIENTS)):
            print("   $ mux-proxy-certificates certificates", *arguments)
            subprocess.run([self.certificates_script, self.authority, *arguments], check=True,
                           stdout=subprocess.DEVNULL)

    def configuration(self, mux_port, folder):
        files = {"Certificate": "server.crt", "Key": "server.key", "Authority": "authority.crt"}
        return {"Listen": {"Addresses": ["127.0.0.1", "::1"], "Port": self.port}, "Mux": {"Port": mux_port},
                "Certificates": {member: str(self.authority / name) for member, name in files.items()},
                "Audit": {"File": str(folder / "audit.db")}, "Rules": RULES}

    def print_run(self, shown, command, status):
        """Runs a program and prints its output below its shown command line."""
        print(f"   $ {shown}")
        done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, check=False)
        for line in done.stdout.splitlines():
            print(f"   {line}")
        print(f"   exit status {done.returncode}")
        if done.returncode != status:
            raise PlayError(f"{shown}: expected exit status {status}")
        return done.stdout

    def open_as(self, what, client, status, text):
        self.heading(what)
        certificate = [] if client is None else ["--cert", self.authority / "clients" / f"{client}.crt",
                                                 "--key", self.authority / "clients" / f"{client}.key"]
        shown = "" if client is None else f" --cert {client}.crt --key {client}.key"
        output = self.print_run(
            f"muxctl open --gateway 1 --lock {LOCK} --host localhost --port {self.port} --ca authority.crt{shown}",
            [self.build / "muxctl", "open", "--gateway", "1", "--lock", LOCK, "--host", "localhost", "--port", self.port,
             "--ca", self.authority / "authority.crt", *certificate], status)
        if text not in output:
            raise PlayError(f'{what}: "{text}" is missing')

    def show_rights(self):
        self.heading("What the rules allow")
        for client in CLIENTS:
            self.print_run(f"mux-proxy rights --config proxy.json --client {client}",
                           [self.build / "mux-proxy", "rights", "--config", self.file, "--client", client], 0)

    def show_audit(self):
        self.heading("The audit knows of all three")
        command = [self.build / "mux-proxy", "audit", "--config", self.file]
        for text in ("reception", "ack", "turned-away", "cleaning", "not-allowed"):
            # A row that need not be on disk before its answer follows it.
            wait_until(lambda text=text: text in subprocess.check_output(command, text=True), f'"{text}" in the audit')
        self.print_run("mux-proxy audit --config proxy.json", command, 0)

    def run(self):
        self.show_rights()
        self.open_as("reception opens the door", "reception", 0, "ACK")
        self.open_as("A client without a certificate is turned away", None, 2, "requires a client certificate")
        self.open_as("cleaning has a certificate, but not the right to open", "cleaning", 1, "Not allowed")
        if self.simulator.count("OPEN_LOCK") != 1:
            raise PlayError("the gateway was not asked once to open the door")
        self.show_audit()
        self.proxy.stop(signal.SIGTERM, 0)
        self.stop()
        print("\nAll are stopped. All steps are as they should be.")


if __name__ == "__main__":
    sys.exit(play(ProxyDemo(pathlib.Path(sys.argv[2]).resolve()), pathlib.Path(sys.argv[1]).resolve()))
