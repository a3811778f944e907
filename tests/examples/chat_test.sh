#!/bin/bash
# SPDX-License-Identifier: MIT
# What the chat example promises to its users. chat_test.sh CHAT

# shellcheck source=tests/examples/expect.sh
source "$(dirname "$0")/expect.sh"

export TMPDIR=$folder

# wait_for_line FILE TEXT: until a line of that text is in the file.
wait_for_line() { wait_for grep -qxF -- "$2" "$1"; }

# expect_end PROCESS STATUS
expect_end()
{
    local status=0
    wait "$1" || status=$?
    ((status == $2)) || fail "status $status instead of $2 ($(cat first.err second.err))"
}

# start_both: the first side reads from descriptor 3, the second one from 4.
start_both()
{
    rm -f first.* second.*
    mkfifo first.in second.in
    "$program" --wait room <first.in >first.out 2>first.err &
    first=$!
    exec 3>first.in
    wait_for_line first.err "chat: waiting as 'room'"
    "$program" room <second.in >second.out 2>second.err 3>&- &
    second=$!
    exec 4>second.in
    wait_for_line first.err 'chat: connected'
    wait_for_line second.err 'chat: connected'
}

# --- Lines in both directions, and the end of one side's input

start_both
echo 'from the first' >&3
wait_for_line second.out '> from the first'
printf 'from the second\nand käse\n\n' >&4
wait_for_line first.out '> and käse'
printf 'without an end' >&3
exec 3>&-
expect_end $first 0
expect_end $second 1
exec 4>&-
expect_text first.out $'> from the second\n> and käse\n> '
expect_text second.out $'> from the first\n> without an end'
expect_text second.err $'chat: connected\nchat: the other side has left'

# --- A side that is killed

start_both
echo 'before' >&4
wait_for_line first.out '> before'
kill -KILL $second
expect_end $first 1
expect_end $second 137
exec 3>&- 4>&-
expect_text first.err $'chat: waiting as \'room\'\nchat: connected\nchat: the other side has left'

# --- A side that is killed while it doesn't read: what was not sent is counted

start_both
kill -STOP $second
head -c 2000000 /dev/zero | tr '\0' 'x' >&3 &
writer=$!
# Until the first side takes nothing more, because the second one doesn't.
taken=-1
while now=$(grep rchar /proc/$first/io); [[ $now != "$taken" ]]; do
    taken=$now
    sleep 0.5
done
kill -KILL $second
expect_end $first 1
expect_end $second 137
wait $writer || true
exec 3>&- 4>&-
expect_pattern first.err '^chat: [1-9][0-9]* bytes were not sent$'

# --- Much text at once, both ways

start_both
seq 100000 >lines
cat lines >&3 &
writer=$!
cat lines >&4
wait $writer
wait_for_line first.out '> 100000'
wait_for_line second.out '> 100000'
exec 3>&-
expect_end $first 0
expect_end $second 1
exec 4>&-
sed 's/^/> /' lines | cmp - first.out || fail "the first side has got other lines"
sed 's/^/> /' lines | cmp - second.out || fail "the second side has got other lines"

# --- What the other side sends doesn't control the terminal

start_both
printf 'a\033[2Jb\007\n' >&3
wait_for_line second.out '> a?[2Jb?'
printf 'c\302\2332Jd\303\233\n' >&3
wait_for_line second.out $'> c\302?2Jd\303\233'
exec 3>&- 4>&-
wait $first || true
wait $second || true

# --- Failures

expect 3 nowhere </dev/null
expect_text err "chat: nobody waits as 'nowhere'"
expect 3 $'two\nlines'
expect_text err "chat: nobody waits as 'two\nlines'"
printf -v long '%0200d' 0
expect 3 --wait "$long"
expect_pattern err "^chat: cannot wait as '$long'$"
expect 3 "$long"
expect_pattern err "^chat: nobody waits as '$long'$"
rm -f first.*
mkfifo first.in
"$program" --wait room <first.in >/dev/full 2>first.err &
first=$!
exec 3>first.in
wait_for_line first.err "chat: waiting as 'room'"
: >second.err
echo 'for a full disk' | "$program" room >second.out 2>second.err || true
expect_end $first 3
exec 3>&-
expect_line first.err 'chat: cannot write the output'

# --- The command line

expect_common_options
expect_refused "NAME is required"
expect_refused "NAME is required" ''
expect_refused "NAME is required" one two
expect_refused "NAME can't have a slash" a/b
