// SPDX-License-Identifier: MIT
#pragma once

#include <list>
#include <memory>
#include <string>

#include <qz/qzCsvStream.h>
#include <qz/qzExport.h>

namespace qz {

class qzIoDeviceFileStream;

/// Writes a table to files of limited length: "base.csv", "base (1).csv", "base (2).csv" and so on.
///
/// `getStream` must be called before each row: it begins the next file. Threads: one at a time.
class QZ_API qzCsvFileWriter {
public:
    /// Makes a writer; no file is opened yet.
    /// @param folder, baseName folder and name of the files, in UTF-8. Without a start of the
    ///     library no file can be opened.
    /// @param maxRowsPerFile the rows of a file, the one of headers included; 0 counts as 1. With
    ///     headers a file has 2 rows at least, if a row is written after each `getStream`.
    /// @param columnDelimiter, stringDelimiter, lineEnd as for `qzCsvStream`.
    /// @param writeByteOrderMark begins each file with the byte order mark of UTF-8.
    qzCsvFileWriter(const std::string& folder, const std::string& baseName,
                    unsigned int maxRowsPerFile, char columnDelimiter, char stringDelimiter,
                    const std::string& lineEnd, bool writeByteOrderMark);
    /// Closes the file.
    ~qzCsvFileWriter();
    qzCsvFileWriter(const qzCsvFileWriter&) = delete;
    qzCsvFileWriter& operator=(const qzCsvFileWriter&) = delete;

    /// Replaces the headers, which become the first row of each file that is begun from now on.
    void setHeaders(const std::list<std::string>& headers);
    /// The stream for the next row, which stays the writer's.
    ///
    /// Begins a file when none is open, or when the open one is full and no row is in progress; so
    /// a second call before the row is written may leave a file with headers only. A file that
    /// can't be opened is reported as CRITICAL, and is not tried again: the stream then has no
    /// device, and its first write ends in `isOk()` false.
    qzCsvStream* getStream();
    /// Closes the file; the next row begins another one. The buffered rows are written first; if
    /// that fails, the log has a TRACE entry, and the next `flush` returns false.
    void finalizeCurrentFile();
    /// Writes all rows to the file.
    ///
    /// Rows are in a buffer until it is full or their file is closed, so the stream may be ok while
    /// the disk has no space for them. A row is written once a later call of this returned true.
    /// @return false when a row since the last call was lost, in the open file or in one that was
    ///     closed meanwhile, and while the open file can't be written.
    bool flush();

private:
    QZ_LOCAL std::string getNextPath() const;
    QZ_LOCAL void beginFile();
    QZ_LOCAL void settle();
    QZ_LOCAL void closeFile();

    std::list<std::string> mHeaders;
    std::string mFolder;
    std::string mBaseName;
    unsigned int mMaxRowsPerFile;
    unsigned int mFileIndex = 0;  // of files begun, also in vain
    std::unique_ptr<qzIoDeviceFileStream> mFile;
    std::unique_ptr<qzCsvStream> mStream;
    bool mWritesByteOrderMark;
    bool mIsAllWritten = true;  // since the last flush, as far as it is known
};

}  // namespace qz
