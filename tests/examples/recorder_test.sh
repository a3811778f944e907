#!/bin/bash
# SPDX-License-Identifier: MIT
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

# --- Collected first, in memory and in a swap file

mkdir swap
seq 1500000 >numbers
TMPDIR=$PWD/swap expect 0 --buffered --output buffered.rec numbers text
expect_pattern out '^ *records *1500004$'
collected=$(sed -n 's/^ *collected in memory *\([0-9]*\) KiB$/\1/p' out)
# Much of the recording, which has some 40 MB, must be in the file. The memory of a sanitizer is added
# to that of the program.
grep -q '__[at]san_init' "$program" && most=100000 || most=$((16 * 1024))
((collected > 4 * 1024 && collected < most)) || fail "$collected KiB were collected in memory"
[[ $(stat -c %s buffered.rec) == $((1500004 * 20 + $(stat -c %s numbers) + 32)) ]] ||
    fail "the collected recording has another size"
[[ -z $(ls swap) ]] || fail "a swap file is left"
expect 0 --buffered --threads 2 --output part text bytes
[[ $(stat -c %s part.1) == $((4 * 20 + 32)) ]] || fail "the first part has another size"
for file in numbers text; do
    expect 1 --buffered --output /dev/full $file
    expect_pattern out "CRITICAL(recorder).*cannot write '/dev/full': std sub stream fail bit is set"
done
TMPDIR=/proc expect 1 --buffered --output unmade.rec numbers
expect_pattern out 'CRITICAL(recorder).*: Fail to write to swap file'
[[ ! -e unmade.rec ]] || fail "an incomplete recording is left"
rm numbers buffered.rec

# --- The command line

expect_common_options
expect_refused "option '--endian' can't be 'middle'" --endian middle
expect_refused "option '--output' requires a value" --output
for count in 0 two 65; do
    expect_refused "option '--threads' can't be '$count'" --threads $count
done
expect 0 --threads=2 --endian=big text -- bytes

# --- No output or log takes the place of an input

cp text before
ln text hard-link
ln -s text input-link
cp text text.2
for arguments in "--output text text" "--output hard-link text" "--output text input-link" \
    "--log text text" "--threads 2 --output text bytes text.2" "--output same --log same text"; do
    # shellcheck disable=SC2086
    expect 2 $arguments
    expect_pattern err 'has two uses (--help shows the usage)$'
    cmp text before || fail "an input was replaced by: $arguments"
done

# --- An input that can be read only once, and an output that can't be read back

# run_limited SECONDS COMMAND...: kills a command that hangs, as the recorder catches other signals.
run_limited() { timeout -s KILL "$@"; }
printf 'from a pipe\nin two lines' >written
status=0
run_limited 120 "$program" --output piped.rec <(cat written) text >out 2>err || status=$?
((status == 0)) || fail "status $status for a pipe as input: $(cat out err)"
expect_pattern out '^ *records *6$'
[[ $(stat -c %s piped.rec) == $((6 * 20 + $(cat written text | wc -c))) ]] ||
    fail "the recording of a pipe has another size"
mkfifo sink
status=0
run_limited 120 "$program" --output sink text >out 2>err || status=$?
((status == 1)) || fail "status $status for a pipe as output: $(cat out err)"
expect_pattern out "CRITICAL(recorder).*cannot make 'sink': it is no regular file"

# --- Lines without an end need no more memory than others

head -c 2621440 /dev/zero >long
expect 0 --output long.rec long
expect_pattern out '^ *records *3$'
[[ $(stat -c %s long.rec) == $((3 * 20 + 2621440)) ]] || fail "a long line was not recorded whole"

# --- The recording has the permissions of any new file, or those of the file that it replaces

(umask 027 && expect 0 --output new.rec text)
[[ $(stat -c %a new.rec) == 640 ]] || fail "the umask was ignored"
chmod 604 new.rec
expect 0 --output new.rec text
[[ $(stat -c %a new.rec) == 604 ]] || fail "the file lost its permissions"
expect 1 --output absent/new.rec text
expect_pattern out "cannot make 'absent/new.rec': System error : '(2) ENOENT"

# --- A result that can't be printed

status=0
"$program" --log full.txt text >/dev/full 2>err || status=$?
((status == 1)) || fail "status $status when the result can't be printed"
expect_text err "recorder: cannot print the result"

# --- Threads and interruptions

