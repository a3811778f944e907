#!/bin/bash
# The shared object exports exactly the symbols of abi/exported-symbols.txt, has the right SONAME, and
# needs no library but the runtime of C and C++.
#
# check_exports.sh FILE            compares
# check_exports.sh FILE --update   writes a new list, which must be reviewed before it is committed

set -euo pipefail
cd "$(dirname "$0")/.."

readonly library=$1
readonly list=abi/exported-symbols.txt
readonly soname=libqzSystem.so.3.0
readonly runtime='libstdc\+\+\.so\.6|libm\.so\.6|libgcc_s\.so\.1|libc\.so\.6|ld-linux-x86-64\.so\.2'

if [[ ${2:-} == --update ]]; then
    tools/exported_symbols.sh "$library" >"$list"
    echo "$(wc -l <"$list") symbols in $list"
    exit
fi

status=0
tools/exported_symbols.sh "$library" | diff -u "$list" - || {
    echo "The exports changed. If that is intended: ./dev check exports --update"
    status=1
}
if [[ $(readelf -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p') != "$soname" ]]; then
    echo "$library: the SONAME isn't $soname"
    status=1
fi
if readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -vxE "$runtime"; then
    echo "$library: needs these beyond the runtime"
    status=1
fi
exit $status
