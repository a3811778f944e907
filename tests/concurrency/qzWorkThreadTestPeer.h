// SPDX-License-Identifier: MIT
#pragma once

#include <list>

#include <qz/qzWorkThread.h>

#include "io/VirtualSlots.h"

namespace qz {

/// Looks into a work thread.
class qzWorkThreadTestPeer {
public:
    static const std::list<qzJob*>& getJobs(const qzWorkThread& thread) { return thread.mJobs; }
    static bool isIdle(const qzWorkThread& thread)
    {
        const qzMutexLocker locker(const_cast<qzMutex&>(thread.mQueueMutex));
        return thread.mIdle;
    }
    static bool isStopRequested(const qzWorkThread& thread) { return thread.mStopRequested; }
    static qzWaitCondition& editWake(qzWorkThread& thread) { return thread.mWake; }
    static qzMutex& editQueueMutex(qzWorkThread& thread) { return thread.mQueueMutex; }
    static qzMutex& editJobMutex(qzWorkThread& thread) { return thread.mJobMutex; }

    static Offsets getOffsets(const qzWorkThread& thread)
    {
        return {findOffset(thread, thread.mWake),     findOffset(thread, thread.mQueueMutex),
                findOffset(thread, thread.mJobMutex), findOffset(thread, thread.mStopRequested),
                findOffset(thread, thread.mIdle),     findOffset(thread, thread.mJobs)};
    }
};

}  // namespace qz