# Several threads share the files, and the log goes to its file.
expect 0 --threads 2 --log log.txt --output part.rec text bytes empty
expect_pattern out '^ *files *3$'
expect_pattern out '^ *records *6$'
grep -q 'INFO(recorder)' out && fail "the log went to the console: $(cat out)"
[[ $(stat -c %s part.rec.1) == $((4 * 20 + 32)) ]] || fail "the first part has another size"
[[ $(stat -c %s part.rec.2) == $((2 * 20 + 6)) ]] || fail "the second part has another size"
[[ $(head -c 3 log.txt | od -An -tx1) == " ef bb bf" ]] || fail "the log has no byte order mark"
grep -q 'INFO(recorder) PID .* : all records match$' log.txt || fail "no result in $(cat log.txt)"

# The thread sanitizer holds a signal back while the thread that got it waits for its input. A further
# one of the same number finds the main thread.
is_thread_sanitized()
{
    ldd "$program" | grep -q 'libtsan'
}

# interrupt SIGNAL PID: returns when the recorder has printed so, or has ended.
interrupt()
{
    local i
    kill -s "$1" "$2"
    for ((i = 1; ; ++i)); do
        if grep -q 'recorder: interrupted' out || ! kill -0 "$2" 2>/dev/null; then return; fi
        if ((i % 20 == 0)) && is_thread_sanitized; then kill -s "$1" "$2" || true; fi
        ((i < 1200)) || fail "no word of an interruption by SIG$1: $(cat out)"
        sleep 0.05
    done
}

# An interruption ends the recording after the current record, keeps it and prints which files are
# missing. The recorder waits for the pipe.
mkfifo pipe
mkdir kept
"$program" --output kept/interrupted.rec text pipe bytes >out 2>&1 &
exec 3>pipe
echo line >&3
until grep -q "text' ends at record" out; do sleep 0.05; done
interrupt INT $!
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

# A second interruption ends a recorder that waits for its input. It leaves no file.

# interrupt_twice SIGNAL ARGUMENT...: sets `status`.
interrupt_twice()
{
    local i pid
    rm -rf second
    mkdir second
    TMPDIR=$PWD/second "$program" --output second/rec "${@:2}" pipe >out 2>&1 &
    pid=$!
    exec 3>pipe
    interrupt "$1" $pid
    kill -s "$1" $pid 2>/dev/null || true
    # The pipe is still open. The limit only ends a hang.
    for ((i = 0; i < 1200; ++i)); do
        kill -0 $pid 2>/dev/null || break
        sleep 0.05
    done
    kill -KILL $pid 2>/dev/null || true
    status=0
    wait $pid || status=$?
    exec 3>&-
}

# expect_nothing_left SIGNAL ARGUMENT...
expect_nothing_left()
{
    local attempt
    # If the first signal comes before the recorder waits for the pipe, it ends by itself, and the
    # second signal may hit it while it does so.
    for ((attempt = 0; attempt < 100; ++attempt)); do
        interrupt_twice "$@"
        grep -q '^recorder: not recorded to its end: pipe$' out || break
    done
    ((status == 128 + $(kill -l "$1"))) || fail "status $status after a second SIG$1"
    expect_line out 'recorder: interrupted again, the recording is discarded'
    rmdir second || fail "a second interruption left '$(ls second)'"
}

# A second interruption while the recorder ends: it keeps the recording or discards it, as it says.
for ((i = 0; i < 12; ++i)); do
    rm -rf second
    mkdir second
    "$program" --output second/rec pipe >out 2>&1 &
    pid=$!
    exec 3>pipe
    interrupt INT $pid
    exec 3>&-
    for ((j = 0; j < 5; ++j)); do
        kill -s INT $pid 2>/dev/null || true
    done
    status=0
    wait $pid || status=$?
    if grep -q '^recorder: interrupted again, the recording is discarded$' out; then
        rmdir second || fail "a discarded recording left '$(ls second)'"
    else
        [[ $(ls second) == rec ]] || fail "no recording after an interruption: $(cat out)"
        # A signal after the last line ends a program that is leaving anyway.
        grep -q 'not all records match' out || fail "no summary after an interruption: $(cat out)"
        ((status == 3 || status == 130)) || fail "status $status after interruptions: $(cat out)"
    fi
done

head -c 30000000 /dev/zero >zeros # more than the memory of a collected recording
for signal in INT TERM; do
    expect_nothing_left $signal
    expect_nothing_left $signal --buffered zeros
done
rm zeros
