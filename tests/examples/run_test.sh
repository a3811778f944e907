#!/bin/bash
# SPDX-License-Identifier: MIT
# What the example that runs programs promises to its users. run_test.sh RUN

# shellcheck source=tests/examples/expect.sh
source "$(dirname "$0")/expect.sh"

# --- The exit status, and the output in the log

expect 0 -- sh -c 'echo good; echo bad >&2'
expect_pattern out '^INFO(out) .* : good$'
expect_pattern out '^WARNING(err) .* : bad$'
expect_pattern out '^INFO(run) .* : exit status 0$'
expect_text err ''
expect 137 -- sh -c 'kill -9 $$'
expect_pattern out '^WARNING(run) .* : ended by signal 9 (Killed)$'
expect 127 -- ./no-such-program
expect_pattern out '^CRITICAL(run) .* : not started: execve ./no-such-program: .*ENOENT'
expect 7 -- sh -c 'exit 7' 'two words' ''
expect_pattern out "^INFO(run) .* : command: sh -c 'exit 7' 'two words' ''\$"
expect_pattern out '^WARNING(run) .* : exit status 7$'
mkdir folder
expect 126 -- ./folder
expect_pattern out 'EACCES'
expect 0 -- cat <<<'from the input'
expect_pattern out '^INFO(out) .* : from the input$'

expect 0 --log run.log -- echo first
expect 0 --log run.log -- echo second
expect_text out ''
expect_pattern run.log 'INFO(out) .* : first$'
expect_pattern run.log '^INFO(out) .* : second$'
expect 125 --log folder -- true
expect_text err "run: the log 'folder' is a folder"
expect 0 --log run.log -- sh -c ': two
: lines'
expect_pattern run.log '^INFO(run) .* : command: sh -c .: two\\n: lines.$'
status=0
"$program" -- touch unseen >&- 2>err || status=$?
((status == 125)) || fail "status $status for a closed standard output"
expect_text err "run: the standard output is closed, and there is no --log"
[[ ! -e unseen ]] || fail "a program ran whose output had no place"

# --- A build

mkdir project
cat >project/CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.22)
project(tiny NONE)
add_custom_target(greeting ALL COMMAND ${CMAKE_COMMAND} -E echo built VERBATIM)
add_custom_target(broken COMMAND ${CMAKE_COMMAND} -E cat missing-file VERBATIM)
CMAKE
expect 0 --timeout 600 --log build.log -- cmake -G Ninja -S project -B project/build
expect 0 --timeout 600 --log build.log -- cmake --build project/build
expect_pattern build.log '^INFO(run) .* : command: cmake --build project/build$'
expect_pattern build.log '^INFO(out) .* : .*built$'
status=0
"$program" --log build.log -- cmake --build project/build --target broken || status=$?
((status != 0)) || fail "status 0 for a build that failed"
expect_pattern build.log '^INFO(out) .* : .*missing-file'
expect_pattern build.log "^WARNING(run) .* : exit status $status\$"

# --- Retries

cat >third_time <<'SCRIPT'
#!/bin/sh
echo x >>tries
[ "$(wc -l <tries)" -eq 3 ]
SCRIPT
chmod +x third_time
expect 0 --retry 5 -- ./third_time
expect_text tries $'x\nx\nx'
expect_pattern out ' : retry 2 of 5$'
expect 1 --retry 1 -- sh -c 'echo x >>more; exit 1'
expect_text more $'x\nx'
expect 127 --retry 5 -- ./no-such-program  # which can't end better
(($(grep -c 'not started' out) == 1)) || fail "started anew: $(cat out)"
expect 124 --retry 1 --timeout 1 -- sleep 300
(($(grep -c 'ended after the time limit' out) == 2)) || fail "no second run: $(cat out)"

# --- Time limits and interrupts end all of a tree of three levels, even what ignores SIGTERM

tree='trap "" TERM; sh -c "trap \"\" TERM; sleep 300 & echo \$! >leaf; wait" & wait; sleep 300'
expect 124 --timeout 1 -- sh -c "$tree"
expect_pattern out '^WARNING(run) .* : ended after the time limit$'
# On a busy machine the tree may not have grown in that time.
if has_line leaf; then wait_for is_gone "$(cat leaf)"; fi

for signal in INT TERM; do
    rm -f leaf
    # A shell ignores SIGINT for what it starts in the background, and a program inherits that.
    env --default-signal=INT "$program" -- sh -c 'sh -c "sleep 300 & echo \$! >leaf; wait" & wait' >out 2>err &
    wait_for has_line leaf
    kill -$signal $!
    status=0
    wait $! || status=$?
    ((status == 130)) || fail "status $status after SIG$signal ($(cat out err))"
    wait_for is_gone "$(cat leaf)"
    expect_pattern out '^WARNING(run) .* : interrupted$'
done

# --- Nothing that a killed run has started lives on, not even what ignores SIGTERM

rm -f leaf
"$program" -- sh -c "echo \$\$ >root; $tree" >out 2>err &
wait_for has_line leaf
kill -KILL $!
wait $! 2>/dev/null || true
wait_for is_gone "$(cat root)"
wait_for is_gone "$(cat leaf)"
wait_for grep -q '^WARNING(run) .* : interrupted$' out

# --- One instance a name

export XDG_RUNTIME_DIR=$folder
rm -f child
"$program" --lock one -- sh -c 'echo $$ >child; exec sleep 300' >first 2>&1 &
wait_for has_line child
expect 125 --lock one -- true
expect_pattern err "^run: 'one' is locked: .*run.*EAGAIN"
expect 0 --lock two -- true
kill -TERM $!
wait $! || true
expect 0 --lock one -- true

# --- The command line

expect_common_options
expect_refused "-- PROGRAM is required"
expect_refused "-- PROGRAM is required" true
expect_refused "-- PROGRAM is required" --
expect_refused "option '--timeout' can't be '0'" --timeout 0 -- true
expect_refused "the timeout is too long" --timeout 3000000 -- true
expect_refused "option '--lock' can't be 'a/b'" --lock a/b -- true
