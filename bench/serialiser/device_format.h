// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// A format whose bytes go through a device.

#include <string>

#include <qz/qzIoDeviceFileStream.h>

#include "../support.h"
#include "devices.h"

namespace bench {

/// What `FormatRows` needs of a format. `Calls` has, as static functions, `void write(device)` and
/// `void read(device, use)`.
template <typename Calls>
struct DeviceFormat {
    static Bytes writeMemory()
    {
        GrowingDevice device;
        Calls::write(device);
        return device.takeBytes();
    }

    template <typename Use>
    static void readMemory(const Bytes& bytes, Use& use)
    {
        ReadingDevice device(bytes);
        Calls::read(device, use);
    }

    static void writeFile(const std::string& path)
    {
        startLibrary();  // the path is converted
        qz::qzIoDeviceFileStream device(path, qz::qzIoDevice::DataWayWrite, /*truncate=*/true);
        Calls::write(device);
    }

    template <typename Use>
    static void readFile(const std::string& path, Use& use)
    {
        qz::qzIoDeviceFileStream device(path, qz::qzIoDevice::DataWayRead, /*truncate=*/false);
        Calls::read(device, use);
    }
};

}  // namespace bench
