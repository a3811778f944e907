#pragma once

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

/// A sink: takes all that is written and keeps none of it.
class QZ_API qzIoDeviceDummy : public qzIoDevice {
public:
    /// Makes a sink.
    qzIoDeviceDummy();
    ~qzIoDeviceDummy() override;

    /// Not possible: puts the device in error and gives 0.
    unsigned long readBytes(char* dst, unsigned long size) override;
    /// Gives `size`, also for a device in error.
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// Always true.
    bool atEnd() const override;
};

}  // namespace qz
