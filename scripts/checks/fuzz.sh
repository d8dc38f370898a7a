#!/usr/bin/env bash
# Builds every libFuzzer target with clang (build-fuzz/) and runs each for a
# short while on its seed corpus under ASan and UBSan (scripts/fuzz.sh). A
# crash, a sanitizer report or an unsuppressed leak fails the check.
# Every seed input runs within the first second; the rest of the 10 s is a
# short random search, which here only catches what breaks at once. A search
# worth the name is a longer run:
#   FUZZ_SECONDS=300 scripts/checks/fuzz.sh   (or scripts/fuzz.sh, 60 s a target)
set -euo pipefail
cd "$(dirname "$0")/../.."
exec scripts/fuzz.sh all "${FUZZ_SECONDS:-10}"
