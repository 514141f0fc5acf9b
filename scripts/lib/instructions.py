#!/usr/bin/env python3
"""Counts the instructions of the Mux with callgrind: python3 scripts/lib/instructions.py MUX_PROGRAM FOLDER.

Prints what a pass costs that finds nothing to do, of each loop, and what an answered request costs, of each of its
steps: one that the Mux refuses by itself and one that goes through a gateway. Log lines are those of info severity.
Instructions are the same on a busy machine and on an idle one; those of the kernel are not in them.
"""
import collections
import json
import pathlib
import re
import subprocess
import sys
import time

from plain_gateways import PlainGateways
from programs import Client, PlayError, free_port, wait_until

DEADLINE = 60.0
IDLE_SECONDS = 5
SILENT_CLIENTS = 10
REFUSED = 200
FORWARDED = 100
UNKNOWN_GATEWAY = 999

IDLE_PASSES = {
    "main loop: answer queue found empty": ("Mux::BrenkMux::SendMessageToClientIfAvailable()",),
    "gateways loop: gateways connected, request queue found empty": (
        "Mux::BrenkMux::ConnectVirtualGateways()", "Mux::BrenkMux::PopNextMessage()"),
    "send thread of a gateway: queue found empty": ("Brenk::VirtualGateway::SendCycle()",),
    "receive thread: clients silent": ("Brenk::Net::ServerSocket::ReceivePass()",),
}
REQUEST_STEPS = {
    "receive, cut, parse and queue": ("Brenk::Net::ServerSocket::DrainReadyClients()",),
    "route to a gateway, or refuse": ("Mux::BrenkMux::ForwardRequest(",),
    "send to the gateway": ("Brenk::SendRequest(",),
    "take the gateway's answer": ("Brenk::VirtualGateway::ReadCycle()",),
    "deliver to the client": ("Mux::Delivery::DeliverAnswer(",),
}
LOG_LINES = ("Diagnostics::LogCall::operator+=(", "Diagnostics::LogLine::LogLine(")


class Calls:
    """How often each function was called in a profile, and what the calls cost with all that they called."""

    def __init__(self, path):
        self.count, self.cost = collections.Counter(), collections.Counter()
        names, callee = {}, None
        lines = iter(path.read_text().splitlines())
        for line in lines:
            if called := re.match(r"c?fn=\((\d+)\)(?: (.*))?", line):
                names[called[1]] = called[2] or names[called[1]]
                callee = names[called[1]]
            elif line.startswith("calls="):
                self.count[callee] += int(line[6:].split()[0])
                self.cost[callee] += int(next(lines).split()[1])

    def of(self, beginning):
        """(calls, instructions) of the function whose name begins so."""
        found = [name for name in self.count if name.startswith(beginning)]
        return sum(self.count[name] for name in found), sum(self.cost[name] for name in found)


class CountedMux:
    """A Mux with one gateway and one client, started by another program that counts its instructions."""

    def __init__(self, starter, program, folder):
        self.folder = folder
        self.gateways = PlainGateways(1)
        self.gateways.start()
        configuration = folder / "configuration.json"
        configuration.write_text(json.dumps({"Enabled": True, "Gateways": self.gateways.configuration()}))
        self.port = free_port()
        self.process = subprocess.Popen(
            [*starter, str(pathlib.Path(program).resolve()), "--port", f"--port={self.port}", "--configFile",
             str(configuration)],
            stdout=subprocess.DEVNULL, cwd=folder)

    def await_service(self):
        """Answers of both kinds, so that what only the first one costs is left out."""
        self.client = Client(self.port, DEADLINE)
        wait_until(lambda: self.gateways.connections, "The gateway connected", DEADLINE)
        self.request(UNKNOWN_GATEWAY)
        self.request(1)

    def request(self, gateway):
        self.client.send(json.dumps({"Timestamp": 1, "MessageID": "0f8fad5b", "MessageCode": 10,
                                     "Data": {"gatewayID": gateway, "lockID": 5}}))
        self.client.receive()

    def kill(self):
        self.process.kill()
        self.process.wait()


class ProfiledMux(CountedMux):
    def __init__(self, program, folder):
        for old in folder.glob("profile*"):
            old.unlink()
        super().__init__(["valgrind", "--quiet", "--tool=callgrind", f"--callgrind-out-file={folder / 'profile'}",
                          "--instr-atstart=no"], program, folder)
        self.await_service()
        self.dumps = 0

    def profile(self, action):
        """The calls that were made while `action` ran."""
        self.control("--instr=on")
        self.control("--zero")
        action()
        self.dumps += 1
        self.control("--dump")
        profiles = sorted(self.folder.glob("profile.*"), key=lambda path: int(path.suffix[1:]))
        if len(profiles) < self.dumps:
            raise PlayError("callgrind wrote no profile")
        return Calls(profiles[-1])

    def control(self, order):
        subprocess.run(["callgrind_control", order, str(self.process.pid)], check=True, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)


def print_idle_passes(calls, clients):
    print(f"Instructions of a pass that finds nothing to do, clients: {clients}")
    for what, functions in IDLE_PASSES.items():
        each = [calls.of(function) for function in functions]
        passes = each[0][0]
        print(f"  {sum(cost for _, cost in each) // max(passes, 1):8}  {what} ({passes} passes)")


def print_request(what, calls, number):
    print(f"Instructions of {what} (mean of {number})")
    total = 0
    for step, functions in REQUEST_STEPS.items():
        cost = sum(calls.of(function)[1] for function in functions) // number
        total += cost
        if cost:
            print(f"  {cost:8}  {step}")
    lines = calls.of(LOG_LINES[0])[0] / number
    logging = sum(calls.of(function)[1] for function in LOG_LINES) // number
    print(f"  {total:8}  together; {logging} of them write {lines:.1f} log lines")


def main(program, folder):
    folder.mkdir(parents=True, exist_ok=True)
    mux = ProfiledMux(program, folder)
    try:
        print_idle_passes(mux.profile(lambda: time.sleep(IDLE_SECONDS)), clients=1)
        others = [Client(mux.port, DEADLINE) for _ in range(SILENT_CLIENTS - 1)]
        time.sleep(IDLE_SECONDS)
        print_idle_passes(mux.profile(lambda: time.sleep(IDLE_SECONDS)), clients=SILENT_CLIENTS)
        for other in others:
            other.close()
        refused = mux.profile(lambda: [mux.request(UNKNOWN_GATEWAY) for _ in range(REFUSED)])
        print_request("a request that the Mux refuses", refused, REFUSED)
        forwarded = mux.profile(lambda: [mux.request(1) for _ in range(FORWARDED)])
        print_request("a request that goes through a gateway", forwarded, FORWARDED)
    finally:
        mux.kill()


if __name__ == "__main__":
    try:
        main(sys.argv[1], pathlib.Path(sys.argv[2]).resolve())
    except PlayError as error:
        sys.exit(f"instructions: {error}")
