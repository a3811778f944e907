#!/bin/bash
# SPDX-License-Identifier: MIT
# Writes the symbols file of a Debian package: the version that added each exported symbol of its
# library. make_symbols.sh LIBRARY PACKAGE VERSION OUTPUT
#
# abi/PACKAGE.symbols has the symbols of the last release. Those that are not in it have the given
# VERSION, and one that is gone is an error. For a release, copy the output to abi/.

set -euo pipefail
cd "$(dirname "$0")/.."

readonly library=$1 package=$2 version=$3
output=$(realpath -m "$4")
readonly output
readonly known=$PWD/abi/$package.symbols
options=()
if [[ -e $known ]]; then options=(-I"$known"); fi
# The program searches the library among files to install.
folder=$(mktemp -d)
readonly folder installed=usr/lib/${library##*/}.3.0
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/usr/lib" "$folder/debian"
cp -L "$library" "$folder/$installed"
cd "$folder"
dpkg-gensymbols -c1 -P"$folder" -p"$package" -v"$version" -e"$installed" "${options[@]}" \
    -O"$output" >log 2>&1 || {
    cat log
    exit 1
}
