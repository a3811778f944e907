#!/bin/bash
# SPDX-License-Identifier: MIT
# Each public header compiles alone, as C++17 and as C++20, with g++ and with clang++.
#
# check_headers.sh           all headers, on all processors
# check_headers.sh HEADER    that one, as a path below include/

set -euo pipefail
cd "$(dirname "$0")/.."

readonly warnings=(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast
    -Wnon-virtual-dtor -Werror)

if (($# == 0)); then
    find include -name '*.h' -printf '%P\n' | sort |
        xargs -P "$(nproc)" -n 1 tools/check_headers.sh
    exit
fi

status=0
for compiler in g++ clang++; do
    for standard in 17 20; do
        echo "#include <$1>" |
            "$compiler" -std=c++$standard "${warnings[@]}" -Iinclude -fsyntax-only -x c++ - || {
            echo "<$1> does not compile alone as C++$standard with $compiler"
            status=1
        }
    done
done
exit $status
