#!/usr/bin/env bash
# Compiles the platform's SELinux policy with sepolicy/ (every neverallow
# enforced) and checks the policy against the tree: contexts, the binary's
# install path, the init script's interfaces and wake-lock lines; see
# sepolicy.py. ANDROID_BUILD_TOP=/path/to/tree checks against a real tree.
set -euo pipefail
cd "$(dirname "$0")/../.."
exec nice python3 scripts/checks/sepolicy.py "$@"
