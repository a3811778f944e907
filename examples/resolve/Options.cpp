// SPDX-License-Identifier: MIT
#include "Options.h"

#include <vector>

#include "shared/CommandLine.h"

namespace resolve {

namespace {

constexpr const char* kUsage =
    "usage: resolve [--plain] [--max-files N] [--] ROOT FILE_WITH_PATHS\n"
    "\n"
    "Finds the files below ROOT that stale paths mean: those of the same name whose folders agree\n"
    "best with the folders of the path, counted from the end. FILE_WITH_PATHS has one path a "
    "line;\n"
    "'-' is standard input.\n"
    "A match is full when all folders of the file below ROOT agree, partial when a file has the\n"
    "name, and none when no file has it. The agreement is the length of the folders that agree.\n"
    "  --plain        print match, agreement, path and file with tabs between them, each line as\n"
    "                 soon as its path is read\n"
    "  --max-files N  give up at so many files below ROOT, 10000000 without it\n"
    "  --             what follows is ROOT\n"
    "  -h, --help     print this text\n"
    "Exit status: 0 when a file was found for each path, 1 when for some there was none, 2 for a\n"
    "wrong command line, 3 when ROOT or the paths can't be read or the result can't be printed.\n";

}  // namespace

std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options)
{
    shared::CommandLine line("resolve", kUsage, /*failureStatus=*/3);
    line.addFlag("--plain", options.wantsPlainLines);
    line.addCount("--max-files", options.maxFiles);
    if (const std::optional<int> status = line.parse(argumentCount, arguments)) return status;

    const std::vector<std::string>& places = line.getPlainArguments();
    if (places.size() != 2 || places[0].empty() || places[1].empty())
        return line.refuse("ROOT and FILE_WITH_PATHS are required");
    options.root = places[0];
    options.listPath = places[1];
    return std::nullopt;
}

}  // namespace resolve
