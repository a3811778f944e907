// SPDX-License-Identifier: MIT
#include "Options.h"

#include "Status.h"
#include "shared/CommandLine.h"

namespace fingerprint {

namespace {

constexpr unsigned long kMostThreads = 1024;
constexpr unsigned long kMostMiB = 1UL << 40;

constexpr const char* kUsage =
    "usage: fingerprint [--threads N] [--csv FILE] [--compare FILE.csv] [--memory MIB]\n"
    "                   [--quiet] [--] FOLDER...\n"
    "\n"
    "Calculates a digest (XXH3, 128 bits) of each regular file below the folders, on all "
    "processors.\n"
    "Links are not followed, and folders that show the kernel, such as /proc, are not read. A "
    "file\n"
    "that grows meanwhile is read up to the end that it had when it was opened. At the end it\n"
    "prints how much memory and time each phase took.\n"
    "  --threads N         how many files are read at a time; without it, as many as this process\n"
    "                      may use processors\n"
    "  --csv FILE          writes the digests to a CSV file, with paths below their folder; this "
    "file\n"
    "                      itself is left out\n"
    "  --compare FILE.csv  prints what was added, removed and changed since such a file was "
    "written\n"
    "                      for the same folders, or for others in their place\n"
    "  --memory MIB        ends above this use of memory; without it, above three quarters of "
    "what\n"
    "                      this process may use\n"
    "  --quiet             shows no progress\n"
    "  --                  all arguments that follow are folders\n"
    "  -h, --help          print this text\n"
    "Exit status: 0 when all was done, 1 when something could not be read or written, 2 for a "
    "wrong\n"
    "command line, 3 above the limit of memory, 130 after Ctrl-C or the end of the parent "
    "process\n"
    "before all digests are known; then no CSV file is written.\n";

}  // namespace

std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options)
{
    shared::CommandLine line("fingerprint", kUsage, StatusIncomplete);
    line.addCount("--threads", options.threadCount);
    line.addText("--csv", options.csvPath);
    line.addText("--compare", options.comparedPath);
    line.addCount("--memory", options.memoryMiB);
    line.addFlag("--quiet", options.isQuiet);
    if (const std::optional<int> status = line.parse(argumentCount, arguments)) return status;
    options.folders = line.getPlainArguments();
    if (options.folders.empty()) return line.refuse("FOLDER is required");
    if (options.threadCount > kMostThreads) return line.refuse("there are too many threads");
    if (options.memoryMiB > kMostMiB) return line.refuse("the limit of memory is too high");
    return std::nullopt;
}

}  // namespace fingerprint
