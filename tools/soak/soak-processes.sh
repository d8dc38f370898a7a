#!/usr/bin/env bash
# Process kills, each party in a process of its own: mcx-modemd, the service
# executable, and rcsconfigctl --service clients. Run by `scripts/soak.sh
# --processes`, which builds the programs first:
#   tools/soak/soak-processes.sh BUILD_DIR [--clients K] [--service-kills N] [--modem-kills N]
# 1. K clients, one after another, each killed with SIGKILL at a random moment
#    of its session (gzip and plain uploads, writes, reads, a watch) while a
#    witness client stays attached throughout. Afterwards the service's
#    listeners, descriptors and threads must be back where they were, the
#    witness still served, and the RSS growth per killed client is printed.
# 2. N times the service killed with SIGKILL in the middle of the witness's
#    commands: the witness must report the death, wait, reconnect once the
#    service is started again and registered, and carry on.
# 3. N times mcx-modemd killed with SIGKILL and started again under the
#    service: the witness's listener hears the reconfiguration, new objects
#    are served, and the service's descriptors and threads come back.
# Every wait polls a condition with a bounded time-out. Exit status 0 only
# when every check passed; the last line is the verdict. BUILD_DIR may be a
# sanitizer tree: any report in any process's output fails the run.
set -euo pipefail

build=${1:?usage: soak-processes.sh BUILD_DIR [--clients K] [--service-kills N] [--modem-kills N]}
shift
clients=100 serviceKills=5 modemKills=5
while [ $# -gt 0 ]; do
  case $1 in
    --clients) clients=$2; shift 2 ;;
    --service-kills) serviceKills=$2; shift 2 ;;
    --modem-kills) modemKills=$2; shift 2 ;;
    *) echo "soak-processes: unknown option $1" >&2; exit 2 ;;
  esac
done
for n in "$clients" "$serviceKills" "$modemKills"; do
  [[ $n =~ ^[0-9]+$ ]] || { echo "soak-processes: counts must be whole numbers" >&2; exit 2; }
done

root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$build" && pwd)
ctl=$build/rcsconfigctl
service=$build/service/vendor.kel.ims.rcsconfig-service
modemd=$build/emulator/mcx-modemd
work=$(mktemp -d)
export IMSRCS_HIDL_REGISTRY=$work/registry
mkdir -m 700 "$IMSRCS_HIDL_REGISTRY"
cp "$root/tools/rcsconfigctl/sessions/operator-autoconfig.xml" "$work/"
cd "$work"

modem= svc= witness= client=
failures=()
fail() { failures+=("$1"); echo "  FAILED: $1"; }

cleanup() {
  local status=$? p
  exec 7>&- 2>/dev/null || true
  for p in "$client" "$witness" "$svc" "$modem"; do
    [ -n "$p" ] && kill "$p" 2>/dev/null || true
  done
  for p in "$client" "$witness" "$svc" "$modem"; do
    [ -n "$p" ] && wait "$p" 2>/dev/null || true
  done
  if [ "$status" -ne 0 ] || [ -n "${SOAK_KEEP_WORK:-}" ]; then
    echo "soak-processes: every process's output is kept in $work"
  else
    rm -rf "$work"
  fi
}
trap cleanup EXIT
trap 'echo "verdict: FAIL (the script stopped at line $LINENO)"' ERR

# until SECONDS COMMAND...: polls COMMAND until it succeeds or SECONDS pass.
until_ok() {
  local end=$((SECONDS + $1))
  shift
  while ! "$@"; do
    [ "$SECONDS" -lt "$end" ] || return 1
    sleep 0.05
  done
}

# progress TEXT: a line on stderr while a phase runs, at most every 5 s.
lastProgress=$SECONDS
progress() {
  [ $((SECONDS - lastProgress)) -ge 5 ] || return 0
  lastProgress=$SECONDS
  echo "  ... $1 ($SECONDS s)" >&2
}

abort() {
  fail "$1"
  echo "verdict: FAIL (${failures[*]})"
  exit 1
}

start_modem() {
  : >"$work/modem.out"
  "$modemd" --socket "$work/modem.sock" >"$work/modem.out" 2>>"$work/modem.log" 7>&- &
  modem=$!
  until_ok 10 grep -q ready "$work/modem.out" || abort "mcx-modemd did not come up"
}

