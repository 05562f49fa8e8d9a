#!/usr/bin/env bash
# Installs the library, moves what was installed elsewhere, and uses it from there.
# usage: installed.sh CMAKE BUILD_FOLDER WORK_FOLDER HAS_SIM
cmake=$1 build=$2 work=$3/installed
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/uses.sh"

rm -rf "$work"
mkdir -p "$work"
"$cmake" --install "$build" --component library --prefix "$work/first" >/dev/null
mv "$work/first" "$work/moved"
if grep -rI "$work" "$work/moved"; then
  echo "installed files name the place that they were installed to" >&2
  exit 1
fi
by_pkg_config "$work/moved"
by_find_package "$work/moved" "-DHAS_SIM=$4"
