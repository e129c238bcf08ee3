#!/usr/bin/env -S python3 -B
"""Mutation testing: changes one operator, constant or statement of the product at a time and runs the tests.

Each worker builds a private copy of the tree under build/mutate/. The results are also stored there, so the next run
resumes an interrupted run. If a file changes, all its mutants are tested again, except the known survivors, which
tools/survivors.txt lists with reasons.
"""

import argparse
import collections
import ctypes
import hashlib
import json
import multiprocessing
import os
import pathlib
import resource
import shutil
import signal
import subprocess
import sys
import time

from mutations import mutations_of

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutate"
RESULTS = WORK / "results.jsonl"
SURVIVORS = ROOT / "tools" / "survivors.txt"

# The test programs that test each folder, in the order in which they run. The system tests run last.
UNIT_TESTS = {
    "app": ["app"],
    "updater": ["updater"],
    "widgets": ["widgets", "updater"],
    "graphics": ["graphics", "widgets"],
    "hw": ["hw", "frame_writer", "program_start", "app"],
}
SYSTEM = "system"
EXCLUDED_LABELS = {"long", "board"}
CAUGHT = ("failed", "timed out")
VERDICT_MARKS = {"= ": "equivalent", "~ ": "survived"}
MEMORY_LIMIT = 2 << 30
SUBREAPER = 36  # PR_SET_CHILD_SUBREAPER of prctl(2)

Mutant = collections.namedtuple("Mutant", "path line before after key text")
Test = collections.namedtuple("Test", "name program command environment")


class Refusal(Exception):
    """An error reported to the user without a traceback."""


# Mutants


def lines_around(source, mutation, mutated):
    """Returns the lines that the mutation changes, in their old and new form, each joined to one line."""
    first = source.rfind("\n", 0, mutation.start) + 1
    before = source[first : source.find("\n", mutation.end)]
    after = mutated[first : mutated.find("\n", mutation.start + len(mutation.text))]
    return " ".join(before.split()), " ".join(after.split())


def mutants_of(path):
    source = (ROOT / path).read_text()
    for mutation in mutations_of(source):
        text = mutation.applied_to(source)
        before, after = lines_around(source, mutation, text)
        key = hashlib.sha256(f"{path}\0{mutation.start}\0{text}".encode()).hexdigest()
        yield Mutant(path, source.count("\n", 0, mutation.start) + 1, before, after, key, text)


def folder_of(mutant):
    return mutant.path.split("/")[0]


def in_share(mutant, percent):
    return int(mutant.key[:8], 16) % 100 < percent


def product_files(named=()):
    sources = [
        str(path.relative_to(ROOT))
        for folder in sorted(UNIT_TESTS)
        for path in sorted((ROOT / folder).iterdir())
        if path.suffix in (".cpp", ".h")
    ]
    for path in named:
        if path not in sources:
            raise Refusal(f"{path} is not a source file of the product")
    # Headers come last, because their mutants need the longest builds.
    return sorted(named or sources, key=lambda path: path.endswith(".h"))


# A copy of the tree


