#!/usr/bin/env python3
"""The load of scripts/benchmark --only memory: python3 scripts/lib/memory.py MUX_PROGRAM FOLDER REQUESTS EVENTS CONNECTS.

Answered requests, events and connects, one after the other, and what the Mux's memory has become after each tenth.
Ends with 0 when no second half of a load has added more than ALLOWED_GROWTH_KIB.
"""
import json
import pathlib
import signal
import subprocess
import sys
import time

import client_requests as requests
from plain_gateways import PlainGateways
from programs import Client, free_port, packet, wait_until

GATEWAYS = 64
BATCH = 500
CROWD = 200
DEADLINE = 60.0

# A moment in which the machine was busy elsewhere leaves longer queues, and so once a little more heap. What is kept of
# each request or event would show as tens of MiB.
ALLOWED_GROWTH_KIB = 1024


def resident_kib(process):
    rollup = pathlib.Path(f"/proc/{process.pid}/smaps_rollup").read_text()
    return int(next(line for line in rollup.splitlines() if line.startswith("Rss:")).split()[1])


class Memory:
    def __init__(self, program, folder):
        self.gateways = PlainGateways(GATEWAYS)
        self.gateways.start()
        self.port = free_port()
        configuration = folder / "memory.json"
        configuration.write_text(json.dumps({"Enabled": True, "Gateways": self.gateways.configuration()}))
        self.process = subprocess.Popen(
            [program, "--port", f"--port={self.port}", "--configFile", str(configuration)], stdout=subprocess.DEVNULL)
        self.client = Client(self.port, DEADLINE)
        self.received = b""
        wait_until(lambda: len(self.gateways.connections) == GATEWAYS, "All gateways connected", DEADLINE)

    def receive(self, text, number):
        """Reads until a text has come so many times."""
        seen = 0
        while seen < number:
            self.received += self.client.socket.recv(1 << 20)
            seen += self.received.count(text)
            # What is kept cannot hold the whole text.
            self.received = self.received[-(len(text) - 1):]

    def request(self, number):
        while number > 0:
            batch = min(BATCH, number)
            self.client.socket.sendall(b"".join(
                packet(requests.refused_by_mux(f"memory-{index}")) for index in range(batch)))
            self.receive(b'"Error in request"', batch)
            number -= batch

    def raise_events(self, number):
        self.gateways.raise_events(number)
        self.receive(b'"RFIDData"', number)

    def connect(self, number):
        """Many at a time, since the Mux looks for the first bytes of newcomers once a second."""
        while number > 0:
            crowd = [Client(self.port, DEADLINE) for _ in range(min(CROWD, number))]
            for client in crowd:
                client.send(requests.refused_by_mux("connect"))
            for client in crowd:
                client.receive()
                client.close()
            number -= len(crowd)

    def run(self, name, load, number):
        """Whether memory stays flat over `number` of what `load` does; it is measured behind each tenth."""
        started, sizes = time.monotonic(), []
        for _ in range(10):
            load(number // 10)
            sizes.append(resident_kib(self.process))
        growth = sizes[-1] - sizes[4]
        print(f"{number:>9,} {name:<18} {time.monotonic() - started:6.0f} s   RSS behind each tenth, KiB: "
              f"{' '.join(map(str, sizes))}   second half: {growth:+d}", flush=True)
        return growth <= ALLOWED_GROWTH_KIB


def main():
    program, folder = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    requested, events, connects = map(int, sys.argv[3:6])
    folder.mkdir(parents=True, exist_ok=True)
    memory = Memory(program, folder)
    try:
        print(f"RSS with {GATEWAYS} gateways and one client, KiB: {resident_kib(memory.process)}")
        flat = [memory.run("answered requests", memory.request, requested),
                memory.run("events", memory.raise_events, events),
                memory.run("connects", memory.connect, connects)]
        memory.process.send_signal(signal.SIGQUIT)
        status = memory.process.wait(DEADLINE)
    finally:
        memory.process.kill()
    return 0 if all(flat) and status == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
