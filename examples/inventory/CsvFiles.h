// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <qz/qzCsvStream.h>
#include <qz/qzIoDeviceByteCounter.h>
#include <qz/qzIoDeviceFileStream.h>

namespace inventory {

/// A CSV file that is complete.
struct CsvFile {
    std::string path;
    unsigned long rows = 0;   // without that of the headers
    unsigned long bytes = 0;  // as counted, and as it has them on the disk
};

/// Writes a table to files of so many rows each: "list.csv", "list (1).csv" and so on.
///
/// The bytes go through a counter to the file. A file counts as written only when the system has
/// taken all of it, and has as many bytes of it as were counted; `qzCsvFileWriter`, which rotates
/// as well, drops a file without a look at how that went.
class CsvFiles {
public:
    /// Told of each file that is complete.
    using Report = std::function<void(const CsvFile& file)>;

    /// @param path the first file.
    /// @param rowsPerFile at least 1.
    CsvFiles(const std::string& path, unsigned long rowsPerFile,
             const std::vector<std::string>& headers, Report report);

    /// Begins the first file. @return false as the others do, with the reason in `getError`.
    bool begin();
    /// Writes a row, to a new file if the present one is full.
    bool writeRow(const std::vector<std::string>& cells);
    /// Ends the last file.
    bool finish();

    /// The files that are complete.
    const std::vector<CsvFile>& getFiles() const { return mFiles; }
    /// The reason of the first failure; nothing is written after it.
    const std::string& getError() const { return mError; }

    /// The path of a file by its number, from 0 on.
    static std::string NumberPath(const std::string& path, unsigned long number);

private:
    bool beginFile();
    const CsvFile* findSameFile(const std::string& path) const;
    bool endFile();
    bool writeCells(const std::vector<std::string>& cells);
    bool failForSystem();
    bool fail(const std::string& reason);

    const std::string mFirstPath;
    const unsigned long mRowsPerFile;
    const std::vector<std::string> mHeaders;
    const Report mReport;
    qz::qzIoDeviceFileStream mDevice;
    qz::qzIoDeviceByteCounter mCounter;
    qz::qzCsvStream mStream;
    CsvFile mFile;  // the one that is being written
    std::vector<CsvFile> mFiles;
    std::string mError;
};

}  // namespace inventory
