#pragma once

#include <cstdint>
#include <string>

#include <qz/qzCancelInterface.h>
#include <qz/qzDataStream.h>
#include <qz/qzIoDeviceFileStream.h>

#include "Tap.h"

namespace recorder {

struct Counts {
    unsigned long files = 0;
    unsigned long records = 0;
    unsigned long bytesIn = 0;   // of the texts
    unsigned long bytesOut = 0;  // of the recording
};

/// The fields of a record, in the order in which they travel. The text carries its length ahead.
struct Record {
    unsigned long sequenceNumber = 0;
    long wallClockMs = 0;
    std::string text;
};

/// Writes the lines of files as records.
class RecordWriter {
public:
    /// Opens the recording; ask `isOk()`.
    /// @param cancel asked ahead of each record.
    RecordWriter(const std::string& path, qz::qzDataStream::Endianness endianness,
                 const qz::qzCancelInterfaceReadOnly& cancel);

    /// Records the lines of a file.
    /// @return false, with the reason in `error`, when the file can't be read to its end; what
    ///     came of it up to there has been recorded.
    bool recordFile(const std::string& path, std::string& error);
    /// Hands everything to the system and closes. @return `isOk()` at the end.
    bool finish();

    bool isOk() const { return mStream.isOk(); }
    std::string getError() const { return mStream.getErrorMsg(); }
    const Counts& getCounts() const { return mCounts; }
    /// Of all that was written.
    std::uint64_t getChecksum() const { return mTap.getChecksum(); }

private:
    qz::qzIoDeviceFileStream mDevice;
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
    /// @param cancel asked ahead of each record.
    RecordReader(const std::string& path, qz::qzDataStream::Endianness endianness,
                 const qz::qzCancelInterfaceReadOnly& cancel);

    /// Compares the next records with the lines of a file. @return whether all were the same.
    bool compareFile(const std::string& path);
    /// Tells whether the recording holds nothing more.
    bool isAtEnd() const { return mDevice.atEnd(); }

    std::string getError() const { return mStream.getErrorMsg(); }
    const Counts& getCounts() const { return mCounts; }
    /// Of all that was read.
    std::uint64_t getChecksum() const { return mTap.getChecksum(); }

private:
    qz::qzIoDeviceFileStream mDevice;
    Tap mTap;
    qz::qzDataStream mStream;
    const qz::qzCancelInterfaceReadOnly& mCancel;
    Counts mCounts;
    Record mRecord;
};

}  // namespace recorder
