#!/bin/bash
# SPDX-License-Identifier: MIT
# What the command qz-log promises to its users. qz-log_test.sh QZ-LOG

# shellcheck source=tests/examples/expect.sh
source "$(dirname "$0")/../examples/expect.sh"

export TZ=UTC0
readonly bom=$'\xEF\xBB\xBF'

# line TYPE PID SECOND TEXT: a line as the log writes it, of a second of one minute.
line() { printf '%s PID %d Sat Nov 14 20:17:%02d+0000 2026 : %s\n' "$@"; }

# --- Order, continuation and filters

mkdir logs
{
    printf '%s' "$bom"
    line INFO 1 1 "first of one"
    line 'WARNING(orders)' 1 3 "trace"
    printf '\tframe 1\n\n\tframe 2\n'
    line INFO 1 3 "after the trace"
    line CRITICAL 1 9 "last of one"
} >logs/one.log
{
    printf '%s' "$bom"
    line DEBUG 2 2 "first of two"
    line INFO 2 3 "of the same second"
    line INFO 2 5 "last of two"
} >logs/two.log
echo "not a log" >logs/notes.txt
touch -d '2026-11-14 20:00' logs/one.log
touch -d '2026-11-14 20:01' logs/two.log

readonly merged="INFO PID 1 Sat Nov 14 20:17:01+0000 2026 : first of one
DEBUG PID 2 Sat Nov 14 20:17:02+0000 2026 : first of two
WARNING(orders) PID 1 Sat Nov 14 20:17:03+0000 2026 : trace
  | 	frame 1
  | 
  | 	frame 2
INFO PID 1 Sat Nov 14 20:17:03+0000 2026 : after the trace
INFO PID 2 Sat Nov 14 20:17:03+0000 2026 : of the same second
INFO PID 2 Sat Nov 14 20:17:05+0000 2026 : last of two
CRITICAL PID 1 Sat Nov 14 20:17:09+0000 2026 : last of one"
expect 0 logs
expect_text out "$merged"
expect_text err ""
expect 0 logs/one.log logs/two.log
expect_text out "$merged"
expect 0 - <logs/two.log
expect_text out "$(tail -c +4 logs/two.log)"
expect 0 <logs/two.log
expect_text out "$(tail -c +4 logs/two.log)"

# expect_messages ARGUMENT...: these entries of the folder, by the words that begin their texts.
expect_messages()
{
    local wanted=$1
    shift
    expect 0 "$@" logs
    [[ $(sed -n 's/.* 2026 : //p' out | tr '\n' ',') == "$wanted" ]] ||
        fail "not '$wanted' for $*: $(cat out)"
}
expect_messages "trace,last of one," --level WARNING
expect_line out "  | 	frame 2"
expect_messages "last of one," --level=critical
expect_messages "trace," --sub-type orders
expect_messages "first of two,of the same second,last of two," --process 2
expect_messages "trace," --text 'frame 2'
expect_messages "last of two,last of one," --from '2026-11-14 20:17:05'
expect_messages "last of two,last of one," --from 2026-11-14T21:17:05+01:00
expect_messages "first of one,first of two," --to 2026-11-14T20:17:02Z
expect_messages "" --to 2026-11-13
expect_messages "last of one," --from 2026-11-14 --process 1 --level WARNING --text last
TZ=EST5 expect_messages "last of one," --from '2026-11-14 15:17:06'

# What looks like a prefix, and isn't one, is a part of the entry.
{
    line CRITICAL 1 1 "real"
    echo "INFO PID 5 only looks like one"
    line INFO 1 2 "other"
    echo "CRITICAL PID 5 only looks like one as well"
} >lookalike.log
expect 0 --level CRITICAL lookalike.log
expect_text out "CRITICAL PID 1 Sat Nov 14 20:17:01+0000 2026 : real
  | INFO PID 5 only looks like one"

# --- JSON

expect 0 --json --sub-type orders logs
expect_text out '{"time":"2026-11-14T20:17:03+00:00","level":"WARNING","subType":"orders","pid":1,"text":"trace\n\tframe 1\n\n\tframe 2"}'
expect 0 --json logs
[[ $(wc -l <out) == 7 ]] || fail "not one line an entry: $(cat out)"

# --- The table

