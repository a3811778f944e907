// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

class FileDescriptor;
class FileStream;

/// A file as a device.
///
/// What is written stays in a buffer until the buffer is full or until `flush`, `seek` or `close`,
/// so a full disk may show only at a later write. `flush` and `close` don't report that the buffer
/// could not be written; to check it, call `flush` and then write 0 bytes:
/// @code
/// qzIoDeviceFileStream file("notes.txt", qzIoDevice::DataWayWrite, /*truncate=*/true);
/// file << "first line\n";
/// file.flush();
/// file.writeBytes(nullptr, 0);
/// if (!file.good()) std::cerr << file.getDeviceErrorMsg() << '\n';
/// @endcode
/// The file is not inherited by programs that this process starts. A forked child has the bytes of
/// the buffer too, and would write them a second time: call `flush` before a fork, or close the
/// device in one of the two processes by `_exit` only.
///
/// Paths end at the first byte of value 0.
class QZ_API qzIoDeviceFileStream : public qzIoDeviceRandomAccess {
public:
    /// Makes a closed device without a path.
    qzIoDeviceFileStream();
    /// Makes a device and opens it as `open(path, way, truncate)` does; check `isOpen()`.
    qzIoDeviceFileStream(const std::string& path, DataWay way, bool truncate);
    /// Closes the file.
    ~qzIoDeviceFileStream() override;

    /// Opens the file of the path that was set, after closing the one that was open and clearing
    /// the error.
    ///
    /// For reading the file must exist. Writing creates a missing file; an existing one is appended
    /// to by `DataWayWrite` (the position still counts from 0) and overwritten in place by
    /// `DataWayReadWrite`.
    /// Without a start of the library, or after its stop, no path can be opened.
    /// @param way the direction to support. After a failure `getSupportedDataWay` still returns it,
    ///     unless it is none of the three; it is then `DataWayNone`.
    /// @param truncate empties an existing file that is opened for writing.
    /// @return false when the file can't be opened; the device is then in error.
    bool open(DataWay way, bool truncate);
    /// `setFilePath(path)`, then `open(way, truncate)`.
    bool open(const std::string& path, DataWay way, bool truncate);
    /// Closes the file; the error stays.
    /// @return false when no file was open, or when the device is in error.
    bool close();
    /// Writes the buffer to the file. Does nothing while no file is open. After a failure, what
    /// could not be written stays in the buffer; `close` tries it again.
    /// @return `good()`, which a failure doesn't change; the next write reports it.
    bool flush();

    /// Closes the file, clears the error and sets the path, in UTF-8. @return true.
    bool setFilePath(const std::string& path);
    /// The path as it was set.
    const std::string& getFilePath() const;
    /// Whether a file is open.
    bool isOpen() const;

    unsigned long readBytes(char* dst, unsigned long size) override;
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// Whether the position is at the end of the file; this may read one byte ahead. False while no
    /// file is open, and after a read error.
    bool atEnd() const override;
    /// Moves the position, also beyond the end of the file. @return whether the device is good.
    ///
    /// An impossible move of a file that is only read is no error: the position is then -1, and
    /// reads return 0. A folder has no end to seek from.
    bool seek(long offset, SeekStart start) override;
    /// The position as counted from the open, from 0 also where writing appends. A write that
    /// failed counts with its whole size.
    long getCurrentPos() const override;

private:
    friend class SwapFile;
    friend class qzIoDeviceFileStreamTestPeer;

    // Takes over a file that is open for both directions, at its begin; the path is only for the
    // text of the error.
    QZ_LOCAL bool open(FileDescriptor file);
    QZ_LOCAL bool settleOpen(DataWay way);
    QZ_LOCAL unsigned long readFromStream(char* dst, unsigned long size);
    QZ_LOCAL unsigned long writeToStream(const char* src, unsigned long size);
    QZ_LOCAL bool seekWriting(long offset, SeekStart start);
    QZ_LOCAL bool seekReading(long offset, SeekStart start);

    std::unique_ptr<FileStream> mStream;  // null when closed
    std::string mFilePath;
    long mPosition = 0;
    bool mIsOpen = false;
};

}  // namespace qz
