#include <qz/qzIoDeviceKeepLastBytes.h>

#include <algorithm>
#include <cstring>

#include "ErrorChain.h"

namespace qz {

qzIoDeviceKeepLastBytes::qzIoDeviceKeepLastBytes(qzIoDevice& source, unsigned long count)
    : qzIoDevice(DataWayRead), mSource(&source), mHeldBytes(count)
{
}

qzIoDeviceKeepLastBytes::~qzIoDeviceKeepLastBytes() = default;

unsigned long qzIoDeviceKeepLastBytes::readBytes(char* dst, unsigned long size)
{
    const bool wantsMore = mHeldCount < size;
    unsigned long count = takeHeld(dst, size);
    if (wantsMore) count += mSource->readBytes(dst + count, size - count);

    char* const held = mHeldBytes.data();
    const unsigned long capacity = mHeldBytes.size();
    if (mHeldCount < capacity)
        mHeldCount += mSource->readBytes(held + mHeldCount, capacity - mHeldCount);

    const unsigned long missing = capacity - mHeldCount;
    if (missing == 0) return count;
    if (count < missing) {
        setDeviceError("Could not keep enough terminal bytes");
        mHeldCount = 0;
        return 0;
    }
    // The source is at its end: what is missing comes back from the reader.
    count -= missing;
    std::memmove(held + missing, held, mHeldCount);
    std::memcpy(held, dst + count, missing);
    mHeldCount = capacity;
    return count;
}

unsigned long qzIoDeviceKeepLastBytes::takeHeld(char* dst, unsigned long size)
{
    const unsigned long count = std::min(mHeldCount, size);
    if (count == 0) return 0;
    char* const held = mHeldBytes.data();
    std::memcpy(dst, held, count);
    mHeldCount -= count;
    std::memmove(held, held + count, mHeldCount);
    return count;
}

unsigned long qzIoDeviceKeepLastBytes::writeBytes(const char* /*src*/, unsigned long /*size*/)
{
    setDeviceError("write not implemented");
    return 0;
}

bool qzIoDeviceKeepLastBytes::atEnd() const
{
    return hasDeviceError() || mSource->atEnd();
}

bool qzIoDeviceKeepLastBytes::hasDeviceError() const
{
    return hasOwnError() || mSource->hasDeviceError();
}

std::string qzIoDeviceKeepLastBytes::getDeviceErrorMsg() const
{
    std::string text = getOwnErrorMsg();
    appendErrorOf(*mSource, text);
    return text;
}

}  // namespace qz
