#pragma once

#include <string>
#include <vector>

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

/// Hides the last bytes of another device from its reader and keeps them: a trailer behind a text,
/// say.
class QZ_API qzIoDeviceKeepLastBytes : public qzIoDevice {
public:
    /// Makes a reader of `source`, which isn't owned, without its last `count` bytes.
    qzIoDeviceKeepLastBytes(qzIoDevice& source, unsigned long count);
    ~qzIoDeviceKeepLastBytes() override;

    /// The bytes that are kept back; those of the end once all else was read.
    const char* getTerminalBytes() const { return mHeldBytes.data(); }
    /// The count given at construction, whether or not so many bytes have been seen.
    unsigned long getTerminalByteCount() const { return mHeldBytes.size(); }

    /// Reads what isn't kept back. A source that is shorter than what is to be kept is an error.
    unsigned long readBytes(char* dst, unsigned long size) override;
    /// Not possible: puts the device in error and gives 0.
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// True on an error, else when the source is at its end.
    bool atEnd() const override;
    /// Tells whether this device or its source is in error.
    bool hasDeviceError() const override;
    /// The own text, then that of a source in error, joined by ", ".
    std::string getDeviceErrorMsg() const override;

private:
    unsigned long takeHeld(char* dst, unsigned long size);

    qzIoDevice* mSource;
    unsigned long mHeldCount = 0;
    std::vector<char> mHeldBytes;
};

}  // namespace qz
