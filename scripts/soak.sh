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
#
# With --processes the modem, the service and the clients each run in a
# process of their own and are killed with SIGKILL instead
# (tools/soak/soak-processes.sh):
#   scripts/soak.sh --processes [K] [--service-kills N] [--modem-kills N]
# K clients killed mid-session (default 100), then the service and then
# mcx-modemd killed under an attached client (N times each, default 5).
set -euo pipefail
cd "$(dirname "$0")/.."

usage() {
  cat <<'USAGE'
usage: scripts/soak.sh [--daemon] [RCS-SOAK OPTIONS...]
       scripts/soak.sh --processes [K] [--service-kills N] [--modem-kills N]
Builds what the run needs in build/ and runs it niced; the figures end with a
verdict line, and the exit status is 0 only when it reads PASS.
  --daemon            the modem in mcx-modemd, killed with SIGKILL and started
                      again at each restart (default: the embedded emulator,
                      its services taken down and up)
  --processes [K]     the modem, the service and the clients each in a process
                      of its own, killed with SIGKILL: K clients mid-session
                      (default 100), then the service and then mcx-modemd
                      under an attached client
  --service-kills N   with --processes: how many service kills (default 5)
  --modem-kills N     with --processes: how many mcx-modemd kills (default 5)
  --help              this text
Every other option goes to rcs-soak:
USAGE
  if [ -x build/rcs-soak ]; then
    build/rcs-soak --help | sed 's/^/  /'
  else
    echo "  (build/rcs-soak --help lists them once built: scripts/build.sh release rcs-soak)"
  fi
}

args=()
daemon=0 processes=0
while [ $# -gt 0 ]; do
  case $1 in
    --help|-h) usage; exit 0 ;;
    --daemon) daemon=1 ;;
    --processes)
      processes=1
      if [[ ${2:-} =~ ^[0-9]+$ ]]; then args+=(--clients "$2"); shift; fi
      ;;
    *) args+=("$1") ;;
  esac
  shift
done

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
if ((processes)); then
  nice cmake --build build -j "$(nproc)" --target rcsconfigctl rcs_config_service mcx-modemd >/dev/null
  exec nice tools/soak/soak-processes.sh build "${args[@]}"
fi
nice cmake --build build -j "$(nproc)" --target rcs-soak mcx-modemd >/dev/null

if ((daemon)); then
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  args+=(--modemd build/emulator/mcx-modemd --modem-socket "$work/modem.sock")
fi
nice build/rcs-soak "${args[@]}"
