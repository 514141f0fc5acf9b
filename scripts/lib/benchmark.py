#!/usr/bin/env python3
"""The steps of scripts/benchmark: python3 scripts/lib/benchmark.py PROGRAM_FOLDER RESULT_FOLDER [OPTION]...

Starts floor and Mux in turns, lets benchmarks/load measure them, and holds the figures against their targets.
"""
import argparse
import contextlib
import json
import os
import pathlib
import platform
import re
import statistics
import subprocess
import sys
import time

import benchmark_targets
from programs import PlayError, Program, free_port

MUX = "dw-hal-mux-brenk"
GATEWAY_LINE = "Gateways listen on "
CLIENT_NUMBERS = (1, 50, 500)
GATEWAY_NUMBERS = (1, 8, 64)
FULL_SECONDS = 10.0
SMOKE_SECONDS = 0.5
# A gateway is sent a frame every 300 ms, and the first two are left out.
FEWEST_GATEWAY_SECONDS = 1.5
# Of each rate of answers. With fewer the noise of the idle passes would hide what few answers take.
FEWEST_RATE_SECONDS = 1.5
RATES = (50, 100, 200, 400, 600, 800)
# A gateway's event needs some 0.65 s of silence before it, or any time up to these seconds.
EVENT_GATEWAYS, LONGEST_SILENCE = 32, 25
# Clients that behave badly, as options of the load generator; the first run is undisturbed.
NEIGHBOURS = ((), ("--trickling", "1"), ("--silent", "1"), ("--silent", "5"), ("--silent", "15"),
              ("--short-packets", "1"), ("--short-packets", "10"))
MICRO_BENCHMARKS = "benchmarks/micro/micro-benchmarks"
# For the beginning of a benchmark's name: the figure, the field that holds it, and what makes microseconds of it.
IN_PROCESS = {
    "AnsweredRequestLogFilteredOut/": ("in-process, CPU per answer, log filtered out", "cpu_per_answer", 1e6),
    "AnsweredRequestLoggedToFileAndConsole/": ("in-process, CPU per answer, log written", "cpu_per_answer", 1e6),
    "DrainOfAPass/500/": ("in-process, drain of a pass, per client of 500", "real_time", 1e-3),
}


class Figures:
    """All values of each figure, one for every time that it was measured."""

    def __init__(self):
        self.values = {}
        self.units = {}

    def add(self, program, name, value, unit):
        self.values.setdefault(f"{program}: {name}", []).append(value)
        self.units[f"{program}: {name}"] = unit

    def of(self, program):
        return lambda name: statistics.median(self.values[f"{program}: {name}"])

    def summary(self):
        return {name: {"median": statistics.median(values), "unit": self.units[name], "values": values}
                for name, values in self.values.items()}


class Distributions:
    """All turns of each distribution: its values, one for each of the percents."""

    def __init__(self):
        self.turns, self.percents, self.units = {}, {}, {}

    def add(self, program, distribution):
        name = f"{program}: {distribution['name']}"
        self.turns.setdefault(name, []).append(distribution["values"])
        self.percents[name], self.units[name] = distribution["percents"], distribution["unit"]

    def summary(self):
        """The median of the turns, percentile by percentile."""
        return {name: {"unit": self.units[name], "percents": self.percents[name],
                       "median": [statistics.median(values) for values in zip(*turns)], "values": turns}
                for name, turns in self.turns.items()}


