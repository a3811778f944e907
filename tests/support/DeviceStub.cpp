// SPDX-License-Identifier: MIT
#include "support/DeviceStub.h"

#include <algorithm>
#include <utility>

namespace qz::support {

DeviceStub::DeviceStub(std::string content, DataWay way)
    : qzIoDeviceRandomAccess(way), mContent(std::move(content))
{
}

unsigned long DeviceStub::readBytes(char* dst, unsigned long size)
{
    const unsigned long end = mContent.size();
    const unsigned long ahead = mPosition < end ? end - mPosition : 0;
    const unsigned long moved = hasDeviceError() ? 0 : allow(std::min(size, ahead));
    std::copy_n(mContent.data() + std::min(mPosition, end), moved, dst);
    return record("read", size, moved);
}

unsigned long DeviceStub::writeBytes(const char* src, unsigned long size)
{
    const unsigned long moved = hasDeviceError() ? 0 : allow(size);
    if (moved > 0 && mContent.size() < mPosition + moved) mContent.resize(mPosition + moved);
    std::copy_n(src, moved, mContent.data() + (moved > 0 ? mPosition : 0));
    return record("write", size, moved);
}

bool DeviceStub::atEnd() const
{
    const bool isAtEnd = mPosition >= mContent.size();
    mCalls.push_back(isAtEnd ? "atEnd -> 1" : "atEnd -> 0");
    return isAtEnd;
}

bool DeviceStub::seek(long offset, SeekStart start)
{
    const unsigned long bases[] = {0, mPosition, mContent.size()};
    const long target = static_cast<long>(bases[start]) + offset;
    const bool isDone = !mRefusesSeeks && target >= 0;
    if (isDone) mPosition = static_cast<unsigned long>(target);
    mCalls.push_back("seek " + std::to_string(offset) + " from " + std::to_string(start) +
                     (isDone ? " -> 1" : " -> 0"));
    return isDone;
}

long DeviceStub::getCurrentPos() const
{
    return static_cast<long>(mPosition);
}

unsigned long DeviceStub::allow(unsigned long available)
{
    const unsigned long moved = std::min({available, mBytesLeft, mMostBytesPerCall});
    mBytesLeft -= moved;
    return moved;
}

unsigned long DeviceStub::record(const char* what, unsigned long size, unsigned long moved)
{
    mPosition += moved;
    mCalls.push_back(what + (" " + std::to_string(size)) + " -> " + std::to_string(moved));
    if (moved < size && !mErrorOfShortMoves.empty()) setDeviceError(mErrorOfShortMoves);
    return moved;
}

}  // namespace qz::support