expect 0 stats logs
expect_pattern out "Log files"
tr -s ' ' <out >table
expect_pattern table "│ logs/one.log │ 4 │ 1 │ 1 │ 2 │ 0 │ 0 │ 0 │ 3 │ 1 │ 2026-11-14T20:17:01+00:00 │ 2026-11-14T20:17:09+00:00 │"
expect_pattern table "│ All │ 7 │ 1 │ 1 │ 4 │ 1 │ 0 │ 0 │ 3 │ 2 │"
cp logs/two.log stats
expect 0 -- stats
expect_pattern out "first of two"
expect 0 stats --level CRITICAL logs
tr -s ' ' <out >table
expect_pattern table "│ All │ 1 │ 1 │ 0 │"

# The numbers of processes take no memory without limit.
for ((i = 0; i < 100000; ++i)); do
    printf 'INFO PID %d : x\n' "$((i + 1000000))"
done >processes.log
expect 0 stats processes.log
tr -s ' ' <out >table
expect_pattern table "│ processes.log │ 100000 │ .* │ 65536 or more │"
expect_pattern table "│ All │ 100000 │ .* │ 65536 or more │"
rm processes.log

# --- Lines before the first entry, files without a line end, empty files

printf 'lost\nhead\n%s' "$(line INFO 1 1 x)" >headless.log
expect 0 headless.log
expect_text out "  | lost
  | head
INFO PID 1 Sat Nov 14 20:17:01+0000 2026 : x"
expect 0 --level INFO headless.log
expect_text out "INFO PID 1 Sat Nov 14 20:17:01+0000 2026 : x"
: >empty.log
expect 0 empty.log
expect_text out ""

# --- A terminal gets colours, and nothing that it would obey

line CRITICAL 1 1 $'red \x1B[2J\tnot cleared' >escape.log
if command -v script >/dev/null; then
    script -qec "'$program' escape.log" /dev/null </dev/null | tr -d '\r' >out
    expect_text out $'\x1B[1;31mCRITICAL\x1B[0m PID 1 Sat Nov 14 20:17:01+0000 2026 : red \\x1B[2J\tnot cleared'
fi
expect 0 escape.log
expect_text out "$(cat escape.log)"

# --- Damage is reported, and all else is done

# expect_problem TEXT ARGUMENT...: status 1, this message, and the entries of two.log.
expect_problem()
{
    local problem=$1
    shift
    expect 1 "$@" logs/two.log
    expect_text err "qz-log: $problem"
    expect_pattern out "last of two"
}
expect_problem "'missing': System error : '(2) ENOENT No such file or directory'" missing
mkfifo fifo
expect_problem "'fifo': it is no regular file" fifo
expect_problem "'/dev/null': it is no regular file" /dev/null
line INFO 1 1 $'Z\xFCrich' >latin1.log
expect_problem "'latin1.log': it contains bytes that aren't UTF-8, which are shown as \\xC3" latin1.log
expect_line out 'INFO PID 1 Sat Nov 14 20:17:01+0000 2026 : Z\xFCrich'
{ line INFO 1 1 "a"; printf 'zero\0byte\n'; } >zero.log
expect_problem "'zero.log': it contains zero bytes, which are shown as \\x00" zero.log
expect_line out '  | zero\x00byte'
{
    line INFO 1 1 "huge" | tr -d '\n'
    head -c 10000000 /dev/zero | tr '\0' x
    echo
    line INFO 1 2 "after the huge line"
} >huge.log
expect_problem "'huge.log': an entry of more than 1 MiB was cut" huge.log
expect_line out "INFO PID 1 Sat Nov 14 20:17:02+0000 2026 : after the huge line"
(($(wc -c <out) < 1100000)) || fail "the huge line was not cut"
{
    line INFO 1 1 "many lines"
    seq 500000
    line INFO 1 2 "after the many lines"
} >many.log
expect_problem "'many.log': an entry of more than 1 MiB was cut" many.log
expect_line out "INFO PID 1 Sat Nov 14 20:17:02+0000 2026 : after the many lines"
expect 0 --level CRITICAL many.log huge.log
ln -s nowhere dangling
expect_problem "'dangling': System error : '(2) ENOENT No such file or directory'" dangling
expect_problem "'a\\nb': System error : '(2) ENOENT No such file or directory'" $'a\nb'
# A program's name for a log leads to the files that have a date in theirs.
mkdir dated
line INFO 1 1 "of the first day" >dated/shop-2026-11-14.log
line INFO 1 2 "of the second day" >dated/shop_2026-11-15-00-00-00.log
line INFO 2 3 "of another program" >dated/shopping.log
line INFO 2 4 "of another one" >dated/shop-old.log
touch -d '2026-11-14 23:00' dated/shop-2026-11-14.log
expect 0 dated/shop.log
expect_text out "$(cat dated/shop-2026-11-14.log dated/shop_2026-11-15-00-00-00.log)"
expect_text err ""
expect_problem "'dated/sho.log': System error : '(2) ENOENT No such file or directory'" dated/sho.log
timeout 300 "$program" --follow dated/shop.log >followed 2>err &
follower=$!
wait_for grep -q 'second day' followed
line INFO 1 5 "of the third day" >dated/shop-2026-11-16.log
wait_for grep -q 'third day' followed
kill "$follower"
wait "$follower" 2>/dev/null || true
expect_text err ""
if grep another followed; then fail "logs of other programs are followed"; fi

