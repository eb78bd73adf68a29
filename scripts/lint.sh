#!/usr/bin/env bash
# Checks that includes follow the folder order (scripts/include_order.py),
# then runs clang-tidy (.clang-tidy) over the project's sources with the
# compile commands of the given build folder. Exits non-zero when any check
# reports.
set -euo pipefail
build=${1:-build/default}
cd "$(dirname "$0")/.."
if ! scripts/include_order.py; then
  echo "lint: includes above point up the folder order" >&2
  exit 1
fi
mapfile -t files < <(git ls-files '*.cpp' | grep -v '_fuzz\.cpp$')
# The compile commands are GCC's; clang does not know some of its warning options.
# clang-tidy colours its output whatever it is told, so the colours are stripped.
run-clang-tidy -quiet -p "$build" -j "$(nproc)" -extra-arg=-Wno-unknown-warning-option \
  "${files[@]}" 2>/dev/null | sed 's/\x1b\[[0-9;]*m//g' | tee "$build/lint.txt" | grep -E 'warning:|error:' || true
if grep -qE 'warning:|error:' "$build/lint.txt"; then
  echo "lint: clang-tidy reported the findings above" >&2
  exit 1
fi
echo "lint: clean"
