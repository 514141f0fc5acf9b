"""The faults of scripts/mutate: python3 scripts/lib/mutate.py [--since REVISION] [NAME...].

A fault is a table in tests/mutants/*.toml:

    [[mutant]]
    name = "crc-polynomial"             # unique
    file = "messages/crc/CRC16.cpp"
    old = "0x1021"                      # occurs exactly once in the file
    new = "0x1022"

Each fault is built in a copy of the tree below build/mutants and run against the test that caught it last time, those of
its folder and then, as long as these pass, those of the folders around it, or of the whole daemon, and the whole suite.
The first test that fails ends a run. A catch counts when it fails twice more, by itself: a test that fails now and then
catches nothing. Nor does one that races a clock: these are left out (label "clock").
"""
import argparse
import concurrent.futures
import json
import os
import pathlib
import queue
import re
import shutil
import subprocess
import sys
import threading
import time
import tomllib

import psutil

ROOT = pathlib.Path(__file__).resolve().parents[2]
# Tests wait more than they compute; but with a third copy a core those fail that a busy machine is too slow for.
WORKERS = 2 * (os.cpu_count() or 1)
FAULTS_FOR_A_WORKER = 15
TEST_SECONDS = 1200
# Labels: tests that race a clock; and those of the faults, which notice that the tree has one.
LEFT_OUT = "^(clock|mutants)$"
CHANCES = 3
REPEATS = 2
# A copy finds what another one has compiled: the same but for its folder. So does a file without its fault.
SHARED_OBJECTS = {"CMAKE_CXX_COMPILER_LAUNCHER": "ccache", "CCACHE_DIR": str(ROOT / "build" / "mutants" / "ccache"),
                  "CCACHE_BASEDIR": str(ROOT / "build" / "mutants"), "CCACHE_NOHASHDIR": "1"}
# Behind the name of a test with a parameter stands its value.
FAILED_TEST = re.compile(r"Test +#\d+: (\S+) .*\*\*\*(?!Skipped|Not Run \(Disabled\))")
CAUGHT, SURVIVED, BROKEN, UNDECIDED, ERROR = "caught", "SURVIVED", "DOES NOT BUILD", "RAN OUT OF TIME", "ERROR"


def read_mutants(names, changed=None):
    """Those of these names, or all; and when `changed` is given, those in these files."""
    mutants = []
    for path in sorted((ROOT / "tests" / "mutants").glob("*.toml")):
        mutants += tomllib.loads(path.read_text())["mutant"]
    known = [mutant["name"] for mutant in mutants]
    for name in {name for name in known if known.count(name) > 1}:
        sys.exit(f"mutate: two faults are named {name}")
    for name in set(names) - set(known):
        sys.exit(f"mutate: no fault is named {name}")
    for mutant in mutants:
        count = (ROOT / mutant["file"]).read_text().count(mutant["old"])
        if count != 1:
            sys.exit(f"mutate: {mutant['name']}: its old text occurs {count} times in {mutant['file']}")
    return [mutant for mutant in mutants if (not names or mutant["name"] in names)
            and (changed is None or mutant["file"] in changed)]


def git_lines(*arguments):
    done = subprocess.run(["git", *arguments], cwd=ROOT, check=True, stdout=subprocess.PIPE, text=True)
    return done.stdout.splitlines()


def tests_label(file):
    """The label, as a regular expression, of the tests that mirror the file's folder."""
    folder = pathlib.PurePath(file).parent
    while not (ROOT / "tests" / folder / "CMakeLists.txt").exists():
        folder = folder.parent
    return f"^{folder}$"


def exactly(test):
    """CTest's arguments for one test, behind whose name its parameter may stand."""
    return ["-R", f"^{re.escape(test)}( |$)"]


