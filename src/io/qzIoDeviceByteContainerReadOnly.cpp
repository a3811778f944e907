// SPDX-License-Identifier: MIT
#include "qzIoDeviceByteContainerReadOnly.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace qz {

namespace {

// Adds an offset to a position, which is never negative, so that only the upper limit can be met.
long addWithinLimits(long position, long offset)
{
    constexpr long kLargest = std::numeric_limits<long>::max();
    return offset > kLargest - position ? kLargest : position + offset;
}

}  // namespace

qzIoDeviceByteContainerReadOnly::qzIoDeviceByteContainerReadOnly(const char* data,
                                                                 unsigned long size)
    : qzIoDeviceRandomAccess(DataWayRead), mData(data), mSize(size)
{
}

unsigned long qzIoDeviceByteContainerReadOnly::readBytes(char* dst, unsigned long size)
{
    // An error of an earlier seek doesn't stop a read: the bytes are there.
    const unsigned long count = std::min(size, mSize - mPosition);
    if (count != 0) std::memcpy(dst, mData + mPosition, count);
    mPosition += count;
    return count;
}

unsigned long qzIoDeviceByteContainerReadOnly::writeBytes(const char* /*src*/,
                                                          unsigned long /*size*/)
{
    setDeviceError("Write is not supported");
    return 0;
}

bool qzIoDeviceByteContainerReadOnly::atEnd() const
{
    return mPosition >= mSize;
}

bool qzIoDeviceByteContainerReadOnly::seek(long offset, SeekStart start)
{
    const long size = static_cast<long>(mSize);
    long target = static_cast<long>(mPosition);
    switch (start) {
        case SeekFromBegin:
            target = offset;
            break;
        case SeekFromCurrent:
            target = addWithinLimits(target, offset);
            break;
        case SeekFromEnd:
            target = addWithinLimits(size, offset);
            break;
        default:
            setDeviceError("seek unhandled enum");
    }
    if (target < 0) setDeviceError("seek offset is negative");
    if (target > size) setDeviceError("seek offset is bigger than buffer");
    mPosition = static_cast<unsigned long>(std::clamp(target, 0L, size));
    return good();
}

long qzIoDeviceByteContainerReadOnly::getCurrentPos() const
{
    return static_cast<long>(mPosition);
}

}  // namespace qz
