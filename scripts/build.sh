#!/usr/bin/env bash
# Configures and builds one flavour of the host tree, or only the given
# targets of it.
#   scripts/build.sh [release|asan|tsan] [TARGET...]   -> build/, build-asan/ or build-tsan/
set -euo pipefail
cd "$(dirname "$0")/.."
flavour=${1:-release}
(($#)) && shift
case "$flavour" in
  release) dir=build;      extra=(-DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
  asan)    dir=build-asan; extra=(-DCMAKE_BUILD_TYPE=Debug -DIMSRCS_SANITIZE=ON -DIMSRCS_BUILD_BENCH=OFF) ;;
  tsan)    dir=build-tsan; extra=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DIMSRCS_TSAN=ON -DIMSRCS_BUILD_BENCH=OFF) ;;
  *) echo "unknown flavour: $flavour" >&2; exit 2 ;;
esac
# The thread-sanitizer tree is built with clang, so the same build also checks
# the lock annotations (-Wthread-safety is an error there, as every warning).
# A tree configured earlier with another compiler is started afresh.
if [ "$flavour" = tsan ]; then
  export CC=clang CXX=clang++
  if [ -f "$dir/CMakeCache.txt" ] && ! grep -q '^CMAKE_CXX_COMPILER:[A-Z]*=.*clang++' "$dir/CMakeCache.txt"; then
    rm -rf "$dir"
  fi
fi
cmake -S . -B "$dir" -G Ninja "${extra[@]}" >/dev/null
targets=()
(($#)) && targets=(--target "$@")
cmake --build "$dir" -j "$(nproc)" "${targets[@]}"
