#!/usr/bin/env bash
# The long kill test: "mantrel /RUN" on a copy of the demo installation,
# killed with SIGKILL at hundreds of random moments. After each kill every
# table must pass "tbltool check" and the repertory "tbltool verify" with no
# rebuild by hand, and running the rest of the log must leave every table,
# counters included, as an uninterrupted run does ("tbltool dump"). Then the
# same kills of a renumbering in the middle of a block. The test suite runs
# the same tests with a few dozen kills.
#
#   scripts/killtest.sh [ROUNDS] [BUILD-FOLDER]      (defaults: 300, build)
set -euo pipefail
rounds=${1:-300}
build=${2:-build}
top=$(cd "$(dirname "$0")/.." && pwd)
tests="$top/$build/bin/mantrel_tests"
if [ ! -x "$tests" ]; then
  echo "killtest: $tests is not built (cmake --build $build)" >&2
  exit 1
fi
echo "killtest: $rounds kills of mantrel /RUN on the demo, and of a"
echo "renumbering of a block of 1,200 symptoms"
MANTREL_KILL_ROUNDS=$rounds exec "$tests" \
  --gtest_filter='KillTest.EveryKillLeavesTablesThatCheckAndResumeToTheSameEnd:RenumberKillTest.AKillLeavesTheBlockAsItWasOrDone'
