#!/bin/bash
# What the config example promises to its users. config_test.sh CONFIG

set -euo pipefail

readonly config=$1
root=$(cd "$(dirname "$0")/../.." && pwd)
readonly root
folder=$(mktemp -d)
readonly folder
trap 'rm -rf "$folder"' EXIT
cd "$folder"
cp "$root"/examples/config/samples/*.ini .

fail()
{
    echo "config: $*" >&2
    exit 1
}

# expect STATUS ARGUMENT...: runs the example; its output is in `out`, its messages in `err`.
expect()
{
    local wanted=$1 status=0
    shift
    "$config" "$@" >out 2>err || status=$?
    ((status == wanted)) || fail "status $status instead of $wanted for: $* ($(cat out err))"
}

expect_text() { [[ $(cat "$1") == "$2" ]] || fail "'$(cat "$1")' instead of '$2'"; }

# The guide shows the table of the sample files; a line of its list begins with the table's frame.
expect 0 defaults.ini site.ini network/port=9000
sed -n '/^╒/,/^└/p' "$root/docs/guide-config.md" >shown
expect_text out "$(cat shown)"
expect_text err "config: Duplicated key at line (7) site.ini in Ini file
config: Invalid line (8) site.ini in Ini file
config: Invalid key at line (9) site.ini in Ini file"

expect 0 --get network/port defaults.ini site.ini
expect_text out 443
expect 0 --get network/port defaults.ini site.ini network/port=1
expect_text out 1
expect 0 --get greeting/text site.ini
expect_text out 'Say "hello" to the wind'
expect 1 --get network/absent defaults.ini
expect_text out ""
expect_text err "config: no value at 'network/absent'"

expect 0 --save saved.ini --get units/scale defaults.ini units/scale=2.5 units/name=a,b on=true
expect_text saved.ini "[General]
interval=60
name=Weather station
on=true
verbose=false

[network]
host=localhost
port=8080
proxy/host=
proxy/port=8080

[units]
name=a,b
scale=2.5
temperature=celsius"

# What can't be done is said, and the file stays as it was.
cp saved.ini before.ini
expect 1 --save saved.ini missing.ini
expect_text err "config: cannot open 'missing.ini'"
cmp saved.ini before.ini || fail "a missing input changed the file"
expect 1 --save absent/saved.ini defaults.ini
expect_text err "config: cannot save 'absent/saved.ini': System error : \
'(2) ENOENT No such file or directory'"
expect 1 --save /dev/full defaults.ini
expect_text err "config: cannot save '/dev/full': it is no regular file"
(
    trap '' XFSZ
    ulimit -f 0
    status=0
    "$config" --save saved.ini defaults.ini >/dev/null 2>/dev/null || status=$?
    ((status == 1))
) || fail "a full disk was not noticed"
cmp saved.ini before.ini || fail "a full disk changed the file"
[[ ! -e saved.ini.new ]] || fail "an unfinished file was left behind"

expect 2
expect 2 =5
expect 2 --get
expect 2 --save '' defaults.ini
expect 2 --unknown defaults.ini
expect 0 --help
cp defaults.ini a=b.ini
expect 0 --get interval -- a=b.ini
expect_text out 60
