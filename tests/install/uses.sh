# Functions for scripts that use the library as another project would: in $cmake, $work and $here.
set -euo pipefail

# by_pkg_config PREFIX [OPTION...]: compiles and runs the consumer by what pkg-config says.
by_pkg_config() {
  local prefix=$1 flags
  PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name tagwire.pc)")
  export PKG_CONFIG_PATH
  flags=$(pkg-config "${@:2}" --cflags --libs tagwire)
  # shellcheck disable=SC2086
  "${CC:-cc}" "$here/consumer.c" -o "$work/by-pkg-config" $flags
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir tagwire) "$work/by-pkg-config"
  pkg-config --exists tagwirexx || return 0
  flags=$(pkg-config "${@:2}" --cflags --libs tagwirexx tagwire)
  # shellcheck disable=SC2086
  "${CXX:-c++}" -std=c++20 "$here/consumer.cpp" -o "$work/by-pkg-config-xx" $flags
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir tagwire) "$work/by-pkg-config-xx"
  pkg-config --exists tagwire-sim || return 0
  flags=$(pkg-config --static --cflags --libs tagwire-sim)
  # shellcheck disable=SC2086
  "${CXX:-c++}" -std=c++20 "$here/consumer_sim.cpp" -o "$work/by-pkg-config-sim" $flags
  "$work/by-pkg-config-sim"
}

# by_find_package PREFIX [OPTION...]: the same by the CMake package.
by_find_package() {
  "$cmake" -S "$here/finds" -B "$work/finds" -DCMAKE_PREFIX_PATH="$1" "${@:2}" >/dev/null
  "$cmake" --build "$work/finds" >/dev/null
  "$work/finds/consumer"
  local more
  for more in "$work"/finds/consumer_*; do if [ -e "$more" ]; then "$more"; fi; done
}
