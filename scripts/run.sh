#!/usr/bin/env bash
# The main job: sets up a fresh Debian machine if needed, builds the release
# tree and runs what the system offers so far. Until the service host exists
# that is the event-loop benchmark in its short mode (a few seconds); pass
# --full for the complete measurement, or Google Benchmark options through.
#   scripts/run.sh [--full] [benchmark options...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh release

args=(--short)
if [[ "${1:-}" == "--full" ]]; then
  args=()
  shift
fi
echo "== event loop benchmark (build/bench/loop_bench ${args[*]} $*)"
exec build/bench/loop_bench "${args[@]}" "$@"
