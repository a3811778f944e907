// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

/// Reads a span of another device.
class QZ_API qzIoDeviceReadBytesLimiter : public qzIoDevice {
public:
    /// Makes a reader of the next `limit` bytes of `source`, which is not owned and must outlive
    /// this device.
    qzIoDeviceReadBytesLimiter(qzIoDevice& source, unsigned long limit);
    /// Makes a reader of the `limit` bytes from `start` on; the first read goes there.
    qzIoDeviceReadBytesLimiter(qzIoDeviceRandomAccess& source, unsigned long start,
                               unsigned long limit);
    ~qzIoDeviceReadBytesLimiter() override;

    /// Reads what is left of the span. A source that can't be moved to its start is an error, on
    /// the first read only: the next one reads at the source's position.
    unsigned long readBytes(char* dst, unsigned long size) override;
    /// Not possible: puts the device in error and returns 0.
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// True when nothing is left of the span or on an error, else when the source is at its end.
    bool atEnd() const override;
    /// Whether this device or its source is in error.
    bool hasDeviceError() const override;
    /// The own text, then that of a source in error, joined by ", ".
    std::string getDeviceErrorMsg() const override;

private:
    qzIoDevice* mSource;
    qzIoDeviceRandomAccess* mView = nullptr;
    unsigned long mStart = 0;
    unsigned long mRemaining;
    bool mIsFirstRead = true;
};

}  // namespace qz