if ((EUID != 0)); then
    mkdir locked
    chmod 0 locked
    expect_problem "'locked': System error : '(13) EACCES Permission denied'" locked
    cp logs/one.log logs/locked.log
    chmod 0 logs/locked.log
    expect 1 logs
    expect_pattern err "logs/locked.log"
    expect_pattern out "last of two"
    rm -f logs/locked.log
fi

# --- Files that shrink or vanish while they are read

# The pipe and the buffers hold less than a tenth of the file.
for ((i = 0; i < 30000; ++i)); do
    printf 'INFO PID 1 Sat Nov 14 20:17:01+0000 2026 : a line of a long file, number %d\n' "$i"
done >long.log
cp long.log vanishing.log
{
    status=0
    "$program" long.log 2>err || status=$?
    echo "$status" >status
} | {
    read -r _
    : >long.log
    cat >rest
}
expect_text err "qz-log: 'long.log': it became shorter while it was read"
expect_text status 1
{
    status=0
    "$program" vanishing.log 2>err || status=$?
    echo "$status" >status
} | {
    read -r _
    rm vanishing.log
    cat >rest
}
expect_text err ""
expect_text status 0
[[ $(wc -l <rest) == 29999 ]] || fail "a file that vanished was not read to its end"

# --- Memory has a limit, whatever the log contains

# With the address sanitizer, no program starts below this limit.
(
    ulimit -v 60000
    "$program" --help >out 2>&1 || exit 0
    expect 1 huge.log many.log
    for i in {1..60}; do cp logs/two.log "logs/copy$i.log"; done
    expect 0 logs
    rm logs/copy*.log
    mkdir tiny
    for i in {1..3000}; do echo "INFO PID $i : x" >"tiny/$i.log"; done
    expect 0 tiny
    [[ $(wc -l <out) == 3000 ]] || exit 1
) || fail "60 MB of memory are not enough"

# --- There may be more small files than descriptors

mkdir small
for i in {1..200}; do
    { line INFO "$i" 1 "first"; line INFO "$i" 2 "second"; } >"small/$i.log"
done
(
    ulimit -n 20
    expect 0 small
) || exit 1
[[ $(wc -l <out) == 400 ]] || fail "entries are missing without a descriptor for each file"

# --- Output that can't be written

status=0
"$program" many.log >/dev/full 2>err || status=$?
((status == 1)) || fail "status $status for a full disk"
expect_line err "qz-log: cannot print the result"
status=0
"$program" logs/two.log >&- 2>err || status=$?
((status == 1)) || fail "status $status for a closed output"
{
    status=0
    "$program" many.log 2>err || status=$?
    echo "$status" >status
} | head -n 1 >/dev/null
expect_text err "qz-log: 'many.log': an entry of more than 1 MiB was cut"
{
    status=0
    "$program" logs/two.log 2>err || status=$?
    echo "$status" >status
} | :
expect_text err ""

# --- Following

mkdir live
{ printf '%s' "$bom"; line INFO 1 1 "old"; } >live/app.log
timeout 300 "$program" --follow live/app.log >followed 2>err &
follower=$!
wait_for grep -q old followed
line INFO 1 2 "added" >>live/app.log
wait_for grep -q added followed
printf 'half of a line' >>live/app.log
printf ', and the rest\n' >>live/app.log
wait_for grep -q 'half of a line, and the rest' followed
# Two rotations come one after the other.
line INFO 1 3 "before the rotation" >>live/app.log
mv live/app.log live/app_2026-11-14-20-17-04.log
line INFO 1 4 "between the rotations" >live/app.log
mv live/app.log live/app_2026-11-14-20-17-05.log
line INFO 1 5 "after the rotations" >live/app.log
wait_for grep -q 'after the rotations' followed
rm live/app_2026-11-14-20-17-04.log
line INFO 1 6 "at last" >>live/app.log
wait_for grep -q 'at last' followed
sed 's/.* : //' followed >messages
expect_text messages "old
added
  | half of a line, and the rest
