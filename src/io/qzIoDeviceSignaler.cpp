// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceSignaler.h>

#include "DelegableTypes.h"

namespace qz {

qzIoDeviceSignaler::qzIoDeviceSignaler(Signal* signal, unsigned long threshold)
    : qzIoDeviceDelegable(DataWayReadWrite, kSignalerType), mSignal(signal), mThreshold(threshold)
{
}

qzIoDeviceSignaler::~qzIoDeviceSignaler() = default;

unsigned long qzIoDeviceSignaler::readBytes(char* dst, unsigned long size)
{
    if (!passes(DataWayRead)) return refuseRead();
    return hasDeviceError() ? 0 : getDelegate()->readBytes(dst, size);
}

unsigned long qzIoDeviceSignaler::writeBytes(const char* src, unsigned long size)
{
    mBytesSinceSignal += size;
    if (mBytesSinceSignal >= mThreshold && mSignal != nullptr) callSignal();
    return getDelegate() != nullptr ? getDelegate()->writeBytes(src, size) : size;
}

void qzIoDeviceSignaler::callSignal()
{
    // Puts the function back when it throws, too.
    struct Restore {
        ~Restore() { place = signal; }
        Signal*& place;
        Signal* const signal;
    };
    {
        const Restore restore{mSignal, mSignal};
        mSignal = nullptr;
        (*restore.signal)(getDelegate());
    }
    mBytesSinceSignal = 0;
}

bool qzIoDeviceSignaler::beginDelegationImpl()
{
    return true;
}

bool qzIoDeviceSignaler::endDelegationImpl()
{
    return true;
}

void qzIoDeviceSignaler::clearDelegationImpl() {}

}  // namespace qz
