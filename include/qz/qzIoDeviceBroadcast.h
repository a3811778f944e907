// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

/// Writes the same bytes to several devices, in their order.
class QZ_API qzIoDeviceBroadcast : public qzIoDevice {
public:
    /// Makes a fan-out to `devices`, which are not owned and must live as long as this one; the
    /// vector is copied.
    explicit qzIoDeviceBroadcast(const std::vector<qzIoDevice*>& devices);
    ~qzIoDeviceBroadcast() override;

    /// Not possible: puts the device in error and returns 0.
    unsigned long readBytes(char* dst, unsigned long size) override;
    /// Writes to each device until one writes fewer bytes or has an error. The devices before that
    /// one then have the bytes, and those after it don't. Without devices every write succeeds.
    /// @return `size`; 0 when a device failed, or when this device is in error: it writes then all
    ///     the same.
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// Not possible: reports it as CRITICAL and returns false.
    bool atEnd() const override;
    /// Whether this device or any that it writes to is in error.
    bool hasDeviceError() const override;
    /// The own text, then those of the devices in error; empty if the own text is empty, even if
    /// one of the devices is in error.
    std::string getDeviceErrorMsg() const override;

private:
    std::vector<qzIoDevice*> mDevices;
};

}  // namespace qz
