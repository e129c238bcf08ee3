#!/usr/bin/env python3
"""Counts the instructions of the benchmark program, and compares them with limits and with a committed table.

usage: count.py PROGRAM [--accept]

PROGRAM is the benchmark program, built for 64-bit Arm; it runs under QEMU. --accept rewrites the table, counts.txt.
Exit status: 0 success, 1 a limit is exceeded or a count is more than 2 % above the count in the table, 2 any other
failure, 130 interrupted.
"""

import math
import re
import shutil
import subprocess
import sys
from pathlib import Path

TABLE = Path(__file__).resolve().with_name("counts.txt")
LARGEST_GROWTH = 1.02

SYSROOT = "/usr/aarch64-linux-gnu"
CPU = "cortex-a72"  # the device's processor; QEMU's default depends on its version

# Row, reference row, largest permitted ratio of the row's instructions to the reference row's. A row without a
# reference row is only printed. The limit relative to memset is high because the Cortex-A72 zeroes 64 bytes with one
# instruction (DC ZVA).
RATIOS = [
    ("message screen", "baseline message screen", 2.5),
    ("message screen", "pixman message screen", 1 / 3),
    ("menu screen", "baseline menu screen", 2.5),
    ("menu screen", "pixman menu screen", 1 / 3),
    ("wheel only", "memset of the canvas", 13),
    ("pack", "baseline pack", 1.15),
    ("idle iteration", None, None),
    ("start-up", None, None),
]

# Row, kind of event, limit.
EVENTS = [
    ("idle iteration", "system calls", 2),
    ("idle iteration", "allocations", 0),
    ("wheel only", "allocations", 0),
]

# The program counts each of these at several sizes; the rows are named "text 8" and so on.
LINEAR = ["text", "runner output", "runner line", "tree, all dirty", "tree, one dirty"]
LARGEST_EXPONENT = 1.10


class Failure(Exception):
    """An error reported to the user in one line."""


def qemu_command():
    qemu = shutil.which("qemu-aarch64-static") or shutil.which("qemu-aarch64")
    if qemu is None:
        raise Failure("QEMU is missing (Debian package qemu-user-static or qemu-user)")
    usage = subprocess.run([qemu, "-help"], capture_output=True, text=True, check=False).stdout
    single_step = "-one-insn-per-tb" if "-one-insn-per-tb" in usage else "-singlestep"  # renamed in QEMU 8.1
    return [qemu, "-L", SYSROOT, "-cpu", CPU, single_step, "-strace", "-d", "nochain,exec"]


def read_log(log):
    """Returns the versions of the compiler and the C library, the rows by name, and the lines of the log that are
    neither an instruction ("Trace ..."), nor a system call ("PID NAME(...) = RESULT"), nor a mark. The system call that
    writes a mark is logged around the mark: "PID NAME(...)" before it, and "= RESULT" on the next line.
    """
    compiler, rows, rest = None, {}, []
    instructions = system_calls = 0
    for line in log:
        if line.startswith(b"Trace "):
            instructions += 1
            continue
        text = line.decode(errors="replace").strip()
        mark = re.search(r"mark: (\w+) ?(.*)", text)
        if mark is None:
            if re.match(r"\d+ \w+\(", text):
                system_calls += 1
            elif not text.startswith("= "):
                rest.append(text)
        elif mark[1] == "begin":
            instructions = system_calls = 0
        elif mark[1] == "end":
            counted = {"instructions": instructions, "system calls": system_calls}
        elif mark[1] == "row":
            allocations, divisor, name = mark[2].split(" ", 2)
            rows[name] = {**counted, "allocations": int(allocations), "divisor": int(divisor)}
        elif mark[1] == "compiler":
            compiler = mark[2]
    return compiler, rows, rest


