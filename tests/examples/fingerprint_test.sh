#!/bin/bash
# SPDX-License-Identifier: MIT
# What the fingerprints promise to their users. fingerprint_test.sh FINGERPRINT

# shellcheck source=tests/examples/expect.sh
source "$(dirname "$0")/expect.sh"

has_open() { find "/proc/$1/fd" -lname "*/$2" | grep -q .; }
# expect_no_leftover: no file that was written in part is left.
expect_no_leftover() { [[ -z $(find . -name '*.new-*') ]] || fail "left: $(ls)"; }

# --- All kinds of files and names, with digests by another program

mkdir -p tree/sub/deep tree/nothing
printf 'plain\n' >tree/a.txt
printf 'quote' >'tree/say "hello", and more.txt'
printf 'lines' >$'tree/two\nlines.txt'
printf '世界' >tree/sub/世界
: >tree/sub/empty
# Longer than the buffer of the program.
seq 100000 >tree/sub/deep/long
ln -s a.txt tree/link
ln -s .. tree/sub/round
mkfifo tree/pipe
cat >wanted.csv <<'END'
folder,path,bytes,digest
1,a.txt,6,dc99a33f1b8cb24fd9aecaee4ac96fa3
1,"say ""hello"", and more.txt",5,f6f3be289ddcc59c1948c4c5786908cb
1,"two
lines.txt",5,f19d849a10384109611524542218e3de
1,sub/empty,0,99aa06d3014798d86001c324468d497f
1,sub/世界,6,062ac60dd40bad042b9d6a0330fb178a
1,sub/deep/long,588895,a6bb1ae3f57b6a512881c59907229fa4
END

expect 0 --csv list.csv --threads 2 tree
cmp -s list.csv wanted.csv || fail "another list: $(diff list.csv wanted.csv)"
expect_no_leftover
expect_line err "digest: 100%"
expect_line out "files: 6, bytes: 588917, $(grep -o 'rate: .*B/s' out), threads: 2"
expect_pattern out '│ *CPU & RAM usage *│'
for phase in find digest write Overall; do expect_pattern out "│ $phase *│"; done
if grep -q '│ compare' out; then fail "a phase that was not there"; fi

# Any number of threads gives the same.
for threads in 1 3 16; do
    expect 0 --quiet --csv other.csv --threads $threads tree/
    cmp -s other.csv wanted.csv || fail "another list with $threads threads"
    expect_text err ''
done
expect 0 --quiet tree/nothing
expect_line out "files: 0, bytes: 0, rate: 0B/s, threads: $(sed -n 's/.*threads: //p' out)"
# If there are none because of a problem, only that is reported.
expect 1 --quiet nowhere
expect_text out ''
expect_text err "fingerprint: cannot read the folder 'nowhere': \
System error : '(2) ENOENT No such file or directory'"

# As many threads as the affinity allows
cpu=$(taskset -cp $$ | sed 's/.*: //; s/[-,].*//')
run_under=(taskset -c "$cpu")
expect 0 --quiet tree
expect_pattern out ', threads: 1$'
run_under=()

# What is no file of its own is left out.
mkdir special
mkfifo special/pipe
python3 -c 'import socket; socket.socket(socket.AF_UNIX).bind("special/socket")'
ln -s nowhere special/dangling
ln -s ../tree special/folder
expect 0 --quiet special
expect_pattern out '^files: 0, '
expect_text err ''

# Each folder below /proc would have files that never end.
run_under=(timeout 600)
expect 1 --quiet --csv kernel.csv /proc tree /proc/self
expect_text err "fingerprint: cannot read the folder '/proc': it shows the kernel
fingerprint: cannot read the folder '/proc/self': it shows the kernel"
(($(grep -c '^2,' kernel.csv) == 6)) || fail "the other folder was not read: $(cat kernel.csv)"
expect 1 --quiet --compare kernel.csv /proc tree
expect_line out '0 added, 0 removed, 0 changed'
run_under=()

