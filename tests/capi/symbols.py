#!/usr/bin/env python3
"""Compares what the shared library exports with what it is meant to export.

Usage: symbols.py LIBRARY SOURCE_DIRECTORY NM READELF
"""

import pathlib
import re
import subprocess
import sys

HELPERS = {
    "Create_Reader", "Destroy_Reader", "EthReader", "isOpening", "getCurrentTimeMsec", "printHexToString",
    "IntToStr",
}
OPERATIONS = 263
EXPORTS = 243
NEEDED = re.compile(r"(libc|libstdc\+\+|libgcc_s|libm|ld-linux[-\w]*|libpthread)\.so\.\d+$")


def exported(nm, library):
    command = [nm, "-D", "--defined-only", library]
    listing = subprocess.run(command, check=True, capture_output=True, text=True)
    names = [line.split()[-1] for line in listing.stdout.splitlines()]
    return {name.split("@")[0] for name in names}


def operations(source):
    text = (source / "src/reader/operations.def").read_text()
    return re.findall(r"^TAGWIRE_OPERATION\(\w+,\s*\w+,\s*(\w+)", text, re.MULTILINE)


def declared(source):
    for header in sorted((source / "include/tagwire").glob("*.h")):
        text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.DOTALL)
        yield from re.findall(r"^TAGWIRE_API\s+\w+\s+(\w+)\s*\(", text, re.MULTILINE)


def dynamic_entries(readelf, library, tag):
    listing = subprocess.run([readelf, "-d", "-W", library], check=True, capture_output=True, text=True)
    return re.findall(r"\(" + tag + r"\).*\[(.*)\]", listing.stdout)


def main():
    library, source, nm, readelf = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3], sys.argv[4]
    faults = []

    inner = {"I_" + name for name in operations(source)}
    public = set(declared(source))
    if len(inner) != OPERATIONS or len(public) != EXPORTS:
        faults.append(f"{len(inner)} operations and {len(public)} declarations were found")
    wanted = inner | public | HELPERS
    found = exported(nm, library)
    faults += [f"not exported: {name}" for name in sorted(wanted - found)]
    faults += [f"exported, but not meant to be: {name}" for name in sorted(found - wanted)]

    soname = dynamic_entries(readelf, library, "SONAME")
    if soname != ["libtagwire.so.1"]:
        faults.append(f"soname is {soname}")
    needed = dynamic_entries(readelf, library, "NEEDED")
    faults += [f"needs {name}" for name in needed if not NEEDED.match(name)]
    for tag in ("RPATH", "RUNPATH"):
        faults += [f"has {tag} {path}" for path in dynamic_entries(readelf, library, tag)]

    print("\n".join(faults) or f"{len(found)} symbols, as meant")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
