#!/bin/sh
# Builds the Debian package from a configured build tree, unpacks it into a
# scratch root, runs both programs from there on the sample package,
# renders both manual pages without warnings, checks that both bash
# completion files are installed and complete, and runs lintian when it is
# installed.
set -u
build=$1
sample=$2
work=$(mktemp -d "${TMPDIR:-/tmp}/vexdep-package-XXXXXX") || exit 1
trap 'rm -rf "$work"' EXIT
fail() { echo "$*"; exit 1; }

(cd "$build" && cpack -G DEB -B "$work/out" > "$work/cpack.log" 2>&1) || { cat "$work/cpack.log"; fail "cpack failed"; }
deb=$(ls "$work"/out/vexdepcheck_*.deb 2> /dev/null | head -1)
[ -n "$deb" ] || fail "no package was built"
echo "built $(basename "$deb")"
dpkg-deb -f "$deb" Depends | grep -q libxml2 || fail "the package does not depend on libxml2"

root=$work/root
dpkg -x "$deb" "$root" || fail "dpkg -x failed"
for file in usr/bin/vexdepcheck usr/bin/vexinspect usr/share/man/man1/vexdepcheck.1.gz \
            usr/share/man/man1/vexinspect.1.gz usr/share/doc/vexdepcheck/README.md \
            usr/share/doc/vexdepcheck/diagnostics.md \
            usr/share/doc/vexdepcheck/copyright usr/share/doc/vexdepcheck/changelog.gz \
            usr/share/bash-completion/completions/vexdepcheck usr/share/bash-completion/completions/vexinspect; do
  [ -e "$root/$file" ] || fail "the package lacks /$file"
done

# Both programs, run from the scratch root, on the sample package.
cp -R "$sample/." "$work/sample"
(cd "$work/sample" && "$root/usr/bin/vexdepcheck" hard > "$work/hard.out"); hard=$?
(cd "$work/sample" && "$root/usr/bin/vexdepcheck" soft > "$work/soft.out"); soft=$?
[ $hard -eq 1 ] || fail "installed vexdepcheck hard: exit status $hard"
[ $soft -eq 2 ] || fail "installed vexdepcheck soft: exit status $soft"
grep -q "Storage Backplane Firmware" "$work/hard.out" || fail "installed vexdepcheck hard: unexpected report"
grep -q "Systems Management Agent" "$work/soft.out" || fail "installed vexdepcheck soft: unexpected report"
"$root/usr/bin/vexinspect" --version > "$work/version" || fail "installed vexinspect --version failed"
version=$(dpkg-deb -f "$deb" Version)
grep -q "$version" "$work/version" || fail "vexinspect --version does not show $version: $(cat "$work/version")"
(cd "$work/sample" && "$root/usr/bin/vexinspect" explain hard > "$work/explain.out"); explain=$?
[ $explain -eq 0 ] || fail "installed vexinspect explain hard: exit status $explain"
grep -q "^Exit status *: 1$" "$work/explain.out" || fail "installed vexinspect explain hard does not end with exit status 1"
echo "installed programs ran on the sample package (hard 1, soft 2, explain names status 1, version $version)"

# The manual pages render without a warning.
for page in vexdepcheck vexinspect; do
  MANWIDTH=80 man --warnings -l "$root/usr/share/man/man1/$page.1.gz" > "$work/$page.txt" 2> "$work/$page.warnings"
  [ -s "$work/$page.warnings" ] && { cat "$work/$page.warnings"; fail "man -l $page.1.gz warned"; }
  grep -q "EXIT STATUS" "$work/$page.txt" || fail "$page(1) has no EXIT STATUS section"
done
echo "both manual pages render without warnings"

# The installed completion files, sourced into a bash without start-up files.
completions=$root/usr/share/bash-completion/completions
for file in vexdepcheck vexinspect; do
  if [ ! -f "$completions/$file" ] || [ -x "$completions/$file" ]; then
    fail "/usr/share/bash-completion/completions/$file is not a plain file"
  fi
done
offered=$(bash --norc --noprofile -c 'source "$1" && COMP_WORDS=(vexdepcheck h) COMP_CWORD=1 && _vexdepcheck && echo "${COMPREPLY[*]}"' \
          bash "$completions/vexdepcheck")
[ "$offered" = "hard" ] || fail "the installed completion of vexdepcheck h offers \"$offered\""
offered=$(bash --norc --noprofile -c 'source "$1" && COMP_WORDS=(vexinspect ex) COMP_CWORD=1 && _vexinspect && echo "${COMPREPLY[*]}"' \
          bash "$completions/vexinspect")
[ "$offered" = "explain" ] || fail "the installed completion of vexinspect ex offers \"$offered\""
echo "both bash completion files are installed and complete"

if command -v lintian > /dev/null 2>&1; then
  lintian --tag-display-limit 0 "$deb" > "$work/lintian" 2>&1
  if grep -q '^E:' "$work/lintian"; then
    cat "$work/lintian"
    fail "lintian reports errors"
  fi
  echo "lintian: no errors ($(grep -c '^W:' "$work/lintian") warnings)"
else
  echo "lintian is not installed: its check was not made"
fi
exit 0
