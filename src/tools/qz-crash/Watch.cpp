// SPDX-License-Identifier: MIT
#include "Watch.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <vector>

#include <qz/ext/CrashReport.h>
#include <qz/ext/PrintableText.h>

#include "Show.h"

namespace {

namespace fs = std::filesystem;

struct Line {
    long timeMs;
    std::string text;
};

// When the first report was written, or the kit was installed.
long getTime(const qz::ext::CrashReport& report)
{
    return report.events.empty() ? report.startMs : report.events[0].timeMs;
}

}  // namespace

// A file that is being made, or removed, is no problem.
void Watch::noteFailure(const std::string& path, const qz::ext::SystemFailure& failure)
{
    if (failure.error == ENOENT || failure.error == EBADMSG) return;
    mHasFailed = true;
    mListed.insert(path);
    std::cerr << "qz-crash: " << qz::ext::makePrintable(failure.toString()) << '\n';
}

bool Watch::listNew()
{
    std::error_code error;
    std::vector<Line> lines;
    for (fs::directory_iterator it(mFolder, error), end; !error && it != end; it.increment(error)) {
        const std::string path = it->path().string();
        if (it->path().extension() != ".qzcrash" || mListed.contains(path)) continue;
        qz::ext::CrashReport report;
        qz::ext::SystemFailure failure;
        if (!qz::ext::readCrashReport(path, report, &failure)) {
            noteFailure(path, failure);
            continue;
        }
        const bool isWritten = !report.events.empty() && report.events.back().isComplete;
        if (report.isRunning && !isWritten) continue;
        mListed.insert(path);
        lines.push_back({getTime(report), describeTime(getTime(report)) + "  " +
                                              qz::ext::makePrintable(path) + "  " +
                                              describeEnd(report)});
    }
    std::sort(lines.begin(), lines.end(),
              [](const Line& left, const Line& right) { return left.timeMs < right.timeMs; });
    for (const Line& line : lines)
        std::cout << line.text << '\n';
    std::cout << std::flush;
    if (error)
        std::cerr << "qz-crash: cannot read the folder " << qz::ext::makePrintable(mFolder) << ": "
                  << error.message() << '\n';
    return !error;
}
