// Lists files in CSV files, reads these back, and prints what they add up to.

#include <iostream>

#include <qz/ext/LibraryStart.h>
#include <qz/qzDirUtils.h>

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
    std::cerr << "inventory: " << message << '\n';
    return status;
}

// Printed at once: whoever sees the line can rely on the file.
void report(const CsvFile& file)
{
    std::cout << "wrote '" << file.path << "': " << file.rows << " rows, " << file.bytes << " bytes"
              << std::endl;
}

std::string describeWritten(const std::vector<CsvFile>& files)
{
    unsigned long rows = 0;
    for (const CsvFile& file : files)
        rows += file.rows;
    return std::to_string(rows) + " rows in " + std::to_string(files.size()) +
           " CSV files are written";
}

// Lists what is below the folders, up to a cancellation or a failure to write.
void list(const std::vector<std::string>& folders, const qz::qzCancelInterface& cancel,
          CsvFiles& csv, Problems& problems)
{
    FileEntry entry;
    FolderWalk walk(cancel, problems, [&](const std::string& path) {
        return !lookAtFile(path, cancel, problems, entry) || csv.writeRow(toCells(entry));
    });
    if (!csv.begin()) return;
    for (const std::string& folder : folders)
        if (!walk.walk(folder)) break;
    csv.finish();
    if (walk.getLinkCount() != 0)
        std::cout << "not followed: " << walk.getLinkCount() << " links to folders\n";
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

Status run(const Options& options, const qz::qzCancelInterface& cancel)
{
    CsvFiles csv(options.outputPath, options.rowsPerFile, kColumnNames, report);
    Problems problems;
    list(options.folders, cancel, csv, problems);
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
