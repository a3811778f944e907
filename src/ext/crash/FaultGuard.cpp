// SPDX-License-Identifier: MIT
#include "FaultGuard.h"

namespace qz::ext::crash {

PartReturn gPartReturn;

void leavePart(int reason)
{
    if (gPartReturn.isRunning) ::siglongjmp(gPartReturn.place, reason);
}

}  // namespace qz::ext::crash
