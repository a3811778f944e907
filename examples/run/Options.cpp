// SPDX-License-Identifier: MIT
#include "Options.h"

#include <climits>

#include "Status.h"
#include "shared/CommandLine.h"

namespace run {

namespace {

constexpr const char* kUsage =
    "usage: run [--timeout SECONDS] [--log FILE] [--retry N] [--lock NAME]\n"
    "           -- PROGRAM [ARGUMENT...]\n"
    "\n"
    "Runs a program. Its output goes through the log, with times: lines of its\n"
    "standard output as information, those of its standard error stream as\n"
    "warnings. The program and all that it has started are ended at the time limit,\n"
    "on Ctrl-C, and if this program ends in any other way. Lines that the log can't\n"
    "write, as on a full disk, are lost without a message.\n"
    "  --timeout SECONDS  end the program after this time\n"
    "  --log FILE         append to this file instead of standard output\n"
    "  --retry N          run it up to N times more while it starts and fails\n"
    "  --lock NAME        refuse to run while another run has this name\n"
    "  --                 all arguments that follow are the program and its arguments\n"
    "  -h, --help         print this text\n"
    "Exit status: that of the program, or 128 + N if a signal N has ended it; 2 for\n"
    "a wrong command line, 124 after the time limit, 125 if this program fails or\n"
    "another run has the name, 126 if the program can't be executed, 127 if it is\n"
    "missing, 130 after Ctrl-C.\n";

constexpr unsigned long kMsPerSec = 1000;

}  // namespace

std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options)
{
    shared::CommandLine line("run", kUsage, StatusFailed);
    line.addCount("--timeout", options.timeoutSec);
    line.addText("--log", options.logPath);
    line.addCount("--retry", options.retries);
    line.addOption("--lock", [&](const std::string& name) {
        options.lockName = name;
        return !name.empty() && name.find('/') == std::string::npos;
    });
    if (const std::optional<int> status = line.parse(argumentCount, arguments)) return status;
    if (options.timeoutSec > INT_MAX / kMsPerSec) return line.refuse("the timeout is too long");
    const std::vector<std::string>& plain = line.getPlainArguments();
    if (plain.empty() || line.getCountBeforeDashes() != 0)
        return line.refuse("-- PROGRAM is required");
    options.program = plain[0];
    options.arguments.assign(plain.begin() + 1, plain.end());
    return std::nullopt;
}

}  // namespace run
