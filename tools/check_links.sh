#!/bin/bash
# SPDX-License-Identifier: MIT
# The first program of README.md links with the library when it is built without optimisation, and with
# it, by g++ and by clang++: inline code of the headers must not need a function that nobody makes.
# check_links.sh SHARED-OBJECT

set -euo pipefail
cd "$(dirname "$0")/.."

readonly library=$1
program=$(mktemp)
readonly program
trap 'rm -f "$program"' EXIT

status=0
for compiler in g++ clang++; do
    for level in -O0 -O2; do
        tools/readme_block.sh cpp 1 |
            "$compiler" -std=c++17 $level -Iinclude -x c++ - -x none "$library" -o "$program" || {
            echo "$compiler $level: the README's program does not link"
            status=1
        }
    done
done
exit $status
