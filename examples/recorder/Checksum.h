// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <qz/qzIoDevice.h>

namespace recorder {

/// A device that keeps only a checksum of the bytes that are written (FNV-1a, 64 bits).
class Checksum : public qz::qzIoDevice {
public:
    Checksum() : qzIoDevice(DataWayWrite) {}

    std::uint64_t getValue() const { return mValue; }

    unsigned long readBytes(char* /*dst*/, unsigned long /*size*/) override { return 0; }
    unsigned long writeBytes(const char* src, unsigned long size) override;
    bool atEnd() const override { return true; }

private:
    std::uint64_t mValue = 0xcbf29ce484222325;
};

}  // namespace recorder
