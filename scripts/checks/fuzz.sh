#!/usr/bin/env bash
# Builds every libFuzzer target with clang (build-fuzz/) and runs each for a
# short while on its seed corpus under ASan and UBSan (scripts/fuzz.sh). A
# crash, a sanitizer report or an unsuppressed leak fails the check.
#   FUZZ_SECONDS=300 scripts/checks/fuzz.sh   for a longer run
set -euo pipefail
cd "$(dirname "$0")/../.."
exec scripts/fuzz.sh all "${FUZZ_SECONDS:-25}"
