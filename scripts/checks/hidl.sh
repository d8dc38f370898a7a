#!/usr/bin/env bash
# Checks the HIDL packages under interfaces/ with hidl-gen:
#  - every package parses and passes hidl-gen's own checks (-L check);
#  - every interface recorded in interfaces/current.txt still has the hash
#    recorded there (-L hash), so an accidental change to a released
#    interface fails. A new, unreleased interface is only reported.
# To release an interface, append the line that hidl-gen -L hash prints for
# it to interfaces/current.txt.
set -euo pipefail
cd "$(dirname "$0")/../.."

roots=(-R -r android.hidl:interfaces/android/hidl -r vendor.kel:interfaces/vendor/kel)
current=interfaces/current.txt

packages=()
while IFS= read -r dir; do
  rel=${dir#interfaces/}
  version=${rel##*/}
  name=${rel%/*}
  packages+=("${name//\//.}@${version}")
done < <(find interfaces -name '*.hal' -printf '%h\n' | sort -u)

if ((${#packages[@]} == 0)); then
  echo "hidl: no packages found under interfaces/" >&2
  exit 1
fi

failed=0
declare -A actual=()
for package in "${packages[@]}"; do
  if ! hidl-gen -L check "${roots[@]}" "$package"; then
    echo "hidl: $package fails hidl-gen -L check" >&2
    failed=1
    continue
  fi
  while read -r hash fqname; do
    [ -n "${fqname:-}" ] && actual[$fqname]=$hash
  done < <(hidl-gen -L hash "${roots[@]}" "$package")
done

declare -A released=()
while read -r hash fqname _; do
  case "$hash" in ''|'#'*) continue ;; esac
  released[$fqname]=1
  if [ -z "${actual[$fqname]:-}" ]; then
    echo "hidl: released $fqname no longer exists" >&2
    failed=1
  elif [ "${actual[$fqname]}" != "$hash" ]; then
    echo "hidl: released $fqname changed (hash ${actual[$fqname]}, released $hash)" >&2
    failed=1
  fi
done < "$current"

for fqname in "${!actual[@]}"; do
  [ -n "${released[$fqname]:-}" ] || echo "hidl: note: $fqname is not released in $current"
done

if ((failed)); then
  exit 1
fi
echo "hidl: ${#packages[@]} packages checked, ${#released[@]} released hashes match"
