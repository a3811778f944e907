// SPDX-License-Identifier: MIT
#include "Options.h"

#include <algorithm>
#include <cctype>

#include <qz/ext/LogLine.h>

#include "TimeArgument.h"
#include "shared/CommandLine.h"

namespace qzlog {

namespace {

constexpr const char* kUsage =
    "usage: qz-log [stats] [OPTION...] [FILE or FOLDER...]\n"
    "\n"
    "Merges log files by time. Of a folder, all files that are logs are read; without a file, the\n"
    "standard input, as for '-'. Lines without a prefix stay with the entry before them, and are\n"
    "shown after '  | '. 'qz-log stats' prints a table of what the files contain.\n"
    "  --level LEVEL     entries of LEVEL and above: DEV, TRACE, DEBUG, INFO, WARNING, CRITICAL\n"
    "  --sub-type NAME   entries of this sub-type\n"
    "  --process PID     entries of this process\n"
    "  --from TIME       entries from TIME on: '2026-11-14', '2026-11-14 20:17:56', also with\n"
    "                    an offset such as '+01:00' or 'Z'; in local time without one\n"
    "  --to TIME         entries up to TIME\n"
    "  --text TEXT       entries that contain TEXT\n"
    "  --json            one JSON object a line\n"
    "  --follow          wait for further entries, also in files that a rotation begins\n"
    "  -h, --help        print this text\n"
    "Exit status: 0 when all was done, 1 when something failed or a log is damaged, 2 for a wrong\n"
    "command line.\n";

bool parseLevel(std::string name, int& type)
{
    for (char& c : name)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    for (type = qz::qzLog::Dev; type <= qz::qzLog::Critical; ++type)
        if (name == qz::ext::getTypeName(type)) return true;
    return false;
}

}  // namespace

std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options)
{
    shared::CommandLine line("qz-log", kUsage, /*failureStatus=*/1);
    Filter& filter = options.filter;
    line.addOption("--level",
                   [&](const std::string& name) { return parseLevel(name, filter.leastType); });
    line.addText("--sub-type", filter.subType);
    line.addCount("--process", filter.processId);
    line.addOption("--from", [&](const std::string& text) {
        return (filter.fromMs = parseTimeArgument(text)).has_value();
    });
    line.addOption("--to", [&](const std::string& text) {
        return (filter.toMs = parseTimeArgument(text)).has_value();
    });
    line.addText("--text", filter.text);
    line.addFlag("--json", options.isJson);
    line.addFlag("--follow", options.isFollowing);
    if (const std::optional<int> status = line.parse(argumentCount, arguments)) return status;

    options.paths = line.getPlainArguments();
    if (line.getCountBeforeDashes() != 0 && options.paths.front() == "stats") {
        options.isStats = true;
        options.paths.erase(options.paths.begin());
    }
    if (options.isStats && (options.isJson || options.isFollowing))
        return line.refuse("'stats' goes with neither --json nor --follow");
    if (options.paths.empty()) options.paths.emplace_back("-");
    const bool hasInput =
        std::find(options.paths.begin(), options.paths.end(), "-") != options.paths.end();
    if (options.isFollowing && hasInput) return line.refuse("the standard input can't be followed");
    return std::nullopt;
}

}  // namespace qzlog