# The list can't have its own digest, but others of its name have theirs.
mkdir -p own/sub
cp tree/a.txt own/sub/list.csv
for ((i = 0; i < 3; ++i)); do
    expect 0 --quiet --csv own/list.csv own
    expect_text own/list.csv 'folder,path,bytes,digest
1,sub/list.csv,6,dc99a33f1b8cb24fd9aecaee4ac96fa3'
done
expect 0 --quiet --csv own/../own/list.csv --compare own/list.csv own
expect_line out '0 added, 0 removed, 0 changed'

# --- Real folders of the machine

expect 0 --quiet --csv system.csv /usr/include "$root/src"
(($(find /usr/include "$root/src" -type f -printf x | wc -c) + 1 == $(wc -l <system.csv))) ||
    fail "$(wc -l <system.csv) rows for /usr/include and src"

# --- Comparisons, with the same folder and with another one in its place

expect 0 --quiet --compare list.csv tree
expect_line out '0 added, 0 removed, 0 changed'
expect_pattern out '│ compare *│'
cp -r tree copy
printf 'Plain\n' >copy/a.txt
printf 'new' >$'copy/sub/new\nfile'
rm copy/sub/empty
expect 0 --quiet --compare list.csv --csv list.csv copy
grep -E '^(added|removed|changed|[0-9]+ added)' out >differences
expect_text differences 'changed: copy/a.txt
added: copy/sub/new?file
removed: copy/sub/empty
1 added, 1 removed, 1 changed'
expect 0 --quiet --compare list.csv copy
expect_line out '0 added, 0 removed, 0 changed'
# A name must not steer the terminal.
mkdir steering
touch steering/$'\u009b2J'
expect 0 --quiet --csv none.csv tree/nothing
expect 0 --quiet --compare none.csv steering
expect_line out 'added: steering/?2J'
rm none.csv
# Folders are compared in their order.
expect 0 --quiet --csv two.csv tree copy
expect 0 --quiet --compare two.csv copy tree
expect_line out '2 added, 2 removed, 2 changed'
expect 0 --quiet --compare two.csv tree
expect_line out '0 added, 6 removed, 0 changed'
expect_line out 'removed: a.txt'

# --- What can't be read is reported, a line each, and all else is done

# The superuser may read everything.
if ((EUID == 0)); then
    run_under=(setpriv '--bounding-set=-dac_override,-dac_read_search')
fi
mkdir -p dark/closed dark/$'\xfe\nfolder'
touch dark/closed/unseen dark/secret.txt dark/$'\xff' dark/$'\xfe\nfolder/unseen' dark/seen
chmod 000 dark/closed dark/secret.txt
expect 1 --quiet --csv dark.csv dark nowhere dark/seen
readonly denied="System error : '(13) EACCES Permission denied'"
sort err >sorted
sort >wanted <<END
fingerprint: cannot list 'dark/??folder': its name can't be converted
fingerprint: cannot list 'dark/?': its name can't be converted
fingerprint: cannot read 'dark/secret.txt': $denied
fingerprint: cannot read the folder 'dark/closed': $denied
fingerprint: cannot read the folder 'dark/seen': System error : '(20) ENOTDIR Not a directory'
fingerprint: cannot read the folder 'nowhere': System error : '(2) ENOENT No such file or directory'
END
cmp -s sorted wanted || fail "other messages: $(diff sorted wanted)"
expect_text dark.csv 'folder,path,bytes,digest
1,secret.txt,0,
1,seen,0,99aa06d3014798d86001c324468d497f'
expect_pattern out '^files: 1, '
# A file without a digest is no difference.
printf 'content' >dark/seen
expect 1 --quiet --compare dark.csv dark
expect_line out '0 added, 0 removed, 1 changed'
# Files in a folder that can't be read now weren't removed.
mkdir -p dim/closed/sub
touch dim/closed/a dim/closed/sub/b dim/closed.txt
expect 0 --quiet --csv dim.csv dim dim/closed
chmod 000 dim/closed
rm dim/closed.txt
expect 1 --quiet --compare dim.csv dim dim/closed
expect_line out '0 added, 1 removed, 0 changed'
expect_line out 'removed: dim/closed.txt'
run_under=()
chmod -R u+rwx dark dim

