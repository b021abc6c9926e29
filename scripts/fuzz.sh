#!/usr/bin/env bash
# Builds the libFuzzer targets of tests/fuzz with clang in build-fuzz/ and
# runs each for SECONDS (default 30) on a copy of its seed corpus.
# A crash, a hang or a sanitizer report fails the script.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
only=${2:-}
if ! command -v clang++ >/dev/null; then
  echo "fuzz: clang++ is not installed; nothing fuzzed" >&2
  exit 0
fi
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DMANTREL_FUZZ=ON \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
# Only the targets: the rest of the tree needs no fuzzing build. Two jobs,
# as the machine is shared.
targets=$(ls tests/fuzz/fuzz_*.cpp 2>/dev/null | sed 's|.*/||; s|\.cpp$||' | tr '\n' ' ')
if [ -z "$targets" ]; then
  echo "fuzz: no targets in tests/fuzz" >&2
  exit 0
fi
# shellcheck disable=SC2086
cmake --build build-fuzz -j 2 --target $targets
status=0
for exe in build-fuzz/bin/fuzz_*; do
  [ -x "$exe" ] || continue
  name=$(basename "$exe")
  name=${name#fuzz_}
  [ -n "$only" ] && [ "$only" != "$name" ] && continue
  work=$(mktemp -d)
  [ -d "tests/fuzz/corpus/$name" ] && cp -r "tests/fuzz/corpus/$name/." "$work/"
  echo "fuzz: $name for ${seconds}s"
  if ! (cd "$work" && "$OLDPWD/$exe" -max_total_time="$seconds" -timeout=10 \
      -rss_limit_mb=2048 -print_final_stats=1 "$work" >"$work.log" 2>&1); then
    echo "fuzz: $name FAILED"; tail -n 40 "$work.log"; status=1
  else
    grep -E 'stat::number_of_executed_units|Done' "$work.log" | tail -n 2
  fi
  rm -rf "$work" "$work.log"
done
exit $status
