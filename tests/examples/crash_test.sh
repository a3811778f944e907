#!/bin/bash
# What the crash example promises to its users. crash_test.sh CRASH

# shellcheck source=tests/examples/expect.sh
source "$(dirname "$0")/expect.sh"
ulimit -c 0
# A report in a signal handler is no mistake here.
export TSAN_OPTIONS=${TSAN_OPTIONS:-}:report_signal_unsafe=0

expect 2
expect_pattern err '^usage: crash LOG-FILE$'
expect 2 one two
expect 0 --help
expect_pattern out '^usage: crash LOG-FILE$'

# expect_order PATTERN...: lines of the log that follow each other, others between them.
expect_order()
{
    local pattern line=0 found
    for pattern in "$@"; do
        found=$(tail -n +$((line + 1)) app.log | grep -n -m 1 -- "$pattern" | cut -d: -f1) ||
            fail "nothing like '$pattern' behind line $line of: $(cat app.log)"
        line=$((line + found))
    done
}

readonly head='PID [0-9]* .* : '
readonly fault='Got signal (SIGSEGV 11) Segmentation fault (SEGV_MAPERR), from PID '

# 134 is what a shell makes of SIGABRT.
touch app-old.log
(expect 134 app.log) 2>aborted
expect_order "INFO(shop) ${head}the shift begins\$" "INFO(shop) ${head}pencils: 12\$" \
    "^CRITICAL $head$fault" \
    '^'$'\t'' .*_ZN4shop10readAmount' \
    '^'$'\t'' .*_ZN4shop6Worker3run' \
    '^'$'\t'' .*ExecGuardedCode' \
    "INFO(shop) ${head}the shift ends\$" \
    "^CRITICAL ${head}Catch an exception : 'std::runtime_error(\"$fault.*\")' see application and system logs\$" \
    "^INFO ${head}Got signal (SIGABRT 6) Aborted (SI_TKILL ), from PID "
[[ -e app-old.log ]] || fail "it removed another file"
expect_pattern err "^terminate called after throwing an instance of 'std::exception'\$"

# A second run goes on in the same file.
(expect 134 app.log) 2>aborted
(($(grep -c "SIGABRT 6" app.log) == 2)) || fail "not two stories in: $(cat app.log)"
