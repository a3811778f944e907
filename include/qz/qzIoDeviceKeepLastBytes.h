// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

/// Hides the last bytes of another device from its reader and holds them, for example a checksum
/// after a text:
/// @code
/// qzIoDeviceKeepLastBytes text(file, /*count=*/4);
/// text.writeBackToDevice(copy, nullptr, nullptr);
/// const bool isIntact = checksumOf(copy) == std::string(text.getTerminalBytes(), 4);
/// @endcode
/// A read costs as much as its bytes, whatever the number of held ones.
///
/// The source must return fewer bytes than asked for at its end only, as files and memory do. A
/// shorter read within the data, as from a terminal or a socket, can look like a source with too
/// few bytes, which is an error.
class QZ_API qzIoDeviceKeepLastBytes : public qzIoDevice {
public:
    /// Makes a reader of `source` without its last `count` bytes. The source is not owned and must
    /// outlive this device.
    qzIoDeviceKeepLastBytes(qzIoDevice& source, unsigned long count);
    ~qzIoDeviceKeepLastBytes() override;

    /// The held bytes: the last ones of the source once all others were read. Valid until the next
    /// read.
    const char* getTerminalBytes() const;
    /// The count given at construction, whether or not so many bytes have been read.
    unsigned long getTerminalByteCount() const { return mHeldBytes.size(); }

    /// Reads what is not held. A source with fewer bytes than are to be held is an error.
    unsigned long readBytes(char* dst, unsigned long size) override;
    /// Not possible: puts the device in error and returns 0.
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// True on an error, else when the source is at its end.
    bool atEnd() const override;
    /// Whether this device or its source is in error.
    bool hasDeviceError() const override;
    /// The own text, then that of a source in error, joined by ", ".
    std::string getDeviceErrorMsg() const override;

private:
    friend class qzIoDeviceKeepLastBytesTestPeer;

    QZ_LOCAL void rotate() const;
    QZ_LOCAL void takeHeld(char* dst, unsigned long count);
    QZ_LOCAL void refill();
    QZ_LOCAL bool putBack(const char* dst, unsigned long count, unsigned long missing);

    qzIoDevice* mSource;
    unsigned long mHeldCount = 0;
    mutable std::vector<char> mHeldBytes;  // a ring
    mutable unsigned long mFirst = 0;      // of the ring
};

}  // namespace qz