class Tree:
    """A private copy of the project, built with the preset `test`."""

    def __init__(self, number):
        self.root = WORK / f"tree-{number}"
        self.build = self.root / "build" / "test"

    def refresh(self):
        """Copies only the changed files, so the next build is short. Removes files that are gone from the project."""
        listed = subprocess.run(
            ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
            cwd=ROOT, check=True, capture_output=True, text=True,
        ).stdout.split("\0")
        kept = {path for path in listed if (ROOT / path).is_file()}
        for path in sorted(kept):
            self.copy(path)
        for old in self.root.rglob("*"):
            path = old.relative_to(self.root)
            if old.is_file() and path.parts[0] != "build" and str(path) not in kept:
                old.unlink()

    def copy(self, path):
        source, target = ROOT / path, self.root / path
        if not target.is_file() or source.read_bytes() != target.read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, target)

    def configure(self):
        done = subprocess.run(["cmake", "--preset", "test"], cwd=self.root, capture_output=True, text=True)
        if done.returncode != 0:
            raise Refusal(f"cannot configure {self.root}:\n{done.stdout}{done.stderr}")

    def make(self, *targets, jobs=1):
        return subprocess.run(["ninja", "-C", self.build, f"-j{jobs}", *targets], capture_output=True, text=True)

    def make_all(self, programs, jobs):
        done = self.make(*(f"{program}_tests" for program in programs), "tonecrate-updater", jobs=jobs)
        if done.returncode != 0:
            raise Refusal(f"cannot build {self.root}:\n{done.stdout[-3000:]}")

    def tests(self, programs):
        """Returns the tests of each program, in CTest's order, except tests with an excluded label."""
        listed = subprocess.run(
            ["ctest", "--test-dir", self.build, "--show-only=json-v1"], check=True, capture_output=True, text=True
        )
        tests = collections.defaultdict(list)
        for entry in json.loads(listed.stdout)["tests"]:
            properties = {item["name"]: item["value"] for item in entry.get("properties", [])}
            program = entry["name"].split(".")[0]
            if program in programs and not EXCLUDED_LABELS & set(properties.get("LABELS", [])):
                environment = dict(value.split("=", 1) for value in properties.get("ENVIRONMENT", []))
                tests[program].append(Test(entry["name"], program, entry["command"], environment))
        for program in programs:
            if not tests[program]:
                raise Refusal(f"{program}_tests has no tests")
        return tests


# Running tests


def become_subreaper():
    """Makes this process the parent of the orphaned processes of a test, so that end_children() can kill them."""
    ctypes.CDLL(None, use_errno=True).prctl(SUBREAPER, 1, 0, 0, 0)


def end_children():
    tasks = pathlib.Path("/proc/self/task")
    while children := " ".join((task / "children").read_text() for task in tasks.iterdir()).split():
        for child in map(int, children):
            os.kill(child, signal.SIGKILL)
            os.waitpid(child, 0)


def limit_memory():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run_once(test, seconds):
    """Returns "passed", "failed" or "timed out"."""
    with subprocess.Popen(
        [*test.command, "--gtest_fail_fast"], env={**os.environ, **test.environment},
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
        start_new_session=True, preexec_fn=limit_memory, cwd="/tmp",
    ) as process:
        try:
            return "passed" if process.wait(seconds) == 0 else "failed"
        except subprocess.TimeoutExpired:
            return "timed out"
        finally:
            end_children()


def run_test(test, seconds):
    """Repeats a failed system test once, because the simulated device may be too slow on a busy machine."""
    result = run_once(test, seconds)
    return run_once(test, seconds) if result == "failed" and test.program == SYSTEM else result


class Worker:
    def __init__(self, number, programs, build_jobs):
        self.tree = Tree(number)
        self.programs = programs
        self.build_jobs = build_jobs
        self.mutated = None
        self.tests = {}
        self.limits = {}
        self.kills = collections.Counter()

    def prepare(self):
        self.tree.refresh()
        self.tree.configure()
        self.tree.make_all(self.programs, self.build_jobs)
        self.tests = self.tree.tests(self.programs)
        for test in [test for tests in self.tests.values() for test in tests]:
            self.limits[test.name] = self.measured_limit(test)

    @staticmethod
    def measured_limit(test):
        started = time.monotonic()
        if run_test(test, 600) != "passed":
            raise Refusal(f"{test.name} does not pass without a mutation")
        return 5 + 4 * (time.monotonic() - started)

    def verdict(self, mutant):
        """Returns the verdict on the mutant, and the test or build target that detected it."""
        self.restore(except_for=mutant.path)
        (self.tree.root / mutant.path).write_text(mutant.text)
        self.mutated = mutant.path
        # Only the system tests run main().
        units = [] if mutant.path.endswith("/main.cpp") else UNIT_TESTS[folder_of(mutant)]
        for program in [*units, SYSTEM]:
            target = "tonecrate-updater" if program == SYSTEM else f"{program}_tests"
            built = self.tree.make(target)
            if built.returncode != 0:
                # A build also fails if the test program crashes when the build lists its tests.
                return "does not compile" if "error:" in built.stdout else "failed", target
            # Tests that killed the most mutants run first.
            for test in sorted(self.tests[program], key=lambda test: -self.kills[test.name]):
                result = run_test(test, self.limits[test.name])
                if result != "passed":
                    self.kills[test.name] += 1
                    return result, test.name
        return "survived", ""

    def restore(self, except_for=None):
        if self.mutated not in (None, except_for):
            self.tree.copy(self.mutated)
            self.mutated = None


