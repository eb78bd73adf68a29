#!/usr/bin/env bash
# Builds tests/consumer the ways another project uses the libraries: against
# a prefix that `cmake --install` filled (with CMake, and with a Makefile and
# pkg-config, plain and --static), and with this source tree as a
# subdirectory. Checks that the subdirectory build leaves no file of its own
# in the consumer's build folder and runs the consumer both times.
set -euo pipefail
build=${1:-build/default}
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Staged under a root folder, as a package is: the pkg-config modules name the
# configured prefix, so copies of them pointed into the stage are used.
DESTDIR="$work/root" cmake --install "$build" >/dev/null
prefix=$work/root$(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$build/CMakeCache.txt")
cmake -G Ninja -S tests/consumer -B "$work/installed" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/installed" >/dev/null
"$work/installed/consumer"
# The static archives through pkg-config alone: --libs and --static both link.
mkdir "$work/pc"
for module in "$(dirname "$(find "$prefix" -name vantor-keel.pc)")"/*.pc; do
  sed "s|^prefix=|prefix=$work/root|" "$module" >"$work/pc/$(basename "$module")"
done
export PKG_CONFIG_PATH=$work/pc
mkdir "$work/make" "$work/make-static"
make -s -C "$work/make" -f "$PWD/tests/consumer/Makefile"
"$work/make/consumer"
make -s -C "$work/make-static" -f "$PWD/tests/consumer/Makefile" PKG_STATIC=1
"$work/make-static/consumer"
unset PKG_CONFIG_PATH

cmake -G Ninja -S tests/consumer -B "$work/subdirectory" -DVANTOR_SOURCE_DIR="$PWD" >/dev/null
cmake --build "$work/subdirectory" >/dev/null
"$work/subdirectory/consumer"
extra=$(ls "$work/subdirectory" | grep -v -x -E 'CMakeCache.txt|CMakeFiles|build.ninja|cmake_install.cmake|consumer|vantor|\.ninja_.*' || true)
if [ -n "$extra" ]; then
  echo "consumer: the subdirectory build wrote into the consumer's build folder: $extra" >&2
  exit 1
fi
echo "consumer: installed (CMake, pkg-config, pkg-config --static) and subdirectory builds passed"
