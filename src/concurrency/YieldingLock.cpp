// SPDX-License-Identifier: MIT
#include "YieldingLock.h"

#include <sched.h>

namespace qz {

// Not inline, and without an object to destroy: a signal handler may throw within the calls of the
// system, whose headers deny that, and the exception gets through such a function alone.
void lockYielding(qzMutex& mutex)
{
    constexpr int triesBeforeSleep = 4;
    for (int tries = 0; tries != triesBeforeSleep; ++tries) {
        if (mutex.tryLock()) return;
        ::sched_yield();
    }
    mutex.lock();
}

}  // namespace qz
