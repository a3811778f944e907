#!/bin/bash
# SPDX-License-Identifier: MIT
# clang-tidy over the library and the examples: check_tidy.sh BUILD-FOLDER [FILE...]

set -euo pipefail
cd "$(dirname "$0")/.."

readonly folder=$1
shift

if (($#)); then
    files=("$@")
else
    mapfile -t files < <(find src examples -name '*.cpp' | sort)
fi

# One file a process, so that all processors work; the commands are those of the build with clang.
printf '%s\0' "${files[@]}" |
    xargs -0 -P "$(nproc)" -n 1 clang-tidy-14 -p "$folder" --quiet --warnings-as-errors='*' \
        2> >(grep -v 'warnings generated' >&2)
