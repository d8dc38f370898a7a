#!/usr/bin/env bash
# Installs the Debian packages the host build needs, if any is missing.
set -euo pipefail

PACKAGES=(
  build-essential cmake ninja-build pkg-config
  googletest libgtest-dev libgmock-dev libbenchmark-dev zlib1g-dev
  android-liblog-dev android-libutils-dev android-libcutils-dev hidl-gen
  blueprint-tools   # bpfmt: the device build check reads the Android.bp files with it
  libedit-dev       # line editing of rcsconfigctl's interactive session
  clang libclang-rt-14-dev   # device compile check, fuzzing, build-tsan/ (lock annotations)
  python3    # platform/hidl/hostgen: the HIDL host glue generator
  m4 checkpolicy setools policycoreutils   # the SELinux policy check: compile, seinfo/sesearch, setfiles
)

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "setup: installing ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
