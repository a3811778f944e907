// SPDX-License-Identifier: MIT
// Checks what the library needs on this machine, and says what follows.

#include <algorithm>
#include <iomanip>
#include <iostream>

#include <signal.h>

#include <qz/ext/LibraryStart.h>

#include "Checks.h"
#include "shared/CommandLine.h"

namespace {

using qzdoctor::Finding;

constexpr const char* kUsage =
    "usage: qz-doctor [--help]\n"
    "\n"
    "Checks what qzSystem needs on this machine, for the user who runs it, and prints a line for "
    "each\n"
    "check: 'ok', 'note' for what works only in part, or 'missing'.\n"
    "  -h, --help   print this text\n"
    "Exit status: 0 when nothing is missing, 1 when something is or the result can't be printed, 2 "
    "for\n"
    "a wrong command line.\n";

const char* getWord(Finding::State state)
{
    switch (state) {
        case Finding::State::Good:
            return "ok";
        case Finding::State::Note:
            return "note";
        default:
            return "missing";
    }
}

bool isMissing(const Finding& finding)
{
    return finding.state == Finding::State::Missing;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    shared::CommandLine line("qz-doctor", kUsage, /*failureStatus=*/1);
    if (const std::optional<int> status = line.parse(argumentCount, arguments)) return *status;
    if (!line.getPlainArguments().empty())
        return line.refuse("there are no arguments, but '" + line.getPlainArguments()[0] + "'");

    ::signal(SIGPIPE, SIG_IGN);
    const qz::ext::LibraryStart library;
    const std::vector<Finding> findings = qzdoctor::checkMachine();
    for (const Finding& finding : findings) {
        std::cout << std::left << std::setw(9) << getWord(finding.state) << finding.subject << ": "
                  << finding.text << '\n';
    }
    if (!std::cout.flush()) {
        std::cerr << "qz-doctor: cannot print the result\n";
        return 1;
    }
    return std::any_of(findings.begin(), findings.end(), &isMissing) ? 1 : 0;
}
