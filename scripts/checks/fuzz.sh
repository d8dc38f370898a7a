#!/usr/bin/env bash
# Builds the settings-conversion fuzzer with clang (build-fuzz/) and runs it
# for a short while on its seed corpus under ASan and UBSan. A crash, a
# sanitizer report or an unsuppressed leak fails the check.
#   FUZZ_SECONDS=300 scripts/checks/fuzz.sh   for a longer run
set -euo pipefail
cd "$(dirname "$0")/../.."
dir=build-fuzz
CC=clang CXX=clang++ cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DIMSRCS_BUILD_FUZZ=ON -DIMSRCS_BUILD_TESTS=OFF -DIMSRCS_BUILD_BENCH=OFF >/dev/null
cmake --build "$dir" -j "$(nproc)" --target settings_conversion_fuzz hidl_frame_fuzz

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LSAN_OPTIONS=suppressions=$PWD/tests/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
# New inputs go to the scratch directory; the seed corpus in the tree stays as committed.
if ! "$dir/fuzz/settings_conversion_fuzz" -max_total_time="${FUZZ_SECONDS:-45}" \
        -print_final_stats=1 "$work" fuzz/corpus/settings_conversion >"$work/fuzz.log" 2>&1; then
  tail -n 60 "$work/fuzz.log"
  echo "fuzz: settings_conversion_fuzz failed" >&2
  exit 1
fi
grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb)|^#[0-9]+ *DONE' "$work/fuzz.log" || true

# The host HIDL frame decoder and stub unmarshalling (fuzz/HidlFrame_fuzz.cpp).
mkdir -p "$work/hidl_frame"
if ! "$dir/fuzz/hidl_frame_fuzz" -max_total_time="${FUZZ_SECONDS:-45}" \
        -print_final_stats=1 "$work/hidl_frame" fuzz/corpus/hidl_frame >"$work/hidl_fuzz.log" 2>&1; then
  tail -n 60 "$work/hidl_fuzz.log"
  echo "fuzz: hidl_frame_fuzz failed" >&2
  exit 1
fi
grep -E '^(stat::number_of_executed_units|stat::peak_rss_mb)|^#[0-9]+ *DONE' "$work/hidl_fuzz.log" || true
