#!/bin/sh
# The checker linked with static libxml2 gives exactly the output of the
# usual one on the sample package, and needs no shared libxml2.
set -u
dynamic=$1
static=$2
sample=$3
if ldd "$static" | grep -q libxml2; then
  echo "the static executable still needs a shared libxml2:"
  ldd "$static"
  exit 1
fi
work=$(mktemp -d "${TMPDIR:-/tmp}/vexdep-static-XXXXXX") || exit 1
trap 'rm -rf "$work"' EXIT
status=0
for type in hard soft; do
  for build in dynamic static; do
    rm -rf "$work/$build"
    cp -R "$sample/." "$work/$build"
    eval exe=\$$build
    (cd "$work/$build" && : > vexdebuglog && "$exe" "$type" > ../$build-$type.out 2> ../$build-$type.err; echo "exit $?" >> ../$build-$type.out)
    # The debug log, without time stamps and line numbers.
    sed -E 's/^\[[^]]*\] : +([^:]*): *[0-9]+: /\1: /' "$work/$build/baseutils.log" | sed "s#$work/$build#DIR#g" > "$work/$build-$type.log"
  done
  for part in out err log; do
    if ! cmp -s "$work/dynamic-$type.$part" "$work/static-$type.$part"; then
      echo "vexdepcheck $type: the static executable's $part differs:"
      diff "$work/dynamic-$type.$part" "$work/static-$type.$part" | head -20
      status=1
    fi
  done
  [ $status -eq 0 ] && echo "vexdepcheck $type: same report, standard error, exit status and log ($(tail -1 "$work/static-$type.out"))"
done
exit $status
