#!/usr/bin/env bash
# Sets up a fresh Debian machine if needed, then builds and runs the whole test
# suite three times: a normal build, a build under AddressSanitizer with
# UndefinedBehaviorSanitizer, and a build under ThreadSanitizer. Further checks
# live in scripts/checks/. Ends with the time each phase took.
set -euo pipefail
cd "$(dirname "$0")/.."

# Phase times, printed last whether the run passes or fails.
phase_names=()
phase_seconds=()
phase_started=$SECONDS
phase() {
  end_phase
  current_phase=$1
  phase_started=$SECONDS
  echo "== $1"
}
end_phase() {
  if [ -n "${current_phase:-}" ]; then
    phase_names+=("$current_phase")
    phase_seconds+=($((SECONDS - phase_started)))
  fi
  current_phase=
}
print_phases() {
  local status=$?
  end_phase
  echo "phase times:"
  for i in "${!phase_names[@]}"; do
    printf '  %-36s %5d s\n' "${phase_names[$i]}" "${phase_seconds[$i]}"
  done
  printf '  %-36s %5d s\n' total "$SECONDS"
  return $status
}
trap print_phases EXIT

phase "set-up"
scripts/setup.sh

jobs=$(nproc)
# The tests mostly wait (for processes to start, for sockets, for the loop
# thread): ctest -j2 keeps a 2-core machine less than half busy in the
# release tree. Twice as many tests as cores at a time keeps it busy without
# starving any test; TEST_JOBS overrides it.
test_jobs=${TEST_JOBS:-$((2 * jobs))}

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

phase "release build"
scripts/build.sh release
phase "release tests"
(cd build && ctest -j "$test_jobs" --output-on-failure)

phase "sanitizer build (ASan + UBSan)"
scripts/build.sh asan
phase "sanitizer tests (ASan + UBSan)"
# The sanitizer options (leak suppressions included) come with the build tree.
(cd build-asan && ctest -j "$test_jobs" --output-on-failure)
no_reports build-asan 'ERROR: (Address|Leak)Sanitizer|runtime error:'

phase "thread sanitizer build (TSan)"
scripts/build.sh tsan
phase "thread sanitizer tests (TSan)"
# Options and tests/tsan.supp come with the build tree, as for build-asan.
(cd build-tsan && ctest -j "$test_jobs" --output-on-failure)
no_reports build-tsan 'WARNING: ThreadSanitizer'

for check in scripts/checks/*.sh; do
  [ -e "$check" ] || continue
  phase "$(basename "$check" .sh)"
  bash "$check"
done
end_phase
echo "all tests passed"
