// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzIoDevice.h>

namespace qz {

/// Measures what is written: counts the bytes, and keeps none of them.
class qzIoDeviceNullWriteOnly : public qzIoDeviceRandomAccess {
public:
    qzIoDeviceNullWriteOnly();

    unsigned long readBytes(char* dst, unsigned long size) override;
    unsigned long writeBytes(const char* src, unsigned long size) override;
    bool atEnd() const override;
    /// Positions beyond all that was written are allowed, and count as written.
    bool seek(long offset, SeekStart start) override;
    long getCurrentPos() const override;

private:
    friend class qzIoDeviceNullWriteOnlyTestPeer;

    void raiseHighWater();

    long mPosition = 0;
    long mHighWater = 0;  // the largest position so far, which is the size
};

}  // namespace qz
