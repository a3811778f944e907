// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceKeepLastBytes.h>

#include <algorithm>
#include <cstring>

#include "ErrorChain.h"

// The held bytes are a ring: the first one is at `mFirst`, and a read replaces as many bytes of the
// ring as it returns. Whoever needs the bytes in one piece, from the start of the vector, calls
// `rotate`. That is the caller of `getTerminalBytes`, and a read that would go around the end of
// the ring, at most once for as many bytes as the ring has. So a read costs as much as its bytes.

namespace qz {

qzIoDeviceKeepLastBytes::qzIoDeviceKeepLastBytes(qzIoDevice& source, unsigned long count)
    : qzIoDevice(DataWayRead), mSource(&source), mHeldBytes(count)
{
}

qzIoDeviceKeepLastBytes::~qzIoDeviceKeepLastBytes() = default;

const char* qzIoDeviceKeepLastBytes::getTerminalBytes() const
{
    rotate();
    return mHeldBytes.data();
}

void qzIoDeviceKeepLastBytes::rotate() const
{
    std::rotate(mHeldBytes.begin(), mHeldBytes.begin() + static_cast<long>(mFirst),
                mHeldBytes.end());
    mFirst = 0;
}

unsigned long qzIoDeviceKeepLastBytes::readBytes(char* dst, unsigned long size)
{
    const bool readsMore = mHeldCount < size;
    unsigned long count = std::min(mHeldCount, size);
    if (count > mHeldBytes.size() - mFirst) rotate();
    takeHeld(dst, count);
    if (readsMore) count += mSource->readBytes(dst + count, size - count);
    refill();

    const unsigned long missing = mHeldBytes.size() - mHeldCount;
    if (missing != 0 && !putBack(dst, count, missing)) return 0;
    return count - missing;
}

// Takes the first held bytes, which are in one piece.
void qzIoDeviceKeepLastBytes::takeHeld(char* dst, unsigned long count)
{
    if (count == 0) return;
    std::memcpy(dst, mHeldBytes.data() + mFirst, count);
    mHeldCount -= count;
    mFirst += count;
    if (mHeldCount == 0 || mFirst == mHeldBytes.size()) mFirst = 0;
}

// Reads as many bytes as are missing, also if that is none: the source may report an error, or
// count the read. Their cells are in one piece: before the first held byte, or
// after the last one if the held bytes are at the start of the vector.
void qzIoDeviceKeepLastBytes::refill()
{
    const unsigned long missing = mHeldBytes.size() - mHeldCount;
    const unsigned long begin = mFirst == 0 ? mHeldCount : mFirst - missing;
    mHeldCount += mSource->readBytes(mHeldBytes.data() + begin, missing);
}

// The source is at its end: the missing bytes are the last ones that the reader was to get.
bool qzIoDeviceKeepLastBytes::putBack(const char* dst, unsigned long count, unsigned long missing)
{
    if (count < missing) {
        setDeviceError("Could not keep enough terminal bytes");
        mHeldCount = 0;
        mFirst = 0;
        return false;
    }
    rotate();
    char* const held = mHeldBytes.data();
    std::memmove(held + missing, held, mHeldCount);
    std::memcpy(held, dst + count - missing, missing);
    mHeldCount = mHeldBytes.size();
    return true;
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