# Both factories (1.0 and 1.1) of the service started last are registered.
service_registered() { [ "$("$ctl" list-services 2>/dev/null | grep -c "IImsFactory/default  pid $svc\$")" -eq 2 ]; }

start_service() {
  "$service" --modem-socket "$work/modem.sock" 2>>"$work/service.log" 7>&- &
  svc=$!
  until_ok 30 service_registered || abort "the service (pid $svc) did not register"
}

# The witness: one client attached all along, fed command by command through
# a FIFO so that the script decides when it does what.
start_witness() {
  mkfifo "$work/witness.fifo"
  "$ctl" --service --keep-going --timeout 30 --script - <"$work/witness.fifo" >"$work/witness.out" 2>&1 &
  witness=$!
  exec 7>"$work/witness.fifo"
}
tell() { printf '%s\n' "$@" >&7; }
witness_has() { grep -qF -- "$1" "$work/witness.out"; }
# Waits until the witness printed LINE (an `echo` marker it was sent).
witness_reached() { until_ok "${2:-60}" grep -qxF -- "$1" "$work/witness.out"; }
# The witness's output from the line MARKER on.
witness_since() { awk -v m="$1" 'f || $0 == m { f = 1; print }' "$work/witness.out"; }
# True once the witness has reported the service's death since the line MARKER
# (read afresh on every try: the report may come after the first look).
witness_reported_death() {
  awk -v m="$1" '$0 == m { f = 1 } f && index($0, "died: waiting for it to be registered again") { found = 1 }
                 END { exit !found }' "$work/witness.out"
}

dump() { "$ctl" --service dump 2>/dev/null; }
listeners() { dump | awk '/^Listeners:/ { print $2 }'; }
service_objects() { dump | awk '/^Service objects:/ { print $3 }'; }
# "wrappers links": callback wrappers filed and callback death links held by
# all service objects, summed from the dump.
callback_counts() {
  dump | awk '
    function sum(   i, n) { n = 0; for (i = 1; i <= NF; i++) if ($i ~ /^[0-9]+,?$/) n += $i; return n }
    /^    callbacks filed:/ { w += sum() }
    /^    death links:/ { l += sum() }
    END { print w + 0, l + 0 }'
}
heap() { "$ctl" --service dump heap 2>/dev/null | awk '/^heap bytes in use:/ { print $5 }'; }
proc_field() { awk -v k="$1:" '$1 == k { print $2 }' "/proc/$svc/status"; }
descriptors() { ls "/proc/$svc/fd" | wc -l; }
# "threads descriptors" of the service process.
proc_figures() { echo "$(proc_field Threads) $(descriptors)"; }
# True once the service holds no more threads and descriptors than "$1 $2"
# and LISTENERS listeners ($3, empty: not checked).
settled_to() {
  local t f
  read -r t f < <(proc_figures)
  [ "$t" -le "$1" ] && [ "$f" -le "$2" ] || return 1
  [ -z "${3:-}" ] || [ "$(listeners)" = "$3" ]
}
# Figures once a client that just went has been dropped: the same reading
# twice in a row (a connection closing is undone on the service's threads).
steady_figures() {
  local a b
  a=$(proc_figures)
  for _ in $(seq 100); do
    sleep 0.1
    b=$(proc_figures)
    [ "$a" = "$b" ] && break
    a=$b
  done
  echo "$b"
}

