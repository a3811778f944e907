// SPDX-License-Identifier: MIT
#include "qzIoDeviceNullWriteOnly.h"

#include <algorithm>

namespace qz {

qzIoDeviceNullWriteOnly::qzIoDeviceNullWriteOnly() : qzIoDeviceRandomAccess(DataWayWrite) {}

unsigned long qzIoDeviceNullWriteOnly::readBytes(char* /*dst*/, unsigned long /*size*/)
{
    setDeviceError("readBytes is not supported");
    return 0;
}

unsigned long qzIoDeviceNullWriteOnly::writeBytes(const char* /*src*/, unsigned long size)
{
    mPosition += static_cast<long>(size);
    raiseHighWater();
    return size;
}

bool qzIoDeviceNullWriteOnly::atEnd() const
{
    return true;
}

bool qzIoDeviceNullWriteOnly::seek(long offset, SeekStart start)
{
    switch (start) {
        case SeekFromBegin:
            mPosition = offset;
            break;
        case SeekFromCurrent:
            mPosition += offset;
            break;
        case SeekFromEnd:
            mPosition = mHighWater + offset;
            break;
        default:
            setDeviceError("Unhandled seekp enum");
    }
    raiseHighWater();
    return good();
}

long qzIoDeviceNullWriteOnly::getCurrentPos() const
{
    return mPosition;
}

void qzIoDeviceNullWriteOnly::raiseHighWater()
{
    mHighWater = std::max(mHighWater, mPosition);
}

}  // namespace qz
