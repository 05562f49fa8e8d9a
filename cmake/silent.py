#!/usr/bin/env python3
"""Fails where the C++ library may print, ask or exit: by what its objects and the library as linked import.

Usage: silent.py FOLDER_OF_THE_LIBRARY
"""

import pathlib
import re
import subprocess
import sys

LOUD = re.compile(r"""
    (__)?(v?d?f?w?printf|perror|puts|fputs|fputws|putw?char|putw?c|fputw?c|fwrite|psignal|psiginfo)(_unlocked|_chk)?
    | (v?syslog|v?warnx?|v?errx?|error(_at_line)?)
    | stdin | stdout | stderr | _ZSt\dw?(cin|cout|cerr|clog) | _ZNSt8ios_base4InitC[12]Ev
    | (__isoc99_|__isoc23_)?v?f?w?scanf | f?getw?c | getw?char | f?gets | getpass | getline | readline
    | _?exit | _Exit | quick_exit | abort | __assert_fail | raise | (pthread_)?kill | pthread_exit | tgkill | v?fork | clone | posix_spawnp? | execv?[lpe]*
    | system | popen""", re.VERBOSE)

# Of the engine, for programs in C: the bytes that printHexToString() is asked to show, and the one line of
# OpenNetPort() for a socket that cannot be had. Nothing for C++ calls either.
KNOWN = {("link/log.cpp", "puts"), ("link/tcp.cpp", "perror")}


def imported(file, *options):
    listed = subprocess.run(["nm", "--undefined-only", *options, file], check=True, capture_output=True, text=True)
    return {line.split()[-1].split("@")[0] for line in listed.stdout.splitlines() if line.split()}


folder = pathlib.Path(sys.argv[1])
found = set()
objects = [o for target in ("tagwirexx", "tagwirexx_parts", "tagwire_engine")
           for o in (folder / f"CMakeFiles/{target}.dir").rglob("*.o")]
for file in objects:
    source = re.sub(r"^.*?\.dir/|\.o$", "", str(file))
    found |= {(source, name) for name in imported(file) if LOUD.fullmatch(name)}
linked = {name for name in imported(folder / "libtagwirexx.so.1", "-D") if LOUD.fullmatch(name)}

loud = sorted(found - KNOWN) + sorted(("as linked", name) for name in linked - {name for _, name in KNOWN})
for source, name in loud:
    print(f"{source}: {name}", file=sys.stderr)
if KNOWN - found:
    sys.exit("what is known to be there was not seen: the library is another one")
sys.exit(1 if loud else 0)
