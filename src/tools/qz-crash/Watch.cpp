// SPDX-License-Identifier: MIT
#include "Watch.h"

#include <algorithm>
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

bool Watch::listNew()
{
    std::error_code error;
    std::vector<Line> lines;
    for (fs::directory_iterator it(mFolder, error), end; !error && it != end; it.increment(error)) {
        const std::string path = it->path().string();
        if (it->path().extension() != ".qzcrash" || mListed.contains(path)) continue;
        qz::ext::CrashReport report;
        if (!qz::ext::readCrashReport(path, report)) continue;
        if (report.events.empty() && report.isRunning) continue;
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
        std::cerr << "qz-crash: cannot read the folder " << mFolder << ": " << error.message()
                  << '\n';
    return !error;
}
