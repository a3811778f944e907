#!/bin/bash
# SPDX-License-Identifier: MIT
# The folder of the sources changes no byte of the libraries in the packages: they are built a second time
# in another folder, and compared. check_reproducible.sh FOLDER, a build with the preset `package`.
#
# The compiler runs again for a file of each folder of src/; the others come from ccache if it is
# there, so what is new for them is the link.

set -euo pipefail
cd "$(dirname "$0")/.."

readonly folder=$1
work=$(mktemp -d)
readonly work
trap 'rm -rf "$work"' EXIT

# A name of another length, and the commit of this clone, as there is none in the copy.
readonly copy="$work/another folder of the sources"
mkdir "$copy"
cp -r CMakeLists.txt CMakePresets.json ./*.md LICENSE abi cmake debugger docs include packaging src tools \
    "$copy"
commit=$(sed -n 's/.*QZ_BUILD_COMMIT_ID "\(.*\)"/\1/p' "$folder/generated/BuildIdentity.h")
jobs=$(nproc)
readonly commit jobs

cmake -S "$copy" -B "$copy/build/package" --preset package -DQZ_COMMIT_ID="$commit" >/dev/null
mapfile -t sources < <(find src -name '*.cpp' | sort | awk -F/ '{
    folder = $0
    sub("/[^/]*$", "", folder)
    if (!seen[folder]++) print
}')

status=0
targets=()
for source in "${sources[@]}"; do
    library=qzSystemObjects
    case $source in
        src/ext/*) library=qzSystemExtObjects ;;
        src/tools/*) continue ;;
    esac
    targets+=("CMakeFiles/$library.dir/$source.o")
done
CCACHE_RECACHE=1 cmake --build "$copy/build/package" -j "$jobs" --target "${targets[@]}" >/dev/null
for object in "${targets[@]}"; do
    cmp "$folder/$object" "$copy/build/package/$object" || status=1
done
cmake --build "$copy/build/package" -j "$jobs" --target qzSystem qzSystemExt >/dev/null
for library in libqzSystem.so libqzSystemExt.so; do
    cmp "$folder/$library" "$copy/build/package/$library" || status=1
done
if ((status == 0)); then echo "${#targets[@]} objects and both libraries are the same"; fi
exit $status
