// SPDX-License-Identifier: MIT
#include "RecordBuffer.h"

namespace recorder {

namespace {

constexpr unsigned long kMiB = 1024UL * 1024;
constexpr unsigned long kBudget = 16 * kMiB;
// Those of the modifier, and of the devices at both ends.
constexpr unsigned long kOtherBuffers = 7 * kMiB;

}  // namespace

RecordBuffer::RecordBuffer(const std::string& swapFolder)
    : mBuffer(swapFolder, kMiB, kMiB, kBudget - kOtherBuffers)
{
    mIsOpen = mModifier.beginDelegation(&mBuffer, qz::qzIoDevice::DataWayWrite);
}

RecordBuffer::~RecordBuffer()
{
    if (mIsOpen) mModifier.endDelegation();
}

bool RecordBuffer::moveTo(qz::qzIoDevice& device)
{
    mIsOpen = false;
    unsigned long size = 0;
    return mModifier.endDelegation() && mBuffer.good() &&
           mBuffer.writeBackToDevice(device, &size, nullptr) && size == mCounter.getReadBytes();
}

}  // namespace recorder
