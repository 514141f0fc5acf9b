#!/usr/bin/env python3
"""The soak of scripts/soak: python3 scripts/lib/soak.py MUX_PROGRAM SIMULATOR_PROGRAM FOLDER MINUTES.

Everything at once against one Mux: requests of every code, events, clients that come and go, reset, send garbage, read
nothing or a trickle, gateways that close, stall, split, glue and delay frames. Prints what was sent and what came back,
and ends with 0 when nothing was lost, doubled, torn or given to somebody else, and the sanitizer that is built in had
nothing to say.
"""
import json
import os
import pathlib
import signal
import sys
import threading
import time

import soak_clients as clients
import soak_gateways as gateways
from programs import PlayError, Program, free_port
from tally import Tally

RULE_KEEPING_GATEWAYS = (1, 2)
FAULTY_GATEWAYS = (3, 4)
REFUSED_CLIENTS = 3
COMING_AND_GOING_CLIENTS = 3
# Two that read nothing and two that read 3 KB a second, each for as long as it takes the Mux to close them and longer.
SLOW_CLIENTS = (0, 0, 3000, 3000)
SLOW_PERIOD = 20.0
SLOW_DELAY = 5.0
# Frames that arrive together are held back until their gateway pauses for 11 s. An answer and an event do now and then,
# so a gateway that keeps to the rules leaves such a pause behind every event.
EVENT_PAUSES = 12.0, 18.0
FAULT_PAUSES = 1.0, 3.0
START_DEADLINE = 60.0


def sanitizer_environment(folder):
    """Reports go to files. Crash handlers do what a signal handler strictly may not; that is what they are for."""
    reports = folder / "sanitizer"
    return os.environ | {
        "TSAN_OPTIONS": f"log_path={reports} report_signal_unsafe=0 second_deadlock_stack=1",
        "ASAN_OPTIONS": f"log_path={reports} detect_leaks=1",
        "UBSAN_OPTIONS": f"log_path={reports} print_stacktrace=1",
    }


def resident_kib(process):
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    return int(next(line for line in status.splitlines() if line.startswith("VmRSS")).split()[1])


class Soak:
    def __init__(self, mux_program, simulator_program, folder):
        self.folder = folder
        self.tally = Tally()
        threading.excepthook = self.find_broken_thread
        self.gateways = [gateways.Gateway(simulator_program, number)
                         for number in RULE_KEEPING_GATEWAYS + FAULTY_GATEWAYS]
        self.port = free_port()
        self.mux = self.start_mux(mux_program)

    def find_broken_thread(self, broken):
        """A thread that an exception ends does its part of the soak no longer, so the soak must not pass."""
        self.tally.find(f"{broken.thread.name}: {broken.exc_value!r}")

    def start_mux(self, program):
        configuration_file = self.folder / "mux.json"
        configuration_file.write_text(json.dumps(
            {"Enabled": True, "Gateways": [gateway.configuration() for gateway in self.gateways]}))
        mux = Program(program, "--port", f"--port={self.port}", "--configFile", str(configuration_file),
                      environment=sanitizer_environment(self.folder), keep=2000)
        mux.wait_for("to state READY", len(self.gateways), START_DEADLINE)
        time.sleep(2)  # the second sequence refresh of each gateway shares its IDs with what is queued beside it
        return mux

    def make_crowd(self):
        def gateway(number):
            return next(gateway for gateway in self.gateways if gateway.gateway_id == number)

        port, tally = self.port, self.tally
        self.counting = [clients.GatewayClient(f"gateway-{number}", port, tally, number)
                         for number in RULE_KEEPING_GATEWAYS]
        self.counting += [clients.FaultyGatewayClient(f"faulty-{number}", port, tally, number)
                          for number in FAULTY_GATEWAYS]
        self.counting += [clients.RefusedClient(f"refused-{number}", port, tally) for number in range(REFUSED_CLIENTS)]
        self.passing = [clients.ComingAndGoingClient(f"passing-{number}", port, tally)
                        for number in range(COMING_AND_GOING_CLIENTS)]
        self.passing += [clients.SlowClient(f"slow-{number}", port, tally, bytes_a_second, SLOW_PERIOD, number * SLOW_DELAY)
                         for number, bytes_a_second in enumerate(SLOW_CLIENTS)]
        self.events = [gateways.EventMaker(gateway(number), tally, EVENT_PAUSES) for number in RULE_KEEPING_GATEWAYS]
        self.faults = [gateways.FaultMaker(gateway(number), tally, FAULT_PAUSES) for number in FAULTY_GATEWAYS]

    def run(self, seconds):
        self.make_crowd()
        time.sleep(1)  # all are listed before the first event
        memory = resident_kib(self.mux.process)
        for thread in self.counting + self.passing + self.events + self.faults:
            thread.start()
        self.watch(seconds)
        for group in (self.passing, self.faults, self.events, self.counting):
            self.end(group)
        self.check_events()
        self.check_unanswered()
        self.stop_mux(memory)

    def watch(self, seconds):
        end = time.monotonic() + seconds
        while time.monotonic() < end and self.mux.process.poll() is None:
            time.sleep(0.5)

    @staticmethod
    def end(threads):
        for thread in threads:
            thread.ending.set()
        for thread in threads:
            thread.join()

    def check_events(self):
        """Every client that was there all the time was told every event once, those of one gateway in their order."""
        for client in self.counting:
            for maker in self.events:
                prefix = f"{maker.gateway.gateway_id:02X}"
                told = [card for card in client.events if card.startswith(prefix)]
                if told != maker.raised:
                    self.tally.find(f"{client.name}: of {len(maker.raised)} events of gateway {prefix} it was told "
                                    f"{len(told)}, first difference: "
                                    f"{next(iter(set(maker.raised) ^ set(told)), 'the order')}")

    def check_unanswered(self):
        """A request goes unanswered only when the Mux asked that gateway by itself under the same reference ID."""
        for client, maker in zip(self.counting, self.events):
            most = maker.gateway.shared_references()
            if client.unanswered > most:
                self.tally.find(f"{client.name}: {client.unanswered} requests without an answer, of which only {most} "
                                "shared their reference ID with a question of the Mux")

    def stop_mux(self, memory):
        if self.mux.process.poll() is not None:
            last_lines = [line[:300] for line in list(self.mux.lines)[-5:]]
            self.tally.find(f"the Mux ended with status {self.mux.process.returncode}: {last_lines}")
            return
        print(f"  resident memory: {memory:,} KiB before, {resident_kib(self.mux.process):,} KiB behind")
        try:
            self.mux.stop(signal.SIGQUIT, 0)
        except PlayError as error:
            self.tally.find(str(error))

    def look_for_reports(self):
        for report in sorted(self.folder.glob("sanitizer*")):
            self.tally.find(f"{report}:\n{report.read_text()[:3000]}")

    def kill(self):
        for program in [self.mux] + [gateway.program for gateway in self.gateways]:
            program.kill()


def main():
    mux_program, simulator_program = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    folder, minutes = pathlib.Path(sys.argv[3]).resolve(), float(sys.argv[4])
    folder.mkdir(parents=True, exist_ok=True)
    for report in folder.glob("sanitizer*"):
        report.unlink()
    soak = Soak(mux_program, simulator_program, folder)
    try:
        soak.run(minutes * 60)
    finally:
        soak.kill()
    soak.look_for_reports()
    print(soak.tally.table())
    print(f"  findings: {len(soak.tally.findings)}", *soak.tally.findings[:40], sep="\n  ")
    return 1 if soak.tally.findings else 0


if __name__ == "__main__":
    sys.exit(main())
