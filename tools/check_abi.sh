#!/bin/bash
# SPDX-License-Identifier: MIT
# Compares the interface of the libraries with that of the last release, types as well as symbols: a
# program that was linked with that release must run with this build. Additions pass.
#
# check_abi.sh FOLDER            compares the libraries of a build with debug information
# check_abi.sh FOLDER --update   records them as those of the release, in abi/*.abi.xml.xz

set -euo pipefail
cd "$(dirname "$0")/.."

readonly folder=$1
# The descriptions of types of the standard library differ between compilers.
readonly compiler=12
work=$(mktemp -d)
readonly work
trap 'rm -rf "$work"' EXIT

if [[ $(g++ -dumpversion) != "$compiler" ]]; then
    echo "The recorded interface is that of g++ $compiler, and this is $(g++ -dumpversion): not compared"
    exit
fi

status=0
for name in libqzSystem libqzSystemExt; do
    record=abi/$name.abi.xml.xz
    if [[ ${2:-} == --update ]]; then
        # Only what the public headers show.
        abidw --headers-dir include --drop-private-types \
            --no-corpus-path --no-comp-dir-path --no-show-locs \
            --exported-interfaces-only --out-file "$work/$name.abi" "$folder/$name.so"
        xz -9 -c "$work/$name.abi" >"$record"
        echo "$(stat -c %s "$record") bytes in $record"
        continue
    fi
    xz -dc "$record" >"$work/$name.abi"
    abidiff --no-added-syms "$work/$name.abi" "$folder/$name.so" || {
        echo "$name: programs that were linked with the last release may not run with this build"
        status=1
    }
done
exit $status
