"""The check of scripts/lint with clang-tidy: python3 scripts/lib/tidy.py [--since REVISION | FILE...].

Checks all sources; or those that the changes since a revision can affect, because they or a header they include
changed; or those named. Ends with 0 when there is no finding.

Most of clang-tidy's time goes into the headers of libraries, which every source includes again. So sources of one
target are checked several at a time, as one translation unit that includes them. Sources that do not compile together,
because two of them use one name for two things, are checked each by itself.
"""

import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build" / "tidy"
WORK = BUILD / "units"
SOURCES_AT_A_TIME = 8
# Of a unit that only includes, everything of ours counts as a header.
OURS = (r"/(benchmarks|examples|diagnostics|json|threading|net|messages|gateway|mux|proxy|tools|tests|fuzz)/"
        r"[A-Za-z0-9/-]+\.(h|cpp)$")
DOES_NOT_COMPILE = "[clang-diagnostic-error"


def tracked(pattern):
    """The files in the tree whose names match, from the root."""
    listed = subprocess.run(["git", "ls-files", "-z", "--", pattern], cwd=ROOT, check=True, capture_output=True, text=True)
    return [name for name in listed.stdout.split("\0") if name]


def sources():
    """The compile command of each source in the tree, by its path from the root. One that is built twice counts once."""
    names = set(tracked("*.cpp"))
    commands = {}
    for entry in json.loads((BUILD / "compile_commands.json").read_text()):
        name = os.path.relpath(entry["file"], ROOT)
        if name in names:
            commands.setdefault(name, entry)
    return commands


def without_source(command):
    """What the compiler is called with, but for the source and the files that are written."""
    return re.sub(r" -o .*", "", command)


def units(commands):
    """Groups of sources that stand in one folder and are compiled alike."""
    alike = collections.defaultdict(list)
    for name, entry in sorted(commands.items()):
        alike[os.path.dirname(name), without_source(entry["command"])].append(name)
    for group in alike.values():
        for begin in range(0, len(group), SOURCES_AT_A_TIME):
            yield group[begin : begin + SOURCES_AT_A_TIME]


def write_units(groups, commands):
    """Writes the units in folders like those of their sources, because these decide about the checks."""
    shutil.rmtree(WORK, ignore_errors=True)
    database = []
    written = {}
    for settings in tracked("*.clang-tidy"):
        target = WORK / settings
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(ROOT / settings, target)
    for number, group in enumerate(groups):
        unit = WORK / os.path.dirname(group[0]) / f"unit{number}.cpp"
        unit.parent.mkdir(parents=True, exist_ok=True)
        lines = [f'#include "{ROOT / name}"  // NOLINT(bugprone-suspicious-include)\n' for name in group]
        unit.write_text("".join(lines))
        entry = commands[group[0]]
        command = f"{without_source(entry['command'])} -c {shlex.quote(str(unit))}"
        database.append({"directory": entry["directory"], "command": command, "file": str(unit)})
        written[unit] = group
    (WORK / "compile_commands.json").write_text(json.dumps(database))
    return written


def tidy(database, *arguments):
    command = ["clang-tidy", "-p", str(database), "--quiet", *arguments]
    done = subprocess.run(command, cwd=ROOT, capture_output=True, text=True, check=False)
    return done.returncode, done.stdout, done.stderr


def check(unit, group):
    """Returns whether nothing was found in the sources of a unit, and what clang-tidy says of them."""
    status, found, errors = tidy(WORK, f"--header-filter={OURS}", str(unit))
    if status != 0 and DOES_NOT_COMPILE in found + errors:
        status, found, errors = tidy(BUILD, *[str(ROOT / name) for name in group])
    return status == 0, found if status == 0 else found + errors


def configure():
    """A build in which each source has its compile command."""
    subprocess.run(["cmake", "--preset", "release", "-B", BUILD, "-DCMAKE_UNITY_BUILD=OFF"], cwd=ROOT, check=True,
                   stdout=subprocess.DEVNULL)


def affected(revision):
    """The sources that changed since the revision, or that include, themselves or through others, what changed."""
    includers = collections.defaultdict(set)
    for name in tracked("*.h") + tracked("*.cpp"):
        for header in re.findall(r'^#include "([^"]+)"', (ROOT / name).read_text(), re.MULTILINE):
            includers[header].add(name)
    listed = subprocess.run(["git", "diff", "--name-only", "--diff-filter=d", revision], cwd=ROOT, check=True,
                            capture_output=True, text=True)
    found, waiting = set(), listed.stdout.split("\n")
    while waiting:
        name = waiting.pop()
        if name not in found:
            found.add(name)
            waiting.extend(includers[name])
    return sorted(found & set(tracked("*.cpp")))


def parse_arguments():
    parser = argparse.ArgumentParser(prog="tidy", allow_abbrev=False)
    parser.add_argument("--since", metavar="REVISION")
    parser.add_argument("files", nargs="*")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    configure()
    commands = sources()
    if unbuilt := sorted(set(tracked("*.cpp")) - set(commands)):
        sys.exit(f"tidy: no build compiles {' '.join(unbuilt)}")
    wanted = affected(arguments.since) if arguments.since else arguments.files or sorted(commands)
    unknown = [name for name in wanted if name not in commands]
    if unknown:
        sys.exit(f"tidy: no source in the tree: {' '.join(unknown)}")
    written = write_units(units({name: commands[name] for name in wanted}), commands)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = list(pool.map(check, written.keys(), written.values()))
    for _, found in results:
        print(found, end="")
    print(f"tidy: {len(wanted)} sources checked in {len(written)} units")
    sys.exit(0 if all(clean for clean, _ in results) else 1)


if __name__ == "__main__":
    main()
