// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceByteSniffer.h>

#include "DelegableTypes.h"
#include "ErrorChain.h"

namespace qz {

qzIoDeviceByteSniffer::qzIoDeviceByteSniffer(qzIoDevice& destination)
    : qzIoDeviceDelegable(DataWayReadWrite, kByteSnifferType), mDestination(&destination)
{
}

qzIoDeviceByteSniffer::~qzIoDeviceByteSniffer() = default;

unsigned long qzIoDeviceByteSniffer::readBytes(char* dst, unsigned long size)
{
    if (!passes(DataWayRead)) return refuseRead();
    if (hasDeviceError()) return 0;
    const unsigned long got = getDelegate()->readBytes(dst, size);
    return copyToDestination(dst, got) ? got : 0;
}

unsigned long qzIoDeviceByteSniffer::writeBytes(const char* src, unsigned long size)
{
    if (!passes(DataWayWrite)) return refuseWrite();
    if (hasDeviceError()) return 0;
    return copyToDestination(src, size) ? getDelegate()->writeBytes(src, size) : 0;
}

bool qzIoDeviceByteSniffer::copyToDestination(const char* bytes, unsigned long size)
{
    if (mDestination->writeBytes(bytes, size) < size) {
        setDeviceError("Fail to write on destination");
        return false;
    }
    return !hasDeviceError();
}

bool qzIoDeviceByteSniffer::hasDeviceError() const
{
    return qzIoDeviceDelegable::hasDeviceError() || mDestination->hasDeviceError();
}

std::string qzIoDeviceByteSniffer::getDeviceErrorMsg() const
{
    std::string text = qzIoDeviceDelegable::getDeviceErrorMsg();
    appendErrorOf(*mDestination, text);
    return text;
}

bool qzIoDeviceByteSniffer::beginDelegationImpl()
{
    return true;
}

bool qzIoDeviceByteSniffer::endDelegationImpl()
{
    return true;
}

void qzIoDeviceByteSniffer::clearDelegationImpl() {}

}  // namespace qz
