// SPDX-License-Identifier: MIT
#include <qz/qzMutex.h>

#include "EarlyConstruction.h"
#include "RecursiveMutex.h"

namespace qz {

struct qzMutex::Impl : RecursiveMutex {};

qzMutex::qzMutex() : mImpl(std::make_unique<Impl>())
{
    warnBeforeFullStart(kEarlyMutex);
}

qzMutex::~qzMutex()
{
    CheckIfProcessForkAfterThreadSafeInit();
}

void qzMutex::lock()
{
    ::pthread_mutex_lock(&mImpl->mutex);
}

bool qzMutex::tryLock()
{
    return ::pthread_mutex_trylock(&mImpl->mutex) == 0;
}

void qzMutex::unlock()
{
    ::pthread_mutex_unlock(&mImpl->mutex);
}

void* qzMutex::getMutexData() const
{
    return &mImpl->mutex;
}

}  // namespace qz
