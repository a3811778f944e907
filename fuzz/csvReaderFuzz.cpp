// SPDX-License-Identifier: MIT
// Reads a table of chance in batches and compares each step with the plain form. The first three
// bytes are the delimiters and the rows of a batch.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <qz/qzCsvFileReader.h>

#include "../tests/support/LibraryStart.h"
#include "../tests/variant/PlainCsv.h"
#include "support/FuzzInput.h"

namespace {

using qz::fuzz::expectSame;

qz::plain::CsvRows toTexts(const std::vector<qz::qzCsvFileReader::Row>& table)
{
    qz::plain::CsvRows rows;
    for (const auto& row : table) {
        rows.emplace_back();
        for (const qz::qzVariant& cell : row)
            rows.back().push_back(cell.toString());
    }
    return rows;
}

// A file in memory that is opened once.
class Reader {
public:
    Reader() : mDescriptor(::memfd_create("csv", MFD_CLOEXEC))
    {
        expectSame(mDescriptor >= 0, "no file");
        mReader.setFileName("/proc/self/fd/" + std::to_string(mDescriptor));
    }
    ~Reader() { ::close(mDescriptor); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    void compare(const std::string& text, char column, char quote, unsigned long rowCount)
    {
        const ssize_t written = ::pwrite(mDescriptor, text.data(), text.size(), 0);
        expectSame(written == static_cast<ssize_t>(text.size()), "short file");
        expectSame(::ftruncate(mDescriptor, static_cast<off_t>(text.size())) == 0, "long file");
        mReader.setColumnDelimiter(column);
        mReader.setStringDelimiter(quote);
        qz::plain::CsvParser parser(text, column, quote);
        expectSame(mReader.startParsing(), "start");
        for (bool finished = false; !finished;) {
            bool plainFinished = false;
            const bool isRead = mReader.parseNext(finished, true, rowCount);
            expectSame(isRead == parser.parseNext(plainFinished, true, rowCount), "result");
            expectSame(finished == plainFinished, "end");
            expectSame(toTexts(mReader.getTable()) == parser.getRows(), "rows");
            expectSame(mReader.getMaxColumnCount() == parser.getMaxColumnCount(), "columns");
            expectSame(mReader.getLastError() == parser.getError(), "error");
            if (!isRead) return;
        }
    }

private:
    const int mDescriptor;
    qz::qzCsvFileReader mReader{false};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const qz::support::LibraryStart sLibrary;
    static Reader sReader;
    if (size < 3) return 0;
    const std::string text(data + 3, data + size);
    sReader.compare(text, static_cast<char>(data[0]), static_cast<char>(data[1]), data[2]);
    return 0;
}