class Benchmark:
    def __init__(self, programs, folder, options):
        self.programs, self.folder, self.options = programs, folder, options
        self.seconds = options.seconds
        self.long_seconds = self.seconds if options.smoke else 3 * self.seconds
        self.figures, self.distributions = Figures(), Distributions()

    def program(self, name):
        return str(self.options.mux if name == MUX and self.options.mux else self.programs / name)

    def mux_command(self, port, gateway_ports):
        configuration = self.folder / "mux.json"
        configuration.write_text(json.dumps({"Enabled": True, "Gateways": [
            {"ID": number, "Description": "", "IpAddress": "127.0.0.1", "Port": gateway_port, "Devices": []}
            for number, gateway_port in enumerate(gateway_ports, 1)]}))
        return [self.program(MUX), "--port", f"--port={port}", "--configFile", str(configuration),
                "--logFile", str(self.folder / "mux.log")]

    def command(self, name, port, gateway_ports):
        if name == "Mux":
            return self.mux_command(port, gateway_ports)
        return [self.program("floor"), str(port), *map(str, gateway_ports)]

    @contextlib.contextmanager
    def gateways(self, count):
        """Gateways that answer at once, played by a process of their own; gives their ports."""
        program = Program(self.program("load"), "gateways", "--count", str(count))
        try:
            yield announced_ports(program)
        finally:
            program.kill()

    @contextlib.contextmanager
    def running(self, name, gateway_ports):
        """A floor or Mux that uses these gateways; gives its port and its process ID."""
        port = free_port()
        process = subprocess.Popen(self.command(name, port, gateway_ports), stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL)
        try:
            yield port, process.pid
        finally:
            ended = process.poll()
            process.kill()
            process.wait()
        if ended is not None:
            raise PlayError(f"{name} ended by itself with status {ended}")

    def take(self, program, json_file, prefix="", beginning=""):
        """Only the figures whose names begin so, and all distributions."""
        measured = json.loads(json_file.read_text())
        for figure in measured["figures"]:
            if figure["name"].startswith(beginning):
                self.figures.add(program, prefix + figure["name"], figure["value"], figure["unit"])
        for distribution in measured["distributions"]:
            self.distributions.add(program, distribution)

    def load(self, program, port, *arguments, prefix="", beginning=""):
        """Measures a running program."""
        print(f"   {program}: {' '.join(arguments)}", flush=True)
        json_file = self.folder / "load.json"
        run([self.program("load"), "--port", str(port), "--json", str(json_file), *arguments])
        self.take(program, json_file, prefix, beginning)

    def load_with_gateways(self, *arguments):
        """Measures a Mux whose gateways are played by the process that measures, one clock for both ends."""
        print(f"   Mux: {' '.join(arguments)}", flush=True)
        json_file, port = self.folder / "load.json", free_port()
        load = Program(self.program("load"), "--port", str(port), "--json", str(json_file), *arguments)
        try:
            mux = subprocess.Popen(self.mux_command(port, announced_ports(load)), stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL)
            try:
                status = load.process.wait(6 * self.long_seconds + 60)
            finally:
                mux.kill()
                mux.wait()
        finally:
            load.kill()
        if status != 0:
            raise PlayError(f"load {arguments[0]} failed: {list(load.lines)[-3:]}")
        self.take("Mux", json_file)

    def measure_in_turns(self):
        for _ in range(self.options.rounds):
            for name in ("floor", "Mux"):
                with self.gateways(1) as gateway_ports, self.running(name, gateway_ports) as (port, process):
                    self.measure_running(name, port, process)

    def measure_running(self, name, port, process):
        self.load(name, port, "idle", "--pid", str(process), "--clients", "0,10", "--seconds", str(self.long_seconds),
                  "--turns", str(self.options.turns))
        self.load(name, port, "latency", "--seconds", str(self.seconds))
        self.load(name, port, "latency", "--random-phase", "--seconds", str(self.long_seconds))
        for clients in CLIENT_NUMBERS:
            self.load(name, port, "throughput", "--clients", str(clients), "--pid", str(process),
                      "--seconds", str(self.seconds))
        # Not judged, but a floor with another one is no floor.
        self.figures.add(name, "longest timer slack of a thread", longest_timer_slack(process), "ns")

    def measure_rates(self):
        seconds = self.seconds / 5 if self.options.smoke else max(FEWEST_RATE_SECONDS, self.seconds / 5)
        for _ in range(self.options.rounds):
            for name in ("floor", "Mux"):
                with self.gateways(1) as gateway_ports, self.running(name, gateway_ports) as (port, process):
                    self.load(name, port, "rates", "--pid", str(process), "--rates", ",".join(map(str, RATES)),
                              "--seconds", str(seconds))

    def measure_gateways(self):
        seconds = str(max(FEWEST_GATEWAY_SECONDS, 2 * self.long_seconds))
        for gateways in (1, 64):
            self.load_with_gateways("gateway-requests", "--gateways", str(gateways), "--seconds", seconds)

    def measure_events(self):
        seconds = str(max(FEWEST_GATEWAY_SECONDS, 2 * self.long_seconds))
        for clients in (1, 10):
            self.load_with_gateways("events", "--gateways", str(EVENT_GATEWAYS), "--clients", str(clients),
                                    "--seconds", seconds)
        self.load_with_gateways("events", "--gateways", "64", "--seconds", seconds, "--longest-silence",
                                str(1 if self.options.smoke else LONGEST_SILENCE))

    def measure_neighbours(self):
        for _ in range(self.options.rounds):
            for neighbours in NEIGHBOURS:
                with self.gateways(1) as ports, self.running("Mux", ports) as (port, _process):
                    self.load("Mux", port, "neighbours", *neighbours, "--seconds", str(self.seconds))

    def measure_memory(self):
        for gateways in GATEWAY_NUMBERS:
            self.measure_memory_with(gateways, f"gateways {gateways}, ", "0,10,300,900", connects=0)
        self.measure_memory_with(1, "connects, ", "0", connects=1000)
        # Which pages of a library stand in memory differs by tens of KiB from one start to the next.
        for gateways in () if self.options.smoke else (1, 64) * (2 * self.options.rounds):
            self.measure_memory_with(gateways, f"gateways {gateways}, ", "0", connects=0, beginning="memory, clients 0,")

    def measure_memory_with(self, gateways, prefix, clients, connects, beginning=""):
        with self.gateways(gateways) as ports, self.running("Mux", ports) as (port, process):
            self.load("Mux", port, "memory", "--pid", str(process), "--clients", clients, "--connects", str(connects),
                      prefix=prefix, beginning=beginning)

    def measure_start_up(self):
        with self.gateways(1) as gateway_ports:
            for name in ("floor", "Mux"):
                port = free_port()
                self.load(name, port, "start-up", "--repetitions", str(self.options.starts), "--",
                          *self.command(name, port, gateway_ports))

    def measure_in_process(self):
        """What the parts of the Mux take by themselves, with the log filtered out or written."""
        json_file = self.folder / "micro.json"
        print("   in-process", flush=True)
        run([str(self.programs / MICRO_BENCHMARKS), f"--benchmark_filter={'|'.join(IN_PROCESS)}",
             f"--benchmark_min_time={self.seconds / 2}", f"--benchmark_repetitions={self.options.repetitions}",
             f"--benchmark_out={json_file}"])
        for row in json.loads(json_file.read_text())["benchmarks"]:
            if row["run_type"] != "iteration":
                continue  # The benchmark's own mean and deviation.
            for beginning, (figure, field, factor) in IN_PROCESS.items():
                if row["name"].startswith(beginning):
                    self.figures.add("Mux", figure, row[field] * factor, "us")

    def measure_binary(self):
        stripped = self.folder / "stripped"
        run(["strip", "-o", str(stripped), self.program(MUX)])
        self.figures.add("Mux", "stripped size", stripped.stat().st_size / 1024, "KiB")
        needed = run(["readelf", "--dynamic", str(stripped)]).count("(NEEDED)")
        self.figures.add("Mux", "shared libraries", needed, "")

    PARTS = {"binary": measure_binary, "in-process": measure_in_process, "turns": measure_in_turns,
             "rates": measure_rates, "gateways": measure_gateways, "events": measure_events,
             "neighbours": measure_neighbours, "footprint": measure_memory, "start-up": measure_start_up}

    def run(self):
        for part in self.options.only or self.PARTS:
            # Its benchmarks are built from these sources, not from those of another Mux.
            if part != "in-process" or not self.options.mux:
                self.PARTS[part](self)


