// SPDX-License-Identifier: MIT
// Shows what a crash has left.

#include <chrono>
#include <iostream>
#include <string>
#include <thread>

#include <qz/ext/CrashReport.h>
#include <qz/ext/LibraryStart.h>
#include <qz/ext/PrintableText.h>
#include <qz/qzLog.h>

#include "Show.h"
#include "Watch.h"
#include "shared/CommandLine.h"

namespace {

constexpr const char* kUsage =
    "usage: qz-crash [OPTION]... FILE...\n"
    "       qz-crash --list=FOLDER | --watch=FOLDER\n"
    "\n"
    "Shows the reports that the crash kit of libqzSystem has left: the signal or the exception,\n"
    "functions, files and lines by build id, and the last log entries, oldest first.\n"
    "  --entries=N       show at most the last N log entries\n"
    "  --no-entries      show no log entries\n"
    "  --registers       show the registers too\n"
    "  --list=FOLDER     list the reports of a folder, a line each\n"
    "  --watch=FOLDER    the same, then each new one as it comes, until interrupted\n"
    "  --                what follows are files\n"
    "  -h, --help        print this text\n"
    "Names and lines need addr2line, eu-addr2line or llvm-symbolizer.\n"
    "Exit status: 0; 1 if a file or folder can't be read; 2 for a wrong command line.\n";

constexpr int kStatusFailed = 1;

// One is enough for a person, and a poll finds what comes on any file system.
constexpr std::chrono::seconds kPeriod{1};

bool showFile(const std::string& path, const ShowOptions& options)
{
    qz::ext::CrashReport report;
    qz::ext::SystemFailure failure;
    if (!qz::ext::readCrashReport(path, report, &failure)) {
        std::cerr << "qz-crash: " << qz::ext::makePrintable(failure.toString()) << '\n';
        return false;
    }
    show(report, options);
    return true;
}

int showFiles(const std::vector<std::string>& paths, const ShowOptions& options)
{
    bool isGood = true;
    for (const std::string& path : paths) {
        if (&path != &paths.front()) std::cout << '\n';
        isGood = showFile(path, options) && isGood;
    }
    return isGood ? 0 : kStatusFailed;
}

int watch(const std::string& folder, bool isEndless)
{
    Watch reports(folder);
    while (reports.listNew()) {
        if (!isEndless || !std::cout) return reports.hasFailed() ? kStatusFailed : 0;
        std::this_thread::sleep_for(kPeriod);
    }
    return kStatusFailed;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    ShowOptions options;
    unsigned long mostEntries = 0;
    bool hidesEntries = false;
    std::string listed;
    std::string watched;
    shared::CommandLine line("qz-crash", kUsage, kStatusFailed);
    line.addCount("--entries", mostEntries);
    line.addFlag("--no-entries", hidesEntries);
    line.addFlag("--registers", options.showsRegisters);
    line.addText("--list", listed);
    line.addText("--watch", watched);
    if (const std::optional<int> status = line.parse(argumentCount, arguments)) return *status;
    const std::vector<std::string>& files = line.getPlainArguments();
    if (!listed.empty() && !watched.empty())
        return line.refuse("--list and --watch exclude each other");
    const bool hasFolder = !listed.empty() || !watched.empty();
    if (hasFolder && !files.empty()) return line.refuse("a folder and a FILE exclude each other");
    if (!hasFolder && files.empty()) return line.refuse("a FILE is required");
    if (mostEntries != 0) options.mostEntries = mostEntries;
    if (hidesEntries) options.mostEntries = 0;

    const qz::ext::LibraryStart library;
    const int status = hasFolder
                           ? watch(hasFolder && !listed.empty() ? listed : watched, listed.empty())
                           : showFiles(files, options);
    if (std::cout << std::flush) return status;
    std::cerr << "qz-crash: cannot print\n";
    return kStatusFailed;
}
