// SPDX-License-Identifier: MIT
// Merges log files by time, filters their entries and shows them.

#include <cstdlib>
#include <iostream>
#include <memory>
#include <new>

#include <locale.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <qz/ext/LibraryStart.h>

#include "Follow.h"
#include "Inputs.h"
#include "Merge.h"
#include "Options.h"
#include "Output.h"
#include "Problems.h"
#include "Stats.h"

namespace {

using namespace qzlog;

constexpr int kStatusFailed = 1;

// All files are open at the same time.
void raiseDescriptorLimit()
{
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

Style chooseStyle(const Options& options)
{
    if (options.isJson) return Style::Json;
    return ::isatty(STDOUT_FILENO) == 1 ? Style::Terminal : Style::Plain;
}

void showMerged(const Options& options, Style style, Output& output, Problems& problems)
{
    Merge merge(options.filter);
    for (const std::string& path : findInputs(options.paths, problems)) {
        auto file = std::make_shared<LogFile>(path, options.filter.leastType, /*isFollowed=*/false,
                                              problems);
        if (file->open()) merge.add(std::move(file));
    }
    while (const LogFile* const file = merge.next()) {
        appendEntry(output.edit(), file->getEntry(), style);
        if (!output.writeBlock()) return;
    }
}

void run(const Options& options, Output& output, Problems& problems)
{
    if (options.isStats)
        output.edit() = makeStatsTable(options, problems) + '\n';
    else if (options.isFollowing)
        follow(options, chooseStyle(options), output, problems);
    else
        showMerged(options, chooseStyle(options), output, problems);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    // The months in logs may have the names of the user's language.
    ::setlocale(LC_TIME, "");
    Options options;
    if (const std::optional<int> status = parseOptions(argumentCount, arguments, options))
        return *status;

    ::signal(SIGPIPE, SIG_IGN);
    raiseDescriptorLimit();
    const qz::ext::LibraryStart library;
    Output output;
    Problems problems;
    try {
        run(options, output, problems);
    } catch (const std::bad_alloc&) {
        std::cerr << "qz-log: out of memory\n";
        return kStatusFailed;
    }
    output.flush();
    if (output.hasFailed()) {
        std::cerr << "qz-log: cannot print the result\n";
        return kStatusFailed;
    }
    return problems.areThere() ? kStatusFailed : 0;
}
