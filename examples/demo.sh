#!/usr/bin/env bash
# Shows the main job: tags being read, from a virtual reader, over TCP and over a serial line.
# usage: demo.sh BUILD_FOLDER
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$1
examples=$build/examples

say() { printf '\n\033[1m== %s\033[0m\n' "$*"; }

output=$(mktemp)
"$build/sim/tagwire-sim" --listen 127.0.0.1:0 --pty --scenario "$here/../sim/scenarios/demo.toml" >"$output" &
simulator=$!
trap 'kill "$simulator" 2>/dev/null; wait "$simulator" 2>/dev/null || true; rm -f "$output"' EXIT

until grep -q '^ready' "$output"; do
  kill -0 "$simulator" 2>/dev/null || { echo "demo: the virtual reader did not start, see above" >&2; exit 1; }
  read -rt 0.05 _ </dev/zero || true
done
tcp=tcp://$(sed -n 's/^listening on //p' "$output" | head -n 1)
serial=serial:$(sed -n 's/^pty //p' "$output" | head -n 1)

say "A virtual reader runs at $tcp and at $serial"
say "An inventory over TCP: examples/inventory.cpp $tcp"
"$examples/example_inventory_cpp" "$tcp"
say "An inventory over a serial line: examples/inventory.cpp $serial"
"$examples/example_inventory_cpp" "$serial"
say "Both live, for 5 seconds, until Ctrl-C otherwise: examples/live.cpp $tcp $serial"
timeout --preserve-status -s INT 5 "$examples/example_live_cpp" "$tcp" "$serial"

cat <<TEXT

That was the virtual reader. For a real one:

  $examples/example_live_cpp tcp://ADDRESS:PORT 'serial:/dev/ttyUSB0?baud=57600'

Or keep a virtual reader running while you develop:

  $build/sim/tagwire-sim --listen 127.0.0.1:6000 --scenario sim/scenarios/demo.toml
TEXT
