#!/bin/bash
# SPDX-License-Identifier: MIT
# What the command qz-doctor promises to its users. qz-doctor_test.sh QZ-DOCTOR

# shellcheck source=tests/examples/expect.sh
source "$(dirname "$0")/../examples/expect.sh"

# examine [NAME=VALUE...]: the result for this environment is in `out`, the exit status in `status`.
# Whether the machine itself lacks something isn't known here.
examine()
{
    status=0
    env "$@" "$program" >out 2>err || status=$?
    expect_text err ""
    if grep -q '^missing' out; then ((status == 1)); else ((status == 0)); fi ||
        fail "status $status for: $(cat out)"
}

examine TMPDIR="$folder"
[[ $(sed 's/^[a-z]* *//; s/:.*//' out) == "locale
/var/lock
descriptors
temporary folder
/proc
cores
ptrace
system log" ]] || fail "not these checks: $(cat out)"
expect_line out "ok       locale: C.UTF-8, in UTF-8"
expect_pattern out "^ok       temporary folder: $folder (TMPDIR), [0-9]* MiB free$"
expect_line out "ok       /proc: mounted"
expect_pattern out "^ok       descriptors: "

examine LC_ALL=C
expect_pattern out "^note     locale: the character set is ANSI_X3.4-1968; "
examine LC_ALL=xx_XX.UTF-8
expect_pattern out "^missing  locale: LANG or an LC_ variable names a locale that isn't installed; "
((status == 1)) || fail "status $status for a missing locale"

examine TMPDIR="$folder/missing"
expect_pattern out "^missing  temporary folder: $folder/missing (TMPDIR): .*ENOENT"
touch file
examine TMPDIR="$folder/file"
expect_pattern out "^missing  temporary folder: .*ENOTDIR"
examine TMPDIR=$'a\nok b'
expect_pattern out '^missing  temporary folder: a\\nok b (TMPDIR)'
examine -u TMPDIR
expect_pattern out "  temporary folder: /tmp (TMPDIR isn't set)"
(
    ulimit -S -n 64
    examine TMPDIR="$folder"
    expect_pattern out "^missing  descriptors: a process may have 64 open; "
) || exit 1

status=0
"$program" >/dev/full 2>err || status=$?
((status == 1)) || fail "status $status for a full disk"
expect_text err "qz-doctor: cannot print the result"

expect_common_options
expect_refused "there are no arguments, but 'x'" x
