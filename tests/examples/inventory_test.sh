#!/bin/bash
# SPDX-License-Identifier: MIT
# What the inventory promises to its users. inventory_test.sh INVENTORY

# shellcheck source=tests/examples/expect.sh
source "$(dirname "$0")/expect.sh"

expect_rows()
{
    local wanted=$1 rows
    shift
    rows=$("$root/tests/examples/inventory_check.py" "$@") || fail "the list is wrong: $*"
    ((rows == wanted)) || fail "$rows rows instead of $wanted in: $*"
}

# --- All kinds of files and names

mkdir -p tree/sub/empty 'tree/käse, "neu"'
printf 'plain\n' >tree/a.txt
printf 'picture' >tree/photo.JPG
printf 'quote' >'tree/say "hello".txt'
printf 'delimiters' >'tree/a,b;c.csv'
printf 'lines' >$'tree/two\nlines\r.txt'
printf 'Grüße, 世界' >'tree/käse, "neu"/日本語.html'
printf '\xff\xfe' >tree/sub/latin
printf 'cut \xe4\xb8' >tree/sub/cut.txt
printf 'blanks' >'tree/sub/ blanks '
printf 'backslash' >'tree/sub/\back\slash.txt'
: >tree/sub/png
ln -s a.txt tree/link.txt
ln -s nowhere tree/dangling.txt
ln -s loop tree/loop
ln -s .. tree/sub/round
mkfifo tree/pipe
touch -d '1969-07-20 20:17:40.5 UTC' tree/a.txt
# A character that two blocks share, and a last one that is cut.
head -c 65534 /dev/zero >tree/sub/split.txt
printf '世界' >>tree/sub/split.txt
(cat tree/sub/split.txt && printf '\xe4\xb8') >tree/sub/split-cut.txt
readonly file_count=17

expect 0 --output list.csv tree
expect_rows $file_count list.csv -- tree
expect_text err ''
size=$(stat -c %s list.csv)
expect_line out "wrote 'list.csv': $file_count rows, $size bytes"
expect_line out "not followed: 1 links to folders"
[[ ! -e 'list (1).csv' ]] || fail "a second file was begun without need"
# The frame is cut away, and the columns with it.
sed -n 's/^│ \(.*\) │$/\1/p' out | sed 's/ *│ */|/g; s/ *$//' >table
expect_line table 'Type|Files|Bytes|UTF-8'
expect_line table 'image/jpeg|1|7|1'
expect_line table 'text/csv|1|10|1'
expect_line table 'text/html|1|15|1'
# find complains about the link to itself.
total=$({ find tree -xtype f -print0 2>/dev/null || true; } | xargs -0 stat -Lc %s |
    awk '{ sum += $1 } END { print sum }')
expect_line table "all|$file_count|$total|11"

# A terminal shows how far it is, and its messages begin at the start of a line. Exit status 1.
python3 - "$program" --output list.csv nowhere tree nowhere <<'END'
import os, pty, re, sys
pid, screen = pty.fork()
if pid == 0:
    os.execv(sys.argv[1], sys.argv[1:])
text = b''
while True:
    try:
        text += os.read(screen, 65536)
    except OSError:  # the program has ended
        break
status = os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])
lines = [line.rsplit(b'\r', 1)[-1] for line in text.replace(b'\r\n', b'\n').split(b'\n')]
missing = b"inventory: cannot walk 'nowhere': System error : '(2) ENOENT No such file or directory'"
if status != 1 or not text.startswith(b'\rlist [') or lines.count(missing) != 2 or \
        not any(re.fullmatch(b"wrote 'list.csv': [0-9]+ rows, [0-9]+ bytes", line) for line in lines):
    sys.exit(f'inventory: status {status} on a terminal, which showed: {text}')
END

# --- Rotation: as many rows as asked for, and none lost between two files