def work(number, programs, build_jobs, mutants, results):
    become_subreaper()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # also ends a running test
    worker = Worker(number, programs, build_jobs)
    try:
        worker.prepare()
        while (mutant := mutants.get()) is not None:
            results.put((mutant, *worker.verdict(mutant)))
        worker.restore()
    except Refusal as refusal:
        results.put(refusal)
    except KeyboardInterrupt:
        sys.exit(130)
    finally:
        results.put(None)


# Results


def load_results():
    if not RESULTS.exists():
        return {}
    return {entry["key"]: entry for entry in map(json.loads, RESULTS.read_text().splitlines())}


def load_survivors():
    """Returns the verdict and reason of each known survivor, by path, line before and line after."""
    survivors, path, before, after = {}, "", "", ""
    for line in SURVIVORS.read_text().splitlines() if SURVIVORS.exists() else []:
        mark, text = line[:2], line[2:]
        if mark == "- ":
            before = text
        elif mark == "+ ":
            after = text
        elif mark in VERDICT_MARKS:
            survivors[path, before, after] = VERDICT_MARKS[mark], text
        elif line and not line.startswith("#"):
            path = line
    return survivors


def lines_of(mutant):
    """Returns the key of a mutant in survivors.txt. Several mutants of a file may have the same key."""
    return mutant.path, mutant.before, mutant.after


def stale_survivors():
    """Returns the known survivors that match no mutant of the current sources."""
    current = {lines_of(mutant) for path in product_files() for mutant in mutants_of(path)}
    return [survivor for survivor in load_survivors() if survivor not in current]


