// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <qz/qzLog.h>
#include <qz/qzMutex.h>

#include "log/qzLogTestPeer.h"
#include "log/qzLogThread.h"

namespace qz {

/// Sees the fields of the log thread, each under its mutex.
class qzLogTestPeer::Thread {
public:
    explicit Thread(qzLog& log) : mThread(*log.mLogThread) {}

    /// Where the fields begin that follow the base, in their order, counted from the first of them.
    std::vector<std::ptrdiff_t> getOffsets() const
    {
        const auto place = [this](const auto& field) {
            return reinterpret_cast<const char*>(&field) -
                   reinterpret_cast<const char*>(&mThread.mOwnThreadId);
        };
        return {place(mThread.mOwnThreadId),   place(mThread.mShared),
                place(mThread.mQueue),         place(mThread.mQueuedBytes),
                place(mThread.mMutex),         place(mThread.mWorkAvailable),
                place(mThread.mDrained),       place(mThread.mReconfigure),
                place(mThread.mHasEntries),    place(mThread.mFlushRequested),
                place(mThread.mStopRequested), place(mThread.mSpare)};
    }
    std::ptrdiff_t getOffsetOfFirst() const
    {
        return reinterpret_cast<const char*>(&mThread.mOwnThreadId) -
               reinterpret_cast<const char*>(&mThread);
    }
    std::string getOwnThreadId() const { return look(mThread.mOwnThreadId); }

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
