#!/bin/bash
# The closing lines of make test (count-tests.sh) on logs written here: a
# phase that passed, one with a failure and a skipped test, and one whose
# log holds no summary. Exits 1 with the difference when a line is wrong.
set -u
here=$(cd "$(dirname "$0")" && pwd)
dir=$(mktemp -d "${TMPDIR:-/tmp}/vexdep-count-XXXXXX") || exit 1
trap 'rm -rf "$dir"' EXIT

cat > "$dir/passed.log" <<'LOG'
100% tests passed, 0 tests failed out of 3

Total Test time (real) =   1.00 sec

The following tests did not run:
	  2 - Alpha.Skips (Skipped)
LOG
cat > "$dir/failed.log" <<'LOG'
  3/4 Test  #3: Beta.Fails .......***Failed    0.10 sec
50% tests passed, 2 tests failed out of 4

Total Test time (real) =   2.00 sec

The following tests FAILED:
	  3 - Beta.Fails (Failed)
	 12 - Beta.Hangs (Timeout)
Errors while running CTest
LOG
printf 'the build failed\n' > "$dir/broken.log"

cat > "$dir/expected" <<'OUT'
one: 2 passed, 0 failed, 1 skipped
two: 2 passed, 2 failed, 0 skipped
  failed: 3 - Beta.Fails (Failed)
  failed: 12 - Beta.Hangs (Timeout)
three: no test summary in DIR/broken.log: counted as one failure
total: 4 passed, 3 failed, 1 skipped
OUT
"$here/count-tests.sh" one="$dir/passed.log" two="$dir/failed.log" three="$dir/broken.log" \
  | sed "s|$dir|DIR|" > "$dir/actual"
diff -u "$dir/expected" "$dir/actual"
