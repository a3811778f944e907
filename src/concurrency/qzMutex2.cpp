// SPDX-License-Identifier: MIT
#include <qz/qzMutex.h>

#include <time.h>

#include "EarlyConstruction.h"
#include "RecursiveMutex.h"

namespace qz {

struct qzMutex2::Impl : RecursiveMutex {};

qzMutex2::qzMutex2() : mImpl(std::make_unique<Impl>())
{
    warnBeforeFullStart(kEarlyMutex);
}

// Compatibility: unlike the other locks this one doesn't check for a fork.
qzMutex2::~qzMutex2() = default;

void qzMutex2::lock()
{
    ::pthread_mutex_lock(&mImpl->mutex);
}

bool qzMutex2::tryLock(unsigned int timeoutMs)
{
    if (timeoutMs == 0) return ::pthread_mutex_trylock(&mImpl->mutex) == 0;
    // Compatibility: the system expects a point in time, and this one is at the start of the epoch.
    // So the call never waits, and callers treat the timeout as a hint.
    timespec deadline = {};
    deadline.tv_sec = timeoutMs / 1000;
    deadline.tv_nsec = static_cast<long>(timeoutMs % 1000) * 1000000;
    return ::pthread_mutex_timedlock(&mImpl->mutex, &deadline) == 0;
}

void qzMutex2::unlock()
{
    ::pthread_mutex_unlock(&mImpl->mutex);
}

}  // namespace qz
