#!/usr/bin/env python3
"""Counts the instructions of a Mux for another processor: python3 scripts/lib/emulated_instructions.py EMULATOR
SYSROOT MUX_PROGRAM FOLDER.

The emulator runs one instruction at a time and writes a line for each. Lines are counted by thread while requests are
answered, and what the same threads take without them is subtracted: for the two loops of a millisecond by their passes,
since the emulated Mux makes fewer of them the more it has to do, for other threads by the time. Prints what is left for
each request. Needs a program with its symbols.
"""
import collections
import os
import pathlib
import re
import subprocess
import sys
import threading
import time

from instructions import UNKNOWN_GATEWAY, CountedMux
from programs import PlayError, wait_until

# Each is counted piece by piece, since the Mux sends frames of its own now and then, and a piece with one is left out.
IDLE_PIECES, IDLE_SECONDS = 3, 2
REFUSED_PIECES, REFUSED = 5, 10
FORWARDED_PIECES, FORWARDED = 6, 5
SPOILED_PIECES = 10
# For what a thread does behind an answer that has left already, a log line for instance.
SETTLE_SECONDS = 0.5
# Mangled, as the emulator names them; each is called once in a pass of its loop.
PASSES = {"main loop": "_ZN3Mux8BrenkMux30SendMessageToClientIfAvailableEv",
          "gateways loop": "_ZN3Mux8BrenkMux14PopNextMessageEv"}
LINE = re.compile(rb"Trace (\d+): \S+ \[[0-9a-f]+/([0-9a-f]+)/")
CHUNK = 1 << 20


class Trace:
    """Counts of the emulator's lines, "Trace THREAD: HOST [BASE/ADDRESS/FLAGS/FLAGS] FUNCTION", fed as they come.

    There are hundreds of thousands a second, so most of them are only counted.
    """

    def __init__(self, functions):
        self.lock = threading.Lock()
        self.rest = b""
        self.instructions = collections.Counter()
        self.passes = collections.Counter()
        self.functions = {name: b"] " + symbol.encode() + b"\n" for name, symbol in functions.items()}
        self.entries = {}

    def feed(self, data):
        data = b"\n" + self.rest + data
        end = data.rfind(b"\n") + 1
        lines, self.rest = data[:end], data[end:]
        with self.lock:
            self.count_instructions(lines)
            for name, ending in self.functions.items():
                self.count_passes(name, list(calls_in(lines, ending)))

    def count_instructions(self, lines):
        """The emulator numbers threads from 0."""
        left, thread = lines.count(b"\nTrace "), 0
        while left > 0:
            if found := lines.count(b"\nTrace %d:" % thread):
                self.instructions[thread] += found
            left, thread = left - found, thread + 1

    def count_passes(self, name, calls):
        """A function begins at its lowest address, where each call comes by."""
        if calls:
            lowest = min(address for _, address in calls)
            self.entries[name] = min(lowest, self.entries.get(name, lowest))
            self.passes.update((name, thread) for thread, address in calls if address == self.entries[name])

    def counts(self):
        with self.lock:
            return collections.Counter(self.instructions), collections.Counter(self.passes)


def calls_in(lines, ending):
    """(thread, address) of each line with this ending."""
    position = lines.find(ending)
    while position >= 0:
        line = LINE.match(lines, lines.rfind(b"\n", 0, position) + 1)
        yield int(line[1]), line[2]
        position = lines.find(ending, position + 1)


class Phase:
    """What was counted during an action, or during all pieces of one."""

    def __init__(self):
        self.instructions, self.passes, self.seconds = collections.Counter(), collections.Counter(), 0.0

    def add(self, before, after, seconds):
        self.instructions += after[0] - before[0]
        self.passes += after[1] - before[1]
        self.seconds += seconds

    def above(self, idle):
        """Instructions beyond those that the threads take for their passes or, the others, in that time."""
        left = float(sum(self.instructions.values()))
        loops = set()
        for loop, passes in self.passes.items():
            loops.add(loop[1])
            left -= passes * idle.of_pass(loop)
        for thread, count in idle.instructions.items():
            if thread not in loops:
                left -= count / idle.seconds * self.seconds
        return left

    def of_pass(self, loop):
        return self.instructions[loop[1]] / self.passes[loop]


class EmulatedMux(CountedMux):
    def __init__(self, emulator, sysroot, program, folder):
        self.trace = Trace(PASSES)
        pipe = folder / "trace"
        pipe.unlink(missing_ok=True)
        os.mkfifo(pipe)
        threading.Thread(target=self.read, args=(pipe,), daemon=True).start()
        super().__init__([emulator, one_instruction_option(emulator), "-d", "exec,nochain", "-D", str(pipe),
                          "-L", str(sysroot)], program, folder)
        self.await_service()
        wait_until(lambda: len(self.trace.counts()[1]) >= len(PASSES), "Passes of both loops")

    def read(self, pipe):
        with open(pipe, "rb", buffering=0) as stream:
            while data := stream.read(CHUNK):
                self.trace.feed(data)

    def phase(self, action, pieces, frames):
        """Counts while `action` runs, `pieces` times. The gateway must get so many frames in each of them."""
        phase, spoiled = Phase(), 0
        while pieces > 0:
            time.sleep(SETTLE_SECONDS)
            requests, before, start = self.gateways.requests, self.trace.counts(), time.monotonic()
            action()
            time.sleep(SETTLE_SECONDS)
            after, seconds = self.trace.counts(), time.monotonic() - start
            if self.gateways.requests - requests == frames:
                phase.add(before, after, seconds)
                pieces -= 1
            else:
                spoiled += 1
                if spoiled > SPOILED_PIECES:
                    raise PlayError("the Mux sends too many frames of its own")
        return phase


def one_instruction_option(emulator):
    """The option's name changed with version 8.1."""
    listed = subprocess.run([emulator, "--help"], stdout=subprocess.PIPE, text=True, check=False).stdout
    return "-one-insn-per-tb" if "one-insn-per-tb" in listed else "-singlestep"


def main(emulator, sysroot, program, folder):
    folder.mkdir(parents=True, exist_ok=True)
    mux = EmulatedMux(emulator, sysroot, program, folder)
    try:
        idle = mux.phase(lambda: time.sleep(IDLE_SECONDS), IDLE_PIECES, frames=0)
        refused = mux.phase(lambda: [mux.request(UNKNOWN_GATEWAY) for _ in range(REFUSED)], REFUSED_PIECES, frames=0)
        forwarded = mux.phase(lambda: [mux.request(1) for _ in range(FORWARDED)], FORWARDED_PIECES, frames=FORWARDED)
    finally:
        mux.kill()
    print(f"Instructions under {pathlib.Path(emulator).name}")
    for loop in sorted(idle.passes):
        print_count(idle.of_pass(loop), f"pass of the {loop[0]} that finds nothing to do ({idle.passes[loop]} passes)")
    print_mean("request that the Mux refuses", refused.above(idle), REFUSED_PIECES * REFUSED)
    print_mean("request that goes through a gateway", forwarded.above(idle), FORWARDED_PIECES * FORWARDED)


def print_mean(what, instructions, number):
    print_count(instructions / number, f"{what} (mean of {number})")


def print_count(count, what):
    print(f"  {count:8.0f}  {what}")


if __name__ == "__main__":
    try:
        main(sys.argv[1], pathlib.Path(sys.argv[2]).resolve(), sys.argv[3], pathlib.Path(sys.argv[4]).resolve())
    except PlayError as error:
        sys.exit(f"instructions: {error}")