def run(program):
    """Returns the versions of the compiler and the C library, and the counts of each row without the marks."""
    path = Path(program).resolve()
    if not path.is_file():
        raise Failure(f"{program} is missing")
    # The counts of some loops depend on addresses, and addresses depend on the environment and the path.
    with subprocess.Popen([*qemu_command(), f"./{path.name}"], cwd=path.parent, env={"LD_BIND_NOW": "1"},
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as process:
        compiler, rows, rest = read_log(process.stderr)
    if process.returncode != 0 or not rows:
        raise Failure(f"{program} failed: {'; '.join(rest[-3:]) or f'exit status {process.returncode}'}")
    overhead = rows.pop("nothing")["instructions"]
    for row in rows.values():
        row["instructions"] -= overhead
        divisor = row.pop("divisor")
        for kind in row:
            row[kind] /= divisor
        row["instructions"] = round(row["instructions"])
    return compiler, rows


def read_table():
    """Returns the versions of the compiler and the C library, and the instructions of each row."""
    try:
        lines = [line for line in TABLE.read_text().splitlines() if not line.startswith("#")]
    except OSError as error:
        raise Failure(f"{TABLE.name}: {error.strerror} (./dev bench --accept creates it)") from None
    if not lines:
        raise Failure(f"{TABLE.name} is empty (./dev bench --accept rewrites it)")
    counts = {}
    for line in lines[1:]:
        match = re.fullmatch(r" *(\d+)  (\S.*)", line)
        if match is None:
            raise Failure(f"{TABLE.name}: expected a count and a row, got {line!r}")
        counts[match[2]] = int(match[1])
    return lines[0], counts


def write_table(compiler, rows):
    lines = ["# Instructions on 64-bit Arm, written by ./dev bench --accept", compiler]
    lines += [f"{row['instructions']:9}  {name}" for name, row in rows.items()]
    TABLE.write_text("\n".join(lines) + "\n")


class Report:
    """Prints checked values in columns."""

    def __init__(self):
        self.exceeded = False
        self.line("row", "count", "compared with", "ratio", "at most", "")

    def line(self, *cells):
        print("{:<38}{:>10}  {:<34}{:>8}{:>9}  {}".format(*cells).rstrip())

    def check(self, row, count, reference, ratio, limit, form="{:.2f}"):
        holds = limit is None or ratio <= limit
        self.exceeded |= not holds
        self.line(row, f"{count:,}", reference, "" if ratio is None else form.format(ratio),
                  "" if limit is None else form.format(limit), "" if limit is None else "ok" if holds else "EXCEEDED")


def exponent(points):
    """Returns the slope of the least-squares line through the logarithms of sizes and counts."""
    x = [math.log(size) for size, _ in points]
    y = [math.log(count) for _, count in points]
    mean_x, mean_y = sum(x) / len(x), sum(y) / len(y)
    return (sum((a - mean_x) * (b - mean_y) for a, b in zip(x, y)) / sum((a - mean_x) ** 2 for a in x))


def check_limits(report, rows):
    for name, reference, limit in RATIOS:
        count = rows[name]["instructions"]
        other = rows[reference]["instructions"] if reference else None
        compared = f"{reference} {other:,}" if reference else ""
        report.check(name, count, compared, count / other if other else None, limit)
    for name, kind, limit in EVENTS:
        value = rows[name][kind]
        report.check(f"{name}: {kind}", value, "", value, limit, "{:g}")
    for name in LINEAR:
        points = [(int(row[len(name):]), counts["instructions"]) for row, counts in rows.items()
                  if re.fullmatch(re.escape(name) + r" \d+", row)]
        report.check(f"{name}, {points[0][0]} to {points[-1][0]}", points[-1][1], f"{points[0][1]:,}", exponent(points),
                     LARGEST_EXPONENT, "n^{:.2f}")


def check_table(report, compiler, rows):
    recorded_compiler, recorded = read_table()
    if compiler != recorded_compiler:
        print(f"Compiled with {compiler}; {TABLE.name} is for {recorded_compiler}, so only the limits apply.")
        return
    if recorded.keys() != rows.keys():
        raise Failure(f"{TABLE.name} and the program have different rows (./dev bench --accept rewrites it)")
    for name, count in recorded.items():
        if rows[name]["instructions"] > count * LARGEST_GROWTH:
            report.check(f"{name}, growth", rows[name]["instructions"], f"{TABLE.name} {count:,}",
                         rows[name]["instructions"] / count, LARGEST_GROWTH)


def main(arguments):
    accept = "--accept" in arguments
    programs = [argument for argument in arguments if argument != "--accept"]
    if len(programs) != 1 or programs[0].startswith("-"):
        raise Failure("usage: count.py PROGRAM [--accept]")
    compiler, rows = run(programs[0])
    if accept:
        write_table(compiler, rows)
    report = Report()
    try:
        check_limits(report, rows)
    except KeyError as missing:
        raise Failure(f"the program has no row {missing}") from None
    check_table(report, compiler, rows)
    return 1 if report.exceeded else 0


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv[1:]))
    except Failure as failure:
        print(f"count: {failure}", file=sys.stderr)
        sys.exit(2)
    except KeyboardInterrupt:
        sys.exit(130)
