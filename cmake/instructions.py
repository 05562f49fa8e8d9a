#!/usr/bin/env python3
"""Counts the instructions that a report, an exchange and the decoding of a tag take in the engine, and compares them
with what is recorded. More than 3 % more is an error.

Usage: instructions.py PROGRAM amd64|armhf [--record]

amd64: those of the program itself, by callgrind, for the functions of libc differ with the processor. armhf: all of them,
by user-mode emulation, whose processor is the same everywhere.
"""

import json
import pathlib
import re
import subprocess
import sys
import tempfile

RECORD = pathlib.Path(__file__).parent / "instructions.json"
WORK = ("report", "exchange", "decode")
FEW, MANY = 20, 120
GROWTH = 1.03


def callgrind(program, arguments):
    """What callgrind has counted in the program's own object, without what it calls."""
    with tempfile.NamedTemporaryFile() as out:
        subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={out.name}", program, *arguments],
                       stderr=subprocess.DEVNULL, check=True)
        names, counts, current, called = {}, {}, None, False
        for line in pathlib.Path(out.name).read_text().splitlines():
            if found := re.match(r"c?ob=(\(\d+\))(?: (.*))?", line):
                names.setdefault(found[1], found[2])
                current = current if line.startswith("c") else found[1]
            elif line.startswith("calls="):
                called = True
            elif re.match(r"[\d+*-]", line):
                if not called:
                    counts[current] = counts.get(current, 0) + int(line.split()[1])
                called = False
    return sum(count for number, count in counts.items() if names[number].endswith("/" + pathlib.Path(program).name))


def emulator(program, arguments):
    """A line of the log for each instruction."""
    command = ["qemu-arm-static", "-singlestep", "-d", "nochain,exec", program]
    log = subprocess.run([*command, *arguments], stderr=subprocess.PIPE, check=True).stderr
    return log.count(b"\n")


def main():
    program, machine = sys.argv[1:3]
    count = {"amd64": callgrind, "armhf": emulator}[machine]
    now = {what: round((count(program, [what, str(MANY)]) - count(program, [what, str(FEW)])) / (MANY - FEW))
           for what in WORK}
    record = json.loads(RECORD.read_text()) if RECORD.exists() else {}
    if sys.argv[3:] == ["--record"]:
        RECORD.write_text(json.dumps(record | {machine: now}, indent=2) + "\n")
        return
    for what in WORK:
        print(f"{machine}, {what}: {now[what]} instructions, {record[machine][what]} recorded")
    if any(now[what] > record[machine][what] * GROWTH for what in WORK):
        sys.exit("more than recorded: if that is meant, ./run instructions records it")


if __name__ == "__main__":
    main()
