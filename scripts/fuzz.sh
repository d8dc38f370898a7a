#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (build-fuzz/, ASan + UBSan) and runs
# each for as long as asked on its seed corpus.
#
#   scripts/fuzz.sh [TARGET|all] [SECONDS]      (default: all, 60 s each)
#
# TARGET is a name under fuzz/corpus/ (settings_conversion, modem_wire, ...);
# its binary is build-fuzz/fuzz/<TARGET>_fuzz. Extra libFuzzer flags of a
# target live in fuzz/<TARGET>.options. New corpus inputs and findings go to a
# scratch folder (FUZZ_WORK, default a new folder under /tmp), never into the
# repository; it is removed after a clean run unless FUZZ_KEEP=1, and kept
# (its path printed) when something was found. FUZZ_BUILD_DIR names another
# build tree than build-fuzz/. Exit status 1 on any finding:
# a crash, a sanitizer report, a leak, a time-out or an out-of-memory.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
which=${1:-all}
seconds=${2:-60}
dir=${FUZZ_BUILD_DIR:-build-fuzz}

targets=()
for corpus in fuzz/corpus/*/; do
  targets+=("$(basename "$corpus")")
done
if [ "$which" != all ]; then
  which=${which%_fuzz}
  if [ ! -d "fuzz/corpus/$which" ]; then
    echo "fuzz: no target '$which' (one of: ${targets[*]})" >&2
    exit 2
  fi
  targets=("$which")
fi

scripts/setup.sh  # clang and the libFuzzer runtime, if missing
CC=clang CXX=clang++ cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DIMSRCS_BUILD_FUZZ=ON -DIMSRCS_BUILD_TESTS=OFF -DIMSRCS_BUILD_BENCH=OFF >/dev/null
build_targets=()
for t in "${targets[@]}"; do build_targets+=("${t}_fuzz"); done
cmake --build "$dir" -j "$(nproc)" --target "${build_targets[@]}" | grep -vE '^\[[0-9]+/[0-9]+\] ' || true
for t in "${targets[@]}"; do
  [ -x "$dir/fuzz/${t}_fuzz" ] || { echo "fuzz: ${t}_fuzz was not built" >&2; exit 1; }
done

work=${FUZZ_WORK:-$(mktemp -d /tmp/imsrcs-fuzz.XXXXXX)}
mkdir -p "$work"
export LSAN_OPTIONS=${LSAN_OPTIONS:-suppressions=$root/tests/lsan.supp:print_suppressions=0}

# One target's run; its exit status goes to $work/$t/status.
run_target() {
  local t=$1 options=() status=0
  mkdir -p "$work/$t/corpus" "$work/$t/findings"
  if [ -f "fuzz/$t.options" ]; then read -r -a options < "fuzz/$t.options"; fi
  # Run from the scratch folder: nothing a target writes lands in the tree.
  (cd "$work/$t" && "$root/$dir/fuzz/${t}_fuzz" -max_total_time="$seconds" -timeout=30 \
      -print_final_stats=1 -artifact_prefix="$work/$t/findings/" "${options[@]}" \
      "$work/$t/corpus" "$root/fuzz/corpus/$t") >"$work/$t/fuzz.log" 2>&1 || status=$?
  echo "$status" >"$work/$t/status"
}

# As many targets at a time as the machine has cores: each still gets one
# core for its whole time.
running=0
for t in "${targets[@]}"; do
  if [ "$running" -ge "$(nproc)" ]; then
    wait -n || true
    running=$((running - 1))
  fi
  run_target "$t" &
  running=$((running + 1))
done
wait

failed=()
for t in "${targets[@]}"; do
  log="$work/$t/fuzz.log"
  status=$(cat "$work/$t/status" 2>/dev/null || echo 1)
  # The last status line has the coverage; the final statistics the rest.
  last=$(grep -E '^#[0-9]+' "$log" | tail -n 1 || true)
  stat() { grep -E "^stat::$1:" "$log" | awk '{print $2}' || true; }
  cov=$(sed -nE 's/.* cov: ([0-9]+).*/\1/p' <<<"$last")
  ft=$(sed -nE 's/.* ft: ([0-9]+).*/\1/p' <<<"$last")
  corp=$(sed -nE 's/.* corp: ([0-9]+\/[0-9]+[a-zA-Z]*).*/\1/p' <<<"$last")
  findings=$(find "$work/$t/findings" -type f | wc -l)
  printf '%s: %s runs, %s exec/s, cov %s ft %s, corpus %s, peak RSS %s MB, findings %s\n' \
      "$t" "$(stat number_of_executed_units)" "$(stat average_exec_per_sec)" "${cov:-?}" "${ft:-?}" \
      "${corp:-?}" "$(stat peak_rss_mb)" "$findings"
  if [ "$status" -ne 0 ] || [ "$findings" -ne 0 ]; then
    tail -n 60 "$log"
    echo "fuzz: ${t}_fuzz failed (exit $status); log and findings in $work/$t" >&2
    failed+=("$t")
  fi
done

if [ ${#failed[@]} -ne 0 ]; then
  echo "fuzz: findings in ${failed[*]}; kept in $work" >&2
  exit 1
fi
if [ "${FUZZ_KEEP:-0}" = 1 ]; then
  echo "fuzz: new corpus inputs and logs kept in $work"
else
  rm -rf "$work"
fi
