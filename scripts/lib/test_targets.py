"""What a selection of tests must have built: python3 scripts/lib/test_targets.py BUILD_FOLDER [CTEST_ARGUMENT...].

Prints the targets, one a line. CTest lists the tests of a program only when it is built, so their names are read from
the sources, which the build wrote down in BUILD_FOLDER/test-programs: a first line with the label, then a source a
line. Other tests name the files they start. Selections other than by name (-R) and label (-L) need all tests.
"""

import argparse
import json
import pathlib
import re
import subprocess
import sys

TEST = re.compile(r"^(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\)", re.MULTILINE)
INSTANTIATION = re.compile(r"^INSTANTIATE_TEST_SUITE_P\(\s*(\w*),\s*(\w+)", re.MULTILINE)


def names_in(text):
    """What CTest calls the tests of a source; of those with parameters, what their names begin with."""
    tests = TEST.findall(text)
    instantiated = [(f"{prefix}/{suite}" if prefix else suite, suite) for prefix, suite in INSTANTIATION.findall(text)]
    for suite, test in tests:
        yield f"{suite}.{test}"
        yield from (f"{name}.{test}" for name, of_suite in instantiated if of_suite == suite)


def programs(build, wanted_name, wanted_label):
    for path in sorted((build / "test-programs").iterdir()):
        label, *sources = path.read_text().split()
        names = [path.name]
        for source in sources:
            names += names_in(pathlib.Path(source).read_text())
        if wanted_label.search(label) and any(wanted_name.search(name) for name in names):
            yield path.name


def files_of_other_tests(build, arguments):
    """The files in the build folder that the selected tests start, or name as required."""
    listed = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1", *arguments], check=True,
                            capture_output=True, text=True).stdout
    for test in json.loads(listed)["tests"]:
        properties = {entry["name"]: entry["value"] for entry in test.get("properties", [])}
        for file in [*test.get("command", [])[:1], *properties.get("REQUIRED_FILES", [])]:
            if pathlib.Path(file).is_relative_to(build):
                yield str(pathlib.Path(file).relative_to(build))


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    parser = argparse.ArgumentParser(add_help=False, allow_abbrev=False)
    parser.add_argument("-R", "--tests-regex", default="")
    parser.add_argument("-L", "--label-regex", default="")
    selection, _ = parser.parse_known_args(sys.argv[2:])
    if not selection.tests_regex and not selection.label_regex:
        print("tests")
        return
    arguments = ["-R", selection.tests_regex] if selection.tests_regex else []
    arguments += ["-L", selection.label_regex] if selection.label_regex else []
    found = set(programs(build, re.compile(selection.tests_regex), re.compile(selection.label_regex)))
    found.update(files_of_other_tests(build, arguments))
    for name in sorted(found):
        print(name)


if __name__ == "__main__":
    main()
