// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceByteCounter.h>

#include <algorithm>

#include "DelegableTypes.h"

namespace qz {

qzIoDeviceByteCounter::qzIoDeviceByteCounter()
    : qzIoDeviceDelegable(DataWayReadWrite, kByteCounterType)
{
}

qzIoDeviceByteCounter::~qzIoDeviceByteCounter() = default;

unsigned long qzIoDeviceByteCounter::readBytes(char* dst, unsigned long size)
{
    if (!passes(DataWayRead)) return refuseRead();
    if (hasDeviceError()) return 0;
    const unsigned long got = getDelegate()->readBytes(dst, size);
    mReadCount += got;
    return got;
}

unsigned long qzIoDeviceByteCounter::writeBytes(const char* src, unsigned long size)
{
    if (hasDeviceError()) return 0;
    mWrittenCount += size;
    return getDelegate() != nullptr ? getDelegate()->writeBytes(src, size) : size;
}

unsigned long qzIoDeviceByteCounter::upToDateWriteEnd() const
{
    return std::max(mWrittenCount, mWriteEnd);
}

void qzIoDeviceByteCounter::updateWriteEnd()
{
    mWriteEnd = upToDateWriteEnd();
}

bool qzIoDeviceByteCounter::beginDelegationImpl()
{
    mWrittenCount = 0;
    mWriteEnd = 0;
    mReadCount = 0;
    return true;
}

bool qzIoDeviceByteCounter::endDelegationImpl()
{
    updateWriteEnd();
    return true;
}

void qzIoDeviceByteCounter::clearDelegationImpl() {}

}  // namespace qz
