// SPDX-License-Identifier: MIT
// A table is written to files of limited length, flushed, and read back in batches.

#include <string>
#include <vector>

#include <qz/qzCsvFileReader.h>
#include <qz/qzCsvFileWriter.h>

#include "faults/Scenario.h"
#include "support/Allocations.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace {

constexpr unsigned int kRowsPerFile = 3;
constexpr int kRows = 3;
const char* const kFileNames[] = {"/base.csv", "/base (1).csv"};
const char* const kTexts[] = {"number,text\n0,\"a,\"\"b\"\"\"\n1,\"a,\"\"b\"\"\"",
                              "number,text\n2,\"a,\"\"b\"\"\""};

qz::support::LogCapture* gLog = nullptr;

void emptyFiles(const std::string& folder)
{
    const qz::support::AllocationPause ownWork;
    for (const char* name : kFileNames)
        qz::support::writeFile(folder + name, "");
}

// How much of each file is there.
std::string describeFiles(const std::string& folder)
{
    const qz::support::AllocationPause ownWork;
    std::string text;
    for (std::size_t i = 0; i != std::size(kFileNames); ++i) {
        const std::string content = qz::support::readFile(folder + kFileNames[i]);
        text += content == kTexts[i] ? " whole" : content.empty() ? " empty" : " cut";
    }
    return text;
}

// Gives what the writer says of rows and flushes.
std::string writeTable(const std::string& folder)
{
    qz::qzCsvFileWriter writer(folder, "base", kRowsPerFile, ',', '"', "\n", false);
    writer.setHeaders({"number", "text"});
    std::string text;
    for (int i = 0; i != kRows; ++i) {
        qz::qzCsvStream& stream = *writer.getStream();
        stream.writeCell(std::to_string(i));
        stream.writeCell("a,\"b\"");
        stream.endRow();
        text += stream.isOk() ? '+' : '-';
    }
    return text + (writer.flush() ? ", flushed" : ", not flushed");
}

// Gives how many rows a file has, and why there are no more.
std::string readTable(const std::string& path)
{
    qz::qzCsvFileReader reader(/*typeGuess=*/true);
    reader.setFileName(path);
    std::string error = reader.getLastError();
    bool finished = false;
    bool isRead = reader.parseFirst(finished, 2);
    std::size_t count = reader.getTable().size();
    while (isRead && !finished) {
        isRead = reader.parseNext(finished, /*clearTable=*/true, 2);
        count += reader.getTable().size();
    }
    error += reader.getLastError();
    return " " + std::to_string(count) + (error.empty() ? "" : " (" + error + ")");
}

// Gives what was reported, with the folder as FOLDER.
std::string takeReports(const std::string& folder)
{
    const qz::support::AllocationPause ownWork;
    std::string text;
    for (std::string message : gLog->getMessages())
        text += ", " + message.replace(message.find(folder), folder.size(), "FOLDER");
    gLog->clear();
    return text;
}

std::string useTable(const std::string& folder)
{
    emptyFiles(folder);
    std::string text;
    {
        const qz::faults::Watch watch;
        text = writeTable(folder);
    }
    text += ", files" + describeFiles(folder) + ", rows";
    {
        const qz::faults::Watch watch;
        for (const char* name : kFileNames)
            text += readTable(folder + name);
    }
    return text + takeReports(folder);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library;
    qz::support::LogCapture log;
    gLog = &log;
    return qz::faults::runScenario(argumentCount, arguments, &useTable);
}
