#!/usr/bin/env bash
# Sets up a fresh Debian machine if needed, then builds and runs the whole test
# suite three times: a normal build, a build under AddressSanitizer with
# UndefinedBehaviorSanitizer, and a build under ThreadSanitizer. Further checks
# live in scripts/checks/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

jobs=$(nproc)

echo "== release build"
scripts/build.sh release
(cd build && ctest -j "$jobs" --output-on-failure)

echo "== sanitizer build (ASan + UBSan)"
scripts/build.sh asan
# The sanitizer options (leak suppressions included) come with the build tree.
(cd build-asan && ctest -j "$jobs" --output-on-failure)

echo "== thread sanitizer build (TSan)"
scripts/build.sh tsan
# Options and tests/tsan.supp come with the build tree, as for build-asan.
(cd build-tsan && ctest -j "$jobs" --output-on-failure)

for check in scripts/checks/*.sh; do
  [ -e "$check" ] || continue
  echo "== $(basename "$check" .sh)"
  bash "$check"
done
echo "all tests passed"
