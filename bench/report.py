#!/usr/bin/env python3
"""Runs the benchmarks and says how far each row is from what it is to be.

Usage: report.py BUILD_FOLDER [--json [FILE]]

Without --json a table is printed; with it, all that was measured, to standard output or a file.
"""

import json
import os
import pathlib
import platform
import statistics
import subprocess
import sys
import time

PROGRAMS = ("engine_bench", "exchange_bench", "flood_bench", "streams_bench")

EXCHANGE_TCP = "exchange over TCP"
EXCHANGE_PTY = "exchange over a pseudo-terminal"
FLOOD = "flood of 24-byte reports"
LIVE = "255 streams x 100 reports/s"
IDLE = "255 idle streams"
NOISE = "noise through a receiver"

# Row, who of tagwire, unit, the bare program, the other, and what is to be: a sign, and a factor of one of them or a
# number of the unit.
TARGETS = (
    (EXCHANGE_TCP, "tagwire", "us", "bare", "libmodbus", "<=", 1.06, "bare"),
    (EXCHANGE_PTY, "tagwire", "us", "bare", "libmodbus", "<=", 1.10, "bare"),
    (EXCHANGE_PTY, "tagwire", "us", "bare", "libmodbus", "<=", 0.90, "libmodbus"),
    (FLOOD, "tagwire", "M/s", "bare", None, ">=", 0.6, "bare"),
    (FLOOD, "tagwire C++", "M/s", "bare", None, ">=", 0.4, "bare"),
    ("inventory, a tag a frame", "tagwire", "ns", None, None, "<=", 50, None),
    ("inventory, a tag a frame", "tagwire, callback", "ns", None, None, "<=", 50, None),
    ("inventory, ten tags a frame", "tagwire", "ns", None, None, "<=", 25, None),
    ("inventory, ten tags a frame", "tagwire, callback", "ns", None, None, "<=", 25, None),
    (LIVE, "tagwire", "us", "threads in recv", None, "<=", 1.1, "threads in recv"),
    (LIVE, "tagwire C++", "us", "epoll and a second thread", None, "<=", 1.15, "epoll and a second thread"),
    (IDLE, "tagwire, TCP", "% of a core", "bare", None, "<=", 0.1, None),
    (IDLE, "tagwire, lines", "% of a core", "bare", None, "<=", 0.1, None),
    (IDLE, "tagwire C++, TCP", "% of a core", "bare", None, "<=", 0.1, None),
    (IDLE, "tagwire C++, lines", "% of a core", "bare", None, "<=", 0.1, None),
    (IDLE, "tagwire, TCP", "MiB", "bare", None, "<=", 12, None),
    (IDLE, "tagwire, lines", "MiB", "bare", None, "<=", 12, None),
    (IDLE, "tagwire C++, TCP", "MiB", "bare", None, "<=", 12, None),
    ("CRC of 24 bytes", "tagwire", "GB/s", "bare", None, ">=", 1.5, None),
    ("CRC of 256 bytes", "tagwire", "GB/s", "bare", None, ">=", 1.5, None),
    (NOISE, "tagwire", "MB/s", None, None, ">=", 400, None),
    (NOISE, "tagwire, crafted", "MB/s", None, None, ">=", 20, None),
    (NOISE, "tagwire, crafted for reports", "MB/s", None, None, ">=", 20, None),
    ("Inventory_G2 around a stub", "tagwire", "us", None, None, "<=", 0.15, None),
)


def figure(value):
    return f"{value:.3g}" if value < 1000 else f"{value:.0f}"


class Measured:
    """What was measured, by row, who and unit."""

    def __init__(self, lines):
        self.values = {(line["row"], line["who"], line["unit"]): line["values"] for line in lines}

    def median(self, row, who, unit):
        values = self.values.get((row, who, unit))
        return statistics.median(values) if values else None

    def text(self, row, who, unit):
        """Median, and the quartiles behind it."""
        values = self.values.get((row, who, unit)) if who else None
        if not values:
            return "-"
        low, middle, high = statistics.quantiles(values, n=4, method="inclusive")
        return f"{figure(middle)} ({figure(low)}-{figure(high)})"

    def verdict(self, target):
        """The ratio to what the target names, and whether it is met; None where that was not measured."""
        row, who, unit, bare, _, sign, limit, reference = target
        ours = self.median(row, who, unit)
        base = self.median(row, reference or bare, unit) if reference or bare else None
        if ours is None or (reference and base is None):
            return None, None
        bound = limit * base if reference else limit
        return ours / base if base else None, ours <= bound if sign == "<=" else ours >= bound

    def rows(self):
        for target in TARGETS:
            row, who, unit, bare, other, sign, limit, reference = target
            ratio, met = self.verdict(target)
            what = row + who.removeprefix("tagwire").replace(",", "")
            wanted = f"{sign} {limit:g} " + (f"x {reference}" if reference else unit)
            verdict = "-" if met is None else "met" if met else "missed"
            yield (f"{what}, {unit}", self.text(row, bare, unit), self.text(row, other, unit),
                   self.text(row, who, unit), f"{ratio:.2f}" if ratio else "-", wanted, verdict)


HEAD = ("what", "bare", "libmodbus", "tagwire", "ratio", "target", "verdict")


def table(rows, line):
    return [line.format(*row) for row in rows]


def run(build):
    lines = []
    for program in PROGRAMS:
        print(f"{program} ...", file=sys.stderr, flush=True)
        done = subprocess.run([build / "bench" / program], stdout=subprocess.PIPE, check=True, text=True)
        lines += [json.loads(line) for line in done.stdout.splitlines()]
    return lines


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def main():
    build, options = pathlib.Path(sys.argv[1]), sys.argv[2:]
    about = {"date": time.strftime("%Y-%m-%d"), "processor": processor(), "kernel": platform.release().split("-")[0],
             "processors": os.cpu_count(), "load": round(os.getloadavg()[0], 1)}
    measured = run(build)
    if options[:1] == ["--json"]:
        rows = ",\n".join(json.dumps(line) for line in measured)
        text = f'{{"about": {json.dumps(about)},\n"measured": [\n{rows}\n]}}\n'
        pathlib.Path(options[1]).write_text(text) if options[1:] else print(text, end="")
        return
    rows = list(Measured(measured).rows())
    widths = [max(len(row[column]) for row in [HEAD, *rows]) for column in range(len(HEAD))]
    for row in [HEAD, *rows]:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
    for line in measured:
        if line["row"] == "one Stream":
            print(f"one Stream, {line['who']}: {figure(statistics.median(line['values']))} {line['unit']}")


if __name__ == "__main__":
    main()
