#pragma once

#include <string>
#include <vector>

#include <qz/qzExport.h>

namespace qz {

/// A channel of bytes with a sticky error.
///
/// The contract of every device: `readBytes` and `writeBytes` return the bytes moved, and a device
/// in error moves nothing. A short count alone is no error: compare the count and ask `good()`. The
/// first error message stays until it is cleared. No device throws on I/O trouble, and none owns a
/// device that it points to.
/// Threads: one thread uses a device at a time.
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
    /// Ends the device. What it points to stays.
    virtual ~qzIoDevice();
    qzIoDevice(const qzIoDevice&) = delete;
    qzIoDevice& operator=(const qzIoDevice&) = delete;

    /// Reads up to `size` bytes to `dst`. @return the bytes read; 0 for a device in error.
    virtual unsigned long readBytes(char* dst, unsigned long size) = 0;
    /// Writes `size` bytes. @return the bytes written; 0 for a device in error.
    virtual unsigned long writeBytes(const char* src, unsigned long size) = 0;
    /// Tells whether there is nothing left to read.
    virtual bool atEnd() const = 0;
    /// Tells whether the device, or one behind it, is in error.
    virtual bool hasDeviceError() const;
    /// The first error's text; empty without one.
    virtual std::string getDeviceErrorMsg() const;
    /// Copies all that is left to read into `destination`, which keeps its position and isn't
    /// flushed.
    /// @param destination receives the bytes. When it takes fewer than it is given, this device is
    ///     set to "Destination device is in error".
    /// @param writtenBytes receives the bytes copied; may be null, and isn't written when the
    ///     destination fails.
    /// @param buffer used between the two when not null, so that repeated copies allocate once; it
    ///     comes back with a size of 4 MiB.
    /// @return false when either device failed.
    virtual bool writeBackToDevice(qzIoDevice& destination, unsigned long* writtenBytes,
                                   std::vector<char>* buffer);

    /// Declares which directions the device supports from now on; nothing is checked.
    void changeSupportedDataWay(DataWay dataWay) { mDataWay = dataWay; }
    /// The directions that the device supports now.
    DataWay getSupportedDataWay() const { return mDataWay; }
    /// The negation of `hasDeviceError()`.
    bool good() const { return !hasDeviceError(); }
    /// Reads `count` bytes and forgets them; no device seeks here.
    /// @return the bytes skipped, fewer when a read came short.
    unsigned long skipBytes(unsigned long count);
    /// Forgets this device's own error; those of devices behind it stay.
    void clearDeviceError();
    /// Puts the device in error, and reports its text as TRACE of the sub-type "iodevice".
    /// @param message the reason, " unknown device error" for an empty one; ignored when the device
    ///     has a text already.
    void setDeviceError(const std::string& message);
    /// Writes the characters of a text, ignoring the result.
    qzIoDevice& operator<<(const std::string& text);
    /// Writes the characters of a text without its terminator, ignoring the result.
    qzIoDevice& operator<<(const char* text);

protected:
    /// The device's own error flag, without those of devices behind it.
    bool hasOwnError() const { return mError; }
    /// The device's own text, without those of devices behind it.
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

    /// Moves the position to `offset` bytes from `start`. @return false for a device in error.
    virtual bool seek(long offset, SeekStart start) = 0;
    /// The position in bytes from the start.
    virtual long getCurrentPos() const = 0;

    /// Reads the whole content, from the first byte on, and goes back to where the position was.
    /// @param out its old content is overwritten; after a failure it holds what the steps left.
    /// @return false when the device is in error, or can't be moved or read to its end.
    bool loadFullFileContent(std::vector<char>& out);
};

}  // namespace qz