# A client session that never ends before its kill: creations (each calls
# back into the client's listener), uploads (gzip on slot 1, plain on slot
# 2), writes and reads, under a watch, then a wait that only the kill ends
# (a fast service runs the commands in less than the kill's delay).
{
  echo "slot 2"
  for _ in $(seq 20); do echo "slot 2 --new"; done
  echo "slot 1"
  echo "watch ims-service"
  for i in $(seq 200); do
    ((i % 8 != 0)) || echo "slot 1 --new"
    echo "set-settings ims-service VOLTE_ENABLED=true RTT_ENABLED=false"
    echo "get-settings presence"
    ((i % 2 == 0)) || echo "set-config operator-autoconfig.xml --gzip"
    echo "set-settings presence PUBLISH_TIMER=$((1200 + i))"
    if ((i % 4 == 0)); then
      echo "slot 2"
      echo "set-config operator-autoconfig.xml"
      echo "get-settings ims-service"
      echo "slot 1"
    fi
  done
  echo "wait reconfig --timeout 300"
} >"$work/session.rcs"
# Every other killed client only makes objects, one after another, so that
# its kill comes mostly while the service calls back into its listener.
{
  echo "slot 1"
  for _ in $(seq 2000); do echo "slot 1 --new"; done
} >"$work/creations.rcs"
sessionCommands=$(grep -c . "$work/session.rcs")
sessionUploads=$(grep -c '^set-config' "$work/session.rcs")
# The warm-up's session, which runs to its end.
head -n 40 "$work/session.rcs" >"$work/warm-up.rcs"

echo "soak-processes: mcx-modemd, the service and rcsconfigctl --service clients in processes of their own"
start_modem
start_service
start_witness
tell "slot 1" "watch ims-service user-agent" "echo witness-ready"
witness_reached witness-ready 30 || abort "the witness did not attach"
witness_has "watch IMS_SERVICE_ENABLE_CONFIG -> OK" || abort "the witness's watch failed"

# ---- 1. clients killed in the middle of their sessions
# run_client SESSION KILL: one client session; with KILL=1 it is killed with
# SIGKILL at a random moment of its first 800 ms: while it looks the factory
# up, while the service creates its objects (and calls back into its
# listener), or amid its requests. Sets clientResult to the number of results
# it printed, or "ended STATUS" when it ended before its kill.
run_client() {
  local out=$work/client.out status
  clientResult=
  "$ctl" --service --keep-going --script "$1" >"$out" 2>&1 7>&- &
  client=$!
  if [ "$2" = 1 ]; then
    sleep "0.$(printf '%03d' $((RANDOM % 800)))"
    kill -9 "$client" 2>/dev/null || true
  fi
  status=0
  { wait "$client"; } 2>/dev/null || status=$?
  client=
  cat "$out" >>"$work/clients.out"
  if [ "$2" = 1 ] && [ "$status" -ne 137 ]; then
    clientResult="ended $status"
  else
    clientResult=$(grep -c ' -> ' "$out" || true)
  fi
}

# A client that comes after a kill is served within a bound: the killed one
# must not have left the service waiting on it. A fresh process each time,
# as the next user's client would be.
freshBound=10
fresh_client_served() {
  timeout "$freshBound" "$ctl" --service --timeout 5 --slot 2 get-settings presence >>"$work/fresh.out" 2>&1
}

# The service files each upload's answer under an 8-bit token until the modem
# goes down, and a token in use keeps its first answer: after 256 uploads in
# one modem session, later ones are never answered. Killed clients' uploads
# count too, so the modem is restarted before that, as a phone's would be:
# restart_modem_if_needed UPLOADS restarts it unless UPLOADS more (and the
# witness's probe) still fit. A fast machine runs a whole session before its
# kill, so the room asked for is a whole session's.
uploadsKept() { dump | awk -F': ' '/^  configuration uploads/ { print $2 }'; }
modemRestarts=0 restartsBefore=0
restart_modem_if_needed() {
  local kept
  kept=$(uploadsKept)
  [ $((${kept:-0} + $1 + 2)) -gt 256 ] || return 0
  modemRestarts=$((modemRestarts + 1))
  tell "modem restart" "wait reconfig --timeout 30" "slot 1 --new" "watch ims-service user-agent" \
    "echo modem-restart-$modemRestarts"
  witness_reached "modem-restart-$modemRestarts" 60 || abort "the witness got no further after a modem restart"
  [ "$(uploadsKept)" = 0 ] || abort "the uploads kept were not dropped at a modem restart"
}

# The witness, served while the clients die: a read, writes its watch hears
# (of a group the clients leave alone), and an upload.
probes=0
probe_witness() {
  probes=$((probes + 1))
  tell "get-settings presence" "set-settings user-agent IMS_USER_AGENT=witness-$probes-a" \
    "wait change user-agent" "set-config operator-autoconfig.xml --gzip" \
    "set-settings user-agent IMS_USER_AGENT=witness-$probes-b" "wait change user-agent" "echo probe-$probes"
  witness_reached "probe-$probes" 60 || abort "the witness got no further (probe $probes)"
}

