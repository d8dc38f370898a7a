#!/usr/bin/env bash
# Runs the HAL tests as on a device: the service executable in a process of
# its own, registered in a registry folder nobody else uses, and the test
# binary as a separate client of it; then stops the service as init does
# (SIGTERM) and fails unless it stopped cleanly.
#   run_with_service.sh SERVICE TESTS [gtest options...]
set -uo pipefail
service=$1 tests=$2
shift 2
work=$(mktemp -d "${TMPDIR:-/tmp}/imsrcs-vts.XXXXXX")
trap 'kill -KILL "$pid" 2>/dev/null; rm -rf "$work"' EXIT
export IMSRCS_HIDL_REGISTRY=$work/registry

"$service" --registry "$IMSRCS_HIDL_REGISTRY" 2>"$work/service.log" &
pid=$!
for _ in $(seq 200); do
  grep -q "serving in registry" "$work/service.log" && break
  kill -0 "$pid" 2>/dev/null || break
  sleep 0.1
done
if ! grep -q "serving in registry" "$work/service.log"; then
  echo "run_with_service: the service did not come up; its log:" >&2
  cat "$work/service.log" >&2
  exit 1
fi

"$tests" "$@"
status=$?

kill -TERM "$pid"
wait "$pid"
stopped=$?
if [ "$stopped" -ne 0 ]; then
  echo "run_with_service: the service ended with status $stopped on SIGTERM; its log:" >&2
  tail -n 40 "$work/service.log" >&2
  [ "$status" -eq 0 ] && status=1
fi
exit "$status"
