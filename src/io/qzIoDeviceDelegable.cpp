// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceDelegable.h>

#include <qz/qzLogObject.h>

#include "ErrorChain.h"

namespace qz {

namespace {

std::string toText(qzIoDevice::DataWay way)
{
    return std::to_string(static_cast<int>(way));
}

}  // namespace

qzIoDeviceDelegable::qzIoDeviceDelegable(DataWay way, int type) : qzIoDevice(way), mType(type) {}

qzIoDeviceDelegable::~qzIoDeviceDelegable() = default;

bool qzIoDeviceDelegable::atEnd() const
{
    if (mDelegationWay != DataWayRead) return true;
    return mDelegate->atEnd() || hasDeviceError();
}

bool qzIoDeviceDelegable::hasDeviceError() const
{
    return hasOwnError() || (mDelegate != nullptr && mDelegate->hasDeviceError());
}

std::string qzIoDeviceDelegable::getDeviceErrorMsg() const
{
    std::string text = getOwnErrorMsg();
    if (mDelegate != nullptr) appendErrorOf(*mDelegate, text);
    return text;
}

bool qzIoDeviceDelegable::beginDelegation(qzIoDevice* delegate, DataWay way)
{
    clearDeviceError();
    if (mDelegate != nullptr || mDelegationWay != DataWayNone) {
        setDeviceError("call begin delegation while a delegation is already setup");
        return false;
    }
    if (way != DataWayRead && way != DataWayWrite) {
        setDeviceError("invalid delegation way " + toText(way));
        return false;
    }
    if (delegate == nullptr && way == DataWayRead) {
        setDeviceError("need delegate for read delegation");
        return false;
    }
    if ((getSupportedDataWay() & way) == 0) {
        setDeviceError("incompatible delegation way " + toText(getSupportedDataWay()) + " " +
                       toText(way));
        return false;
    }
    if (delegate != nullptr && (delegate->getSupportedDataWay() & way) == 0) {
        setDeviceError("incompatible delegate features " + toText(delegate->getSupportedDataWay()) +
                       " " + toText(way));
        return false;
    }
    clearDeviceError();
    mDelegate = delegate;
    mDelegationWay = way;
    if (!beginDelegationImpl()) {
        setDeviceError("Error during beginDelegationImpl");
        clearDelegation();
    }
    return !hasDeviceError();
}

bool qzIoDeviceDelegable::endDelegation()
{
    if (mDelegationWay == DataWayNone) {
        setDeviceError("Call endDelegation while no delegation is setup");
        return false;
    }
    const bool isHandedOn = endDelegationImpl();
    clearDelegation();
    return isHandedOn && !hasDeviceError();
}

void qzIoDeviceDelegable::clearDelegation()
{
    clearDelegationImpl();
    mDelegate = nullptr;
    mDelegationWay = DataWayNone;
}

unsigned long qzIoDeviceDelegable::refuseRead()
{
    return refuse("call read on a write delegation mode device");
}

unsigned long qzIoDeviceDelegable::refuseWrite()
{
    return refuse("call write on a read delegation mode device");
}

unsigned long qzIoDeviceDelegable::refuse(const char* reason)
{
    setDeviceError(reason);
    logCritical() << "qzIoDeviceDelegable " << reason;
    return 0;
}

}  // namespace qz