def start_workers(pending, jobs):
    """Returns the queue of results. The last result of each worker is None."""
    mutants, results = multiprocessing.Queue(), multiprocessing.Queue()
    for mutant in [*pending, *[None] * jobs]:
        mutants.put(mutant)
    mutants.cancel_join_thread()  # otherwise an early exit would wait until the queue is empty
    programs = sorted({program for mutant in pending for program in UNIT_TESTS[folder_of(mutant)]} | {SYSTEM})
    build_jobs = max(1, os.cpu_count() // jobs)
    for number in range(jobs):
        arguments = (number, programs, build_jobs, mutants, results)
        multiprocessing.Process(target=work, args=arguments, daemon=True).start()
    return results


def verdicts_of(pending, jobs):
    results, running = start_workers(pending, jobs), jobs
    while running:
        result = results.get()
        if isinstance(result, Refusal):
            raise result
        if result is None:
            running -= 1
        else:
            yield result


def test_mutants(pending, jobs):
    started = None
    with RESULTS.open("a") as log:
        for done, (mutant, verdict, by) in enumerate(verdicts_of(pending, jobs), 1):
            entry = {"key": mutant.key, "verdict": verdict, "by": by, "path": mutant.path, "line": mutant.line}
            log.write(json.dumps(entry) + "\n")
            log.flush()
            started = started or time.monotonic()  # excludes the time for building the trees
            minutes = (time.monotonic() - started) / done * (len(pending) - done) / 60
            place = f"{mutant.path}:{mutant.line}"
            print(f"{done}/{len(pending)}, {minutes:.0f} min left: {place} {verdict}", file=sys.stderr)


def outcomes_of(mutants, results):
    """Yields mutant, verdict and reason for each tested mutant that compiles, and for each untested known survivor."""
    survivors = load_survivors()
    for mutant in mutants:
        verdict = results.get(mutant.key, {}).get("verdict")
        known = survivors.get(lines_of(mutant))
        if known and verdict in (None, "survived"):
            yield mutant, *known
        elif verdict in (*CAUGHT, "survived"):
            yield mutant, verdict, ""


def print_table(outcomes):
    """Prints the counts by folder. The share is the percentage of non-equivalent mutants that are caught."""
    counts = collections.defaultdict(collections.Counter)
    for mutant, verdict, _ in outcomes:
        counts[folder_of(mutant)][verdict] += 1
    row = "{:10}{:>9}{:>9}{:>14}{:>12}{:>10}{:>9}"
    print(row.format("folder", "mutants", "caught", "by time limit", "equivalent", "survived", "share"))
    for folder, count in counts.items():
        caught = sum(count[verdict] for verdict in CAUGHT)
        catchable = caught + count["survived"]
        share = f"{100 * caught / catchable:.1f} %" if catchable else "-"
        mutants = catchable + count["equivalent"]
        print(row.format(folder, mutants, caught, count["timed out"], count["equivalent"], count["survived"], share))


def pending_of(mutants, results, retry=False):
    """Returns the mutants to test. A known survivor is tested only with --retry, or if several mutants have its key."""
    survivors = load_survivors()
    equal = collections.Counter(map(lines_of, mutants))

    def is_pending(mutant):
        verdict = results.get(mutant.key, {}).get("verdict")
        if retry and verdict in (None, "survived"):
            return True
        return verdict is None and not (lines_of(mutant) in survivors and equal[lines_of(mutant)] == 1)

    return list(filter(is_pending, mutants))


def report(mutants, results):
    outcomes = list(outcomes_of(mutants, results))
    print_table(outcomes)
    for mutant, verdict, reason in outcomes:
        if verdict not in CAUGHT:
            reason = reason or "no reason in tools/survivors.txt"
            print(f"\n{mutant.path}:{mutant.line}\n- {mutant.before}\n+ {mutant.after}\n{verdict}: {reason}")
    for path, before, after in stale_survivors():
        print(f"\n{path}\n- {before}\n+ {after}\nstale: tools/survivors.txt describes a mutant that no longer exists")
    untested = len(pending_of(mutants, results))
    if untested:
        print(f"\n{untested} mutants not tested yet")


def number_from(low, high):
    """Returns the argparse type for integers from `low` to `high`."""
    def number(text):
        if not text.isdigit() or not low <= int(text) <= high:
            raise argparse.ArgumentTypeError(f"expected a number from {low} to {high}, not {text!r}")
        return int(text)
    return number


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("files", nargs="*", metavar="FILE", help="source files of the product (default: all)")
    parser.add_argument("--jobs", type=number_from(1, 64), default=os.cpu_count(), metavar="N",
                        help="number of workers, each with its own tree (default: number of processors)")
    parser.add_argument("--share", type=number_from(1, 100), default=100, metavar="PERCENT",
                        help="test about this percentage of the mutants; unchanged files yield the same mutants "
                             "(default: 100)")
    parser.add_argument("--retry", action="store_true",
                        help="test survivors again, including those in tools/survivors.txt")
    parser.add_argument("--report", action="store_true", help="print the stored results without testing")
    return parser.parse_args()


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # also ends the workers
    options = arguments()
    WORK.mkdir(parents=True, exist_ok=True)
    files = product_files(options.files)
    mutants = [mutant for path in files for mutant in mutants_of(path) if in_share(mutant, options.share)]
    results = load_results()
    pending = pending_of(mutants, results, options.retry)
    if pending and not options.report:
        test_mutants(pending, options.jobs)
    report(mutants, load_results())


if __name__ == "__main__":
    try:
        main()
    except Refusal as error:
        sys.exit(f"mutate: {error}")
    except KeyboardInterrupt:
        sys.exit(130)
