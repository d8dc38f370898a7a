#!/usr/bin/env bash
# The main job: installs what is missing, builds the release tree, and replays
# the shipped session through rcsconfigctl against the embedded modem
# emulator: both slots, the operator's configuration document pushed
# gzip-compressed, all four settings groups written and read back, a watched
# change, a token request answered, the UCE status, and a modem restart.
#   scripts/run.sh [extra rcsconfigctl options, e.g. --json]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh

echo "== building (release; compiler output in build/build.log)"
mkdir -p build
if ! scripts/build.sh release >build/build.log 2>&1; then
  tail -n 40 build/build.log
  echo "build failed; see build/build.log" >&2
  exit 1
fi

session=tools/rcsconfigctl/sessions/main-job.rcs
echo "== running $session (the service's own log goes to build/main-job-service.log)"
echo
build/rcsconfigctl --log build/main-job-service.log "$@" --script "$session"
echo
echo "== session complete"
