#!/usr/bin/env bash
# Builds the Debian package (make package), unpacks it into a scratch root
# and checks what a packager and an installer rely on: the layout, the
# manual pages, the desktop entry, the declared dependencies, and that the
# installed programs find their data relative to where they lie.
#
# usage: scripts/check_package.sh [BUILD-FOLDER]
set -euo pipefail
build=${1:-build}
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
make --no-print-directory package BUILD="$build" >/dev/null
deb=$(ls -t "$build"/mantrel_*.deb | head -1)
root=$(mktemp -d /tmp/mantrel-package-XXXXXX)
trap 'rm -rf "$root"' EXIT
fail=0
ok() { echo "ok    $1"; }
bad() { echo "FAIL  $1"; fail=1; }

dpkg-deb -x "$deb" "$root"
for f in usr/bin/mantrel usr/bin/tbltool usr/bin/mkdemo \
         usr/share/man/man1/mantrel.1 usr/share/man/man1/tbltool.1 \
         usr/share/man/man1/mkdemo.1 usr/share/applications/mantrel.desktop \
         usr/share/icons/hicolor/scalable/apps/mantrel.svg \
         usr/share/mantrel/messages/en.txt usr/share/mantrel/messages/fr.txt \
         usr/share/mantrel/demo/catalog.txt usr/share/doc/mantrel/manual.md; do
  [ -e "$root/$f" ] && ok "the package holds /$f" || bad "the package lacks /$f"
done

for page in mantrel tbltool mkdemo; do
  out=$(MANWIDTH=80 man -l "$root/usr/share/man/man1/$page.1" 2>&1 >/dev/null)
  text=$(MANWIDTH=80 man -l "$root/usr/share/man/man1/$page.1" 2>/dev/null)
  if [ -z "$out" ] && grep -q "^NAME" <<<"$text" &&
     grep -q "^SYNOPSIS" <<<"$text"; then
    ok "man -l shows $page(1) without warnings"
  else
    bad "man -l $page.1: $out"
  fi
done

desktop="$root/usr/share/applications/mantrel.desktop"
if command -v desktop-file-validate >/dev/null; then
  desktop-file-validate "$desktop" && ok "the desktop entry validates" ||
    bad "the desktop entry does not validate"
fi
grep -q '^Exec=mantrel$' "$desktop" && grep -q '^Icon=mantrel$' "$desktop" &&
  ok "the desktop entry starts mantrel with its icon" ||
  bad "the desktop entry's Exec or Icon"

depends=$(dpkg-deb -f "$deb" Depends)
for lib in libc6 libstdc++6; do
  grep -q "$lib" <<<"$depends" && ok "Depends names $lib" ||
    bad "Depends lacks $lib: $depends"
done
libs=$(ldd "$build/bin/mantrel" 2>/dev/null || true)
if grep -q libQt6Widgets <<<"$libs"; then
  grep -q libqt6widgets6 <<<"$depends" && grep -q qt6-qpa-plugins <<<"$depends" &&
    ok "Depends names Qt 6 and its display plugins" ||
    bad "Depends lacks Qt 6: $depends"
fi
# Every dependency can be had on this Debian release, as on a fresh one.
policy=$(apt-cache policy libc6 2>/dev/null || true)
if grep -q 'Candidate: [0-9]' <<<"$policy"; then
  if apt-get install -s --no-install-recommends "./$deb" >"$root/apt.txt" 2>&1; then
    ok "apt-get would install the package with its dependencies"
  else
    bad "apt-get refuses the package: $(tail -5 "$root/apt.txt")"
  fi
else
  echo "skip  no package lists: apt-get update was never run here"
fi

# The installed programs, run where they lie: mkdemo finds its sources in
# ../share/mantrel, mantrel runs the sample log, tbltool verifies.
demo="$root/demo"
if "$root/usr/bin/mkdemo" "$demo" >/dev/null; then
  ok "the installed mkdemo finds its sources beside itself"
  (cd "$demo/bin" && MANTREL_UI=scripted MANTREL_VIEWER=true \
    "$root/usr/bin/mantrel" /RUN '..\log\sample' 1 >/dev/null 2>&1 || true)
  [ -s "$demo/log/sample.rpt" ] && ok "the installed mantrel runs the sample log" ||
    bad "the installed mantrel wrote no statistics"
  (cd "$demo/bin" && "$root/usr/bin/tbltool" verify '..\data\salm2009' >/dev/null) &&
    ok "the installed tbltool verifies the repertory" ||
    bad "the installed tbltool verify"
else
  bad "the installed mkdemo does not build the demo"
fi
version=$("$root/usr/bin/mantrel" --version || true)
grep -Eq '^mantrel [0-9]+\.[0-9]+\.[0-9]+$' <<<"$version" &&
  ok "the installed mantrel gives its version" || bad "mantrel --version"

# cmake --install puts the same things in the same places.
inst=$(mktemp -d /tmp/mantrel-install-XXXXXX)
DESTDIR="$inst" cmake --install "$build" --prefix /usr >/dev/null
missing=$(cd "$root" && find usr -type f | while read -r f; do
  [ -e "$inst/$f" ] || echo "$f"; done)
rm -rf "$inst"
[ -z "$missing" ] && ok "cmake --install lays out what the package holds" ||
  bad "cmake --install lacks: $missing"

[ $fail -eq 0 ] && echo "the package passed" || echo "the package failed"
exit $fail
