#!/usr/bin/env bash
# Soak and load: builds the release tree's rcs-soak (and mcx-modemd) and runs
# it niced, printing its figures. Every argument goes to rcs-soak:
#   scripts/soak.sh                                   1,000 restarts, 100,000 requests, embedded modem
#   scripts/soak.sh --restarts 50 --requests 5000     a short run
#   scripts/soak.sh --daemon [...]                    the modem in mcx-modemd, killed with SIGKILL
#                                                     and started again at each restart
#   scripts/soak.sh --time-limit 600 [...]            stop after ten minutes whatever the counts
# Exit status: rcs-soak's (0: nothing unanswered, no crash, no growth beyond
# what the service keeps by design; 1 otherwise; 2 bad options).
set -euo pipefail
cd "$(dirname "$0")/.."

args=()
daemon=0
for a in "$@"; do
  if [ "$a" = "--daemon" ]; then daemon=1; else args+=("$a"); fi
done

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
nice cmake --build build -j "$(nproc)" --target rcs-soak mcx-modemd >/dev/null

if ((daemon)); then
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  args+=(--modemd build/emulator/mcx-modemd --modem-socket "$work/modem.sock")
fi
nice build/rcs-soak "${args[@]}"