# Warm-up: one session to its end and two killed, so that what the first
# connections and deaths allocate once is in the baseline.
run_client "$work/warm-up.rcs" 0
run_client "$work/session.rcs" 1
run_client "$work/session.rcs" 1
until_ok 30 settled_to 1000000 1000000 1 || abort "the warm-up clients' listeners were not dropped"
restart_modem_if_needed "$sessionUploads"
restartsBefore=$modemRestarts
read -r thr0 fd0 < <(steady_figures)
rss0=$(proc_field VmRSS)
heap0=$(heap)
lis0=$(listeners)
obj0=$(service_objects)
read -r wr0 cl0 < <(callback_counts)
: >"$work/clients.out"
tell "echo witness-baseline"

endedEarly=0 unserved=0 results=0
for i in $(seq "$clients"); do
  restart_modem_if_needed "$sessionUploads"
  if ((i % 2)); then run_client "$work/session.rcs" 1; else run_client "$work/creations.rcs" 1; fi
  case $clientResult in
    ended*) endedEarly=$((endedEarly + 1)) ;;
    *) results=$((results + clientResult)) ;;
  esac
  kill -0 "$svc" 2>/dev/null || abort "the service died during client kill $i"
  fresh_client_served || unserved=$((unserved + 1))
  progress "$i of $clients clients killed"
  # The steady part of the run starts after 10% of the clients.
  if [ "$i" -eq $(((clients + 9) / 10)) ]; then
    rss10=$(proc_field VmRSS) heap10=$(heap) obj10=$(service_objects) at10=$i
  fi
  ((i % 10 != 0)) || probe_witness
done
probe_witness
clientFails=$(grep -c -- '-> FAIL\|^rcsconfigctl: ' "$work/clients.out" || true)
# Across processes each creation files the listener it receives as a new
# entry (the service keys them by the proxy it got), so the witness's new
# object at each modem restart adds one; killed clients' entries must go.
lisExpected=$((lis0 + modemRestarts - restartsBefore))
if until_ok 30 settled_to "$thr0" "$fd0" "$lisExpected"; then settled=yes; else settled=no; fi
read -r thr1 fd1 < <(proc_figures)
rss1=$(proc_field VmRSS)
heap1=$(heap)
lis1=$(listeners)
obj1=$(service_objects)
read -r wr1 cl1 < <(callback_counts)
since=$(witness_since witness-baseline)
witnessOk=$(grep -c -- '-> OK' <<<"$since" || true)
witnessFails=$(grep -c -- '-> FAIL\|^rcsconfigctl: ' <<<"$since" || true)
witnessChanges=$(grep -c 'IMS_USER_AGENT ([0-9]*) = "witness-' <<<"$since" || true)

