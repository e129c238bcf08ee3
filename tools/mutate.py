#!/usr/bin/env -S python3 -B
"""Mutation check: changes one operator, constant or statement of the product at a time and runs the tests.

Works in private copies of the tree, one a worker, under build/mutate/. What was tried is remembered there, so that a
run that was interrupted goes on where it stopped; a changed file is tried anew, and with --retry so are the survivors.
tools/survivors.txt has the reasons of those that are known to survive.
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
EXCUSES = ROOT / "tools" / "survivors.txt"

# For each folder the test programs that meet its code first.
UNIT_TESTS = {
    "app": ["app"],
    "updater": ["updater"],
    "widgets": ["widgets", "updater"],
    "graphics": ["graphics", "widgets"],
    "hw": ["hw", "frame_writer", "program_start", "app"],
}
# The long ones, which tell no mutant from the program that the short ones do not.
LONG_SYSTEM_TESTS = [
    "Waiting.WaitsForEverWithoutADrive",
    "HostileScript.ThatPrintsTwoHundredThousandLinesAtOnceShowsThemOneAnIteration",
    "RandomWalk.*",
]
CAUGHT = ("failed", "timed out")
EXCUSE_MARKS = {"= ": "equivalent", "~ ": "survived"}
MEMORY_LIMIT = 2 << 30
SUBREAPER = 36  # PR_SET_CHILD_SUBREAPER of prctl(2)

Mutant = collections.namedtuple("Mutant", "path line before after key text")


class Refusal(Exception):
    """One line about why it cannot go on."""


# The mutants.


def lines_around(source, mutation, mutated):
    """The first changed line, before and after, each as one line."""
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


def in_share(mutant, percent):
    return int(mutant.key[:8], 16) % 100 < percent


def product_files(named):
    tracked = subprocess.run(
        ["git", "ls-files", "--", *(f"{folder}/*" for folder in UNIT_TESTS)],
        cwd=ROOT, check=True, capture_output=True, text=True,
    ).stdout.split()
    sources = [path for path in tracked if path.endswith((".cpp", ".h"))]
    for path in named:
        if path not in sources:
            raise Refusal(f"{path} is no source of the product")
    # Headers last: each of their mutants has much to build.
    return sorted(named or sources, key=lambda path: path.endswith(".h"))


# A copy of the tree.


class Tree:
    """A private copy of the project with a build of its own."""

    def __init__(self, number):
        self.root = WORK / f"tree-{number}"
        self.build = self.root / "build"

    def refresh(self):
        """Copies what has changed, so that as little as possible is built again."""
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
        options = {
            "CMAKE_BUILD_TYPE": "Debug",
            "CMAKE_CXX_FLAGS_DEBUG": "-O0",
            "TONECRATE_TESTS": "ON",
            "TONECRATE_SEPARATE_TESTS": "ON",
        }
        arguments = [f"-D{name}={value}" for name, value in options.items()]
        done = subprocess.run(
            ["cmake", "-G", "Ninja", "-S", self.root, "-B", self.build, *arguments], capture_output=True, text=True
        )
        if done.returncode != 0:
            raise Refusal(f"{self.root} cannot be configured:\n{done.stdout}{done.stderr}")

    def make(self, *targets):
        return subprocess.run(["ninja", "-C", self.build, "-j1", *targets], capture_output=True, text=True)

    def make_all(self):
        done = self.make(*(f"{program}_tests" for program in self.programs()), "tonecrate-updater")
        if done.returncode != 0:
            raise Refusal(f"{self.root} cannot be built:\n{done.stdout[-3000:]}")

    @staticmethod
    def programs():
        return sorted({program for programs in UNIT_TESTS.values() for program in programs} | {"system"})

    def test_command(self, program):
        folder = self.build / "tests" / ("hw" if program in UNIT_TESTS["hw"][:3] else program)
        command = [folder / f"{program}_tests", "--gtest_fail_fast", "--gtest_brief=1"]
        if program == "system":
            command.append("--gtest_filter=-" + ":".join(LONG_SYSTEM_TESTS))
        return command

    def lone_test_command(self, program):
        """Each test in a process of its own, which also notices what only the first test of a process meets."""
        tests = ["--test-dir", self.build / "tests", "--tests-regex", rf"^{program}\."]
        return [pathlib.Path("ctest"), *tests, "--no-tests=error", "--stop-on-failure"]


# Running tests.


def become_subreaper():
    """Processes that a test leaves behind become children of this one, which ends them."""
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


def run_once(command, seconds):
    """"passed", "failed" or "timed out"."""
    with subprocess.Popen(
        command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
        start_new_session=True, preexec_fn=limit_memory, cwd="/tmp",
    ) as process:
        try:
            return "passed" if process.wait(seconds) == 0 else "failed"
        except subprocess.TimeoutExpired:
            return "timed out"
        finally:
            end_children()


def run_test(command, seconds):
    """A failure is only believed the second time: on a busy machine a device may be too slow for a test."""
    result = run_once(command, seconds)
    return run_once(command, seconds) if result == "failed" and command[0].name == "system_tests" else result


class Worker:
    def __init__(self, number):
        self.tree = Tree(number)
        self.mutated = None
        self.limits = {}

    def prepare(self):
        self.tree.refresh()
        self.tree.configure()
        self.tree.make_all()
        for program in self.tree.programs():
            for command in self.commands(program):
                self.limits[str(command)] = self.measured_limit(command)

    def commands(self, program):
        """The quick way to run the tests first."""
        together = self.tree.test_command(program)
        return [together] if program == "system" else [together, self.tree.lone_test_command(program)]

    @staticmethod
    def measured_limit(command):
        started = time.monotonic()
        if run_test(command, 600) != "passed":
            raise Refusal(f"{command[0].name} fails without any mutation")
        return 5 + 4 * (time.monotonic() - started)

    def verdict(self, mutant):
        """What became of the mutant, and the tests that told it from the program."""
        self.restore(except_for=mutant.path)
        (self.tree.root / mutant.path).write_text(mutant.text)
        self.mutated = mutant.path
        # Nothing but the whole program meets its start-up.
        units = [] if mutant.path.endswith("/main.cpp") else UNIT_TESTS[mutant.path.split("/")[0]]
        for program in [*units, "system"]:
            target = "tonecrate-updater" if program == "system" else f"{program}_tests"
            if self.tree.make(target).returncode != 0:
                return "does not compile", program
            for command in self.commands(program):
                result = run_test(command, self.limits[str(command)])
                if result != "passed":
                    return result, program
        return "survived", ""

    def restore(self, except_for=None):
        if self.mutated not in (None, except_for):
            self.tree.copy(self.mutated)
            self.mutated = None


def work(number, mutants, results):
    become_subreaper()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that a running test is ended as well
    worker = Worker(number)
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


# Results.


def load_results():
    if not RESULTS.exists():
        return {}
    return {entry["key"]: entry for entry in map(json.loads, RESULTS.read_text().splitlines())}


def load_excuses():
    """What is known of mutants that survive, and why, by path, line before and line after."""
    excuses, path, before, after = {}, "", "", ""
    for line in EXCUSES.read_text().splitlines() if EXCUSES.exists() else []:
        mark, text = line[:2], line[2:]
        if mark == "- ":
            before = text
        elif mark == "+ ":
            after = text
        elif mark in EXCUSE_MARKS:
            excuses[path, before, after] = EXCUSE_MARKS[mark], text
        elif line and not line.startswith("#"):
            path = line
    return excuses


def start_workers(pending, jobs):
    """The queue of what they find out; each puts None there at its end."""
    mutants, results = multiprocessing.Queue(), multiprocessing.Queue()
    for mutant in [*pending, *[None] * jobs]:
        mutants.put(mutant)
    mutants.cancel_join_thread()  # else an early end would wait for somebody to take them
    for number in range(jobs):
        multiprocessing.Process(target=work, args=(number, mutants, results), daemon=True).start()
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


def try_mutants(pending, jobs):
    started = None
    with RESULTS.open("a") as log:
        for done, (mutant, verdict, program) in enumerate(verdicts_of(pending, jobs), 1):
            entry = {"key": mutant.key, "verdict": verdict, "by": program, "path": mutant.path, "line": mutant.line}
            log.write(json.dumps(entry) + "\n")
            log.flush()
            started = started or time.monotonic()  # not before the trees are built
            minutes = (time.monotonic() - started) / done * (len(pending) - done) / 60
            place = f"{mutant.path}:{mutant.line}"
            print(f"{done}/{len(pending)}, {minutes:.0f} min left: {place} {verdict}", file=sys.stderr)


def look_of(mutant):
    """What an excuse names it by; some mutants of a file may look the same."""
    return mutant.path, mutant.before, mutant.after


def outcomes_of(mutants, results):
    """For each mutant that was tried or has an excuse, and is none to the compiler: its verdict and the excuse."""
    excuses = load_excuses()
    for mutant in mutants:
        verdict = results.get(mutant.key, {}).get("verdict")
        excuse = excuses.get(look_of(mutant))
        if excuse and verdict in (None, "survived"):
            yield mutant, *excuse
        elif verdict in (*CAUGHT, "survived"):
            yield mutant, verdict, ""


def print_table(outcomes):
    """The share is that of the mutants which can be caught."""
    counts = collections.defaultdict(collections.Counter)
    for mutant, verdict, _ in outcomes:
        counts[mutant.path.split("/")[0]][verdict] += 1
    row = "{:10}{:>9}{:>9}{:>14}{:>12}{:>10}{:>9}"
    print(row.format("folder", "mutants", "caught", "by time limit", "equivalent", "survived", "share"))
    for folder, count in counts.items():
        caught = sum(count[verdict] for verdict in CAUGHT)
        catchable = caught + count["survived"]
        share = f"{100 * caught / catchable:.1f} %" if catchable else "-"
        mutants = catchable + count["equivalent"]
        print(row.format(folder, mutants, caught, count["timed out"], count["equivalent"], count["survived"], share))


def pending_of(mutants, results, retry=False):
    """One whose excuse can be meant for no other is tried in a retry only."""
    excuses = load_excuses()
    looks = collections.Counter(map(look_of, mutants))

    def is_pending(mutant):
        verdict = results.get(mutant.key, {}).get("verdict")
        if retry and verdict in (None, "survived"):
            return True
        return verdict is None and not (look_of(mutant) in excuses and looks[look_of(mutant)] == 1)

    return list(filter(is_pending, mutants))


def report(mutants, results):
    outcomes = list(outcomes_of(mutants, results))
    print_table(outcomes)
    for mutant, verdict, reason in outcomes:
        if verdict not in CAUGHT:
            print(f"\n{mutant.path}:{mutant.line}\n- {mutant.before}\n+ {mutant.after}\n{verdict}: {reason or 'WHY?'}")
    untried = len(pending_of(mutants, results))
    if untried:
        print(f"\n{untried} of these mutants were not tried yet")


def number_from(low, high):
    """What argparse makes of an option that takes a whole number within these bounds."""
    def number(text):
        if not text.isdigit() or not low <= int(text) <= high:
            raise argparse.ArgumentTypeError(f"takes a number from {low} to {high}, not {text!r}")
        return int(text)
    return number


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("files", nargs="*", metavar="FILE", help="sources of the product; all without any")
    parser.add_argument("--jobs", type=number_from(1, 64), default=os.cpu_count(),
                        help="workers, each with a tree of its own")
    parser.add_argument("--share", type=number_from(1, 100), default=100, metavar="PERCENT",
                        help="try this share, always the same one")
    parser.add_argument("--retry", action="store_true", help="try the survivors again, those with a reason in tools/survivors.txt too")
    parser.add_argument("--report", action="store_true", help="only tell what is known")
    return parser.parse_args()


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # ends the workers too
    options = arguments()
    WORK.mkdir(parents=True, exist_ok=True)
    files = product_files(options.files)
    mutants = [mutant for path in files for mutant in mutants_of(path) if in_share(mutant, options.share)]
    results = load_results()
    pending = pending_of(mutants, results, options.retry)
    if pending and not options.report:
        try_mutants(pending, options.jobs)
    report(mutants, load_results())


if __name__ == "__main__":
    try:
        main()
    except Refusal as error:
        sys.exit(f"mutate: {error}")
    except KeyboardInterrupt:
        sys.exit(130)
