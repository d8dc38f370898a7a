#!/usr/bin/env bash
# Runs the HAL tests as on a device: the service executable in a process of
# its own, registered in a registry folder nobody else uses, and the test
# binary as a separate client of it; then stops the service as init does
# (SIGTERM) and fails unless it stopped cleanly. With --modem-daemon the
# modem is mcx-modemd, a third process, instead of the embedded emulator.
# With --provision, RCSCONFIGCTL runs SCRIPT against the service first, as an
# operator's provisioning fills a device's modem.
#   run_with_service.sh [--modem-daemon MCX_MODEMD] [--provision RCSCONFIGCTL SCRIPT]
#                       SERVICE TESTS [gtest options...]
set -uo pipefail
modemd= ctl= provision=
while true; do
  case "${1:-}" in
    --modem-daemon) modemd=$2; shift 2 ;;
    --provision) ctl=$2 provision=$3; shift 3 ;;
    *) break ;;
  esac
done
service=$1 tests=$2
shift 2
work=$(mktemp -d "${TMPDIR:-/tmp}/imsrcs-vts.XXXXXX")
pids=()
trap 'for p in "${pids[@]}"; do kill -KILL "$p" 2>/dev/null; done; rm -rf "$work"' EXIT
export IMSRCS_HIDL_REGISTRY=$work/registry

# Waits up to 20 s for TEXT in FILE while process PID lives.
wait_for_line() {
  local text=$1 file=$2 pid=$3
  for _ in $(seq 200); do
    grep -q "$text" "$file" 2>/dev/null && return 0
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.1
  done
  grep -q "$text" "$file" 2>/dev/null && return 0
  echo "run_with_service: no \"$text\" from $(basename "$file" .log); its log:" >&2
  cat "$file" >&2
  return 1
}

modem_args=()
if [ -n "$modemd" ]; then
  "$modemd" --socket "$work/modem.sock" >"$work/modem.log" 2>&1 &
  pids+=($!)
  wait_for_line ready "$work/modem.log" "${pids[-1]}" || exit 1
  modem_args=(--modem-socket "$work/modem.sock")
fi

"$service" "${modem_args[@]}" --registry "$IMSRCS_HIDL_REGISTRY" 2>"$work/service.log" &
pid=$!
pids+=("$pid")
wait_for_line "serving in registry" "$work/service.log" "$pid" || exit 1

if [ -n "$provision" ] && ! "$ctl" --service --registry "$IMSRCS_HIDL_REGISTRY" --script "$provision" >"$work/provision.log" 2>&1; then
  echo "run_with_service: provisioning with $(basename "$provision") failed:" >&2
  cat "$work/provision.log" >&2
  exit 1
fi

"$tests" "$@"
status=$?

kill -TERM "$pid"
wait "$pid"
stopped=$?
if [ "$stopped" -ne 0 ]; then
  echo "run_with_service: the service ended with status $stopped on SIGTERM; its log:" >&2
  # A sanitizer report is shown whole (its first frames say where); else the log's end.
  if grep -q "ERROR: AddressSanitizer\|WARNING: ThreadSanitizer" "$work/service.log"; then
    sed -n '/ERROR: AddressSanitizer\|WARNING: ThreadSanitizer/,$p' "$work/service.log" >&2
  else
    tail -n 40 "$work/service.log" >&2
  fi
  [ "$status" -eq 0 ] && status=1
fi
exit "$status"
