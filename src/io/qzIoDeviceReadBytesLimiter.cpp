// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceReadBytesLimiter.h>

#include <algorithm>

#include "ErrorChain.h"

namespace qz {

qzIoDeviceReadBytesLimiter::qzIoDeviceReadBytesLimiter(qzIoDevice& source, unsigned long limit)
    : qzIoDevice(DataWayRead), mSource(&source), mRemaining(limit)
{
}

qzIoDeviceReadBytesLimiter::qzIoDeviceReadBytesLimiter(qzIoDeviceRandomAccess& source,
                                                       unsigned long start, unsigned long limit)
    : qzIoDevice(DataWayRead), mSource(&source), mView(&source), mStart(start), mRemaining(limit)
{
}

qzIoDeviceReadBytesLimiter::~qzIoDeviceReadBytesLimiter() = default;

unsigned long qzIoDeviceReadBytesLimiter::readBytes(char* dst, unsigned long size)
{
    if (mIsFirstRead) {
        mIsFirstRead = false;
        if (mView != nullptr &&
            !mView->seek(static_cast<long>(mStart), qzIoDeviceRandomAccess::SeekFromBegin)) {
            setDeviceError("Fail to seek on delegate");
            return 0;
        }
    }
    const unsigned long got = mSource->readBytes(dst, std::min(size, mRemaining));
    mRemaining -= got;
    return got;
}

unsigned long qzIoDeviceReadBytesLimiter::writeBytes(const char* /*src*/, unsigned long /*size*/)
{
    setDeviceError("write not implemented");
    return 0;
}

bool qzIoDeviceReadBytesLimiter::atEnd() const
{
    return mRemaining == 0 || hasDeviceError() || mSource->atEnd();
}

bool qzIoDeviceReadBytesLimiter::hasDeviceError() const
{
    return hasOwnError() || mSource->hasDeviceError();
}

std::string qzIoDeviceReadBytesLimiter::getDeviceErrorMsg() const
{
    std::string text = getOwnErrorMsg();
    appendErrorOf(*mSource, text);
    return text;
}

}  // namespace qz
