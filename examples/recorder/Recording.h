// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <qz/qzCancelInterface.h>
#include <qz/qzDataStream.h>
#include <qz/qzIoDeviceFileStream.h>

#include "RecordBuffer.h"
#include "SwapFolder.h"
#include "Tap.h"

namespace recorder {

struct Counts {
    unsigned long files = 0;
    unsigned long records = 0;
    unsigned long bytesIn = 0;   // of the texts
    unsigned long bytesOut = 0;  // of the recording
    unsigned long memory = 0;    // that a buffered recording has taken at its end, in bytes
};

/// The fields of a record, in their order in the recording. The text follows its length.
struct Record {
    unsigned long sequenceNumber = 0;
    long wallClockMs = 0;
    std::string text;
};

/// A file that was recorded, and how its text is recognised if it can't be read again.
struct RecordedFile {
    std::string path;
    unsigned long records = 0;
    std::uint64_t checksum = 0;  // of the text
    bool isReadableAgain = true;
};

/// Writes the lines of files as records.
class RecordWriter {
public:
    /// Opens the recording; `isOk()` is false when that fails.
    /// @param swapFolder for collecting the records, which `finish` writes to the file; null to
    ///     write them at once.
    /// @param cancel is checked before each record.
    RecordWriter(const std::string& path, qz::qzDataStream::Endianness endianness,
                 const SwapFolder* swapFolder, const qz::qzCancelInterfaceReadOnly& cancel);

    /// Records the lines of a file.
    /// @param file receives what the comparison needs; its path is empty if the file can't be
    ///     opened.
    /// @return false, with the reason in `error`, when the file can't be read to its end; the lines
    ///     up to there have been recorded.
    bool recordFile(const std::string& path, RecordedFile& file, std::string& error);
    /// Writes all buffers and closes. @return `isOk()` at the end.
    bool finish();

    bool isOk() const { return mStream.isOk() && mDevice.good(); }
    std::string getError() const;
    const Counts& getCounts() const { return mCounts; }
    /// Of all that was written.
    std::uint64_t getChecksum() const { return mTap.getChecksum(); }

private:
    bool moveBuffer();

    unsigned long mMemoryBefore;  // the resident bytes of the process
    qz::qzIoDeviceFileStream mDevice;
    std::unique_ptr<RecordBuffer> mBuffer;  // null without buffering
    Tap mTap;
    qz::qzDataStream mStream;
    const qz::qzCancelInterfaceReadOnly& mCancel;
    Counts mCounts;
    Record mRecord;
};

/// Reads records back and compares them with the files that they came from.
class RecordReader {
public:
    /// Opens the recording.
    /// @param cancel is checked before each record.
    RecordReader(const std::string& path, qz::qzDataStream::Endianness endianness,
                 const qz::qzCancelInterfaceReadOnly& cancel);

    /// Compares the next records with the lines of a file. @return whether all are the same.
    bool compareFile(const RecordedFile& file);
    /// Whether the recording ends here.
    bool isAtEnd() const { return mDevice.atEnd(); }

    std::string getError() const { return mStream.getErrorMsg(); }
    const Counts& getCounts() const { return mCounts; }
    /// Of all that was read.
    std::uint64_t getChecksum() const { return mTap.getChecksum(); }

private:
    bool compareLines(const std::string& path);
    bool compareChecksum(const RecordedFile& file);
    bool readRecord();

    qz::qzIoDeviceFileStream mDevice;
    Tap mTap;
    qz::qzDataStream mStream;
    const qz::qzCancelInterfaceReadOnly& mCancel;
    Counts mCounts;
    Record mRecord;
};

}  // namespace recorder
