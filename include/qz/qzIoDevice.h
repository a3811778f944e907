// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/qzExport.h>

namespace qz {

/// A channel of bytes with a sticky error.
///
/// The contract of every device: `readBytes` and `writeBytes` return the bytes moved, and a device
/// in error moves nothing, unless its class describes otherwise. A short count alone is no error:
/// compare the count and check `good()`. The first error message stays until it is cleared. No
/// device throws on I/O trouble, and none owns a device that it points to. Threads: one thread uses
/// a device at a time.
class QZ_API qzIoDevice {
public:
    /// The directions that a device supports; bit flags.
    enum DataWay : int {
        DataWayNone = 0,       ///< Neither.
        DataWayRead = 1,       ///< Reading.
        DataWayWrite = 2,      ///< Writing.
        DataWayReadWrite = 3,  ///< Both.
    };

    /// Makes a device without an error that supports `dataWay`.
    explicit qzIoDevice(DataWay dataWay);
    /// Destroys the device, but no device that it points to.
    virtual ~qzIoDevice();
    qzIoDevice(const qzIoDevice&) = delete;
    qzIoDevice& operator=(const qzIoDevice&) = delete;

    /// Reads up to `size` bytes to `dst`. @return the bytes read; 0 for a device in error.
    virtual unsigned long readBytes(char* dst, unsigned long size) = 0;
    /// Writes `size` bytes. @return the bytes written; 0 for a device in error.
    virtual unsigned long writeBytes(const char* src, unsigned long size) = 0;
    /// Whether nothing is left to read. On an error, files and streams return false; filters and
    /// wrappers of other devices return true.
    virtual bool atEnd() const = 0;
    /// Whether the device, or one that it passes bytes to or from, is in error.
    QZ_API virtual bool hasDeviceError() const { return mError; }  // inline: see `good()`
    /// The first error's text; empty without one.
    virtual std::string getDeviceErrorMsg() const;
    /// Copies all that is left to read into `destination`, from its position on, without a flush.
    /// Ends at the end of this device, or when a read returns no bytes.
    /// @param destination receives the bytes. When it writes fewer than it is given, this device is
    ///     set to "Destination device is in error".
    /// @param writtenBytes receives the bytes copied; may be null, and isn't written when the
    ///     destination fails.
    /// @param buffer the memory for the copy when not null, so that repeated copies allocate once.
    ///     Its size is 4 MiB afterwards.
    /// @return false when either device failed.
    virtual bool writeBackToDevice(qzIoDevice& destination, unsigned long* writtenBytes,
                                   std::vector<char>* buffer);

    /// Sets the directions that the device supports from now on; nothing is checked.
    void changeSupportedDataWay(DataWay dataWay) { mDataWay = dataWay; }
    /// The directions that the device supports now.
    DataWay getSupportedDataWay() const { return mDataWay; }
    /// The negation of `hasDeviceError()`.
    bool good() const
    {
        // Where the compiler sees no other `hasDeviceError`, it compares the address of the
        // function and reads the flag itself. Small reads and writes take a fifth less time so.
        return !hasDeviceError();
    }
    /// Reads `count` bytes and discards them; no device seeks here.
    /// @return the bytes skipped, fewer after a short read.
    unsigned long skipBytes(unsigned long count);
    /// Clears this device's own error; those of devices that it points to stay.
    void clearDeviceError();
    /// Puts the device in error, and reports its text as TRACE of the sub-type "iodevice".
    /// @param message the reason, " unknown device error" for an empty one; ignored when the device
    ///     has a text already.
    void setDeviceError(const std::string& message);
    /// Writes the characters of a text, ignoring the result.
    qzIoDevice& operator<<(const std::string& text);
    /// Writes the characters of a text, which must not be null, without its terminator, ignoring
    /// the result.
    qzIoDevice& operator<<(const char* text);

protected:
    /// The device's own error flag, without those of devices that it points to.
    bool hasOwnError() const { return mError; }
    /// The device's own error text, without those of devices that it points to.
    const std::string& getOwnErrorMsg() const { return mErrorMessage; }

private:
    friend class qzIoDeviceTestPeer;

    std::string mErrorMessage;  // empty unless an error was set
    DataWay mDataWay;
    bool mError = false;
};

/// A device with a position that can be moved.
class QZ_API qzIoDeviceRandomAccess : public qzIoDevice {
public:
    /// What the offset of a seek counts from.
    enum SeekStart : int {
        SeekFromBegin = 0,    ///< The first byte.
        SeekFromCurrent = 1,  ///< The current position.
        SeekFromEnd = 2,      ///< The end.
    };

    using qzIoDevice::qzIoDevice;

    /// Moves the position to `offset` bytes from `start`.
    /// @return whether the position was moved and the device is good; see the classes.
    virtual bool seek(long offset, SeekStart start) = 0;
    /// The position in bytes from the start.
    virtual long getCurrentPos() const = 0;

    /// Reads the whole content, from the first byte on, and restores the position.
    /// @param out its old content is overwritten; unspecified after a failure.
    /// @return false when the device is in error, or can't be moved or read to its end, or has no
    ///     usable size, as a folder or a pipe.
    bool loadFullFileContent(std::vector<char>& out);
};

}  // namespace qz
