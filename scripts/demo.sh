#!/usr/bin/env bash
# The main job. Until the demo installation exists, it runs the start-up on
# a fresh bin folder and shows what the program wrote there.
set -euo pipefail
build=${1:-build}
top=$(cd "$(dirname "$0")/.." && pwd)
demo="$top/demo"
rm -rf "$demo"
mkdir -p "$demo/bin"
cd "$demo/bin"
MANTREL_UI=console "$top/$build/bin/mantrel" </dev/null || true
ls -l "$demo/bin"
