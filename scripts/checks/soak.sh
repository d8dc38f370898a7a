#!/usr/bin/env bash
# A short soak (100 modem restarts, 10,000 requests, a few seconds): fails on
# an unanswered request, a restart the service missed, a descriptor or thread
# that stays, or heap growth beyond what the service keeps by design. Then a
# short process phase: 10 clients killed with SIGKILL at random moments (during
# creations and calls too), each kill followed by a fresh client that must be
# served, then the service and mcx-modemd killed once each under an attached
# client.
# scripts/soak.sh runs the long ones.
set -euo pipefail
cd "$(dirname "$0")/../.."
out=$(mktemp)
trap 'rm -f "$out"' EXIT
if ! scripts/soak.sh --restarts 100 --requests 10000 --time-limit 300 >"$out" 2>&1; then
  cat "$out"
  echo "soak: the short soak failed" >&2
  exit 1
fi
grep -E '^run:|unanswered|^verdict' "$out"
if ! scripts/soak.sh --processes 10 --service-kills 1 --modem-kills 1 >"$out" 2>&1; then
  cat "$out"
  echo "soak: the short process phase failed" >&2
  exit 1
fi
grep -E 'killed mid-session|fresh client|must not grow|deaths reported|^verdict' "$out"
