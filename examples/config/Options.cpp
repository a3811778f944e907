// SPDX-License-Identifier: MIT
#include "Options.h"

#include "shared/CommandLine.h"

namespace config {

namespace {

constexpr const char* kUsage =
    "usage: config [--get KEY] [--save PATH] [--] FILE... [KEY=VALUE...]\n"
    "\n"
    "Reads ini files, of which later ones win, sets the given values, and prints the result.\n"
    "A key is a path: 'network/port' is the key 'port' of the section 'network'.\n"
    "  --get KEY    print the value of the key alone, for scripts\n"
    "  --save PATH  write all values to a file, which changes as a whole or not at all; a link at\n"
    "               PATH is replaced\n"
    "  --           all arguments that follow are files, even with a '=' in their names\n"
    "  -h, --help   print this text\n"
    "Exit status: 0 when all was done, 1 when something failed or a key is absent, 2 for a wrong\n"
    "command line.\n";

}  // namespace

std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options)
{
    shared::CommandLine line("config", kUsage, /*failureStatus=*/1);
    line.addText("--get", options.wantedKey);
    line.addText("--save", options.savePath);
    if (const std::optional<int> status = line.parse(argumentCount, arguments)) return status;

    const std::vector<std::string>& plain = line.getPlainArguments();
    for (std::size_t i = 0; i < plain.size(); ++i) {
        const std::size_t split = plain[i].find('=');
        if (split == 0 && i < line.getCountBeforeDashes())
            return line.refuse("no key in '" + plain[i] + "'");
        if (split == std::string::npos || i >= line.getCountBeforeDashes())
            options.inputPaths.push_back(plain[i]);
        else
            options.settings.emplace_back(plain[i].substr(0, split), plain[i].substr(split + 1));
    }
    if (options.inputPaths.empty() && options.settings.empty())
        return line.refuse("no file and no value is given");
    return std::nullopt;
}

}  // namespace config
