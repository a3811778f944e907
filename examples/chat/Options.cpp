// SPDX-License-Identifier: MIT
#include "Options.h"

#include <vector>

#include "shared/CommandLine.h"

namespace chat {

namespace {

constexpr const char* kUsage =
    "usage: chat [--wait] [--] NAME\n"
    "\n"
    "Lets two terminals of a machine talk. The first one waits under a name, the second one "
    "connects\n"
    "to it; then each line that is typed on one side is shown on the other one. The conversation\n"
    "ends with the input (Ctrl-D) of either side. Both must have the same TMPDIR.\n"
    "  --wait      wait for the other side; a later program that waits under the same name takes\n"
    "              its place\n"
    "  --          what follows is NAME\n"
    "  -h, --help  print this text\n"
    "Exit status: 0 after the end of the input, 1 when the other side has left before, 2 for a "
    "wrong\n"
    "command line, 3 when there is no connection or the output can't be written.\n";

}  // namespace

std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options)
{
    shared::CommandLine line("chat", kUsage, StatusFailed);
    line.addFlag("--wait", options.waits);
    if (const std::optional<int> status = line.parse(argumentCount, arguments)) return status;

    const std::vector<std::string>& names = line.getPlainArguments();
    if (names.size() != 1 || names[0].empty()) return line.refuse("NAME is required");
    // The name becomes that of a file in the temporary folder.
    if (names[0].find('/') != std::string::npos) return line.refuse("NAME can't have a slash");
    options.name = names[0];
    return std::nullopt;
}

}  // namespace chat
