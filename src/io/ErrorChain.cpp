// SPDX-License-Identifier: MIT
#include "ErrorChain.h"

namespace qz {

void appendErrorOf(const qzIoDevice& device, std::string& text)
{
    if (!device.hasDeviceError()) return;
    if (!text.empty()) text += ", ";
    text += device.getDeviceErrorMsg();
}

}  // namespace qz
