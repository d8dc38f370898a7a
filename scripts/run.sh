#!/usr/bin/env bash
# The main job: installs what is missing, builds the release tree, and replays
# the shipped session through rcsconfigctl against the embedded modem
# emulator: both slots, the operator's configuration document pushed
# gzip-compressed, all four settings groups written and read back, a watched
# change, a token request answered, the UCE status, and a modem restart.
#   scripts/run.sh [extra rcsconfigctl options, e.g. --json]
# Standard output holds the session's output only (with --json, only JSON
# lines); set-up, build progress and banners go to standard error.
set -euo pipefail
cd "$(dirname "$0")/.."

say() { echo "$@" >&2; }

# Ninja's "[n/N] ..." lines as progress: one status line redrawn in place on
# a terminal, else a line at each tenth of the build.
show_progress() {
  if [ -t 2 ]; then
    awk '/^\[[0-9]+\/[0-9]+\]/ { printf "\r  %-76s", substr($0, 1, 76) > "/dev/stderr"; fflush("/dev/stderr") }
         END { printf "\r%80s\r", "" > "/dev/stderr" }'
  else
    awk -F'[][/]' '/^\[[0-9]+\/[0-9]+\]/ {
           tenth = int($2 * 10 / $3)
           if (tenth > last) { last = tenth; printf "  built %d of %d steps\n", $2, $3 > "/dev/stderr"; fflush("/dev/stderr") }
         }'
  fi
}

scripts/setup.sh >&2

say "== building (release; compiler output in build/build.log)"
mkdir -p build
set +e
scripts/build.sh release 2>&1 | tee build/build.log | show_progress
built=${PIPESTATUS[0]}
set -e
if [ "$built" -ne 0 ]; then
  tail -n 40 build/build.log >&2
  say "build failed; see build/build.log"
  exit 1
fi

session=tools/rcsconfigctl/sessions/main-job.rcs
say "== running $session (the service's own log goes to build/main-job-service.log)"
build/rcsconfigctl --log build/main-job-service.log "$@" --script "$session"
say "== session complete"