echo "1. $clients clients killed with SIGKILL in the middle of their sessions (one witness attached throughout)"
printf '  %-46s %s\n' "killed mid-session" "$((clients - endedEarly)) of $clients"
printf '  %-46s %s\n' "fresh client not served within ${freshBound} s (must be 0)" "$unserved of $clients"
printf '  %-46s %s\n' "results they printed before the kill" "$results (a session has $sessionCommands commands)"
printf '  %-46s %s\n' "failed commands before the kill (must be 0)" "$clientFails"
printf '  %-46s %s\n' "witness: probes" "$probes: $witnessOk answered OK, $witnessFails failed (must be 0), $witnessChanges of $((2 * probes)) changes heard"
printf '  %-46s %s\n' "modem restarts (200 uploads kept)" "$modemRestarts"
printf '  %-30s %10s %10s %10s\n' "service process" before after growth
printf '  %-30s %10s %10s %10s\n' "RSS kB" "$rss0" "$rss1" "$((rss1 - rss0))"
printf '  %-30s %10s %10s %10s\n' "heap bytes in use" "$heap0" "$heap1" "$((heap1 - heap0))"
printf '  %-30s %10s %10s %10s\n' "threads (must not grow)" "$thr0" "$thr1" "$((thr1 - thr0))"
printf '  %-30s %10s %10s %10s\n' "descriptors (must not grow)" "$fd0" "$fd1" "$((fd1 - fd0))"
printf '  %-30s %10s %10s %10s  (expected %s, all the witness)\n' "listeners" "$lis0" "$lis1" "$((lis1 - lis0))" "$lisExpected"
printf '  %-30s %10s %10s %10s\n' "service objects (kept)" "$obj0" "$obj1" "$((obj1 - obj0))"
printf '  %-30s %10s %10s %10s\n' "callback wrappers" "$wr0" "$wr1" "$((wr1 - wr0))"
printf '  %-30s %10s %10s %10s\n' "callback death links" "$cl0" "$cl1" "$((cl1 - cl0))"
# Per killed client, over the whole phase and over its steady part (after
# the first 10%); the heap per service object kept shows whether the growth
# is what each creation keeps by design (the object, its death recipient and
# their bookkeeping, a few hundred bytes) or more.
per_client() { # LABEL RSS_A RSS_B HEAP_A HEAP_B OBJ_A OBJ_B CLIENTS
  awk -v l="$1" -v ra="$2" -v rb="$3" -v ha="$4" -v hb="$5" -v oa="$6" -v ob="$7" -v k="$8" 'BEGIN {
    printf "  %s: RSS %.1f kB, heap %.0f bytes per killed client; heap %.0f bytes per service object kept\n",
      l, (rb - ra) / k, (hb - ha) / k, (ob > oa ? (hb - ha) / (ob - oa) : 0) }'
}
[ "$clients" -eq 0 ] || per_client "all $clients" "$rss0" "$rss1" "$heap0" "$heap1" "$obj0" "$obj1" "$clients"
[ "$clients" -le "${at10:-$clients}" ] ||
  per_client "after the first $at10" "$rss10" "$rss1" "$heap10" "$heap1" "$obj10" "$obj1" $((clients - at10))
[ "$endedEarly" -eq 0 ] || fail "$endedEarly client(s) ended before their kill"
[ "$unserved" -eq 0 ] || fail "$unserved kill(s) left the service not serving a fresh client within ${freshBound} s"
[ "$clientFails" -eq 0 ] || fail "$clientFails command(s) failed in clients before their kill"
[ "$settled" = yes ] || fail "threads, descriptors or listeners did not come back after the client kills"
[ "$witnessFails" -eq 0 ] && [ "$witnessChanges" -ge $((2 * probes)) ] ||
  fail "the witness was not served throughout the client kills"

# ---- 2. the service killed under the attached witness
echo "2. the service killed with SIGKILL $serviceKills time(s) in the middle of the witness's commands"
notMidway=0
for r in $(seq "$serviceKills"); do
  progress "service kill $r of $serviceKills"
  restart_modem_if_needed 200
  tell "echo service-kill-$r"
  for _ in $(seq 200); do tell "set-config operator-autoconfig.xml --gzip" "get-settings presence"; done
  tell "echo service-kill-$r-done"
  witness_reached "service-kill-$r" 60 || abort "the witness did not reach service kill $r"
  sleep "0.$(printf '%03d' $((RANDOM % 300)))"
  dead=$svc
  kill -9 "$svc"
  { wait "$svc"; } 2>/dev/null || true
  # A death while the witness reads its input is reported at its next command.
  tell "echo service-kill-$r-after"
  # The witness must notice and wait: only then does the service come back.
  until_ok 60 witness_reported_death "service-kill-$r" ||
    abort "the witness did not report the death of the service (kill $r)"
  kill -0 "$witness" 2>/dev/null || abort "the witness exited after the service's death (kill $r)"
  start_service
  witness_reached "service-kill-$r-after" 120 || abort "the witness did not carry on after service kill $r"
  since=$(witness_since "service-kill-$r")
  grep -qxF "service-kill-$r-done" <(awk '/died: waiting/ { f = 1 } f' <<<"$since") || notMidway=$((notMidway + 1))
  deaths=$(grep -c 'died: waiting for it to be registered again' <<<"$since" || true)
  reconnects=$(grep -c 'registered again: new RCS configuration objects for slot(s) 1' <<<"$since" || true)
  deathErrors=$(grep -c '^rcsconfigctl: .*the service died' <<<"$since" || true)
  otherErrors=$(grep '^rcsconfigctl: ' <<<"$since" | grep -vc 'the service died' || true)
  afterOk=$(awk '/registered again/ { f = 1 } f && / -> OK/' <<<"$since" | grep -c . || true)
  echo "  kill $r (pid $dead): deaths reported $deaths, reconnected $reconnects, commands ended by the death" \
    "$deathErrors, other failures $otherErrors (must be 0), OK after reconnecting $afterOk"
  [ "$deaths" -eq 1 ] && [ "$reconnects" -eq 1 ] || fail "service kill $r: $deaths death(s) reported, $reconnects reconnection(s)"
  [ "$deathErrors" -le 1 ] || fail "service kill $r: $deathErrors commands ended by one death"
  [ "$otherErrors" -eq 0 ] || fail "service kill $r: $otherErrors command(s) failed for another reason"
  [ "$afterOk" -gt 0 ] || fail "service kill $r: nothing answered OK after reconnecting"
