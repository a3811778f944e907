// SPDX-License-Identifier: MIT
// Writes a table to files of limited length on a small disk of its own, which is mounted at the
// folder of the first argument and fills up on the way, and then has room again. Tells which rows
// were flushed, and how many of these are not in the files. Exit code 77 means that this process
// may have no such disk.

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <qz/qzCsvFileReader.h>
#include <qz/qzCsvFileWriter.h>

#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/SmallDisk.h"

namespace {

constexpr unsigned int kRowsPerFile = 100;
constexpr unsigned int kRowsPerFlush = 7;  // no part of a file's rows, so that both meet anywhere
constexpr unsigned int kRowsPerPhase = 2000;
constexpr const char* kDiskSize = "512k";
constexpr std::size_t kBallastSize = 393216;  // leaves less room than the rows of a phase take

bool writeFile(const char* path, const std::string& content)
{
    std::ofstream stream(path);
    stream << content;
    return stream.flush().good();
}

std::vector<std::string> makeRow(unsigned int number)
{
    return {std::to_string(number), "a, b and \"c\"\n", std::string(number % 90, 'x')};
}

class Table {
public:
    explicit Table(const std::string& folder)
        : mWriter(folder, "base", kRowsPerFile, ',', '"', "\n", /*writeByteOrderMark=*/true)
    {
        mWriter.setHeaders({"number", "quoted", "plain"});
    }

    // Writes rows, flushing now and then. Gives how many of them were flushed.
    unsigned int writeRows()
    {
        const std::size_t before = mFlushed.size();
        for (unsigned int i = 1; i <= kRowsPerPhase; ++i) {
            writeRow();
            if (i % kRowsPerFlush == 0 || i == kRowsPerPhase) flush();
        }
        return static_cast<unsigned int>(mFlushed.size() - before);
    }
    // Leaves the file that may be broken.
    void beginFile()
    {
        mWriter.finalizeCurrentFile();
        flush();
    }
    const std::set<unsigned int>& getFlushed() const { return mFlushed; }

private:
    void writeRow()
    {
        qz::qzCsvStream& stream = *mWriter.getStream();
        for (const std::string& cell : makeRow(mNextRow))
            stream.writeCell(cell);
        stream.endRow();
        mWritten.insert(mNextRow++);
    }
    void flush()
    {
        if (mWriter.flush()) mFlushed.merge(mWritten);
        mWritten.clear();
    }

    qz::qzCsvFileWriter mWriter;
    unsigned int mNextRow = 0;
    std::set<unsigned int> mWritten;  // since the last flush
    std::set<unsigned int> mFlushed;
};

// The whole rows of a file, by number; its last one may be cut.
void findRows(const std::string& path, std::set<unsigned int>& found)
{
    qz::qzCsvFileReader reader(/*typeGuess=*/false);
    reader.setFileName(path);
    reader.parseCsvFile();
    for (const auto& cells : reader.getTable()) {
        std::vector<std::string> row;
        for (const qz::qzVariant& cell : cells)
            row.push_back(cell.toString());
        const auto number = static_cast<unsigned int>(cells.front().toInteger());
        if (row == makeRow(number)) found.insert(number);
    }
}

std::size_t countLost(const std::string& folder, const std::set<unsigned int>& flushed)
{
    std::set<unsigned int> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        findRows(entry.path(), found);
    std::size_t count = 0;
    for (const unsigned int number : flushed)
        count += found.contains(number) ? 0 : 1;
    return count;
}

const char* describe(unsigned int rows)
{
    if (rows == 0) return "none\n";
    return rows == kRowsPerPhase ? "all\n" : "some\n";
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 2) return 2;
    const std::string folder = arguments[1];
    if (!qz::support::mountSmallDisk(folder, kDiskSize)) {
        std::cerr << std::strerror(errno);
        return qz::support::kNoSmallDisk;
    }
    const qz::support::LibraryStart library;
    const qz::support::LogCapture log;
    const std::string ballast = folder + "/ballast";
    if (!writeFile(ballast.c_str(), std::string(kBallastSize, 'b'))) return 1;

    auto table = std::make_unique<Table>(folder);
    std::cout << "rows flushed before the full disk: " << describe(table->writeRows());
    std::cout << "rows flushed onto the full disk: " << describe(table->writeRows());
    std::filesystem::remove(ballast);
    table->beginFile();
    std::cout << "rows flushed with room again: " << describe(table->writeRows());
    const std::set<unsigned int> flushed = table->getFlushed();
    table.reset();
    std::cout << "flushed rows that are lost: " << countLost(folder, flushed) << '\n';
    return 0;
}
