#!/usr/bin/env bash
# Runs every benchmark listed in <build>/benchmarks.txt and prints its figures.
set -euo pipefail
build=${1:?usage: run-benchmarks.sh BUILD_DIR}
status=0
while read -r binary; do
  [ -n "$binary" ] || continue
  echo "== $(basename "$binary")"
  "$binary" --benchmark_counters_tabular=true || status=1
done < "$build/benchmarks.txt"
exit $status