def selections(mutant, catcher=None):
    """CTest's arguments for the tests that are tried, one set after the other."""
    family = pathlib.PurePath(mutant["file"]).parts[0]
    around = f"^{family}(/|$)" if family in ("proxy", "tools") else "^(allocation|system)$"
    # A browser takes long to find what shorter tests find.
    without_browser = ["-E", "^RunningPage"]
    caught_last_time = [exactly(catcher)] if catcher else []
    return [*caught_last_time, ["-L", tests_label(mutant["file"]), *without_browser],
            ["-L", around, *without_browser], []]


class Catchers:
    """Which test caught which fault last time. Each is kept at once: a run may be cut short."""

    def __init__(self, file=ROOT / "build" / "mutants" / "catchers.json"):
        self.file = file
        self.tests = json.loads(file.read_text()) if file.exists() else {}

    def of(self, mutant):
        return self.tests.get(mutant["name"])

    def remember(self, name, test):
        self.tests[name] = test
        self.file.write_text(json.dumps(self.tests, indent=1, sort_keys=True))


def kill_with_descendants(process):
    """Tests start processes in sessions of their own."""
    try:
        known = psutil.Process(process.pid)
        for descendant in [known, *known.children(recursive=True)]:
            try:
                descendant.kill()
            except psutil.NoSuchProcess:
                pass
    except psutil.NoSuchProcess:
        pass


class Worker:
    """A copy of the tree with a build of its own."""

    def __init__(self, number):
        self.folder = ROOT / "build" / "mutants" / str(number)
        self.build = self.folder / "build" / "debug"

    def run(self, *command, seconds=None, until=None):
        """To its end, or to the first line that `until` finds something in. Raises TimeoutExpired when that takes more
        than `seconds`. What it has started then ends with it."""
        process = subprocess.Popen(command, cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                   text=True, errors="replace", env={**os.environ, **SHARED_OBJECTS})
        overdue = threading.Event()
        timer = threading.Timer(seconds or threading.TIMEOUT_MAX, lambda: (overdue.set(), kill_with_descendants(process)))
        timer.daemon = True
        timer.start()
        with process:
            output = ""
            for line in process.stdout:
                output += line
                if until and until.search(line):
                    kill_with_descendants(process)
                    break
        timer.cancel()
        if overdue.is_set():
            raise subprocess.TimeoutExpired(command, seconds, output)
        return subprocess.CompletedProcess(command, process.returncode, output)

    def prepare(self, mutants):
        """Builds what tests these first."""
        self.folder.mkdir(parents=True, exist_ok=True)
        names = git_lines("ls-files")
        for name in names:
            self.copy(name)
        self.remove_all_but(names)
        configured = self.run("cmake", "--preset", "debug", "-DCMAKE_CXX_FLAGS_DEBUG=-g0")
        if configured.returncode != 0:
            sys.exit(f"mutate: cannot configure the tree:\n{configured.stdout[-2000:]}")
        for label in sorted({tests_label(mutant["file"]) for mutant in mutants}):
            built = self.make("-L", label)
            if built.returncode != 0:
                sys.exit(f"mutate: the tests {label} do not build without any fault:\n{built.stdout[-2000:]}")

    def make(self, *selection):
        """Builds the tests of a selection, if there are any."""
        listed = self.run(sys.executable, "scripts/lib/test_targets.py", "build/debug", *selection)
        targets = listed.stdout.split()
        return self.run("cmake", "--build", "--preset", "debug", "--target", *targets) if targets else listed

    def remove_all_but(self, names):
        """What a fault was tried with in an earlier run, and is no longer part of the tree."""
        kept = {self.folder / name for name in names}
        for path in self.folder.rglob("*"):
            if path.is_file() and path not in kept and not path.is_relative_to(self.folder / "build"):
                path.unlink()

    def copy(self, name):
        source, target = ROOT / name, self.folder / name
        if target.exists() and target.read_bytes() == source.read_bytes():
            return
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, target)

    def try_out(self, mutant, catcher):
        file = self.folder / mutant["file"]
        original = file.read_text()
        file.write_text(original.replace(mutant["old"], mutant["new"]))
        try:
            return self.judge(mutant, catcher)
        finally:
            file.write_text(original)
            self.end_what_tests_left()

    def end_what_tests_left(self):
        """Programs whose test was ended before it could end them."""
        for process in psutil.process_iter(["exe"]):
            if process.info["exe"] and pathlib.PurePath(process.info["exe"]).is_relative_to(self.folder):
                kill_with_descendants(process)

    def judge(self, mutant, catcher=None):
        for selection in selections(mutant, catcher):
            if self.make(*selection).returncode != 0:
                return BROKEN, ""
            try:
                failed = self.failed_each_time(selection)
            except subprocess.TimeoutExpired:
                return UNDECIDED, ""
            if failed:
                return CAUGHT, failed
        return SURVIVED, ""

    def failed_each_time(self, selection):
        """A test that fails now and then stops the others, so these get further chances."""
        for _ in range(CHANCES):
            failed = self.failed_test(*selection)
            if not failed or all(self.failed_test(*exactly(failed)) for _ in range(REPEATS)):
                return failed
        return None

    def failed_test(self, *selection):
        """The first test that fails, if any."""
        result = self.run("ctest", "--preset", "debug", "--parallel", "8", "--timeout", "120", "-LE", LEFT_OUT,
                          *selection, seconds=TEST_SECONDS, until=FAILED_TEST)
        failed = FAILED_TEST.search(result.stdout)
        if not failed and result.returncode != 0:
            raise RuntimeError(f"ctest ended with {result.returncode}:\n{result.stdout[-2000:]}")
        return failed[1] if failed else None