done
[ "$notMidway" -eq 0 ] || echo "  ($notMidway kill(s) came after the witness's commands had ended)"

# ---- 3. the modem daemon killed and started again under the service
echo "3. mcx-modemd killed with SIGKILL and started again $modemKills time(s) under the service"
tell "echo modem-baseline"
witness_reached modem-baseline 30 || abort "the witness is not answering"
read -r thrM fdM < <(steady_figures)
for r in $(seq "$modemKills"); do
  progress "modem kill $r of $modemKills"
  tell "echo modem-kill-$r" "wait reconfig --timeout 60"
  witness_reached "modem-kill-$r" 30 || abort "the witness did not reach modem kill $r"
  kill -9 "$modem"
  wait "$modem" 2>/dev/null || true
  start_modem
  tell "slot 1 --new" "set-config operator-autoconfig.xml --gzip" "get-settings presence" "echo modem-kill-$r-done"
  witness_reached "modem-kill-$r-done" 120 || abort "the witness did not carry on after modem kill $r"
  since=$(witness_since "modem-kill-$r")
  heard=$(grep -c 'listener: reconfiguration needed' <<<"$since" || true)
  okAfter=$(grep -c -- '-> OK' <<<"$since" || true)
  errors=$(grep -c '^rcsconfigctl: ' <<<"$since" || true)
  # One notice per entry the service holds for the witness's listener: each
  # creation across processes files it anew.
  echo "  kill $r: reconfiguration notices $heard, OK after it $okAfter of 2, failures $errors"
  [ "$heard" -ge 1 ] || fail "modem kill $r: the witness's listener heard no reconfiguration"
  [ "$okAfter" -eq 2 ] && [ "$errors" -eq 0 ] || fail "modem kill $r: requests after the restart were not all served"
done
if until_ok 30 settled_to "$thrM" "$fdM"; then settled=yes; else settled=no; fi
read -r thrN fdN < <(proc_figures)
echo "  service threads $thrM -> $thrN, descriptors $fdM -> $fdN (must not grow)"
[ "$settled" = yes ] || fail "the service's threads or descriptors grew over the modem restarts"
dump | grep -q 'modem up: yes' || fail "the service does not see the modem up at the end"

exec 7>&-
until_ok 30 sh -c "! kill -0 $witness 2>/dev/null" || fail "the witness did not end at the end of its input"
kill -0 "$svc" 2>/dev/null || fail "the service died at the end"
# Run against a sanitizer tree (BUILD_DIR build-asan or build-tsan), every
# process reports what it found in its output.
reports=$(cat "$work"/*.log "$work"/*.out | grep -cE '^(WARNING: ThreadSanitizer|==[0-9]+==ERROR: |.*runtime error: )' || true)
echo "sanitizer reports in the outputs of every process: $reports"
[ "$reports" -eq 0 ] || fail "$reports sanitizer report(s)"

if [ ${#failures[@]} -eq 0 ]; then
  echo "verdict: PASS"
  exit 0
fi
echo "verdict: FAIL (${failures[*]})"
exit 1
