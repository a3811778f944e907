#!/bin/bash
# SPDX-License-Identifier: MIT
# What the crash example promises to its users. crash_test.sh CRASH

# shellcheck source=tests/examples/expect.sh
source "$(dirname "$0")/expect.sh"
ulimit -c 0
# A report in a signal handler is no mistake here.
export TSAN_OPTIONS=${TSAN_OPTIONS:-}:report_signal_unsafe=0

expect_common_options
expect_refused "one LOG-FILE is required"
expect_refused "one LOG-FILE is required" one two

# expect_order PATTERN...: the log has such lines in this order, perhaps with others between them.
expect_order()
{
    local pattern line=0 found
    for pattern in "$@"; do
        found=$(tail -n +$((line + 1)) app.log | grep -n -m 1 -- "$pattern" | cut -d: -f1) ||
            fail "nothing like '$pattern' after line $line of: $(cat app.log)"
        line=$((line + found))
    done
}

readonly head='PID [0-9]* .* : '
readonly fault='Got signal (SIGSEGV 11) Segmentation fault (SEGV_MAPERR), from PID '

# A shell reports SIGABRT as status 134.
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

# A second run appends to the same file.
(expect 134 app.log) 2>aborted
(($(grep -c "SIGABRT 6" app.log) == 2)) || fail "not two reports in: $(cat app.log)"

# A folder for reports: with the fault, the exception that nobody caught, and SIGABRT.
(expect 134 --reports=reports/new app.log) 2>aborted
report=$(echo reports/new/crash-*.qzcrash)
for line in "cause SIGSEGV (11), SEGV_MAPERR (1), at 0x0" "cause std::terminate" \
    "exception St9exception" "cause SIGABRT (6), SI_TKILL (-6), from process .*" "end 3"; do
    grep -a -q "^$line\$" "$report" || fail "no line '$line' in the report"
done
grep -a -q "INFO(shop) $head""pencils: 12" "$report" || fail "no log entries in the report"

# Without that folder it doesn't crash.
expect 1 --reports=app.log/none app.log
expect_pattern err "^crash: cannot leave reports: realpath app.log/none: "
