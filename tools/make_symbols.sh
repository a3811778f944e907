#!/bin/bash
# Writes the symbols file of a Debian package: the version that added each exported symbol of its
# library. make_symbols.sh LIBRARY PACKAGE VERSION OUTPUT
#
# abi/PACKAGE.symbols has the symbols of the last release. Those that are not in it have the given
# VERSION, and one that is gone is an error. For a release, copy the output to abi/.

set -euo pipefail
cd "$(dirname "$0")/.."

readonly library=$1 package=$2 version=$3 output=$4
known=$PWD/abi/$package.symbols
options=()
if [[ -e $known ]]; then options=(-I"$known"); fi
# The program reads the name of the library in its place among files to install.
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/usr/lib" "$folder/debian"
cp -L "$library" "$folder/usr/lib/$(basename "$library").3.0"
cd "$folder"
dpkg-gensymbols -q -c1 -P"$folder" -p"$package" -v"$version" \
    -e"usr/lib/$(basename "$library").3.0" "${options[@]}" -O"$output" || {
    # Once more, to show the difference.
    dpkg-gensymbols -c1 -P"$folder" -p"$package" -v"$version" \
        -e"usr/lib/$(basename "$library").3.0" "${options[@]}" -O"$output"
    exit 1
}
