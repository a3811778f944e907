#pragma once

#include <iosfwd>

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

/// A standard stream as a device. The stream is not owned and must live as long as the device.
class QZ_API qzIoDeviceStdStreamProxy : public qzIoDeviceRandomAccess {
public:
    /// Makes a device that reads from `input`; null makes one that gives nothing.
    explicit qzIoDeviceStdStreamProxy(std::istream* input);
    /// Makes a device that writes to `output`; null makes one that takes nothing.
    explicit qzIoDeviceStdStreamProxy(std::ostream* output);
    ~qzIoDeviceStdStreamProxy() override;

    unsigned long readBytes(char* dst, unsigned long size) override;
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// Tells whether the input has ended; false for an output.
    bool atEnd() const override;
    /// Moves the stream's position, without looking at how that went.
    /// @return false only when there is no stream.
    bool seek(long offset, SeekStart start) override;
    /// The stream's own position; 0 without a stream, -1 where it can't tell.
    long getCurrentPos() const override;

private:
    std::istream* mInput = nullptr;
    std::ostream* mOutput = nullptr;
};

}  // namespace qz
