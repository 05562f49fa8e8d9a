"""The C example in README.md is examples/inventory.c, so that what is shown is what was compiled."""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
shown = re.findall(r"```c\n(.*?)```", (root / "README.md").read_text(), re.S)
compiled = (root / "examples" / "inventory.c").read_text()
if compiled not in shown:
    sys.exit("README.md does not show examples/inventory.c as it is")
