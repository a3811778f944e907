#!/bin/bash
# SPDX-License-Identifier: MIT
# What the system is asked for while an index is taken from another one: nothing but memory.
# derivation_test.sh STRACE PROGRAM

set -euo pipefail

readonly strace=$1 program=$2
scratch=$(mktemp -d)
readonly scratch
trap 'rm -rf "$scratch"' EXIT

"$strace" -o /dev/null true 2>/dev/null || {
    echo "skipped: no process may be traced here"
    exit 77
}

# calls_of WAY: the calls between the two marks.
calls_of()
{
    "$strace" -f -o "$scratch/trace" "$program" "$scratch/tree" "$1" || {
        echo "the program ended with $?" >&2
        return 1
    }
    grep -q '"/no/end"' "$scratch/trace"
    sed -e '1,/"\/no\/begin"/d' -e '/"\/no\/end"/,$d' "$scratch/trace"
}

calls=$(calls_of derive)
if grep -vE '^[0-9]+ +(brk|mmap|munmap|mremap|madvise)\(' <<<"$calls" | grep .; then
    echo "taking an index asks the system for the above"
    exit 1
fi

# That the marks stand where the work is done.
calls=$(calls_of scan)
for call in openat getdents64; do
    grep -q " $call(" <<<"$calls" || {
        printf 'no %s in the trace of a scan:\n%s\n' "$call" "$calls"
        exit 1
    }
done