before the rotation
between the rotations
after the rotations
at last"
# A file that is cut to nothing begins anew.
: >live/app.log
wait_for grep -q "live/app.log': it became shorter, and is read from its beginning" err
line INFO 1 7 "after the cut" >>live/app.log
wait_for grep -q 'after the cut' followed
kill "$follower"
wait "$follower" 2>/dev/null || true

# Lines that come later than the first one of their entry are filtered with it.
mkdir late
line 'WARNING(orders)' 1 1 "shown" >late/app.log
timeout 300 "$program" --follow --sub-type orders --process 1 --text shown late/app.log >followed 2>err &
follower=$!
wait_for grep -q shown followed
printf '\tframe 1\n' >>late/app.log
wait_for grep -q 'frame 1' followed
line 'WARNING(other)' 1 2 "hidden" >>late/app.log
line 'WARNING(orders)' 1 3 "begin" >>late/app.log
sleep 0.5 # several rounds, so that the next lines come later
printf '\tbegins to be shown\n\tframe 2\n' >>late/app.log
wait_for grep -q 'frame 2' followed
line 'WARNING(other)' 1 4 "hidden" >>late/app.log
sleep 0.5
printf '\thidden, although it would be shown\n' >>late/app.log
line 'WARNING(orders)' 1 5 "shown at last" >>late/app.log
wait_for grep -q 'shown at last' followed
kill "$follower"
wait "$follower" 2>/dev/null || true
sed 's/.* : //' followed >messages
expect_pattern messages "frame 1"
expect_pattern messages "shown at last"
if grep -q "hidden" messages; then fail "lines of an entry that isn't shown: $(cat messages)"; fi

# A new file often gets the number of an old one that the rotation has removed.
mkdir pruned
line INFO 1 1 "removed" >pruned/app_2026-11-14-20-17-01.log
line INFO 1 2 "old" >pruned/app.log
timeout 300 "$program" --follow pruned/app.log >followed 2>err &
follower=$!
wait_for grep -q old followed
mv pruned/app.log pruned/app_2026-11-14-20-17-02.log
rm pruned/app_2026-11-14-20-17-01.log
line INFO 1 3 "with the number of a removed file" >pruned/app.log
wait_for grep -q 'with the number of a removed file' followed
kill "$follower"
wait "$follower" 2>/dev/null || true

# Of a folder, files that come later are followed as well.
timeout 300 "$program" --follow --json live live/app.log >followed 2>err &
follower=$!
wait_for grep -q 'after the cut' followed
line CRITICAL 9 9 "of a new file" >live/other.log
wait_for grep -q '"level":"CRITICAL","pid":9,"text":"of a new file"' followed
[[ $(grep -c 'after the cut' followed) == 1 ]] || fail "a file of two arguments was shown twice"
kill "$follower"
wait "$follower" 2>/dev/null || true

# The end of the reader is the end, although nothing more is to be shown.
timeout 300 "$program" --follow live 2>err | head -n 1 >followed
expect_pattern followed "INFO PID"
expect_text err ""

for reader in 'exec >&-' 'exec > >(exec >&-)'; do
    status=0
    (eval "$reader" && timeout 100 "$program" --follow live 2>/dev/null) || status=$?
    ((status != 124)) || fail "an output without a reader is followed: $reader"
done

# A byte order mark within an entry hides nothing.
printf '%s\n\xEF\xBB\xBFwith a mark\nmore\n' "$(line INFO 1 1 "the first line")" >marked.log
expect 0 marked.log
expect_pattern out 'with a mark'
expect_pattern out 'more'

# --- The command line

expect_common_options
expect_refused "option '--level' can't be 'LOUD'" --level LOUD
expect_refused "option '--process' can't be 'x'" --process x
expect_refused "option '--process' can't be '0'" --process 0
for time in '' now 2026-02-30 2026-11-14T25:00 '2026-11-14 20:17:56+01:00x' 2026-11-14+; do
    expect_refused "option '--from' can't be '$time'" --from "$time"
    expect_refused "option '--to' can't be '$time'" "--to=$time"
done
expect_refused "option '--text' requires a value" --text
expect_refused "'stats' goes with neither --json nor --follow" stats --json
expect_refused "the standard input can't be followed" --follow
