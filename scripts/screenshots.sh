#!/usr/bin/env bash
# Makes the screenshots of docs/screenshots from a scripted session of the
# desktop window: builds the Qt backend's tests and runs their screenshot
# cases, on an Xvfb display when xvfb-run is there (the X platform, as a
# person's desktop has it), else on Qt's offscreen platform.
#   scripts/screenshots.sh [build-folder] [output-folder]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
out=${2:-docs/screenshots}
mkdir -p "$out"
out=$(cd "$out" && pwd)

cmake -S . -B "$build" -G Ninja >/dev/null
cmake --build "$build" --target mantrel_gui_tests
tests="$build/bin/mantrel_gui_tests"
if [ ! -x "$tests" ]; then
  echo "screenshots: no Qt 6 found, so there is no desktop window to show" >&2
  exit 1
fi

export MANTREL_SHOT_DIR="$out"
export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$(mktemp -d)}
if command -v xvfb-run >/dev/null 2>&1; then
  QT_QPA_PLATFORM=xcb xvfb-run -a -s "-screen 0 1024x768x24 -dpi 96" \
    "$tests" --gtest_filter='GuiShots.*:DemoShots.*:BackupWindows.*'
else
  QT_QPA_PLATFORM=offscreen "$tests" --gtest_filter='GuiShots.*:DemoShots.*:BackupWindows.*'
fi
echo "screenshots written to $out:"
ls "$out"
