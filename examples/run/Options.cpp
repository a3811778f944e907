#include "Options.h"

#include <climits>

#include "Status.h"
#include "shared/CommandLine.h"

namespace run {

namespace {

const char* const kUsage = R"(usage: run [OPTION...] -- PROGRAM [ARGUMENT...]

Runs a program. Its output goes through the log, with times: lines of its standard output as
information, those of its standard error stream as warnings. The program and all that it has started
are ended on a timeout, on Ctrl-C, and if this program ends in any other way. The exit status is the
program's.

  --timeout SECONDS  end the program after this time; the exit status is 124 then
  --log FILE         append to this file instead of standard output
  --retry N          run the program up to N times more while it runs and fails
  --lock NAME        refuse to run while another run has this name, with the exit status 125
  -h, --help         print this text

Other exit statuses: 2 for a wrong command line, 125 if this program fails, 126 if the program can't be
executed, 127 if it is missing, and 128 + N if a signal N has ended it. After Ctrl-C it is 130.
)";

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
