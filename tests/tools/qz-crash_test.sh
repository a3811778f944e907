#!/bin/bash
# SPDX-License-Identifier: MIT
# What the command qz-crash promises to its users. qz-crash_test.sh QZ-CRASH

# shellcheck source=tests/examples/expect.sh
source "$(dirname "$0")/../examples/expect.sh"
ulimit -c 0
export TSAN_OPTIONS=${TSAN_OPTIONS:-}:report_signal_unsafe=0
crashes=$(dirname "$program")/../../tests/programs/crashes
[[ -x $crashes ]] || fail "no program to crash: $crashes"

expect_common_options
expect_refused "a FILE is required"
expect_refused "--list and --watch exclude each other" --list=x --watch=x
expect_refused "a folder and a FILE exclude each other" --list=x y
expect_refused "option '--entries' can't be '0'" --entries=0

# crash FOLDER STEP...: leaves a report in a new folder, whose path is then in $report.
crash()
{
    mkdir "$1"
    ("$crashes" "$@" || true) >crash.out 2>&1
    report=$(echo "$1"/*.qzcrash)
}

# Functions, files and lines.
crash null "say|the first" "say|the last" flush null 2>/dev/null
expect 0 "$report"
expect_text err ""
expect_pattern out "^program: .*/crashes\$"
expect_line out "end: abnormal, after SIGSEGV (11), SEGV_MAPERR (1), at 0x0"
expect_line out "report 1: SIGSEGV (11), SEGV_MAPERR (1), at 0x0"
expect_pattern out "^  #0    *faults::null() at .*/crashes.cpp:[0-9][0-9]*  \[crashes+0x[0-9a-f]*\]\$"
expect_pattern out "^  #[0-9]* *main at .*/crashes.cpp:[0-9]"
expect_pattern out "^  exception std::runtime_error: Got signal (SIGSEGV 11)"
if grep -q "^  rip " out; then fail "registers that nobody asked for"; fi

# The entries in their order, after the reports.
sed '0,/^the last log entries:$/d' out >entries
sed -i 's/ PID .* : / /' entries
[[ $(head -2 entries) == $'INFO the first\nINFO the last' ]] || fail "entries: $(cat entries)"
expect 0 --entries=1 "$report"
expect_pattern out "^INFO .*Got signal (SIGABRT 6)"
if grep -q "the last\$" out; then fail "more than one entry: $(cat out)"; fi
expect 0 --no-entries --registers "$report"
expect_pattern out "^  rip 0x"
if grep -q "the last log entries" out; then fail "entries in spite of --no-entries"; fi

# A machine without the programs that know names.
mkdir nothing
PATH=$PWD/nothing "$program" "$report" >out 2>err || fail "status $?"
expect_text err "qz-crash: no addr2line: install the package binutils, elfutils or llvm for names and lines"
expect_pattern out "^  #0    *crashes+0x[0-9a-f]*\$"

# A stripped library knows its exported functions only, and none of them stands in for another one.
library=$(ldd "$crashes" | sed -n 's/.*libqzSystem\.so[^ ]* => \(.*\) (0x.*/\1/p')
mkdir stripped
strip -o "stripped/${library##*/}" "$library"
LD_LIBRARY_PATH=$PWD/stripped crash of_stripped null 2>/dev/null
expect 0 --no-entries "$report"
expect_pattern out "^  #[0-9]* *main at .*/crashes.cpp:[0-9]"
expect_pattern out "^  #[0-9]* *${library##*/}+0x[0-9a-f]*\$"
if grep "\[${library##*/}+" out; then fail "names that are guessed"; fi

# A program that was built anew since.
cp "$report" changed.qzcrash
id=$(grep -a -m 1 -o '^frame 0x[0-9a-f]* 0x[0-9a-f]* [0-9a-f]*' "$report" | cut -d' ' -f4)
sed -i "s/$id/${id//[0-9]/a}/" changed.qzcrash
expect 0 --no-entries changed.qzcrash
expect_pattern err "^qz-crash: no file with the build id ${id//[0-9]/a} of "

# A report from elsewhere can't write to the terminal.
cp "$report" hostile.qzcrash
sed -i 's/cause SIGSEGV/cause \x1b[2JSEG/' hostile.qzcrash
expect 0 hostile.qzcrash
expect_line out "report 1: ?[2JSEG (11), SEGV_MAPERR (1), at 0x0"

# Each reference in the name of a type doubles what it stands for.
cp "$report" large.qzcrash
type=1fI1aIiiE
for part in {1..9} {A..T}; do type+="S0_IS${part}_S${part}_E"; done
type+=E
printf 'report 9\nexception %s\nend 9\n\0' "$type" |
    dd of=large.qzcrash bs=1 seek=$((4096 + $(tail -c +4097 "$report" | head -c 524288 | tr -d '\0' | wc -c))) conv=notrunc 2>/dev/null
expect 0 large.qzcrash
expect_pattern out "^  exception ${type:0:20}"

# Neither can the name of a file or of an option.
for hostile in $'a\nb' $'\x1b[2J' $'\xe2\x80\xaeabc'; do
    for argument in "$hostile" "--list=$hostile" "--$hostile"; do
        "$program" "$argument" >out 2>err && fail "status 0 for a hostile name"
        [[ $(wc -l <err) == 1 ]] || fail "not one line: $(cat -v err)"
        if grep -qF -e $'\x1b' -e $'\xe2\x80\xae' err; then fail "a hostile name: $(cat -v err)"; fi
    done
done

# What can't be read.
expect 1 "$report" none
expect_pattern err "^qz-crash: open none: .*ENOENT"
expect_pattern out "^report 1: "
echo text >text
expect 1 text
expect_pattern err "^qz-crash: use as a file of CrashKit: text: "
expect 1 --list none
expect_pattern err "^qz-crash: cannot read the folder none: "
"$program" "$report" >/dev/full 2>err && fail "status 0 for a report that was not printed"
expect_text err "qz-crash: cannot print"

# A folder: what was killed is listed too, and what ended normally has left nothing.
crash list null 2>/dev/null
"$crashes" list exit >/dev/null
("$crashes" list kill || true) >/dev/null 2>&1
touch list/other list/empty.qzcrash
expect 0 --list list
(($(wc -l <out) == 2)) || fail "not two lines: $(cat out)"
expect_pattern out "^....-..-.. ..:..:..  list/crashes-.*\.qzcrash  abnormal, after SIGSEGV (11), SEGV_MAPERR (1), at 0x0\$"
expect_pattern out "  without a report: killed, or by a signal such as SIGTERM\$"

# The watch shows the reports that come.
"$program" --watch list >watched 2>err &
watcher=$!
wait_for has_line watched
crash_count() { (($(wc -l <watched) == $1)); }
wait_for crash_count 2
("$crashes" list divide || true) >/dev/null 2>&1
wait_for crash_count 3
kill "$watcher"
wait "$watcher" 2>/dev/null || true
expect_pattern watched "after SIGFPE (8), FPE_INTDIV (1), at 0x"
