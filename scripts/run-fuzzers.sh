#!/usr/bin/env bash
# Runs every fuzzer listed in <build>/fuzzers.txt for SECONDS each, starting
# from its committed seed corpus (copied, so that the tree stays unchanged).
# Fails on the first crash, leak or sanitizer report.
set -euo pipefail
build=${1:?usage: run-fuzzers.sh BUILD_DIR SECONDS}
seconds=${2:?usage: run-fuzzers.sh BUILD_DIR SECONDS}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
count=0
while read -r binary seeds; do
  [ -n "$binary" ] || continue
  name=$(basename "$binary")
  corpus="$work/$name"
  mkdir -p "$corpus"
  [ -d "$seeds" ] && cp -r "$seeds"/. "$corpus"/
  echo "== $name: ${seconds}s"
  "$binary" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$work/$name-" "$corpus" 2>"$work/$name.log" || {
      tail -n 60 "$work/$name.log"; echo "fuzzer $name failed" >&2; exit 1; }
  grep -E '^(stat::number_of_executed_units|Done)' "$work/$name.log" || true
  count=$((count + 1))
done < "$build/fuzzers.txt"
echo "fuzzers run: $count"
