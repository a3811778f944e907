// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <qz/qzExport.h>
#include <qz/qzVariant.h>

namespace qz {

class FileStream;

/// Reads a table from a UTF-8 file, at once or in batches of rows.
///
/// @code
/// qzCsvFileReader reader(/*typeGuess=*/true);
/// reader.setFileName("measurements.csv");
/// if (!reader.getLastError().empty()) return report(reader.getLastError());
/// bool finished = false;
/// for (bool ok = reader.parseFirst(finished, 1000); ok; ) {
///     process(reader.takeTable());
///     if (finished) break;
///     ok = reader.parseNext(finished, /*clearTable=*/true, 1000);
/// }
/// if (!reader.getLastError().empty()) report(reader.getLastError());
/// @endcode
/// `parseCsvFile` reads a whole file. A byte order mark is not skipped: it becomes part of the
/// first cell. Outside quotes carriage returns are dropped. While the table is empty, no cell may
/// have more than 65535 bytes: a file that is not a table ends there. Threads: one at a time.
class QZ_API qzCsvFileReader {
public:
    /// The cells of a row.
    using Row = std::vector<qzVariant>;

    /// Makes a reader without a file, for tables with "," between cells and double quotes around
    /// them.
    /// @param typeGuess makes each cell by `qzVariant::BuildFromString`, else a string.
    explicit qzCsvFileReader(bool typeGuess);
    ~qzCsvFileReader();
    qzCsvFileReader(const qzCsvFileReader&) = delete;
    qzCsvFileReader& operator=(const qzCsvFileReader&) = delete;

    /// Sets whether the types of cells are guessed.
    void setEnableTypeGuess(bool enable) { mTypeGuess = enable; }
    /// Sets the character between cells; one that is not ASCII never matches.
    void setColumnDelimiter(char delimiter);
    /// Sets the character around quoted cells; one that is not ASCII never matches.
    void setStringDelimiter(char delimiter);
    /// Opens another file. After it, `parseFirst` or `startParsing` must be called before
    /// `parseNext`, which otherwise gives the rows that are still buffered from the previous file.
    /// The name that is set already does nothing, even if its file could not be opened: to try
    /// again, set an empty name first.
    ///
    /// If the file can't be opened, `getLastError` reports it until parsing starts. So check it
    /// here: the file then reads as an empty table, and parsing succeeds. A name that opens doesn't
    /// clear an earlier error.
    /// @param utf8Path the file, in UTF-8. Without a start of the library no path can be opened.
    void setFileName(const std::string& utf8Path);

    /// The rows that were read.
    const std::vector<Row>& getTable() const { return mTable; }
    /// Hands over the rows that were read; the table is then empty.
    std::vector<Row> takeTable();
    /// The cells of the longest row so far.
    unsigned int getMaxColumnCount() const { return mMaxColumnCount; }
    /// The reason of the last failure.
    const std::string& getLastError() const { return mLastError; }

    /// Returns to the start of the file and empties the table. @return false without a file.
    bool startParsing();
    /// Starts, and reads the first rows; see `parseNext`.
    bool parseFirst(bool& finished, unsigned long rowCount);
    /// Reads the next rows.
    /// @param finished receives whether the file is at its end.
    /// @param clearTable removes the rows that were read before, so that a long file takes little
    ///     memory.
    /// @param rowCount the rows to read; 0 counts as 1.
    /// @return false, with the reason in `getLastError`, on malformed UTF-8, a cell that is too
    ///     long for a first row, or without a file; the rows before it stay. A read error ends the
    ///     table as the end of the file does, without an error.
    bool parseNext(bool& finished, bool clearTable, unsigned long rowCount);
    /// Reads the whole file.
    bool parseCsvFile();

    /// Refills the read buffer, unless it holds a whole character. For the reader's own use.
    /// @param moreData receives whether there was something to read.
    /// @return false without a file.
    bool getData(bool& moreData);

private:
    friend class qzCsvFileReaderTestPeer;

    QZ_LOCAL bool parseRows(bool& finished, unsigned long rowCount);
    QZ_LOCAL void finishRow();

    std::unique_ptr<FileStream> mInput;
    const char* mCursor = nullptr;  // inside mReadBuffer, like the next one
    const char* mBufferEnd = nullptr;
    unsigned long mFileSize = 0;
    unsigned long mBytesRead = 0;
    std::vector<Row> mTable;
    std::string mFileName;
    std::string mLastError;
    std::vector<char> mCell;
    std::vector<char> mReadBuffer;
    std::vector<char> mRowBytes;  // the cells of the row in progress, end to end
    std::vector<unsigned long> mCellSizes;
    unsigned int mMaxColumnCount = 0;
    int mColumnDelimiter = ',';  // code points
    int mStringDelimiter = '"';
    bool mTypeGuess;
};

}  // namespace qz
