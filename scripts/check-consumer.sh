#!/usr/bin/env bash
# Builds tests/consumer the two ways another project uses the libraries:
# against a prefix that `cmake --install` filled, and with this source tree as
# a subdirectory. Checks that the subdirectory build leaves no file of its own
# in the consumer's build folder and runs the consumer both times.
set -euo pipefail
build=${1:-build/default}
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -G Ninja -S tests/consumer -B "$work/installed" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/installed" >/dev/null
"$work/installed/consumer"
PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig" pkg-config --exists vantor-keel vantor-plinth

cmake -G Ninja -S tests/consumer -B "$work/subdirectory" -DVANTOR_SOURCE_DIR="$PWD" >/dev/null
cmake --build "$work/subdirectory" >/dev/null
"$work/subdirectory/consumer"
extra=$(ls "$work/subdirectory" | grep -v -x -E 'CMakeCache.txt|CMakeFiles|build.ninja|cmake_install.cmake|consumer|vantor|\.ninja_.*' || true)
if [ -n "$extra" ]; then
  echo "consumer: the subdirectory build wrote into the consumer's build folder: $extra" >&2
  exit 1
fi
echo "consumer: installed package and subdirectory builds passed"
