#!/usr/bin/env bash
# The main job on the demo installation: build it fresh with mkdemo, run the
# sample log on it with no one watching, then show where the reports are and
# print the statistics of the run. A second call gives the same result,
# since the installation is built anew each time.
set -euo pipefail
build=${1:-build}
top=$(cd "$(dirname "$0")/.." && pwd)
bin="$top/$build/bin"
demo="$top/demo"
if [ ! -x "$bin/mkdemo" ]; then
  echo "demo: $bin/mkdemo is not built; the demo installation needs it" >&2
  exit 1
fi
"$bin/mkdemo" --sources "$top/data/demo" "$demo"
cd "$demo/bin"
echo "== mantrel /RUN ..\\log\\sample 1, in $demo/bin"
# No viewer opens a report while no one watches.
MANTREL_UI=scripted MANTREL_VIEWER=true "$bin/mantrel" /RUN '..\log\sample' 1 || true
echo "== reports of the run, in $demo/log"
for f in sample.edt sample.err sample.txt sample.rpt; do
  if [ -f "$demo/log/$f" ]; then
    printf '  %-12s %6d lines\n' "$f" "$(wc -l < "$demo/log/$f")"
  else
    printf '  %-12s missing\n' "$f"
  fi
done
[ -f "$demo/log/done/sample.dat" ] && echo "  the log moved to $demo/log/done"
# Every run first copies the repertory and the log into a dated folder,
# through the copy program (bin/backup/orvcopy); its report says what went.
latest=$(ls -1d "$demo"/backup/[0-9]*_[0-9]* 2>/dev/null | tail -n 1 || true)
if [ -n "$latest" ]; then
  echo "== silent backup before the run: $latest ($(find "$latest" -type f | wc -l) files)"
  [ -f "$demo/bin/backup/backup.rpt" ] && sed 's/^/  /' "$demo/bin/backup/backup.rpt"
else
  echo "== no silent backup was made before the run"
fi
echo "== statistics ($demo/log/sample.rpt)"
iconv -f CP1252 -t UTF-8 "$demo/log/sample.rpt" 2>/dev/null || cat "$demo/log/sample.rpt"
if [ -x "$bin/tbltool" ]; then
  echo "== tbltool verify ..\\data\\salm2009"
  "$bin/tbltool" verify '..\data\salm2009' || true
fi
# The 2012 edition writes its references in the second style: a small log
# of reference changes on it, run from the Update menu by a scripted
# session (a batch run takes only the 2009 editions): the repertory's row,
# "Update repertory from another log file", the log, both backups off, no
# comment, all entries, Cancel to the reports, and the menu's exit.
echo "== Update menu: ..\\log\\sample2012 on Almanacum 2012"
script="$demo/log/sample2012.script"
printf 'select 5 1\nclick 1\nmenu 1033\nfile %s\nclick 4\nclick 5\nclick 1\ntext\ntext\nanswer 2\nexit\n' \
  "$demo/log/sample2012.dat" >"$script"
MANTREL_UI=scripted MANTREL_VIEWER=true MANTREL_SCRIPT="$script" "$bin/mantrel" </dev/null || true
for f in sample2012.edt sample2012.err; do
  [ -f "$demo/log/$f" ] && printf '  %-16s %6d lines\n' "$f" "$(wc -l < "$demo/log/$f")"
done
if [ -x "$bin/tbltool" ]; then
  echo "== tbltool verify ..\\data\\salm2012"
  "$bin/tbltool" verify '..\data\salm2012' || true
fi
