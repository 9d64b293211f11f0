#!/bin/sh
# Replays every file of one fuzz target's corpus once, under the sanitizers
# the target is built with: no mutation, no new input. Any crash, leak,
# sanitizer report, timeout (20 seconds per input) or memory above 2 GiB
# fails the run, which then names the input.
#
#   run-regress.sh TARGET CORPUS_DIRECTORY
set -eu
target=$1
corpus=$2

work=$(mktemp -d "${TMPDIR:-/tmp}/vexdep-fuzz-regress-XXXXXX")
trap 'rm -rf "$work"' EXIT

count=$(find "$corpus" -maxdepth 1 -type f | wc -l)
if [ "$count" -eq 0 ]; then
  echo "no corpus file in $corpus"
  exit 1
fi
# Files given one by one are each run once; the corpus is never changed.
find "$corpus" -maxdepth 1 -type f -print0 | sort -z | \
  xargs -0 "$target" -timeout=20 -rss_limit_mb=2048 -artifact_prefix="$work/" > "$work/log" 2>&1 || {
  status=$?
  cat "$work/log"
  grep -E '^Running: ' "$work/log" | tail -n 1 | sed 's/^Running: /last input: /'
  exit "$status"
}
replayed=$(grep -cE '^Executed .* in [0-9]+ ms$' "$work/log" || true)
echo "replayed $replayed of $count corpus files"
if [ "$replayed" -ne "$count" ]; then
  cat "$work/log"
  exit 1
fi
