#!/bin/sh
# Unpacks Debian's source package of libxml2 (the version of the installed
# libxml2, Debian's patches applied) into DEST, using a private apt
# configuration below WORK: a deb-src entry for every Debian source of this
# machine, and package lists and caches of its own. The machine's own apt
# configuration is read, never changed. Nothing is fetched when DEST already
# holds the unpacked source.
#
#   fetch-libxml2-source.sh WORK DEST
set -eu

work=$1
dest=$2
if [ -f "$dest/configure.ac" ] || [ -f "$dest/configure" ]; then
  exit 0
fi

version=$(dpkg-query -W -f='${source:Version}' libxml2 2>/dev/null || true)
[ -n "$version" ] || { echo "fetch-libxml2-source: libxml2 is not installed; cannot tell which source to take" >&2; exit 1; }

apt_dir=$work/apt
mkdir -p "$apt_dir/sources.list.d" "$apt_dir/lists/partial" "$apt_dir/cache/archives/partial" "$work/download"
: > "$apt_dir/sources.list"
found=no
for f in /etc/apt/sources.list.d/*.sources; do
  [ -f "$f" ] || continue
  # The same stanzas, for source packages.
  sed -e 's/^Types:[[:space:]]*deb[[:space:]]*$/Types: deb-src/' "$f" > "$apt_dir/sources.list.d/$(basename "$f")"
  found=yes
done
for f in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
  [ -f "$f" ] || continue
  sed -n -e 's/^[[:space:]]*deb[[:space:]]/deb-src /p' "$f" >> "$apt_dir/sources.list"
  found=yes
done
[ "$found" = yes ] || { echo "fetch-libxml2-source: this machine has no apt sources to take deb-src entries from" >&2; exit 1; }

apt_opts="-o Dir::Etc::SourceList=$apt_dir/sources.list -o Dir::Etc::SourceParts=$apt_dir/sources.list.d \
  -o Dir::State::Lists=$apt_dir/lists -o Dir::Cache=$apt_dir/cache -o Debug::NoLocking=1 -o APT::Get::List-Cleanup=0"
# shellcheck disable=SC2086
apt-get -q $apt_opts update > "$work/apt-update.log" 2>&1 || { cat "$work/apt-update.log" >&2; exit 1; }
# shellcheck disable=SC2086
(cd "$work/download" && apt-get -q $apt_opts source "libxml2=$version") > "$work/apt-source.log" 2>&1 \
  || { cat "$work/apt-source.log" >&2; exit 1; }

unpacked=$(find "$work/download" -mindepth 1 -maxdepth 1 -type d -name 'libxml2-*' | head -n 1)
[ -n "$unpacked" ] || { echo "fetch-libxml2-source: apt-get source unpacked nothing" >&2; exit 1; }
rm -rf "$dest"
mv "$unpacked" "$dest"
echo "libxml2 $version from Debian's source package, patches applied, in $dest"
