#!/usr/bin/env bash
# Checks the HIDL packages under interfaces/ with hidl-gen, from the package
# roots a device build uses (vendor.kel.ims: interfaces/vendor/kel/ims, the
# hidl_package_root of its Android.bp) and the host's android.hidl root:
#  - every package parses and passes hidl-gen's own checks (-L check), which
#    include the freeze: hidl-gen refuses an interface whose hash differs from
#    the one on record in its root's current.txt, as a device build does;
#  - every interface recorded in a current.txt still exists with that hash
#    (-L hash); a new, unreleased interface is only reported;
#  - the Java sources of every vendor package generate (-L java), so a change
#    that Java clients could not take fails here too;
#  - on a copy of interfaces/, a method added to a released interface fails
#    -L check with hidl-gen's "does not match hash on record".
# To release an interface, append the line that hidl-gen -L hash prints for
# it to the current.txt of its root.
set -euo pipefail
cd "$(dirname "$0")/../.."

roots=(-R -r android.hidl:interfaces/android/hidl -r vendor.kel.ims:interfaces/vendor/kel/ims)
currents=(interfaces/android/hidl/current.txt interfaces/vendor/kel/ims/current.txt)

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

work=$(mktemp -d "${TMPDIR:-/tmp}/imsrcs-hidl.XXXXXX")
trap 'rm -rf "$work"' EXIT

failed=0
java=0
declare -A actual=() unchecked=()
for package in "${packages[@]}"; do
  if ! hidl-gen -L check "${roots[@]}" "$package"; then
    echo "hidl: $package fails hidl-gen -L check" >&2
    failed=1
    unchecked[$package]=1
    continue
  fi
  while read -r hash fqname; do
    [ -n "${fqname:-}" ] && actual[$fqname]=$hash
  done < <(hidl-gen -L hash "${roots[@]}" "$package")
  # The android.hidl packages are the platform's: a device has their Java.
  case "$package" in android.hidl.*) continue ;; esac
  if hidl-gen -L java -o "$work/java" "${roots[@]}" "$package"; then
    java=$((java + 1))
  else
    echo "hidl: $package fails hidl-gen -L java" >&2
    failed=1
  fi
done

declare -A released=()
for current in "${currents[@]}"; do
  while read -r hash fqname _; do
    case "$hash" in ''|'#'*) continue ;; esac
    released[$fqname]=1
    if [ -n "${unchecked[${fqname%%::*}]:-}" ]; then
      continue  # its package failed above
    elif [ -z "${actual[$fqname]:-}" ]; then
      echo "hidl: released $fqname no longer exists" >&2
      failed=1
    elif [ "${actual[$fqname]}" != "$hash" ]; then
      echo "hidl: released $fqname changed (hash ${actual[$fqname]}, released $hash)" >&2
      failed=1
    fi
  done < "$current"
done

for fqname in "${!actual[@]}"; do
  [ -n "${released[$fqname]:-}" ] || echo "hidl: note: $fqname is not released in a current.txt"
done

# The freeze as a device build meets it: a released interface changed in a
# copy of the tree must fail hidl-gen -L check from the same roots.
frozen=vendor.kel.ims.factory@1.0
cp -r interfaces "$work/interfaces"
hal=$work/interfaces/vendor/kel/ims/factory/1.0/IImsFactory.hal
sed -i 's/^interface IImsFactory {$/&\n    freezeProbe();/' "$hal"
if ! grep -q freezeProbe "$hal"; then
  echo "hidl: could not change $frozen in the copy (its interface line moved?)" >&2
  failed=1
elif (cd "$work" && hidl-gen -L check "${roots[@]}" "$frozen") 2>"$work/freeze.log"; then
  echo "hidl: a method added to the released $frozen passes hidl-gen -L check: the freeze is not enforced" >&2
  failed=1
elif ! grep -q "does not match hash on record" "$work/freeze.log"; then
  echo "hidl: the changed $frozen fails hidl-gen -L check, but not on its hash:" >&2
  cat "$work/freeze.log" >&2
  failed=1
fi

if ((failed)); then
  exit 1
fi
echo "hidl: ${#packages[@]} packages checked, ${#released[@]} released hashes match," \
     "Java generated for $java packages, a changed released interface is refused"
