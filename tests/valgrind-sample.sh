#!/bin/sh
# Runs the checker under valgrind on a copy of the sample package, for both
# dependency types: no memory error and no definitely lost byte may be
# reported, and the exit statuses must be the usual ones.
set -u
checker=$1
sample=$2
if ! command -v valgrind >/dev/null 2>&1; then
  echo "valgrind is not installed"
  exit 1
fi
dir=$(mktemp -d "${TMPDIR:-/tmp}/vexdep-valgrind-XXXXXX") || exit 1
trap 'rm -rf "$dir"' EXIT
cp -R "$sample/." "$dir"
cd "$dir" || exit 1
: > vexdebuglog
status=0
for type in hard soft; do
  valgrind --quiet --error-exitcode=99 --leak-check=full --show-leak-kinds=definite \
           --errors-for-leak-kinds=definite --log-file="valgrind-$type.txt" \
           "$checker" "$type" > "stdout-$type.txt" 2> "stderr-$type.txt"
  rc=$?
  case $type in hard) want=1 ;; soft) want=2 ;; esac
  # valgrind's own notes (such as a system call it does not know, which the
  # program then handles as unsupported) are not errors; errors and
  # definitely lost bytes make valgrind exit with 99.
  if [ "$rc" -ne "$want" ] || grep -q "definitely lost" "valgrind-$type.txt"; then
    echo "vexdepcheck $type under valgrind: exit status $rc, expected $want"
    cat "valgrind-$type.txt" "stderr-$type.txt"
    status=1
  else
    echo "vexdepcheck $type: no errors, no definitely lost bytes (exit status $rc)"
  fi
done
exit $status
