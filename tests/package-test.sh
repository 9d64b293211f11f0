#!/bin/sh
# Builds the Debian package from a configured build tree, unpacks it into a
# scratch root, runs both programs from there on the sample package,
# renders both manual pages (section 8) without warnings, checks that the
# documents over 4 KiB are compressed and that the pages name the installed
# paths (also under another prefix), checks that both bash completion files
# are installed and complete, and runs lintian when it is installed (no
# error, no warning).
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
for file in usr/sbin/vexdepcheck usr/sbin/vexinspect usr/share/man/man8/vexdepcheck.8.gz \
            usr/share/man/man8/vexinspect.8.gz usr/share/doc/vexdepcheck/README.md.gz \
            usr/share/doc/vexdepcheck/diagnostics.md.gz usr/share/doc/vexdepcheck/json/explain.schema.json \
            usr/share/doc/vexdepcheck/copyright usr/share/doc/vexdepcheck/changelog.gz \
            usr/share/bash-completion/completions/vexdepcheck usr/share/bash-completion/completions/vexinspect; do
  [ -e "$root/$file" ] || fail "the package lacks /$file"
done

# Both programs, run from the scratch root, on the sample package.
cp -R "$sample/." "$work/sample"
(cd "$work/sample" && "$root/usr/sbin/vexdepcheck" hard > "$work/hard.out"); hard=$?
(cd "$work/sample" && "$root/usr/sbin/vexdepcheck" soft > "$work/soft.out"); soft=$?
[ $hard -eq 1 ] || fail "installed vexdepcheck hard: exit status $hard"
[ $soft -eq 2 ] || fail "installed vexdepcheck soft: exit status $soft"
grep -q "Storage Backplane Firmware" "$work/hard.out" || fail "installed vexdepcheck hard: unexpected report"
grep -q "Systems Management Agent" "$work/soft.out" || fail "installed vexdepcheck soft: unexpected report"
"$root/usr/sbin/vexinspect" --version > "$work/version" || fail "installed vexinspect --version failed"
version=$(dpkg-deb -f "$deb" Version)
grep -q "$version" "$work/version" || fail "vexinspect --version does not show $version: $(cat "$work/version")"
(cd "$work/sample" && "$root/usr/sbin/vexinspect" explain hard > "$work/explain.out"); explain=$?
[ $explain -eq 0 ] || fail "installed vexinspect explain hard: exit status $explain"
grep -q "^Exit status *: 1$" "$work/explain.out" || fail "installed vexinspect explain hard does not end with exit status 1"
echo "installed programs ran on the sample package (hard 1, soft 2, explain names status 1, version $version)"

# The manual pages render without a warning.
for page in vexdepcheck vexinspect; do
  MANWIDTH=80 man --warnings -l "$root/usr/share/man/man8/$page.8.gz" > "$work/$page.txt" 2> "$work/$page.warnings"
  [ -s "$work/$page.warnings" ] && { cat "$work/$page.warnings"; fail "man -l $page.8.gz warned"; }
  grep -q "EXIT STATUS" "$work/$page.txt" || fail "$page(8) has no EXIT STATUS section"
  grep -q "/dev/mem" "$work/$page.txt" || fail "$page(8) does not list /dev/mem among its files"
done
echo "both manual pages render without warnings"

# Documents over 4 KiB are compressed (the copyright file and the JSON
# Schemas, which validators read, never are).
large=$(find "$root/usr/share/doc/vexdepcheck" -type f -size +4k ! -name '*.gz' ! -name copyright ! -path '*/json/*')
[ -z "$large" ] || fail "documents over 4 KiB left uncompressed: $large"
[ -f "$root/usr/share/doc/vexdepcheck/copyright" ] || fail "the copyright file is missing or compressed"

# The pages name the paths the files are installed at: /usr in the package,
# the given prefix in an installation elsewhere.
named_path() { # page file, path: the page names the path
  gzip -dc "$1" | sed 's/\\-/-/g' | grep -qF "$2"
}
named_path "$root/usr/share/man/man8/vexinspect.8.gz" /usr/share/doc/vexdepcheck/diagnostics.md.gz ||
  fail "vexinspect(8) does not name /usr/share/doc/vexdepcheck/diagnostics.md.gz"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" > "$work/install.log" 2>&1 || { cat "$work/install.log"; fail "cmake --install failed"; }
for file in sbin/vexdepcheck sbin/vexinspect share/man/man8/vexinspect.8.gz share/doc/vexdepcheck/diagnostics.md.gz; do
  [ -e "$prefix/$file" ] || fail "cmake --install --prefix lacks $file"
done
named_path "$prefix/share/man/man8/vexinspect.8.gz" "$prefix/share/doc/vexdepcheck/diagnostics.md.gz" ||
  fail "vexinspect(8) installed under $prefix does not name its own diagnostics.md.gz"
for page in vexdepcheck vexinspect; do
  named_path "$prefix/share/man/man8/$page.8.gz" "$prefix/share/bash-completion/completions/$page" ||
    fail "$page(8) installed under $prefix does not name its own completion file"
  if gzip -dc "$prefix/share/man/man8/$page.8.gz" | grep -q '/usr/'; then
    fail "$page(8) installed under $prefix still names a path under /usr"
  fi
done
echo "the pages name the installed paths, in the package and under $prefix"

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
  if grep -q '^[EW]:' "$work/lintian"; then
    cat "$work/lintian"
    fail "lintian reports errors or warnings"
  fi
  echo "lintian: no errors, no warnings"
else
  echo "lintian is not installed: its check was not made"
fi
exit 0
