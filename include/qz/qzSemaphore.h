// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzExport.h>
#include <qz/qzMutex.h>
#include <qz/qzWaitCondition.h>

namespace qz {

/// Counts resources that threads acquire and release, any number at a time.
class QZ_API qzSemaphore {
public:
    /// @param resources the number of free resources at the start.
    explicit qzSemaphore(unsigned int resources);
    ~qzSemaphore();
    qzSemaphore(const qzSemaphore&) = delete;
    qzSemaphore& operator=(const qzSemaphore&) = delete;

    /// Waits until `count` resources are free at the same time, and acquires them. 0 returns at
    /// once.
    void acquire(unsigned int count);
    /// Adds `count` free resources and wakes all waiting threads. 0 does nothing.
    void release(unsigned int count);
    /// The number of free resources. Other threads may have changed it already.
    unsigned int getNoResources() const;

private:
    qzMutex mMutex;
    qzWaitCondition mReleased;
    unsigned int mResources;  // changed under mMutex, read without it
};

}  // namespace qz
