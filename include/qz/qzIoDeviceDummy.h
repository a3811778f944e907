// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

/// A sink: accepts all that is written and discards it.
class QZ_API qzIoDeviceDummy : public qzIoDevice {
public:
    /// Makes a sink.
    qzIoDeviceDummy();
    ~qzIoDeviceDummy() override;

    /// Not possible: puts the device in error and returns 0.
    unsigned long readBytes(char* dst, unsigned long size) override;
    /// Returns `size`, even for a device in error.
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// Always true.
    bool atEnd() const override;
};

}  // namespace qz
