// SPDX-License-Identifier: MIT
#include "Tap.h"

namespace recorder {

Tap::Tap(qz::qzIoDevice& device, qz::qzIoDevice::DataWay way) : mSniffer(mChecksum)
{
    mSniffer.beginDelegation(&device, way);
    mCounter.beginDelegation(&mSniffer, way);
}

Tap::~Tap()
{
    mCounter.endDelegation();
    mSniffer.endDelegation();
}

}  // namespace recorder
