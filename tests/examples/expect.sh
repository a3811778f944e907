# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Functions for the tests of the examples, which source it with the program as their argument. The
# test then runs in a new scratch folder.

set -euo pipefail
# The plain C locale can't hold names beyond ASCII.
export LC_ALL=C.UTF-8

program=$(realpath "$1")
readonly program
name=$(basename "$program")
readonly name
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
readonly root  # of the project
export root
folder=$(mktemp -d)
readonly folder
trap 'chmod -R u+rwx "$folder"; rm -rf "$folder"' EXIT
cd "$folder"

# A command that runs the program, if the test needs one.
run_under=()

fail()
{
    echo "$name: $*" >&2
    exit 1
}

# expect STATUS ARGUMENT...: runs the program; its output is in `out`, its messages in `err`.
expect()
{
    local wanted=$1 status=0
    shift
    "${run_under[@]}" "$program" "$@" >out 2>err || status=$?
    ((status == wanted)) || fail "status $status instead of $wanted for: $* ($(cat out err))"
}

# expect_refused PROBLEM ARGUMENT...: the command line is refused with one line on standard error.
expect_refused()
{
    local problem=$1
    shift
    expect 2 "$@"
    expect_text err "$name: $problem (--help shows the usage)"
    expect_text out ""
}

# expect_common_options: what every program does with the options that all have.
expect_common_options()
{
    local option status=0
    expect_refused "unknown option '--unknown'" --unknown
    expect_refused "unknown option '-x'" -x
    expect_refused "unknown option '--unknown'" --unknown=1
    expect_refused "option '--help' takes no value" --help=1
    expect_refused "unknown option '--two\nlines\xFF'" $'--two\nlines\xff'
    for option in -h --help; do
        expect 0 "$option"
        expect_pattern out "^usage: $name "
        expect_text err ""
    done
    "$program" --help >/dev/full 2>err || status=$?
    ((status != 0)) || fail "status 0 for a usage text that was not printed"
    expect_text err "$name: cannot print the usage"
}

# The content of a file: this text and no more, this whole line, a match of this pattern.
expect_text() { [[ $(cat "$1") == "$2" ]] || fail "'$(cat "$1")' instead of '$2'"; }
expect_line() { grep -qxF -- "$2" "$1" || fail "no line '$2' in: $(cat "$1")"; }
expect_pattern() { grep -q -- "$2" "$1" || fail "nothing like '$2' in: $(cat "$1")"; }

# wait_for COMMAND...: until it succeeds; the limit only ends a hang.
wait_for()
{
    local i
    for ((i = 0; i < 1200; ++i)); do
        if "$@" 2>/dev/null; then return; fi
        sleep 0.05
    done
    fail "waited in vain for: $*"
}
# What a test may wait for: the end of a process, any text in a file.
is_gone() { ! kill -0 "$1" 2>/dev/null || grep -q '^State:.Z' "/proc/$1/status"; }
has_line() { [[ -s $1 ]]; }
