#pragma once

#include <memory>
#include <string>

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

/// A file as a device.
///
/// What is written stays in a buffer until it is full, `flush`, `seek` or `close`, so a full disk
/// may show only at a later write. `flush` and `close` themselves don't report a failed write-out:
/// write 0 bytes after `flush` to learn of it.
class QZ_API qzIoDeviceFileStream : public qzIoDeviceRandomAccess {
public:
    /// Makes a closed device without a path.
    qzIoDeviceFileStream();
    /// Makes a device and opens it as `open(path, way, truncate)` does; ask `isOpen()`.
    qzIoDeviceFileStream(const std::string& path, DataWay way, bool truncate);
    /// Closes the file.
    ~qzIoDeviceFileStream() override;

    /// Opens the file of the path that was set, after closing the one that was open and clearing
    /// the error.
    ///
    /// Reading wants an existing file. Writing makes a missing file; an existing one is appended to
    /// by `DataWayWrite` (the position still counts from 0) and overwritten in place by
    /// `DataWayReadWrite`.
    /// @param way the direction to support; after a failure the device still claims it.
    /// @param truncate empties an existing file that is opened for writing.
    /// @return false when the file can't be opened; the device is then in error.
    bool open(DataWay way, bool truncate);
    /// `setFilePath(path)`, then `open(way, truncate)`.
    bool open(const std::string& path, DataWay way, bool truncate);
    /// Closes the file; the error stays.
    /// @return false when no file was open, or when the device is in error.
    bool close();
    /// Hands what was written to the system. Does nothing while no file is open.
    /// @return `good()`, which a failed write-out doesn't change; the next write shows it.
    bool flush();

    /// Closes the file, clears the error and sets the path, in UTF-8. @return true.
    bool setFilePath(const std::string& path);
    /// The path as it was set.
    const std::string& getFilePath() const;
    /// Tells whether a file is open.
    bool isOpen() const;

    unsigned long readBytes(char* dst, unsigned long size) override;
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// Tells whether the file has ended; looks one byte ahead if need be. False while closed.
    bool atEnd() const override;
    /// Moves the position, also beyond the end of the file.
    ///
    /// An impossible move of a file that is only read is no error: the position is then -1, and
    /// reads give nothing.
    bool seek(long offset, SeekStart start) override;
    /// The position as counted from the open, from 0 also where writing appends.
    long getCurrentPos() const override;

private:
    friend class qzIoDeviceFileStreamTestPeer;

    class QZ_LOCAL Stream;  // a standard file stream with a buffer of its own

    unsigned long readFromStream(char* dst, unsigned long size);
    unsigned long writeToStream(const char* src, unsigned long size);
    bool seekWriting(long offset, SeekStart start);
    bool seekReading(long offset, SeekStart start);

    std::unique_ptr<Stream> mStream;  // null when closed
    std::string mFilePath;
    long mPosition = 0;
    bool mIsOpen = false;
};

}  // namespace qz
