// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceWriteStreamModifier.h>

#include <algorithm>
#include <cstring>

#include "DelegableTypes.h"

namespace qz {

namespace {

constexpr unsigned long kPendingCapacity = 5242880;
constexpr unsigned long kOutputSize = 1048576;
constexpr double kOutputsPerThreshold = 2.1;

/// Lets a device support another direction until the end of a scope.
class ScopedDataWay {
public:
    ScopedDataWay(qzIoDevice& device, qzIoDevice::DataWay way)
        : mDevice(device), mOldWay(device.getSupportedDataWay())
    {
        mDevice.changeSupportedDataWay(way);
    }
    ~ScopedDataWay() { mDevice.changeSupportedDataWay(mOldWay); }
    ScopedDataWay(const ScopedDataWay&) = delete;
    ScopedDataWay& operator=(const ScopedDataWay&) = delete;

private:
    qzIoDevice& mDevice;
    qzIoDevice::DataWay mOldWay;
};

}  // namespace

qzIoDeviceWriteStreamModifier::qzIoDeviceWriteStreamModifier(qzIoDeviceDelegable* filter)
    : qzIoDeviceDelegable(DataWayWrite, kWriteStreamModifierType),
      mFilter(filter),
      mOutput(kOutputSize)
{
    mPending.reserve(kPendingCapacity);
}

qzIoDeviceWriteStreamModifier::~qzIoDeviceWriteStreamModifier()
{
    qzIoDeviceWriteStreamModifier::clearDelegationImpl();
}

unsigned long qzIoDeviceWriteStreamModifier::readBytes(char* dst, unsigned long size)
{
    unsigned long count = std::min(size, getPendingSize());
    if (count == 0) return 0;
    if (getPendingSize() < mThreshold) count = 1;
    std::memcpy(dst, mPending.data() + mConsumed, count);
    mConsumed += count;
    return count;
}

unsigned long qzIoDeviceWriteStreamModifier::writeBytes(const char* src, unsigned long size)
{
    if (!passes(DataWayWrite)) return refuseWrite();
    if (!good()) return 0;
    if (size != 0) addPending(src, size);
    processPendingData();
    return good() ? size : 0;
}

void qzIoDeviceWriteStreamModifier::addPending(const char* src, unsigned long size)
{
    // Moving the rest at each read would take minutes with a filter that reads byte by byte. Here
    // at least as many bytes have been consumed as are moved, or the new ones wouldn't fit.
    if (mConsumed >= getPendingSize() || size > mPending.capacity() - mPending.size())
        dropConsumed();
    mPending.insert(mPending.end(), src, src + size);
}

void qzIoDeviceWriteStreamModifier::dropConsumed()
{
    mPending.erase(mPending.begin(), mPending.begin() + static_cast<long>(mConsumed));
    mConsumed = 0;
}

void qzIoDeviceWriteStreamModifier::processPendingData()
{
    if (getDelegationWay() != DataWayWrite) return;
    bool goesOn = true;
    while (goesOn && good() && getPendingSize() >= mThreshold) {
        goesOn = mIsFilterToBegin ? beginFilter() : passOneBurst();
    }
}

bool qzIoDeviceWriteStreamModifier::beginFilter()
{
    // A filter refuses a delegate that can't be read.
    const ScopedDataWay readable(*this, DataWayReadWrite);
    mIsFilterToBegin = mFilter == nullptr || !mFilter->beginDelegation(this, DataWayRead);
    if (mIsFilterToBegin) setDeviceError("Fail to begin delegation of read modifier");
    return !mIsFilterToBegin;
}

bool qzIoDeviceWriteStreamModifier::passOneBurst()
{
    const unsigned long count = mFilter->readBytes(mOutput.data(), mOutput.size());
    if (count == 0) return false;
    qzIoDevice* const delegate = getDelegate();
    if (delegate != nullptr && delegate->writeBytes(mOutput.data(), count) == count) return true;
    setDeviceError("Fail to write on delegate");
    return false;
}

bool qzIoDeviceWriteStreamModifier::atEnd() const
{
    return mIsAtEnd;
}

bool qzIoDeviceWriteStreamModifier::beginDelegationImpl()
{
    if (!mIsFilterToBegin) mFilter->clearDelegation();
    mIsFilterToBegin = true;
    mIsAtEnd = false;
    mPending.clear();
    mConsumed = 0;
    mThreshold =
        static_cast<unsigned long>(static_cast<double>(mOutput.size()) * kOutputsPerThreshold);
    return true;
}

bool qzIoDeviceWriteStreamModifier::endDelegationImpl()
{
    mThreshold = 0;
    processPendingData();
    // The delegate is forgotten after this, and its error with it.
    if (getDelegate() != nullptr && !getDelegate()->good())
        setDeviceError("Fail to write on delegate");
    if (mIsFilterToBegin) return true;
    mIsFilterToBegin = true;
    if (!mFilter->endDelegation()) setDeviceError("Fail to finalize delegatino of read device");
    return true;
}

void qzIoDeviceWriteStreamModifier::clearDelegationImpl() {}

}  // namespace qz
