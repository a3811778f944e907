#!/bin/bash
# SPDX-License-Identifier: MIT
# What gdb shows of values. printers_test.sh GDB PROGRAM

set -euo pipefail

readonly gdb=$1 program=$2
root=$(cd "$(dirname "$0")/../.." && pwd)
readonly root

names=(empty destroyed text vector date list map tree)
commands=()
for name in "${names[@]}"; do
    commands+=(-ex "output $name" -ex 'echo \n')
done
shown=$(LC_ALL=C.UTF-8 "$gdb" -q -batch -nx -iex 'set debuginfod enabled off' \
    -ex "source $root/debugger/libqzSystem-gdb.py" \
    -ex 'break stopHere' -ex run -ex up \
    -ex 'echo ====\n' "${commands[@]}" \
    -ex 'output object' -ex 'echo \n' -ex 'output deep' -ex 'echo \n' "$program" 2>&1) || {
    echo "$shown"
    exit 1
}

expected='UNKNOWN
DESTROYED
"say \"ä\"\x0a"
VEC3D[1.0,2.5,-3.0]
DATETIME(7)
[1, 2.5, true, "x", UNKNOWN]
{"a": 1, "list": [1, 2.5, true, "x", UNKNOWN], "map": {}}
{"a": 1, "list": [1, 2.5, true, "x", UNKNOWN], "map": {}}'
values=$(sed '1,/^====$/d' <<<"$shown")
if [[ $(head -n ${#names[@]} <<<"$values") != "$expected" ]]; then
    printf 'gdb shows\n%s\ninstead of\n%s\n' "$values" "$expected"
    exit 1
fi
grep -q '^USERDATA(0x[0-9a-f]*)$' <<<"$values" || { echo "no object in: $values"; exit 1; }
grep -q '\[\[\.\.\.\]\]' <<<"$values" || { echo "a deep list isn't cut: $values"; exit 1; }

# Where gdb can't write a letter, it is shown by its number.
shown=$(LC_ALL=C "$gdb" -q -batch -nx -iex 'set debuginfod enabled off' \
    -ex "source $root/debugger/libqzSystem-gdb.py" \
    -ex 'break stopHere' -ex run -ex up -ex 'output text' "$program" 2>&1)
grep -qF '"say \"\xe4\"\x0a"' <<<"$shown" || { echo "not in ASCII: $shown"; exit 1; }
