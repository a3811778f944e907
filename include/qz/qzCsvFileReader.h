#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include <qz/qzExport.h>
#include <qz/qzVariant.h>

namespace qz {

/// Reads a table from a UTF-8 file, at once or in batches of rows.
///
/// A byte order mark is not skipped: it becomes part of the first cell. Outside quotes carriage
/// returns vanish. While the table is empty no cell may have more than 65535 bytes: a file that
/// isn't a table ends there. Threads: one at a time.
class QZ_API qzCsvFileReader {
public:
    /// The cells of a row.
    using Row = std::vector<qzVariant>;

    /// Makes a reader without a file, of tables with "," between cells and double quotes around
    /// them.
    /// @param typeGuess makes `qzVariant::BuildFromString` of each cell, rather than strings.
    explicit qzCsvFileReader(bool typeGuess);
    ~qzCsvFileReader();
    qzCsvFileReader(const qzCsvFileReader&) = delete;
    qzCsvFileReader& operator=(const qzCsvFileReader&) = delete;

    /// Chooses whether the types of cells are guessed.
    void setEnableTypeGuess(bool enable) { mTypeGuess = enable; }
    /// Sets what stands between cells; a byte beyond ASCII never matches.
    void setColumnDelimiter(char delimiter);
    /// Sets what stands around quoted cells; a byte beyond ASCII never matches.
    void setStringDelimiter(char delimiter);
    /// Opens another file; the name of the present one, or an empty one at first, does nothing.
    /// `getLastError` tells of a failure.
    /// @param utf8Path the file, in UTF-8.
    void setFileName(const std::string& utf8Path);

    /// The rows that were read.
    const std::vector<Row>& getTable() const { return mTable; }
    /// The cells of the longest row so far.
    unsigned int getMaxColumnCount() const { return mMaxColumnCount; }
    /// The reason of the last failure.
    const std::string& getLastError() const { return mLastError; }

    /// Goes back to the start of the file and empties the table. @return false without a file.
    bool startParsing();
    /// Starts, and reads the first rows; see `parseNext`.
    bool parseFirst(bool& finished, unsigned long rowCount);
    /// Reads the next rows.
    /// @param finished receives whether the file is at its end.
    /// @param clearTable drops the rows that were read before, so that a long file takes little
    ///     memory.
    /// @param rowCount the rows to read; 0 counts as 1.
    /// @return false, with the reason in `getLastError`, on malformed UTF-8, a cell that is too
    ///     long for a first row, or without a file; the rows ahead of it stay.
    bool parseNext(bool& finished, bool clearTable, unsigned long rowCount);
    /// Reads the whole file.
    bool parseCsvFile();

    /// Fills the read buffer up, unless it holds a whole character. For the reader's own use.
    /// @param moreData receives whether there was something to read.
    /// @return false without a file.
    bool getData(bool& moreData);

private:
    struct Parse;

    QZ_LOCAL bool parseRows(bool& finished, unsigned long rowCount);
    QZ_LOCAL void takeWholeCells(Parse& parse);
    QZ_LOCAL bool takePiece(Parse& parse);
    QZ_LOCAL bool takeText(Parse& parse);
    QZ_LOCAL bool takeCharacters(const char* end);
    QZ_LOCAL bool takeSpecial(Parse& parse, char c);
    QZ_LOCAL void takeTerminator(Parse& parse, char terminator);
    QZ_LOCAL bool append(const char* bytes, unsigned long size);
    QZ_LOCAL void closeCell();
    QZ_LOCAL void storeCell(const char* bytes, unsigned long size);
    QZ_LOCAL void finishRow();
    QZ_LOCAL bool isBufferEmpty() const { return mCursor == mBufferEnd; }
    QZ_LOCAL bool isTooLongForHeader(unsigned long size) const;
    QZ_LOCAL bool canGrow() const;

    std::unique_ptr<std::ifstream> mInput;
    const char* mCursor = nullptr;  // inside of mReadBuffer, like the next one
    const char* mBufferEnd = nullptr;
    unsigned long mFileSize = 0;
    unsigned long mBytesRead = 0;
    std::vector<Row> mTable;
    std::string mFileName;
    std::string mLastError;
    std::vector<char> mCell;  // what has been gathered of a cell that comes in pieces
    std::vector<char> mReadBuffer;
    Row mRow;  // the one in progress; keeps its room for the next
    unsigned int mMaxColumnCount = 0;
    int mColumnDelimiter = ',';  // code points
    int mStringDelimiter = '"';
    bool mTypeGuess;
};

}  // namespace qz
