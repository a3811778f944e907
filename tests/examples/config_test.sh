#!/bin/bash
# What the config example promises to its users. config_test.sh CONFIG

# shellcheck source=tests/examples/expect.sh
source "$(dirname "$0")/expect.sh"

cp "$root"/examples/config/samples/*.ini .

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
    "$program" --save saved.ini defaults.ini >/dev/null 2>/dev/null || status=$?
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