def run(command):
    """The output of a command that must succeed."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        raise PlayError(f"{pathlib.Path(command[0]).name} failed: {done.stdout.strip()}")
    return done.stdout


def announced_ports(program):
    program.wait_for(GATEWAY_LINE)
    return [int(port) for port in program.lines_with(GATEWAY_LINE)[0].removeprefix(GATEWAY_LINE).split(",")]


def longest_timer_slack(process):
    threads = pathlib.Path(f"/proc/{process}/task").iterdir()
    return max(int(pathlib.Path(f"/proc/{thread.name}/timerslack_ns").read_text()) for thread in threads)


def machine():
    processor = re.search(r"^(?:model name|Model)\s*:\s*(.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.MULTILINE)
    return {"system": f"{platform.system()} {platform.release()} {platform.machine()}",
            "processor": processor.group(1) if processor else "unknown", "cores": os.cpu_count(),
            "load average": os.getloadavg()[0]}


def judge(figures):
    """One dictionary for each row of the table of targets."""
    mux, floor = figures.of("Mux"), figures.of("floor")
    rows = []
    for target in benchmark_targets.TARGETS:
        try:
            value, met = benchmark_targets.work_out(target, mux, floor)
        except KeyError:
            continue  # Not measured this time.
        rows.append({"text": target.text, "value": value, "comparison": target.comparison, "limit": target.limit,
                     "unit": target.unit, "met": met})
    return rows


def print_figures(figures):
    names = {name.split(": ", 1)[1]: None for name in figures.values}
    print(f"\n{'Figure, median of all turns':<64}{'floor':>12}{'Mux':>12}")
    for name in names:
        cells = [figures.of(program)(name) if f"{program}: {name}" in figures.values else None
                 for program in ("floor", "Mux")]
        unit = figures.units[f"Mux: {name}"]
        print(f"{name:<64}" + "".join(" " * 12 if cell is None else f"{cell:12.3f}" for cell in cells) + f" {unit}")


def print_targets(rows, judged):
    print(f"\n{'Target':<34}{'wanted':>14}{'measured':>12}")
    for row in rows:
        verdict = ("met" if row["met"] else "NOT MET") if judged else "not judged"
        print(f"{row['text']:<34}{row['comparison']:>4} {row['limit']:9.2f}{row['value']:12.3f} {row['unit']:<8} {verdict}")


def parse_options(arguments):
    parser = argparse.ArgumentParser(prog="benchmark")
    parser.add_argument("programs", type=pathlib.Path)
    parser.add_argument("results", type=pathlib.Path)
    parser.add_argument("--smoke", action="store_true")
    parser.add_argument("--seconds", type=float)
    parser.add_argument("--only", action="append", choices=Benchmark.PARTS)
    parser.add_argument("--mux", type=pathlib.Path)
    options = parser.parse_args(arguments)
    options.seconds = options.seconds or (SMOKE_SECONDS if options.smoke else FULL_SECONDS)
    options.rounds = 1 if options.smoke else 4
    options.turns = 1 if options.smoke else 3
    options.starts = 10 if options.smoke else 200
    options.repetitions = 1 if options.smoke else 5
    return options


def main():
    options = parse_options(sys.argv[1:])
    folder = (options.results / "benchmark").resolve()
    folder.mkdir(parents=True, exist_ok=True)
    benchmark = Benchmark(options.programs.resolve(), folder, options)
    before, started = machine(), time.monotonic()
    print(f"Measuring on {before['processor']}, {before['cores']} cores, load {before['load average']:.2f}")
    try:
        benchmark.run()
        rows = judge(benchmark.figures)
    except (PlayError, OSError, subprocess.TimeoutExpired) as error:
        print(f"benchmark failed: {error}", file=sys.stderr)
        return 1
    result = {"machine": before, "seconds": options.seconds, "rounds": options.rounds, "smoke": options.smoke,
              "targets": rows, "figures": benchmark.figures.summary(),
              "distributions": benchmark.distributions.summary()}
    (options.results / "benchmark.json").write_text(json.dumps(result, indent=1) + "\n")
    print_figures(benchmark.figures)
    print_targets(rows, judged=not options.smoke)
    print(f"\nTook {time.monotonic() - started:.0f} s. Every value of every figure: {options.results}/benchmark.json")
    return 0 if options.smoke or all(row["met"] for row in rows) else 1


if __name__ == "__main__":
    sys.exit(main())
