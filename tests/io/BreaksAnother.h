// SPDX-License-Identifier: MIT
#pragma once

#include "support/DeviceStub.h"

namespace qz {

/// A device whose writes break another one.
class BreaksAnother : public support::DeviceStub {
public:
    explicit BreaksAnother(qzIoDevice& other) : mOther(other) {}
    unsigned long writeBytes(const char* src, unsigned long size) override
    {
        mOther.setDeviceError("broken");
        return DeviceStub::writeBytes(src, size);
    }

private:
    qzIoDevice& mOther;
};

}  // namespace qz
