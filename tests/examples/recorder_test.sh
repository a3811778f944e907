#!/bin/bash
# What the recorder promises to its users. recorder_test.sh RECORDER

# shellcheck source=tests/examples/expect.sh
source "$(dirname "$0")/expect.sh"

printf 'one\ntwo\n\nlast without a line end' >text
printf 'a\0b\n\xff\n' >bytes
: >empty

for endian in little big; do
    expect 0 --endian "$endian" --output "$endian.rec" text bytes empty
    expect_pattern out '^ *files *3$'
    expect_pattern out '^ *records *6$'
    expect_pattern out '^ *bytes in *38$'
done
# A record is 8 + 8 bytes, a count of 4, and the text.
[[ $(stat -c %s little.rec) == $((6 * 20 + 38)) ]] || fail "the recording has another size"
[[ $(od -An -tx1 -j16 -N4 little.rec) == " 04 00 00 00" ]] || fail "the count isn't little-endian"
[[ $(od -An -tx1 -j16 -N4 big.rec) == " 00 00 00 04" ]] || fail "the count isn't big-endian"

expect 1 --output /dev/full text
expect_pattern out 'TRACE(iodevice).*qzIoDevice error : std sub stream fail bit is set after a write'
expect_pattern out "CRITICAL(recorder).*cannot write '/dev/full': std sub stream fail bit is set"

expect 1 missing text /
expect_pattern out "cannot record 'missing': System error : '(2) ENOENT"
expect_pattern out "cannot record '/': System error : '(21) EISDIR"
expect_pattern out '^ *records *4$'

expect 2 --endian middle
expect_pattern err "option '--endian' can't be 'middle'"
expect 2 --output
expect_pattern err "option '--output' wants a value"
expect 0 --help

# Several threads share the files, and the log goes to its file.
expect 0 --threads 2 --log log.txt --output part.rec text bytes empty
expect_pattern out '^ *files *3$'
expect_pattern out '^ *records *6$'
grep -q 'INFO(recorder)' out && fail "the log went to the console: $(cat out)"
[[ $(stat -c %s part.rec.1) == $((4 * 20 + 32)) ]] || fail "the first part has another size"
[[ $(stat -c %s part.rec.2) == $((2 * 20 + 6)) ]] || fail "the second part has another size"
[[ $(head -c 3 log.txt | od -An -tx1) == " ef bb bf" ]] || fail "the log has no byte order mark"
grep -q 'INFO(recorder) PID .* : all records match$' log.txt || fail "no result in $(cat log.txt)"
expect 2 --threads 0
expect 2 --threads two
expect 2 --threads 65
expect_pattern err "option '--threads' can't be '65'"

# An interruption finishes the record at work, keeps what there is and says what is missing. The
# pipe keeps the recorder waiting.
mkfifo pipe
mkdir kept
"$program" --output kept/interrupted.rec text pipe bytes >out 2>&1 &
exec 3>pipe
echo line >&3
until grep -q "text' ends at record" out; do sleep 0.05; done
kill -INT $!
until grep -q 'recorder: interrupted' out; do sleep 0.05; done
exec 3>&-
status=0
wait $! || status=$?
((status == 3)) || fail "status $status instead of 3 after an interruption: $(cat out)"
expect_pattern out '^recorder: not recorded to its end: pipe$'
expect_pattern out '^recorder: not recorded to its end: bytes$'
grep -q 'not recorded to its end: text' out && fail "the first file is said to be missing"
records=$(sed -n 's/^ *records *\([0-9]*\)$/\1/p' out)
bytes=$(sed -n 's/^ *bytes in *\([0-9]*\)$/\1/p' out)
[[ $(ls kept) == interrupted.rec ]] || fail "an interruption left '$(ls kept)'"
[[ $(stat -c %s kept/interrupted.rec) == $((records * 20 + bytes)) ]] ||
    fail "the kept recording isn't whole: $(cat out)"
