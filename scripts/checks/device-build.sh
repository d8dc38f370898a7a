#!/usr/bin/env bash
# Compiles the device build (every source of the Android.bp modules and the
# hidl-gen device glue) against the platform's own headers; see
# device_build.py. ANDROID_BUILD_TOP=/path/to/tree checks against a real tree.
set -euo pipefail
cd "$(dirname "$0")/../.."
exec nice python3 scripts/checks/device_build.py "$@"
