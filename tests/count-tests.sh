#!/bin/bash
# Adds up what ctest reported in the logs of the test phases of make test
# and prints a line per phase, then "total: N passed, M failed, K skipped".
# A phase with failures names each failed test on a line of its own below
# its count, so that the last lines of a CI log say what to look at.
#
#   count-tests.sh PHASE=LOG...
#
# A phase whose log holds no ctest summary (its build failed, say) counts as
# one failure. Skipped are the tests that reported themselves skipped and
# the disabled ones.
set -u

passed=0
failed=0
skipped=0
for entry in "$@"; do
  phase=${entry%%=*}
  log=${entry#*=}
  summary=$(grep -E '^[0-9]+% tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" 2>/dev/null | tail -n 1)
  if [ -z "$summary" ]; then
    echo "$phase: no test summary in $log: counted as one failure"
    failed=$((failed + 1))
    continue
  fi
  total=$(sed -E 's/.* out of ([0-9]+).*/\1/' <<< "$summary")
  phase_failed=$(sed -E 's/.*, ([0-9]+) tests? failed.*/\1/' <<< "$summary")
  phase_skipped=$(grep -cE '^[[:space:]]*[0-9]+ - .* \(Skipped\)$' "$log")
  phase_disabled=$(grep -cE '^[[:space:]]*[0-9]+ - .* \(Disabled\)$' "$log")
  phase_passed=$((total - phase_failed - phase_skipped))
  echo "$phase: $phase_passed passed, $phase_failed failed, $((phase_skipped + phase_disabled)) skipped"
  if [ "$phase_failed" -gt 0 ]; then
    sed -n '/^The following tests FAILED:/,/^[^[:space:]]/p' "$log" \
      | grep -E '^[[:space:]]+[0-9]+ - ' | sed -E 's/^[[:space:]]+/  failed: /'
  fi
  passed=$((passed + phase_passed))
  failed=$((failed + phase_failed))
  skipped=$((skipped + phase_skipped + phase_disabled))
done
echo "total: $passed passed, $failed failed, $skipped skipped"
