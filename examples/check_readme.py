"""The programs in README.md are those in examples/, so that what is shown is what was compiled."""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
shown = re.findall(r"```(?:c|cpp)\n(.*?)```", (root / "README.md").read_text(), re.S)
for name in ("inventory.c", "inventory.cpp", "live.cpp"):
    if (root / "examples" / name).read_text() not in shown:
        sys.exit(f"README.md does not show examples/{name} as it is")