def wanted_mutants():
    parser = argparse.ArgumentParser(prog="mutate", allow_abbrev=False)
    parser.add_argument("--since", metavar="REVISION")
    parser.add_argument("names", nargs="*", metavar="NAME")
    arguments = parser.parse_args()
    changed = set(git_lines("diff", "--name-only", arguments.since)) if arguments.since else None
    return read_mutants(arguments.names, changed)


def main():
    mutants = wanted_mutants()
    if not mutants:
        print("No fault concerns these files")
        return 0
    catchers = Catchers()
    workers = queue.Queue()
    copies = min(WORKERS, -(-len(mutants) // FAULTS_FOR_A_WORKER))
    print(f"Building {copies} copies of the tree ...", flush=True)
    for number in range(copies):
        worker = Worker(number)
        worker.prepare(mutants)
        workers.put(worker)

    def try_out(mutant):
        worker = workers.get()
        try:
            return worker.try_out(mutant, catchers.of(mutant))
        except (OSError, RuntimeError) as error:
            return ERROR, str(error)
        finally:
            workers.put(worker)

    started, verdicts = time.monotonic(), {}
    with concurrent.futures.ThreadPoolExecutor(WORKERS) as pool:
        running = {pool.submit(try_out, mutant): mutant for mutant in mutants}
        for number, done in enumerate(concurrent.futures.as_completed(running), 1):
            verdict, by = done.result()
            name = running[done]["name"]
            verdicts.setdefault(verdict, []).append(name)
            print(f"[{number}/{len(mutants)}] {name}: {verdict}{' by ' + by if by else ''}", flush=True)
            if verdict == CAUGHT:
                catchers.remember(name, by)

    minutes = (time.monotonic() - started) / 60
    print(f"\n{len(verdicts.get(CAUGHT, []))} of {len(mutants)} faults caught in {minutes:.0f} minutes")
    for verdict in (SURVIVED, BROKEN, UNDECIDED, ERROR):
        for name in verdicts.get(verdict, []):
            print(f"{verdict}: {name}")
    return 0 if len(verdicts.get(CAUGHT, [])) == len(mutants) else 1


if __name__ == "__main__":
    sys.exit(main())
