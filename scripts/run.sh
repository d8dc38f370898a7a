#!/usr/bin/env bash
# The main job: installs what is missing, builds the client, and replays
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
# a terminal, else a line at the first step and at each tenth of the build.
# Read line by line in the shell, as ninja writes them: awk (mawk on Debian)
# reads a pipe in blocks of 4 KiB and would show the progress in jumps of
# dozens of steps.
show_progress() {
  local line last=0 tenth
  local tty=0
  [ -t 2 ] && tty=1
  if ((tty)); then printf '  configuring build/ ...' >&2; else echo "  configuring build/" >&2; fi
  while IFS= read -r line; do
    [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]] || continue
    if ((tty)); then
      printf '\r  %-76.76s' "$line" >&2
    else
      tenth=$((BASH_REMATCH[1] * 10 / BASH_REMATCH[2]))
      if ((tenth > last || BASH_REMATCH[1] == 1)); then
        last=$tenth
        echo "  built ${BASH_REMATCH[1]} of ${BASH_REMATCH[2]} steps" >&2
      fi
    fi
  done
  ((tty)) && printf '\r%80s\r' '' >&2
  return 0
}

scripts/setup.sh >&2

# Only the client: it runs the service and the modem emulator inside its own
# process, so the main job needs nothing else of the tree (the tests,
# benchmarks and daemons are built by scripts/build.sh or scripts/test.sh).
say "== building rcsconfigctl (release; compiler output in build/build.log)"
mkdir -p build
set +e
scripts/build.sh release rcsconfigctl 2>&1 | tee build/build.log | show_progress
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
