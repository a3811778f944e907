// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzIoDevice.h>

namespace qz {

/// Reads bytes of the caller, which must stay while the device is in use.
class qzIoDeviceByteContainerReadOnly : public qzIoDeviceRandomAccess {
public:
    qzIoDeviceByteContainerReadOnly(const char* data, unsigned long size);

    unsigned long readBytes(char* dst, unsigned long size) override;
    unsigned long writeBytes(const char* src, unsigned long size) override;
    bool atEnd() const override;
    /// A target outside the bytes is an error, and moves to the nearer end.
    bool seek(long offset, SeekStart start) override;
    long getCurrentPos() const override;

private:
    const char* mData;
    unsigned long mSize;
    unsigned long mPosition = 0;
};

}  // namespace qz
