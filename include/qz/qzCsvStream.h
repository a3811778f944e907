// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

/// Writes the cells of a table to a device, row by row, quoting those that need it.
///
/// @code
/// qzCsvStream table(&file, ',', '"', "\n");
/// table.writeCell("name");
/// table.writeCell("a, b");
/// table.endRow();
/// if (!table.isOk()) std::cerr << file.getDeviceErrorMsg() << '\n';
/// @endcode
/// The line end is written before each row but the first, so the last line has none. After a
/// failure nothing is written until the next `setDevice`.
/// Threads: one uses a stream at a time.
class QZ_API qzCsvStream {
public:
    /// Makes a stream.
    /// @param device receives the bytes; null for none. It is not owned, and must outlive its use
    ///     here.
    /// @param columnDelimiter is written between cells.
    /// @param stringDelimiter is written around a cell that contains a delimiter, a line feed or a
    ///     carriage return, and is doubled inside it.
    /// @param lineEnd is written between rows, as it is given.
    qzCsvStream(qzIoDevice* device, char columnDelimiter, char stringDelimiter,
                const std::string& lineEnd);

    /// Begins a table on another device; null for none. Clears an earlier failure.
    void setDevice(qzIoDevice* device);
    /// Writes the next cell of the row; an empty one is written as nothing.
    void writeCell(const char* data, unsigned long size);
    /// Writes the next cell of the row.
    void writeCell(const std::string& text) { writeCell(text.data(), text.size()); }
    /// Ends the row. A row without cells counts, but nothing is written for it.
    void endRow();

    /// False after a failure, and after a call without a device.
    bool isOk() const { return mIsOk; }
    /// The rows that were ended.
    unsigned int getRowCount() const { return mRowCount; }
    /// The cells of the row in progress.
    unsigned int getCellCount() const { return mCellCount; }

private:
    QZ_LOCAL void write(const char* data, unsigned long size);
    QZ_LOCAL void writeDelimiter(const char& delimiter) { write(&delimiter, 1); }
    QZ_LOCAL bool needsQuotes(const char* data, unsigned long size) const;
    QZ_LOCAL void writeQuoted(const char* data, unsigned long size);
    QZ_LOCAL void doubleDelimiters(const char* begin, const char* end);

    std::vector<char> mScratch;  // a cell with its string delimiters doubled
    std::string mLineEnd;
    qzIoDevice* mDevice = nullptr;
    unsigned int mRowCount = 0;
    unsigned int mCellCount = 0;
    char mColumnDelimiter;
    char mStringDelimiter;
    bool mIsOk = true;
};

}  // namespace qz
