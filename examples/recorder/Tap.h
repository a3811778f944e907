// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <qz/qzIoDeviceByteCounter.h>
#include <qz/qzIoDeviceByteSniffer.h>

#include "Checksum.h"

namespace recorder {

/// Counts the bytes that go through it to or from a device, and takes their checksum.
class Tap {
public:
    /// @param device where the bytes go or come from; must outlive the tap.
    Tap(qz::qzIoDevice& device, qz::qzIoDevice::DataWay way);
    ~Tap();
    Tap(const Tap&) = delete;
    Tap& operator=(const Tap&) = delete;

    /// What to write to or read from.
    qz::qzIoDevice& editDevice() { return mCounter; }
    unsigned long getWrittenBytes() const { return mCounter.getWrittenBytes(); }
    unsigned long getReadBytes() const { return mCounter.getReadBytes(); }
    std::uint64_t getChecksum() const { return mChecksum.getValue(); }

private:
    Checksum mChecksum;
    qz::qzIoDeviceByteSniffer mSniffer;
    qz::qzIoDeviceByteCounter mCounter;
};

}  // namespace recorder