for rows in 1 5 $((file_count - 1)) $file_count; do
    rm -f list*.csv
    expect 0 --output list.csv --rows "$rows" tree
    expect_rows $file_count list*.csv -- tree
    files=(list*.csv)
    ((${#files[@]} == (file_count + rows - 1) / rows)) || fail "${#files[@]} files of $rows rows"
    expect_line table "all|$file_count|$total|11"
done
expect 0 --output noextension --rows 9 tree
expect_rows $file_count noextension 'noextension (1)' -- tree
expect 0 --output noextension --rows 99 tree
expect_line out "no part of this list: 'noextension (1)'"
mkdir nothing
expect 0 --output nothing.csv nothing
expect_rows 0 nothing.csv -- nothing

# A list of no files has no table if there are none because of a problem.
expect_pattern out '^│ all '
expect 1 --output nothing.csv nothing nowhere
expect_line err "inventory: the list is not complete; problems that were reported: 1"
expect_text out "wrote 'nothing.csv': 0 rows, $(stat -c %s nothing.csv) bytes"

# --- Real folders of the machine, with a slash at the end, as well

expect 0 --output "$folder/system.csv" --rows 1000 /usr/include/ "$root/examples"
expect_rows "$(find /usr/include "$root/examples" \( ! -type d -a \
    ! \( -type l -a -xtype d \) \) -printf x | wc -c)" system*.csv -- /usr/include/ "$root/examples"

# --- What can't be read is reported, and the rest is listed

# The superuser may read everything.
if ((EUID == 0)); then
    run_under=(setpriv '--bounding-set=-dac_override,-dac_read_search')
fi
mkdir -p dark/closed dark/unsearchable 'dark/back\slash' "dark/open"
touch dark/closed/unseen dark/unsearchable/file dark/open/seen dark/secret.txt
touch 'dark/back\slash/unseen' $'dark/\xff' $'dark/\\'
chmod 000 dark/closed dark/secret.txt
chmod 600 dark/unsearchable
expect 1 --output dark.csv dark nowhere tree/a.txt '' 'dark/back\slash'
readonly denied="System error : '(13) EACCES Permission denied'"
sort err >sorted
sort >wanted <<END
inventory: cannot list 'dark/\\xFF': its name can't be converted
inventory: cannot look at 'dark/unsearchable/file': $denied
inventory: cannot read 'dark/secret.txt': $denied
inventory: cannot walk '': it names nothing
inventory: cannot walk 'dark/back\\slash': there is a backslash in its name
inventory: cannot walk 'dark/back\\slash': there is a backslash in its name
inventory: cannot walk 'dark/\\': there is a backslash in its name
inventory: cannot walk 'dark/closed': $denied
inventory: cannot walk 'nowhere': System error : '(2) ENOENT No such file or directory'
inventory: cannot walk 'tree/a.txt': System error : '(20) ENOTDIR Not a directory'
inventory: the list is not complete; problems that were reported: 10
END
cmp -s sorted wanted || fail "other messages: $(diff sorted wanted)"
cut -d, -f1,7 dark.csv | sort >rows
expect_text rows 'dark/open/seen,UTF-8
dark/secret.txt,unreadable
dark/unsearchable/file,unreadable
path,content'
run_under=()
chmod -R u+rwx dark

# --- A folder that is mistyped leaves an older list as it is

echo 'the old list' >old.csv
for path in nowhere tree/a.txt '' $'two\nlines'; do
    expect 3 --output old.csv "$path"
    expect_text err "inventory: there is no folder '${path/$'\n'/\\n}'; no list is written"
    expect_text old.csv 'the old list'
done

# --- A disk that is full: what was reported is there

readonly full="System error : '(28) ENOSPC No space left on device'"
expect 3 --output /dev/full tree
expect_text err "inventory: cannot write '/dev/full': $full; 0 rows in 0 CSV files are written"
expect_text out "not followed: 1 links to folders"
# Here the buffer is full before the list ends.
expect 3 --output /dev/full /usr/include
expect_text err "inventory: cannot write '/dev/full': $full; 0 rows in 0 CSV files are written"

rm -f list*.csv
ln -s /dev/full 'list (2).csv'
expect 3 --output list.csv --rows 5 tree
expect_text err "inventory: cannot write 'list (2).csv': $full; 10 rows in 2 CSV files are written"
grep '^wrote' out >reported
expect_text reported "wrote 'list.csv': 5 rows, $(stat -c %s list.csv) bytes
wrote 'list (1).csv': 5 rows, $(stat -c %s 'list (1).csv') bytes"
expect_rows 10 --some list.csv 'list (1).csv' -- tree

rm -f list*.csv
(
    trap '' XFSZ
    ulimit -f 16
    expect 3 --output list.csv --rows 1000 /usr/include
) || exit 1
expect_text err "inventory: cannot write 'list.csv': System error : '(27) EFBIG File too large'; \
0 rows in 0 CSV files are written"

# --- Other places that keep no list

expect 3 --output /dev/null tree
expect_text err "inventory: cannot write '/dev/null': it is no regular file, its rows are lost; \
0 rows in 0 CSV files are written"
# A regular file by its looks, which takes all and keeps a name of 15 bytes.
expect 3 --output /proc/self/comm nothing
expect_text err "inventory: cannot write '/proc/self/comm': it has 0 bytes instead of 49; \
0 rows in 0 CSV files are written"
expect 3 --output nowhere/list.csv tree
expect_text err "inventory: cannot write 'nowhere/list.csv': \
System error : '(2) ENOENT No such file or directory'; 0 rows in 0 CSV files are written"
rm -f list*.csv
ln -s list.csv 'list (1).csv'
expect 3 --output list.csv --rows 5 tree
expect_text err "inventory: cannot write 'list (1).csv': it is a link to 'list.csv'; \
5 rows in 1 CSV files are written"
expect_rows 5 --some list.csv -- tree
rm -f list*.csv
status=0
"$program" --output list.csv tree >/dev/full 2>err || status=$?
((status == 3)) || fail "status $status instead of 3 without room for the totals"
expect_text err "inventory: cannot print the totals"

# --- An interruption: the rows that are ready are written. Reading a huge file takes long enough.

mkdir busy
truncate -s 4T busy/ages || truncate -s 1T busy/ages
for signal in INT TERM HUP; do
    rm -f list*.csv
    "$program" --output list.csv --rows 10 tree busy >out 2>err &
    pid=$!
    until find "/proc/$pid/fd" -lname '*/busy/ages' | grep -q .; do sleep 0.05; done
    kill -s $signal $pid
    status=0
    wait $pid || status=$?
    ((status == 128 + $(kill -l $signal))) || fail "status $status after SIG$signal"
    expect_line err "inventory: interrupted; $file_count rows in 2 CSV files are written"
    expect_rows $file_count list.csv 'list (1).csv' -- tree
    if grep -q Inventory out; then fail "there are totals of half a list"; fi
done

# A killed one reports nothing more; the files that it reported before are complete.
rm -f list*.csv
"$program" --output list.csv --rows 10 tree busy >out 2>err &
pid=$!
until find "/proc/$pid/fd" -lname '*/busy/ages' | grep -q .; do sleep 0.05; done
kill -KILL $pid
wait $pid || true
expect_text out "wrote 'list.csv': 10 rows, $(stat -c %s list.csv) bytes"
expect_rows 10 --some list.csv -- tree

# --- The command line

expect_common_options
expect_refused "option '--rows' can't be '0'" --rows 0
expect_refused "option '--rows' can't be '1x'" --rows 1x
expect_refused "option '--rows' requires a value" --rows
expect_refused "option '--output' can't be ''" --output ''
expect 0 --output=joined.csv --rows=99 nothing
expect_rows 0 joined.csv -- nothing
mkdir -- --odd
expect 0 --output odd.csv -- --odd
