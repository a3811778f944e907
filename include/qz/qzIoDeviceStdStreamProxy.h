// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

/// A standard stream as a device. The stream is not owned and must live as long as the device.
class QZ_API qzIoDeviceStdStreamProxy : public qzIoDeviceRandomAccess {
public:
    /// Makes a device that reads from `input`; null makes one that reads nothing.
    explicit qzIoDeviceStdStreamProxy(std::istream* input);
    /// Makes a device that writes to `output`; null makes one that writes nothing.
    explicit qzIoDeviceStdStreamProxy(std::ostream* output);
    ~qzIoDeviceStdStreamProxy() override;

    unsigned long readBytes(char* dst, unsigned long size) override;
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// Whether the input has ended; false for an output, and after a read error.
    bool atEnd() const override;
    /// Moves the stream's position; a failure is not checked.
    /// @return false only when there is no stream.
    bool seek(long offset, SeekStart start) override;
    /// The stream's own position; 0 without a stream, -1 if the stream has none.
    long getCurrentPos() const override;

private:
    std::istream* mInput = nullptr;
    std::ostream* mOutput = nullptr;
};

}  // namespace qz
