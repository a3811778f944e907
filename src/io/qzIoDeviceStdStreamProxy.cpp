// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceStdStreamProxy.h>

#include <istream>
#include <ostream>

#include "StreamState.h"
#include "frame/base/CatchAll.h"

namespace qz {

namespace {

// A stream that its owner has set to throw sets its state first, and the callers check that state.
// Exceptions of the stream's buffer may pass through: from reads and writes if the owner has set
// it so, from seeks and tells of an output always.
template <typename Work>
void quietly(Work work)
{
    catchAll(work, [] {});
}

// Here any value but the first two counts from the end.
std::ios_base::seekdir toDirection(qzIoDeviceRandomAccess::SeekStart start)
{
    std::ios_base::seekdir direction = std::ios_base::end;
    toSeekDirection(start, direction);
    return direction;
}

}  // namespace

qzIoDeviceStdStreamProxy::qzIoDeviceStdStreamProxy(std::istream* input)
    : qzIoDeviceRandomAccess(DataWayRead), mInput(input)
{
}

qzIoDeviceStdStreamProxy::qzIoDeviceStdStreamProxy(std::ostream* output)
    : qzIoDeviceRandomAccess(DataWayWrite), mOutput(output)
{
}

qzIoDeviceStdStreamProxy::~qzIoDeviceStdStreamProxy() = default;

unsigned long qzIoDeviceStdStreamProxy::readBytes(char* dst, unsigned long size)
{
    if (!good() || mInput == nullptr) return 0;
    quietly([&] { mInput->read(dst, static_cast<std::streamsize>(size)); });
    const auto count = static_cast<unsigned long>(mInput->gcount());
    ReadOutcome outcome = ReadOutcome::Moved;
    quietly([&] { outcome = settleAfterRead(*mInput, count, size); });
    if (outcome == ReadOutcome::Broken) {
        setDeviceError("std sub stream is in error after a read : istream bad bit is set");
        return 0;
    }
    return count;
}

unsigned long qzIoDeviceStdStreamProxy::writeBytes(const char* src, unsigned long size)
{
    if (!good() || mOutput == nullptr) return 0;
    quietly([&] { mOutput->write(src, static_cast<std::streamsize>(size)); });
    if (mOutput->fail()) {
        setDeviceError(
            "std sub stream is in error after a write : ostream fail and/or bad bit is set");
        return 0;
    }
    return good() ? size : 0;
}

bool qzIoDeviceStdStreamProxy::atEnd() const
{
    if (mInput == nullptr) return false;
    bool isEnd = true;
    quietly([&] { isEnd = isAtEnd(*mInput); });
    return isEnd && !mInput->bad();
}

bool qzIoDeviceStdStreamProxy::seek(long offset, SeekStart start)
{
    if (mInput == nullptr && mOutput == nullptr) return false;
    const std::ios_base::seekdir direction = toDirection(start);
    quietly([&] {
        if (mInput != nullptr) mInput->seekg(offset, direction);
        if (mOutput != nullptr) mOutput->seekp(offset, direction);
    });
    return true;
}

long qzIoDeviceStdStreamProxy::getCurrentPos() const
{
    if (mInput == nullptr && mOutput == nullptr) return 0;
    long position = -1;
    quietly([&] {
        if (mInput != nullptr) position = mInput->tellg();
        if (mOutput != nullptr) position = mOutput->tellp();
    });
    return position;
}

}  // namespace qz
