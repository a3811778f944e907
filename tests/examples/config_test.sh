#!/bin/bash
# SPDX-License-Identifier: MIT
# What the config example promises to its users. config_test.sh CONFIG

# shellcheck source=tests/examples/expect.sh
source "$(dirname "$0")/expect.sh"

cp "$root"/examples/config/samples/*.ini .

# The guide shows the table of the sample files, whose lines begin with the table's frame.
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

# A failure is reported, and the file stays as it was.
cp saved.ini before.ini
expect 1 --save saved.ini missing.ini
expect_text err "config: cannot open 'missing.ini': System error : '(2) ENOENT No such file or directory'"
cmp saved.ini before.ini || fail "a missing input changed the file"
mkdir settings.ini
expect 1 settings.ini
expect_text err "config: cannot open 'settings.ini': it is a folder"
expect 1 ''
expect_text err "config: cannot open '': System error : '(2) ENOENT No such file or directory'"
expect 1 $'two\nlines'
expect_text err "config: cannot open 'two\nlines': System error : '(2) ENOENT No such file or directory'"
expect 1 --save absent/saved.ini defaults.ini
expect_text err "config: cannot save 'absent/saved.ini': open the folder of absent/saved.ini: \
System error : '(2) ENOENT No such file or directory'"
expect 1 --save /dev/full defaults.ini
expect_text err "config: cannot save '/dev/full': open /dev/full: System error : \
'(22) EINVAL Invalid argument'"
(
    trap '' XFSZ
    ulimit -f 0
    status=0
    "$program" --save saved.ini defaults.ini >/dev/null 2>/dev/null || status=$?
    ((status == 1))
) || fail "a full disk was not noticed"
cmp saved.ini before.ini || fail "a full disk changed the file"
[[ -z $(find . -name '.saving-*') ]] || fail "an unfinished file is left: $(ls -A)"

# A save replaces no other file, writes through a link, and keeps the permissions.
mkdir saves
echo precious >saves/bystander
cp saves/bystander saves/victim
ln -s victim saves/kept.ini.new
echo bystander >saves/other.ini.new
expect 0 --save saves/kept.ini defaults.ini
expect 0 --save saves/other.ini defaults.ini
cmp saves/victim saves/bystander || fail "a planted link was followed"
expect_text saves/other.ini.new bystander
ln -s victim saves/link.ini
expect 0 --save saves/link.ini defaults.ini
[[ -L saves/link.ini && ! -L saves/victim ]] || fail "the link was replaced"
cmp saves/victim saves/other.ini || fail "the file that the link points to was not replaced"
(umask 027 && expect 0 --save saves/new.ini defaults.ini)
[[ $(stat -c %a saves/new.ini) == 640 ]] || fail "the umask was ignored"
chmod 606 saves/new.ini
expect 0 --save saves/new.ini defaults.ini
[[ $(stat -c %a saves/new.ini) == 606 ]] || fail "the file lost its permissions"

# A table or value that can't be printed is a failure, and nothing is saved after it.
for arguments in "defaults.ini" "--get interval defaults.ini" "--save unsaved.ini defaults.ini"; do
    status=0
    # shellcheck disable=SC2086
    "$program" $arguments >/dev/full 2>err || status=$?
    ((status == 1)) || fail "status $status for a full disk and: $arguments"
    expect_text err "config: cannot print the result"
done
[[ ! -e unsaved.ini ]] || fail "it was saved after a failure"

# The command line
expect_common_options
expect_refused "no file and no value is given"
expect_refused "no key in '=5'" =5
expect_refused "option '--get' requires a value" --get
expect_refused "option '--save' can't be ''" --save '' defaults.ini
expect_refused "option '--save' can't be ''" --save= defaults.ini
expect 0 --get=interval defaults.ini
expect_text out 60
cp defaults.ini a=b.ini
expect 0 --get interval -- a=b.ini
expect_text out 60
