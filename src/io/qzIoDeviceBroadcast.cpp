// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceBroadcast.h>

#include <algorithm>

#include <qz/qzLogObject.h>

namespace qz {

qzIoDeviceBroadcast::qzIoDeviceBroadcast(const std::vector<qzIoDevice*>& devices)
    : qzIoDevice(DataWayWrite), mDevices(devices)
{
}

qzIoDeviceBroadcast::~qzIoDeviceBroadcast() = default;

unsigned long qzIoDeviceBroadcast::readBytes(char* /*dst*/, unsigned long /*size*/)
{
    setDeviceError("Read is not implemented");
    return 0;
}

unsigned long qzIoDeviceBroadcast::writeBytes(const char* src, unsigned long size)
{
    for (qzIoDevice* device : mDevices) {
        const unsigned long written = device->writeBytes(src, size);
        if (written != size || device->hasDeviceError()) {
            setDeviceError("Sub device is in error");
            return 0;
        }
    }
    return hasDeviceError() ? 0 : size;
}

bool qzIoDeviceBroadcast::atEnd() const
{
    logCritical() << "qzIoDeviceBroadcast atEnd is not supported";
    return false;
}

bool qzIoDeviceBroadcast::hasDeviceError() const
{
    return hasOwnError() || std::any_of(mDevices.begin(), mDevices.end(), [](const auto* device) {
               return device->hasDeviceError();
           });
}

std::string qzIoDeviceBroadcast::getDeviceErrorMsg() const
{
    std::string text = getOwnErrorMsg();
    if (text.empty()) return text;
    for (const qzIoDevice* device : mDevices) {
        if (device->hasDeviceError()) text += ", " + device->getDeviceErrorMsg();
    }
    return text;
}

}  // namespace qz
