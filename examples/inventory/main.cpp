// SPDX-License-Identifier: MIT
// Lists files in CSV files, reads these back, and prints what they add up to.

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include <unistd.h>

#include <qz/ext/LibraryStart.h>
#include <qz/ext/PrintableText.h>
#include <qz/ext/ProgressView.h>
#include <qz/qzDirUtils.h>
#include <qz/qzProgressNotifier.h>

#include "CsvFiles.h"
#include "FileEntry.h"
#include "FolderWalk.h"
#include "Interruption.h"
#include "Options.h"
#include "Problems.h"
#include "Totals.h"

namespace {

using namespace inventory;

enum Status { StatusDone = 0, StatusIncomplete = 1, StatusUsage = 2, StatusNoList = 3 };

Status end(Status status, const std::string& message)
{
    std::cerr << "inventory: " << qz::ext::escaped(message) << '\n';
    return status;
}

// Printed at once: whoever sees the line can rely on the file.
void report(const CsvFile& file)
{
    std::cout << "wrote '" << qz::ext::escaped(file.path) << "': " << file.rows << " rows, "
              << file.bytes << " bytes" << std::endl;
}

std::string describeWritten(const std::vector<CsvFile>& files)
{
    unsigned long rows = 0;
    for (const CsvFile& file : files)
        rows += file.rows;
    return std::to_string(rows) + " rows in " + std::to_string(files.size()) +
           " CSV files are written";
}

qz::ext::ProgressViewOptions makeViewOptions()
{
    qz::ext::ProgressViewOptions options;
    options.title = "list";
    // In a log file the lines about the CSV files are enough.
    options.isQuiet = ::isatty(STDERR_FILENO) != 1;
    return options;
}

// Lists what is below the folders, up to a cancellation or a failure to write. Returns how many
// links were not followed.
unsigned long list(const std::vector<std::string>& folders,
                   qz::qzProgressNotifierInterface& progress, CsvFiles& csv, Problems& problems)
{
    FileEntry entry;
    FolderWalk walk(progress, problems, [&](const std::string& path) {
        return !lookAtFile(path, progress, problems, entry) || csv.writeRow(toCells(entry));
    });
    if (!csv.begin()) return 0;
    qz::qzProgressNotifierGroupCloser closer;
    progress.beginStepGroupWeights(std::vector<double>(folders.size(), 1.0), 1.0, &closer);
    for (std::size_t i = 0; i < folders.size(); ++i) {
        progress.changeCurrentStep(1.0, i);
        if (!walk.walk(folders[i])) break;
    }
    csv.finish();
    return walk.getLinkCount();
}

Status printTotals(const CsvFiles& csv, const Problems& problems)
{
    Totals totals;
    std::string error;
    for (const CsvFile& file : csv.getFiles())
        if (!totals.addFile(file, error)) return end(StatusNoList, error);
    // A table of no files would hide why there are none.
    if (totals.getFileCount() == 0 && problems.getCount() != 0) return StatusDone;
    std::cout << totals.toTable() << std::endl;
    return std::cout.good() ? StatusDone : end(StatusNoList, "cannot print the totals");
}

// A mistyped folder must not replace an older list by an empty one.
bool isAnyFolder(const std::vector<std::string>& paths)
{
    return std::any_of(paths.begin(), paths.end(), qz::qzDirUtils::DirExistsUtf8);
}

Status run(const Options& options, const qz::qzCancelInterface& cancel)
{
    if (!isAnyFolder(options.folders))
        return end(StatusNoList,
                   "there is no folder '" + options.folders.front() + "'; no list is written");
    qz::ext::ProgressView view(makeViewOptions(), &cancel);
    CsvFiles csv(options.outputPath, options.rowsPerFile, kColumnNames, [&](const CsvFile& file) {
        view.clearLine();
        report(file);
    });
    Problems problems([&view] { view.clearLine(); });
    const unsigned long linkCount = list(options.folders, view, csv, problems);
    view.clearLine();
    if (linkCount != 0) std::cout << "not followed: " << linkCount << " links to folders\n";
    if (!csv.getError().empty())
        return end(StatusNoList, csv.getError() + "; " + describeWritten(csv.getFiles()));
    if (cancel.shouldCancel())
        return end(StatusIncomplete, "interrupted; " + describeWritten(csv.getFiles()));
    const std::string next = CsvFiles::NumberPath(options.outputPath, csv.getFiles().size());
    if (qz::qzDirUtils::FileExistsUtf8(next))
        std::cout << "no part of this list: '" << next << "'\n";
    const Status status = printTotals(csv, problems);
    if (status != StatusDone || problems.getCount() == 0) return status;
    return end(StatusIncomplete, "the list is not complete; problems that were reported: " +
                                     std::to_string(problems.getCount()));
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    Options options;
    if (const std::optional<int> status = parseOptions(argumentCount, arguments, options))
        return *status;

    const qz::qzCancelInterface& cancel = watchForInterruption();
    Status status = StatusDone;
    {
        const qz::ext::LibraryStart library;
        status = run(options, cancel);
    }
    if (cancel.shouldCancel()) endAsRequested();
    return status;
}
