#!/usr/bin/env -S python3 -B
"""Runs the tests of a preset, except the tests that have already passed with the same files.

A test's files are the absolute paths in its command, such as its program, and its REQUIRED_FILES; a folder stands for
all files in it. A test also runs again if its command, its environment or any installed package changes.
"""

import argparse
import functools
import hashlib
import json
import os
import pathlib
import subprocess
import sys
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parent.parent
INSTALLED_PACKAGES = pathlib.Path("/var/lib/dpkg/status")


@functools.cache
def digest_of(path):
    """Returns the digest of a file and its executable permission, or of all names and files in a folder."""
    digest = hashlib.sha256()
    if path.is_dir():
        for inner in sorted(path.iterdir()):
            if inner.name != "__pycache__":
                digest.update(os.fsencode(inner.name) + b"\0" + digest_of(inner).encode())
    elif path.is_file():
        digest.update(b"executable" if os.access(path, os.X_OK) else b"file")
        digest.update(path.read_bytes())
    return digest.hexdigest()


def properties_of(test):
    return {entry["name"]: entry["value"] for entry in test.get("properties", [])}


def state_of(test):
    """Returns the digest of all inputs of the test."""
    properties = properties_of(test)
    files = [pathlib.Path(argument) for argument in test["command"] if argument.startswith("/")]
    files += [pathlib.Path(path) for path in properties.get("REQUIRED_FILES", [])]
    files.append(INSTALLED_PACKAGES)
    state = [test["command"], properties.get("ENVIRONMENT"), [digest_of(path) for path in files]]
    return hashlib.sha256(json.dumps(state).encode()).hexdigest()


def ctest(preset, *options):
    return subprocess.run(["ctest", "--preset", preset, *options], cwd=ROOT, text=True, stdout=subprocess.PIPE)


def listed_tests(preset):
    """Returns the tests of the preset by name, in the order in which CTest numbers them."""
    listed = ctest(preset, "--show-only=json-v1")
    if listed.returncode != 0:
        sys.exit("changed_tests: CTest cannot list the tests")
    return {test["name"]: test for test in json.loads(listed.stdout)["tests"]}


def statuses_in(report):
    cases = xml.etree.ElementTree.parse(report).getroot().iter("testcase")
    return {case.get("name"): case.get("status") for case in cases}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("preset", help="a test preset of CMakePresets.json")
    parser.add_argument("build", type=pathlib.Path, help="the build folder of the preset")
    parser.add_argument("--again", action="store_true", help="also run tests that have already passed")
    options = parser.parse_args()

    record = options.build / "passed_tests.json"
    tests = listed_tests(options.preset)
    states = {name: state_of(test) for name, test in tests.items() if "command" in test}
    passed = json.loads(record.read_text()) if record.is_file() else {}
    if options.again:
        passed = {name: state for name, state in passed.items() if name not in tests}
    due = [name for name in tests if passed.get(name) != states.get(name, "not built")]
    print(f"{len(due)} of {len(tests)} tests are due; the others passed with the same files.", flush=True)
    if not due:
        return 0

    report = options.build.resolve() / "test_report.xml"
    report.unlink(missing_ok=True)
    numbers = ",".join(str(position) for position, name in enumerate(tests, 1) if name in due)
    status = subprocess.run(
        ["ctest", "--preset", options.preset, "--tests-information", f"0,0,0,{numbers}", "--output-junit", report],
        cwd=ROOT,
    ).returncode
    statuses = statuses_in(report) if report.is_file() else {}
    for name in due:
        passed.pop(name, None)
        if statuses.get(name) == "run":
            passed[name] = states[name]
    record.write_text(json.dumps(passed, indent=1, sort_keys=True))
    if missing := set(due) - set(statuses):
        sys.exit(f"changed_tests: CTest did not run {' '.join(sorted(missing))}")
    return status


if __name__ == "__main__":
    sys.exit(main())
