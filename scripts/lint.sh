#!/usr/bin/env bash
# Checks that includes follow the folder order (scripts/include_order.py) and
# that no constant carries a k prefix (scripts/constant_names.py), then runs clang-tidy (.clang-tidy) over the project's sources with the
# compile commands of the given build folder. Exits non-zero when any check
# reports.
set -euo pipefail
build=${1:-build/default}
cd "$(dirname "$0")/.."
if ! scripts/include_order.py; then
  echo "lint: includes above point up the folder order" >&2
  exit 1
fi
if ! scripts/constant_names.py; then
  echo "lint: constants above are not named in camelBack" >&2
  exit 1
fi
mapfile -t files < <(git ls-files '*.cpp' | grep -v '_fuzz\.cpp$')
# clang-tidy is slow (most of a CI run's lint time), so a file whose input is
# unchanged since a clean run is not checked again: see tidy_cached.py.
if ! scripts/tidy_cached.py "$build" "${files[@]}" | tee "$build/lint.txt"; then
  echo "lint: clang-tidy reported the findings above" >&2
  exit 1
fi
echo "lint: clean"
