#!/bin/bash
# SPDX-License-Identifier: MIT
# Each shared object exports exactly the symbols of its list in abi/, has the right SONAME, and needs
# no library but the runtime of C and C++; the second one also needs the first one.
#
# check_exports.sh FOLDER            compares the shared objects of a build
# check_exports.sh FOLDER --update   writes new lists, which must be reviewed before they are committed

set -euo pipefail
cd "$(dirname "$0")/.."

readonly folder=$1
readonly runtime='libstdc\+\+\.so\.6|libm\.so\.6|libgcc_s\.so\.1|libc\.so\.6|ld-linux-x86-64\.so\.2'

# update LIBRARY LIST
update()
{
    tools/exported_symbols.sh "$1" >"$2"
    echo "$(wc -l <"$2") symbols in $2"
}

# compare LIBRARY LIST NEEDED-LIBRARIES
compare()
{
    local library=$1 list=$2 needed=$3 soname status=0
    soname=$(basename "$library").3.0
    tools/exported_symbols.sh "$library" | diff -u "$list" - || {
        echo "The exports changed. If that is intended: ./dev check exports --update"
        status=1
    }
    if [[ $(readelf -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p') != "$soname" ]]; then
        echo "$library: the SONAME isn't $soname"
        status=1
    fi
    if readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -vxE "$needed"; then
        echo "$library: needs these beyond the runtime"
        status=1
    fi
    return $status
}

status=0
if [[ ${2:-} == --update ]]; then
    update "$folder/libqzSystem.so" abi/exported-symbols.txt
    update "$folder/libqzSystemExt.so" abi/exported-symbols-ext.txt
else
    compare "$folder/libqzSystem.so" abi/exported-symbols.txt "$runtime" || status=1
    compare "$folder/libqzSystemExt.so" abi/exported-symbols-ext.txt \
        "$runtime|libqzSystem\\.so\\.3\\.0" || status=1
fi
exit $status
