#!/usr/bin/env bash
# Builds a project that has the library's sources inside and links it statically; then uses what that project installs.
# usage: subproject.sh CMAKE SOURCE_FOLDER WORK_FOLDER
cmake=$1 source=$2 work=$3/subproject
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/uses.sh"

rm -rf "$work"
"$cmake" -S "$here/contains" -B "$work/contains" -G Ninja -DTAGWIRE_SOURCE="$source" >/dev/null
"$cmake" --build "$work/contains" -- --quiet
"$work/contains/consumer"

"$cmake" --install "$work/contains" --prefix "$work/prefix" >/dev/null
test -z "$(find "$work/prefix" -name '*.so*')"
by_pkg_config "$work/prefix" --static
by_find_package "$work/prefix"
