#pragma once

#include <cstddef>
#include <cstdint>

#include <qz/qzLog.h>
#include <qz/qzMutex.h>

#include "log/qzLogTestPeer.h"
#include "log/qzLogThread.h"

namespace qz {

/// Sees the fields of the log thread, each under its mutex.
class qzLogTestPeer::Thread {
public:
    explicit Thread(qzLog& log) : mThread(*log.mLogThread) {}

    static const qzLogThread* get(const qzLog& log) { return log.mLogThread.get(); }

    bool isFlushRequested() const { return look(mThread.mFlushRequested); }
    bool hasEntries() const { return look(mThread.mHasEntries); }
    bool isReconfigurePending() const { return look(mThread.mReconfigure); }
    std::size_t getQueueSize() const
    {
        const qzMutexLocker locker(mThread.mMutex);
        return mThread.mQueue.size();
    }
    std::uint64_t getQueuedBytes() const { return look(mThread.mQueuedBytes); }
    int getWaiting() const { return look(mThread.mWaiting); }
    qzLogParameters getShared() const { return look(mThread.mShared); }
    /// Only while the thread has nothing to do.
    const qzLogParameters& getWorking() const { return mThread.mWorking; }
    bool hasFolderLock() const { return !mThread.mFolderLock.isEmpty(); }
    qzMutex& editMutex() const { return mThread.mMutex; }
    /// What the condition of a writer does without a reason.
    void wakeWaiters() const { mThread.mDrained.wakeAll(); }

private:
    template <typename Field>
    Field look(const Field& field) const
    {
        const qzMutexLocker locker(mThread.mMutex);
        return field;
    }

    qzLogThread& mThread;
};

}  // namespace qz
