#!/usr/bin/env python3
"""Writes a compile database of what is shipped, each source once and each group of sources once. Beside it: `sources`,
the list of all sources, and `units`, what the compiler is given.

Usage: lint_database.py BUILD_FOLDER DATABASE_FOLDER
"""

import json
import pathlib
import re
import sys

SHIPPED = re.compile(r"CMakeFiles/(tagwire|tagwire_engine|tagwirexx_parts|tagwirexx|tagwire_sim|tagwire-sim|tagwire_tool|tagwire-tool)\.dir/")
INCLUDED = re.compile(r'^#include "(.*\.cpp)"', re.MULTILINE)


def members(unit):
    """The entry of a group, once for each source in it; of a single source, itself."""
    group = unit["file"]
    if "/Unity/" not in group:
        return [unit]
    sources = INCLUDED.findall(pathlib.Path(group).read_text())
    return [unit | {"file": source, "command": unit["command"].replace(group, source)} for source in sources]


def main():
    build, database = map(pathlib.Path, sys.argv[1:])
    entries = json.loads((build / "compile_commands.json").read_text())
    units = [entry for entry in entries if SHIPPED.search(entry["command"]) and entry["file"][-2:] in ("pp", "xx")]
    sources = [source for unit in units if "tagwire_tool" not in unit["command"] for source in members(unit)]
    database.mkdir(exist_ok=True)
    both = {entry["file"]: entry for entry in units + sources}
    (database / "compile_commands.json").write_text(json.dumps(list(both.values())))
    for name, listed in (("units", units), ("sources", sources)):
        # What takes longest begins first.
        files = sorted((entry["file"] for entry in listed), key=lambda file: ("/Unity/" not in file, "/tools/" not in file))
        (database / name).write_text("".join(file + "\n" for file in files))


if __name__ == "__main__":
    main()
