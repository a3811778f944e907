# shellcheck shell=bash
# What the tests of the examples share; they source it with the program as their argument. It goes to
# a scratch folder of its own.

set -euo pipefail
# Names beyond ASCII are no names in the plain C locale.
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

# What the program is run under, if anything.
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

# What a file holds: a text and no more, a whole line, something like a pattern.
expect_text() { [[ $(cat "$1") == "$2" ]] || fail "'$(cat "$1")' instead of '$2'"; }
expect_line() { grep -qxF -- "$2" "$1" || fail "no line '$2' in: $(cat "$1")"; }
expect_pattern() { grep -q -- "$2" "$1" || fail "nothing like '$2' in: $(cat "$1")"; }
