// SPDX-License-Identifier: MIT
#include "Options.h"

#include "shared/CommandLine.h"

namespace inventory {

namespace {

constexpr const char* kUsage =
    "usage: inventory [--output FILE] [--rows N] [--] [FOLDER...]\n"
    "\n"
    "Lists all files below the folders in CSV files, reads these back, and prints totals by type.\n"
    "Without folders it takes /usr/include and /usr/share. Links to folders are not followed.\n"
    "  --output FILE  the first CSV file, inventory.csv without it; the next ones have a number\n"
    "  --rows N       how many files each CSV file lists, 10000 without it\n"
    "  --             all arguments that follow are folders\n"
    "  -h, --help     print this text\n"
    "Exit status: 0 when all was done, 1 when some files or folders could not be read, 2 for a\n"
    "wrong command line, 3 when there is none of the folders, or the list could not be written or\n"
    "read back. Ctrl-C writes the rows that are ready, and then ends the program as a signal "
    "does.\n";

}  // namespace

std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options)
{
    shared::CommandLine line("inventory", kUsage, /*failureStatus=*/3);
    line.addText("--output", options.outputPath);
    line.addCount("--rows", options.rowsPerFile);
    const std::optional<int> status = line.parse(argumentCount, arguments);
    if (!line.getPlainArguments().empty()) options.folders = line.getPlainArguments();
    return status;
}

}  // namespace inventory
