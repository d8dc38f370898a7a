#!/usr/bin/env bash
# A short soak (100 modem restarts, 10,000 requests, a few seconds): fails on
# an unanswered request, a restart the service missed, a descriptor or thread
# that stays, or heap growth beyond what the service keeps by design.
# scripts/soak.sh runs the long one.
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