# --- A file that vanishes or becomes another kind of file: the first one takes long enough

mkdir busy
truncate -s 4T busy/ages || truncate -s 1T busy/ages
touch busy/vanishes busy/pipe busy/zebra
"$program" --quiet --threads 1 --csv busy.csv busy >out 2>err &
wait_for has_open $! ages
rm busy/vanishes busy/pipe
mkfifo busy/pipe
: >busy/ages
status=0
wait $! || status=$?
((status == 1)) || fail "status $status after a file has vanished"
expect_text err \
    "fingerprint: cannot read 'busy/pipe': System error : '(22) EINVAL Invalid argument'
fingerprint: cannot read 'busy/vanishes': System error : '(2) ENOENT No such file or directory'"
expect_pattern busy.csv '^1,pipe,0,$'
expect_pattern busy.csv '^1,vanishes,0,$'
expect_pattern busy.csv '^1,zebra,0,99aa06d3014798d86001c324468d497f$'

# --- A file that grows while it is read: its end may move on for ever

# stop_while_reading FILE ARGUMENT...: starts the program, and stops it while it reads the file. Its
# number is in `reader`.
stop_while_reading()
{
    local file=$1 attempt
    shift
    for ((attempt = 0; attempt < 100; ++attempt)); do
        "$program" "$@" >out 2>err &
        reader=$!
        while ! is_gone $reader; do
            kill -STOP $reader
            if has_open $reader "$file"; then return; fi
            kill -CONT $reader
            sleep 0.005
        done
        wait $reader || true
    done
    fail "it was never seen reading $file"
}

mkdir growing
truncate -s 1G growing/log
stop_while_reading log --quiet --csv growing.csv growing
truncate -s 4T growing/log || truncate -s 1T growing/log
kill -CONT $reader
wait $reader || fail "status $? for a file that grows"
expect_pattern growing.csv '^1,log,1073741824,'
rm growing/log

# --- Folders that vanish while they are read: a line each at most

