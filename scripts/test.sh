#!/usr/bin/env bash
# Sets up a fresh Debian machine if needed, then builds and runs the whole test
# suite three times: a normal build, a build under AddressSanitizer with
# UndefinedBehaviorSanitizer, and a build under ThreadSanitizer. Further checks
# live in scripts/checks/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

jobs=$(nproc)

# A test passes on its own exit status, but a process it starts (the service,
# mcx-modemd, a peer) reports a sanitizer finding only on its stderr, which the
# test may not look at. Any report in a tree's test log fails the run.
no_reports() {
  local log=$1/Testing/Temporary/LastTest.log pattern=$2
  if grep -nE "$pattern" "$log" >/dev/null; then
    grep -nE -B2 -A30 "$pattern" "$log" | head -n 120
    echo "a sanitizer report in $log (from a test or a process it started)" >&2
    exit 1
  fi
}

echo "== release build"
scripts/build.sh release
(cd build && ctest -j "$jobs" --output-on-failure)

echo "== sanitizer build (ASan + UBSan)"
scripts/build.sh asan
# The sanitizer options (leak suppressions included) come with the build tree.
(cd build-asan && ctest -j "$jobs" --output-on-failure)
no_reports build-asan 'ERROR: (Address|Leak)Sanitizer|runtime error:'

echo "== thread sanitizer build (TSan)"
scripts/build.sh tsan
# Options and tests/tsan.supp come with the build tree, as for build-asan.
(cd build-tsan && ctest -j "$jobs" --output-on-failure)
no_reports build-tsan 'WARNING: ThreadSanitizer'

for check in scripts/checks/*.sh; do
  [ -e "$check" ] || continue
  echo "== $(basename "$check" .sh)"
  bash "$check"
done
echo "all tests passed"
