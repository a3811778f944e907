#!/bin/bash
# SPDX-License-Identifier: MIT
# What the resolver example promises to its users. resolve_test.sh RESOLVE

# shellcheck source=tests/examples/expect.sh
source "$(dirname "$0")/expect.sh"

# expect_match MATCH AGREEMENT PATH FILE: what one path alone resolves to below `tree`.
expect_match()
{
    local status=0
    if [[ $1 == none ]]; then status=1; fi
    printf '%s\n' "$3" >one
    expect $status --plain tree one
    expect_text out "$1"$'\t'"$2"$'\t'"$3"$'\t'"$4"
    expect_text err ''
}

# --- The guide's commands print the guide's table

guide_block() { sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/{/^\`\`\`/!p}" "$root/docs/guide-files.md"; }
mkdir guide bin
ln -s "$program" bin/resolve
guide_block sh | (cd guide && PATH=$folder/bin:$PATH bash -eu) >out || (($? == 1)) ||
    fail "the guide's commands failed"
guide_block text >shown
[[ -s shown ]] || fail "the guide shows nothing"
expect_text out "$(cat shown)"

# --- Matches

mkdir -p tree/xa/b tree/deep/a/b tree/parts 'tree/käse'
touch tree/root.txt tree/xa/b/one.txt tree/deep/a/b/two.txt tree/parts/two.txt
touch tree/parts/p.prt.{1,2,10} tree/parts/exact.prt{,.7} tree/parts/p.txt.1 'tree/käse/日本語'
expect_match full 0 root.txt tree/root.txt
expect_match full 0 /elsewhere/root.txt tree/root.txt
expect_match full 8 /old/deep/a/b/two.txt tree/deep/a/b/two.txt
expect_match full 8 'C:\old\deep\a\b\two.txt' tree/deep/a/b/two.txt
expect_match partial 3 /other/a/b/two.txt tree/deep/a/b/two.txt
expect_match full 5 /other/parts/two.txt tree/parts/two.txt
# The folder's name may begin with more than the path has, and less is no whole name.
expect_match partial 3 a/b/one.txt tree/xa/b/one.txt
expect_match partial 1 /ya/b/one.txt tree/xa/b/one.txt
expect_match partial 0 elsewhere/one.txt tree/xa/b/one.txt
expect_match full 5 old/parts/p.prt tree/parts/p.prt.10
expect_match full 5 old/parts/p.prt.2 tree/parts/p.prt.2
expect_match full 5 old/parts/exact.prt tree/parts/exact.prt
expect_match none 0 old/parts/p.prt.3 ''
expect_match none 0 old/parts/p.txt ''
expect_match none 0 ROOT.TXT ''
expect_match full 5 /alt/käse/日本語 tree/käse/日本語

# --- Lists: carriage returns and empty lines, the last line without an end, standard input

printf 'root.txt\r\n\n\r\nnowhere\nroot.txt' >list
expect 1 --plain tree list
expect_text out $'full\t0\troot.txt\ttree/root.txt
none\t0\tnowhere\t
full\t0\troot.txt\ttree/root.txt'
expect 0 --plain tree - <<<root.txt
expect_text out $'full\t0\troot.txt\ttree/root.txt'
: >empty
expect 0 --plain tree empty
expect_text out ''

# --- Roots: with slashes at the end, the whole path, an empty one; a name for the table

expect 0 --plain tree// - <<<root.txt
expect_text out $'full\t0\troot.txt\ttree/root.txt'
expect 0 --plain "$folder/tree" - <<<root.txt
expect_text out $'full\t0\troot.txt\t'"$folder/tree/root.txt"
mkdir void
expect 1 void - <<<root.txt
mkdir -- --odd
expect 1 -- --odd - <<<root.txt
mkdir -p $'odd/two\nlines'
touch $'odd/two\nlines/a'
expect 1 odd - <<<$'a\nb\xff\t'
grep -qF '│ partial │ 0         │ a    │ odd/two?lines/a │' out || fail "no such row: $(cat out)"
grep -qF '│ none    │ 0         │ b??  │                 │' out || fail "no such row: $(cat out)"

# --- Failures, and their reasons

readonly missing="System error : '(2) ENOENT No such file or directory'"
expect 3 nowhere list
expect_text err "resolve: cannot index 'nowhere': $missing"
expect 3 $'two\nlines' list
expect_text err "resolve: cannot index 'two\nlines': $missing"
expect 3 list list
expect_text err "resolve: cannot index 'list': it is no folder"
expect 3 tree nowhere
expect_text err "resolve: cannot read 'nowhere': $missing"
expect_text out ''
expect 3 tree tree
expect_text err "resolve: cannot read 'tree': System error : '(21) EISDIR Is a directory'"
files=$(find tree -type f -printf x | wc -c)
expect 3 --max-files "$files" tree list
expect_text err "resolve: qzXRefResolverSearchPath too many files (more than $files) in 'tree/'
resolve: cannot index 'tree'"
expect_text out ''
expect 1 --max-files $((files + 1)) tree list
status=0
"$program" tree list >/dev/full 2>err || status=$?
((status == 3)) || fail "status $status instead of 3 without room for the result"
expect_text err "resolve: cannot print the result"

# The superuser may read everything. A folder below the root that can't be read is left out.
if ((EUID == 0)); then
    run_under=(setpriv '--bounding-set=-dac_override,-dac_read_search')
fi
mkdir -p closed/below/closed
touch closed/file closed/below/closed/unseen
chmod 000 closed/below/closed
expect 1 --plain closed - <<<$'file\nunseen'
expect_text out $'full\t0\tfile\tclosed/file
none\t0\tunseen\t'
for mode in 000 400 100; do
    chmod $mode closed
    expect 3 closed list
    expect_text err "resolve: cannot index 'closed': System error : '(13) EACCES Permission denied'"
done
run_under=()

# --- The command line

expect_common_options
for arguments in '' 'tree' 'tree list list'; do
    # shellcheck disable=SC2086
    expect_refused "ROOT and FILE_WITH_PATHS are required" $arguments
done
expect_refused "ROOT and FILE_WITH_PATHS are required" tree ''
expect_refused "option '--max-files' can't be '0'" --max-files 0 tree list
expect_refused "option '--max-files' can't be '0'" --max-files=0 tree list
expect_refused "option '--max-files' requires a value" tree list --max-files
expect_refused "option '--plain' takes no value" --plain=1 tree list

# --- Plain lines stream: each result comes before the next path is written

mkfifo paths results
"$program" --plain tree - <paths >results 2>err &
exec 3>paths 4<results
for path in root.txt nowhere root.txt; do
    echo $path >&3
    IFS='' read -r -t 60 -u 4 line || fail "no result for '$path' before the end of the list"
    [[ $line == *$'\t'$path$'\t'* ]] || fail "'$line' for '$path'"
done
exec 3>&-
status=0
wait $! || status=$?
((status == 1)) || fail "status $status for a path without a file"

# A failure to print ends it at once, though the list goes on.
status=0
yes root.txt | "$program" --plain tree - >/dev/full 2>err || status=${PIPESTATUS[1]}
((status == 3)) || fail "status $status for an endless list onto a full disk"
expect_text err "resolve: cannot print the result"
