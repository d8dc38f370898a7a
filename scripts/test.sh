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
  stop_background_fuzz
  echo "phase times:"
  for i in "${!phase_names[@]}"; do
    printf '  %-36s %5d s\n' "${phase_names[$i]}" "${phase_seconds[$i]}"
  done
  if [ -n "${fuzz_seconds:-}" ]; then
    printf '  %-36s %5d s  (in the background from the TSan tests on)\n' "fuzz, build and runs" "$fuzz_seconds"
  fi
  printf '  %-36s %5d s\n' total "$SECONDS"
  return $status
}
trap print_phases EXIT

# The fuzz check (scripts/checks/fuzz.sh) builds its tree and runs each target
# for a fixed time, all on the CPU. The tests from the TSan tests on mostly
# wait, so it runs beside them in a process group of its own at the lowest
# priority: the tests keep the CPU they ask for, the fuzzers take the rest.
fuzz_pid=
fuzz_log=
start_background_fuzz() {
  fuzz_log=$(mktemp /tmp/imsrcs-test-fuzz.XXXXXX)
  fuzz_started=$SECONDS
  setsid nice -n 19 bash scripts/checks/fuzz.sh >"$fuzz_log" 2>&1 &
  fuzz_pid=$!
}
# Waits for it and shows what it printed; its exit status.
finish_background_fuzz() {
  local status=0
  wait "$fuzz_pid" || status=$?
  fuzz_pid=
  fuzz_seconds=$((SECONDS - fuzz_started))
  cat "$fuzz_log"
  rm -f "$fuzz_log"
  return $status
}
# A run that fails before the fuzz check ends stops it.
stop_background_fuzz() {
  if [ -n "$fuzz_pid" ]; then
    kill -- "-$fuzz_pid" 2>/dev/null || true
    wait "$fuzz_pid" 2>/dev/null || true
    rm -f "$fuzz_log"
  fi
}

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
start_background_fuzz
phase "thread sanitizer tests (TSan)"
# Options and tests/tsan.supp come with the build tree, as for build-asan.
(cd build-tsan && ctest -j "$test_jobs" --output-on-failure)
no_reports build-tsan 'WARNING: ThreadSanitizer'

for check in scripts/checks/*.sh; do
  [ -e "$check" ] || continue
  [ "$check" != scripts/checks/fuzz.sh ] || continue  # runs in the background
  phase "$(basename "$check" .sh)"
  bash "$check"
done
phase "fuzz (the rest of its time)"
finish_background_fuzz
end_phase
echo "all tests passed"
