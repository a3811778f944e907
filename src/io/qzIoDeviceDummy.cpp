// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceDummy.h>

namespace qz {

qzIoDeviceDummy::qzIoDeviceDummy() : qzIoDevice(DataWayWrite) {}

qzIoDeviceDummy::~qzIoDeviceDummy() = default;

unsigned long qzIoDeviceDummy::readBytes(char* /*dst*/, unsigned long /*size*/)
{
    setDeviceError("Read is not supported");
    return 0;
}

unsigned long qzIoDeviceDummy::writeBytes(const char* /*src*/, unsigned long size)
{
    return size;
}

bool qzIoDeviceDummy::atEnd() const
{
    return true;
}

}  // namespace qz
