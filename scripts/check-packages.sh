#!/usr/bin/env bash
# Checks the Debian packages in the given folder: their contents as
# `dpkg-deb -c` lists them, and a consumer project built against the -dev
# package unpacked into a temporary folder (nothing is installed).
set -euo pipefail
dir=${1:-build/package/packages}
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

dev=$(ls "$dir"/libvantor-dev_*.deb)
launcher=$(ls "$dir"/vantor-launcher_*.deb)
tools=$(ls "$dir"/vantor-tools_*.deb)
expect() {  # package, path that must be listed
  dpkg-deb -c "$1" >"$work/list"
  grep -q -- "$2" "$work/list" || { echo "packages: $(basename "$1") lacks $2" >&2; exit 1; }
}
expect "$dev" ./usr/include/Keel/core/any_value.h
expect "$dev" ./usr/include/Plinth/inventory/apps.h
expect "$dev" ./usr/lib/libvantor_keel_core.a
expect "$dev" ./usr/lib/cmake/Vantor/VantorConfig.cmake
expect "$dev" ./usr/lib/pkgconfig/vantor-keel.pc
expect "$dev" ./usr/share/vantor/Plinth_Plinth.bundle/de.lproj/Localizable.strings
expect "$launcher" ./usr/libexec/vantor/VantorLauncher
for tool in vantor-decode vantor-facts vantor-notify vantor-login-item vantor-devices; do
  expect "$tools" "./usr/bin/$tool"
done
dpkg-deb -c "$dev" >"$work/list"
if grep -q -E 'icu_support\.h|_test\.|fuzz_corpus' "$work/list"; then
  echo "packages: libvantor-dev holds internal or test files" >&2
  exit 1
fi

dpkg -x "$dev" "$work/root"
cmake -G Ninja -S tests/consumer -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/root/usr" >/dev/null
cmake --build "$work/consumer" >/dev/null
"$work/consumer/consumer"
echo "packages: contents and the consumer build against libvantor-dev passed"
