#!/usr/bin/env bash
# Checks the Debian packages in the given folder the way Debian and a user
# would, without installing them:
#   - lintian on every package: any error fails the check, warnings are shown;
#   - what the packages hold, and that no internal header is among them;
#   - tests/consumer built from the packages unpacked into a temporary folder
#     three ways: CMake, a plain Makefile with pkg-config, and the same with
#     pkg-config --static; and the Qt component found through CMake;
#   - the unpacked tools: --version, and `vantor-login-item install` making a
#     sample bundle's launcher a login item with the packaged launcher.
set -euo pipefail
dir=${1:-build/package/packages}
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "packages: $*" >&2; exit 1; }

shopt -s nullglob
debs=("$dir"/*.deb)
[ ${#debs[@]} -gt 0 ] || fail "no package in $dir"
package() {  # the file of the package whose name matches $1
  local deb
  for deb in "${debs[@]}"; do
    [[ $(dpkg-deb -f "$deb" Package) =~ ^$1$ ]] && { echo "$deb"; return; }
  done
  fail "no package $1 in $dir"
}
version=$(dpkg-deb -f "$(package vantor-tools)" Version)
triplet=$(dpkg-architecture -qDEB_HOST_MULTIARCH)

# lintian: overrides travel in the packages (/usr/share/lintian/overrides),
# each with its reason.
lintian --fail-on none --tag-display-limit 0 "${debs[@]}" >"$work/lintian" 2>&1 || true
echo "packages: lintian errors and warnings per package"
for deb in "${debs[@]}"; do
  name=$(dpkg-deb -f "$deb" Package)
  printf '  %-28s %s errors, %s warnings\n' "$name" \
    "$(grep -c "^E: $name\( ([^)]*)\)\?:" "$work/lintian" || true)" \
    "$(grep -c "^W: $name\( ([^)]*)\)\?:" "$work/lintian" || true)"
done
grep -E '^[EW]: ' "$work/lintian" >&2 || true
if grep -q '^E: ' "$work/lintian"; then fail "lintian found errors"; fi

expect() {  # package, path that must be listed
  [ -f "$work/$(basename "$1").list" ] || dpkg-deb -c "$1" >"$work/$(basename "$1").list"
  grep -q -- " $2" "$work/$(basename "$1").list" || fail "$(basename "$1") lacks $2"
}
lib=./usr/lib/$triplet
dev=$(package libvantor-dev)
qtdev=$(package libvantor-qt-dev)
expect "$dev" ./usr/include/Keel/core/any_value.h
expect "$dev" ./usr/include/Plinth/inventory/apps.h
expect "$dev" "$lib/libvantor_keel_core.so -> "
expect "$dev" "$lib/cmake/Vantor/VantorConfig.cmake"
expect "$dev" "$lib/pkgconfig/vantor-keel.pc"
expect "$qtdev" ./usr/include/Plinth/statusitem/status_bar_qt.h
expect "$qtdev" "$lib/cmake/Vantor/VantorQtTargets.cmake"
expect "$(package 'libvantor-keel-core[0-9.]+')" "$lib/libvantor_keel_core.so.$version"
expect "$(package libvantor-common)" ./usr/share/vantor/Plinth_Plinth.bundle/de.lproj/Localizable.strings
expect "$(package vantor-launcher)" ./usr/libexec/vantor/VantorLauncher
for tool in vantor-decode vantor-facts vantor-inventory vantor-notify vantor-login-item vantor-devices; do
  expect "$(package vantor-tools)" "./usr/bin/$tool"
  expect "$(package vantor-tools)" "./usr/share/man/man1/$tool.1.gz"
done
if grep -E '_(linux|qt|testing)\.h$|_test\.|fuzz_corpus|libvantor_plinth_qt' "$work/$(basename "$dev").list"; then
  fail "libvantor-dev holds the files above, which are internal, tests or the Qt library's"
fi
if dpkg-deb -f "$dev" Depends | grep -q qt6; then fail "libvantor-dev depends on Qt"; fi

for deb in "${debs[@]}"; do dpkg -x "$deb" "$work/root"; done
root=$work/root/usr
export LD_LIBRARY_PATH=$root/lib/$triplet
# The modules say prefix=/usr, as installed; copies pointed into the unpacked
# tree stand in for them.
mkdir "$work/pc"
for module in "$root/lib/$triplet/pkgconfig"/*.pc; do
  grep -qx 'prefix=/usr' "$module" || fail "$(basename "$module") does not say prefix=/usr"
  sed "s|^prefix=/usr|prefix=$root|" "$module" >"$work/pc/$(basename "$module")"
done
export PKG_CONFIG_PATH=$work/pc

# Every installed header compiles without the ones left out.
find "$root/include" -name '*.h' ! -name '*_qt.h' -printf '#include "%P"\n' >"$work/headers.cpp"
find "$root/include" -name '*_qt.h' -printf '#include "%P"\n' >"$work/qt_headers.cpp"
g++ -std=c++20 -fsyntax-only -I"$root/include" "$work/headers.cpp" ||
  fail "the installed headers do not compile on their own"
# shellcheck disable=SC2046
g++ -std=c++20 -fsyntax-only -fPIC -I"$root/include" $(pkg-config --cflags Qt6Widgets) "$work/qt_headers.cpp" ||
  fail "the installed Qt headers do not compile on their own"

echo "packages: consumer built with CMake"
cmake -G Ninja -S tests/consumer -B "$work/cmake" -DCMAKE_PREFIX_PATH="$root" >/dev/null
cmake --build "$work/cmake" >/dev/null
"$work/cmake/consumer"
echo "packages: consumer built with make and pkg-config --libs"
mkdir "$work/make" "$work/make-static"
make -s -C "$work/make" -f "$PWD/tests/consumer/Makefile"
"$work/make/consumer"
echo "packages: consumer built with make and pkg-config --static --libs"
make -s -C "$work/make-static" -f "$PWD/tests/consumer/Makefile" PKG_STATIC=1
"$work/make-static/consumer"

# Qt comes with the component that needs it.
mkdir "$work/qt"
cat >"$work/qt/CMakeLists.txt" <<'EOF'
cmake_minimum_required(VERSION 3.25)
project(VantorQtConsumer LANGUAGES CXX)
find_package(Vantor CONFIG REQUIRED COMPONENTS PlinthQt)
if(NOT TARGET Vantor::PlinthQt OR NOT TARGET Qt6::Widgets)
  message(FATAL_ERROR "the PlinthQt component did not bring Vantor::PlinthQt and Qt")
endif()
EOF
cmake -G Ninja -S "$work/qt" -B "$work/qt/build" -DCMAKE_PREFIX_PATH="$root" >/dev/null ||
  fail "find_package(Vantor COMPONENTS PlinthQt) failed"

for tool in "$root"/bin/vantor-*; do
  [ "$("$tool" --version)" = "$(basename "$tool") (Vantor) $version" ] || fail "$tool --version"
done
scripts/make-sample-applications.sh "$work/Applications" >/dev/null
sample=$work/Applications/Sketchbook.app
XDG_CONFIG_HOME=$work/config "$root/bin/vantor-login-item" install "$sample" >/dev/null
[ -x "$sample/Contents/Library/LoginItems/VantorLauncher.app/Contents/MacOS/VantorLauncher" ] ||
  fail "vantor-login-item install placed no launcher"
XDG_CONFIG_HOME=$work/config "$root/bin/vantor-login-item" status --json "$sample" | grep -q '"enabled":true' ||
  fail "vantor-login-item status after install"
echo "packages: lintian, contents, three consumer builds, the Qt component and the tools passed"
