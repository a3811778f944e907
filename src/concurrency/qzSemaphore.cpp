// SPDX-License-Identifier: MIT
#include <qz/qzSemaphore.h>

#include "frame/base/Relaxed.h"

namespace qz {

qzSemaphore::qzSemaphore(unsigned int resources) : mResources(resources) {}

qzSemaphore::~qzSemaphore() = default;

void qzSemaphore::acquire(unsigned int count)
{
    const qzMutexLocker locker(mMutex);
    while (mResources < count) {
        mReleased.wait(&mMutex, qzWaitCondition::msNoLimit);
    }
    relaxedStore(mResources, mResources - count);
}

void qzSemaphore::release(unsigned int count)
{
    if (count == 0) return;
    const qzMutexLocker locker(mMutex);
    relaxedStore(mResources, mResources + count);
    mReleased.wakeAll();  // not one: who waits may want different amounts
}

unsigned int qzSemaphore::getNoResources() const
{
    return relaxedLoad(mResources);
}

}  // namespace qz