for ((i = 0; i < 3; ++i)); do
    mkdir -p storm/{1..30}/{1..20}
    touch storm/{1..30}/{1..20}/file
    "$program" --quiet storm >out 2>err &
    rm -rf storm/*
    status=0
    wait $! || status=$?
    ((status <= 1)) || fail "status $status when folders vanish"
    if grep -v "^fingerprint: cannot read.* 'storm/.*': System error : '(2) ENOENT No such .*'$" err
    then
        fail "another message when folders vanish"
    fi
done

# --- Disks that are full, and other places for no list

readonly full="System error : '(28) ENOSPC No space left on device'"
expect 1 --quiet --csv /dev/full tree
expect_text err "fingerprint: cannot write '/dev/full': $full"
expect_pattern out '^files: 6, '
# Here the buffer is full before the list ends.
expect 1 --quiet --csv /dev/full /usr/include
expect_text err "fingerprint: cannot write '/dev/full': $full"
(
    trap '' XFSZ
    ulimit -f 16
    expect 1 --quiet --csv list.csv /usr/include
) || exit 1
expect_text err "fingerprint: cannot write 'list.csv': System error : '(27) EFBIG File too large'"
expect 0 --quiet --compare list.csv copy  # is the one from before
expect_no_leftover
expect 1 --quiet --csv nowhere/list.csv tree
expect_text err \
    "fingerprint: cannot write 'nowhere/list.csv': System error : '(2) ENOENT No such file or directory'"
expect 1 --quiet --csv tree tree
expect_text err "fingerprint: cannot write 'tree': it is no regular file"
# As /dev/stdout, which the superuser could replace.
ln -s /proc/self/fd/1 output
expect 1 --quiet --csv output tree
expect_text err "fingerprint: cannot write 'output': it is no regular file"
[[ -L output ]] || fail "the link to the standard output was replaced"
status=0
"$program" --quiet tree >/dev/full 2>err || status=$?
((status == 1)) || fail "status $status instead of 1 without room for the table"
expect_text err "fingerprint: cannot print to 'standard output': it has failed"

# --- Files that are no earlier list

expect 1 --quiet --compare none.csv tree
expect_pattern err "^fingerprint: cannot compare with 'none.csv': "
expect_pattern out '^files: 6, '
for text in '' 'folder,path' 'a,b,c,d' "$(head -c 100000 /dev/zero | tr '\0' x)"; do
    printf '%s' "$text" >bad.csv
    expect 1 --quiet --compare bad.csv tree
    expect_pattern err "^fingerprint: cannot compare with 'bad.csv': "
    (($(wc -l <err) == 1)) || fail "more than one line: $(cat err)"
done
readonly digest=99aa06d3014798d86001c324468d497f
for row in 1,a 0,a,1,$digest x,a,1,$digest ,a,1,$digest 99999999999999999999,a,1,$digest \
    1,a,,$digest 1,a,-1,$digest 1,a,1x,$digest 1,a,1,${digest%f} 1,a,1,${digest}0 1,a,1,${digest/9/x}; do
    printf 'folder,path,bytes,digest\n%s\n' "$row" >bad.csv
    expect 1 --quiet --compare bad.csv tree
    expect_text err "fingerprint: cannot compare with 'bad.csv': row 2 is damaged"
done
# Nobody writes to the pipe.
mkfifo earlier
for path in earlier /dev/zero tree; do
    run_under=(timeout --signal=KILL 300)
    expect 1 --quiet --compare $path tree
    expect_text err "fingerprint: cannot compare with '$path': it is no regular file"
    run_under=()
done

# --- An interruption, by the user or as the parent has ended: the old list stays

truncate -s 4T busy/ages || truncate -s 1T busy/ages
cp list.csv before.csv
for signal in INT TERM; do
    # A shell ignores SIGINT for what it starts in the background, and a program inherits that.
    env --default-signal=INT "$program" --threads 2 --csv list.csv busy tree >out 2>err &
    wait_for has_open $! ages
    kill -$signal $!
    status=0
    wait $! || status=$?
    ((status == 130)) || fail "status $status after SIG$signal ($(cat out err))"
    expect_pattern err '^fingerprint: interrupted; [0-9]* of 8 files are done, no CSV file is written$'
    if grep -q RAM out; then fail "there is a table of half the work"; fi
    cmp -s list.csv before.csv || fail "the old list was changed"
    expect_no_leftover
done

# The shell stays its parent: with a command after it, it does not become the program.
bash -c '"$0" --quiet --threads 1 --csv list.csv busy >out 2>err & echo $! >child; wait; true' "$program" &
wait_for has_line child
wait_for has_open "$(cat child)" ages
kill -KILL $!
wait $! 2>/dev/null || true
wait_for is_gone "$(cat child)"
expect_line err 'fingerprint: interrupted; 0 of 2 files are done, no CSV file is written'
cmp -s list.csv before.csv || fail "the old list was changed"

# --- Too much memory

expect 3 --memory 1 --csv list.csv busy
expect_pattern out "^CRITICAL.*Memory watchdog 'fingerprint' : process is using too much RAM"
cmp -s list.csv before.csv || fail "the old list was changed"

# --- The command line

expect_common_options
expect_refused "FOLDER is required"
expect_refused "option '--threads' can't be '0'" --threads 0 tree
expect_refused "option '--threads' can't be '-1'" --threads -1 tree
expect_refused "there are too many threads" --threads 1025 tree
expect_refused "the limit of memory is too high" --memory 1099511627777 tree
expect_refused "option '--csv' can't be ''" --csv '' tree
expect_refused "option '--compare' requires a value" tree --compare
mkdir -- --odd
expect 0 --quiet -- --odd
