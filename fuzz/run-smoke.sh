#!/bin/sh
# Deterministic smoke run of one fuzz target: a fixed seed and a fixed number
# of runs over its seed corpus. New inputs go to a throw-away corpus folder,
# so the seed corpus in the repository is never changed. Any crash, leak,
# sanitizer report or timeout fails the run.
#
#   run-smoke.sh TARGET SEED_CORPUS DICTIONARY RUNS
set -eu
target=$1
seeds=$2
dict=$3
runs=$4

work=$(mktemp -d "${TMPDIR:-/tmp}/vexdep-fuzz-smoke-XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir "$work/corpus"

"$target" -seed=1 -runs="$runs" -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
    -dict="$dict" -artifact_prefix="$work/" "$work/corpus" "$seeds" > "$work/log" 2>&1 || {
  status=$?
  cat "$work/log"
  for artifact in "$work"/crash-* "$work"/leak-* "$work"/timeout-* "$work"/oom-*; do
    [ -e "$artifact" ] && echo "failing input: $artifact" && od -c "$artifact" | head -40
  done
  exit "$status"
}
grep -E '^(#[0-9]+ *DONE|stat::number_of_executed_units|Done [0-9]+ runs)' "$work/log" || true
