#!/usr/bin/env python3
"""Runs clang-tidy on what is shipped. Sources that the compiler takes as a group are joined to one file: the headers,
which take longest, are read once for all of them, and what looks at the main file alone, or follows the paths through
its functions, still sees them. A complaint names the source it is about.

Usage: lint.py BUILD_FOLDER DATABASE_FOLDER JOBS [CLANG_TIDY_OPTION...]
"""

import concurrent.futures
import json
import pathlib
import re
import subprocess
import sys

SHIPPED = re.compile(r"CMakeFiles/(tagwire|tagwire_engine|tagwirexx_parts|tagwirexx|tagwire_sim|tagwire-sim|tagwire_tool|tagwire-tool)\.dir/")
INCLUDED = re.compile(r'^#include "(.*\.cpp)"', re.MULTILINE)
BEGINS = re.compile(r'^#line 1 "(.*)"$')


def join(entry, database):
    """A group's entry in the compile database, for the file that its sources are joined to; others as they are."""
    if "/Unity/" not in entry["file"]:
        return entry
    group = pathlib.Path(entry["file"])
    joined = database / f"{SHIPPED.search(entry['command'])[1]}.{group.stem}.cpp"
    joined.write_text("".join(f'#line 1 "{file}"\n{pathlib.Path(file).read_text()}' for file in INCLUDED.findall(group.read_text())))
    return entry | {"file": str(joined), "command": entry["command"].replace(entry["file"], str(joined))}


def place(joined, line):
    """The source and line that a line of a joined file is."""
    lines = pathlib.Path(joined).read_text().split("\n")[:line]
    begin = max((number for number, text in enumerate(lines) if BEGINS.match(text)), default=None)
    return f"{joined}:{line}" if begin is None else f"{BEGINS.match(lines[begin])[1]}:{line - begin - 1}"


def lint(entry, database, options):
    # Parsers of command lines take long to follow, and there is little to find in their use; to look for parameters
    # that could be references takes as long as all the rest.
    quick = ["--checks=-clang-analyzer-*,-performance-unnecessary-value-param"] if "tagwire_tool" in entry["command"] else []
    done = subprocess.run(["clang-tidy-14", "--quiet", "-p", str(database), *quick, *options, entry["file"]], capture_output=True, text=True)
    if done.returncode:
        at = re.compile(rf"^({re.escape(str(database))}/[^:]*\.cpp):(\d+)", re.MULTILINE)
        print(at.sub(lambda found: place(found[1], int(found[2])), done.stdout or done.stderr), flush=True)
    return done.returncode


def main():
    build, database = (pathlib.Path(folder).resolve() for folder in sys.argv[1:3])
    database.mkdir(exist_ok=True)
    shipped = [entry for entry in json.loads((build / "compile_commands.json").read_text())
               if SHIPPED.search(entry["command"]) and entry["file"].endswith((".cpp", ".cxx"))]
    units = [join(entry, database) for entry in shipped]
    (database / "compile_commands.json").write_text(json.dumps(units))
    # What takes longest begins first.
    units.sort(key=lambda entry: pathlib.Path(entry["file"]).stat().st_size, reverse=True)
    with concurrent.futures.ThreadPoolExecutor(int(sys.argv[3])) as pool:
        sys.exit(any(list(pool.map(lambda entry: lint(entry, database, sys.argv[4:]), units))))


if __name__ == "__main__":
    main()
