#!/usr/bin/env bash
# The main job on the demo installation. Until the demo builder and the log
# run exist, it lays out a bare installation (bin and the message table) and
# runs the start-up of the program in it, with no one watching.
set -euo pipefail
build=${1:-build}
top=$(cd "$(dirname "$0")/.." && pwd)
bin="$top/$build/bin"
demo="$top/demo"
rm -rf "$demo"
mkdir -p "$demo/bin" "$demo/system" "$demo/log"
"$bin/mkmsg" "$demo/system/orvixmsg" "$top"/data/messages/{en,fr,de}.txt
cd "$demo/bin"
echo "== mantrel, started in $demo/bin"
MANTREL_UI=scripted "$bin/mantrel" || true
echo "== files of the installation"
(cd "$demo" && find . -type f | sort)
