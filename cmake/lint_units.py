#!/usr/bin/env python3
"""Writes what clang-tidy reads: the sources of what is shipped, joined to one file for each folder, with a compile
database. What looks at the main file alone, or follows the paths through its functions, sees all of them so, and the
headers, which take longest, are read once a folder.

Usage: lint_units.py BUILD_FOLDER DATABASE_FOLDER
"""

import json
import pathlib
import re
import sys

SHIPPED = re.compile(r"CMakeFiles/(tagwire|tagwire_engine|tagwirexx_parts|tagwirexx|tagwire_sim|tagwire-sim|tagwire_tool|tagwire-tool)\.dir/")
INCLUDED = re.compile(r'^#include "(.*\.cpp)"', re.MULTILINE)


def sources(entry):
    """What a translation unit is made of: the members of a group, or itself."""
    file = entry["file"]
    return INCLUDED.findall(pathlib.Path(file).read_text()) if "/Unity/" in file else [file]


def main():
    build, database = map(pathlib.Path, sys.argv[1:])
    database.mkdir(exist_ok=True)
    units = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        if SHIPPED.search(entry["command"]) and entry["file"].endswith((".cpp", ".cxx")):
            group = pathlib.Path(entry["file"])
            name = group.stem if "/Unity/" in entry["file"] else group.parent.name
            target = SHIPPED.search(entry["command"])[1]
            units.setdefault((target, name), (entry, []))[1].extend(sources(entry))
    listed = []
    for (target, name), (entry, files) in units.items():
        joined = database / f"{target}.{name}.cpp"
        joined.write_text("".join(f'#line 1 "{file}"\n{pathlib.Path(file).read_text()}' for file in files))
        listed.append(entry | {"file": str(joined), "command": entry["command"].replace(entry["file"], str(joined))})
    (database / "compile_commands.json").write_text(json.dumps(listed))
    # What takes longest begins first.
    listed.sort(key=lambda entry: pathlib.Path(entry["file"]).stat().st_size, reverse=True)
    (database / "units").write_text("".join(entry["file"] + "\n" for entry in listed))


if __name__ == "__main__":
    main()
