// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/MemoryAndCpuWatcher.h>

#include "io/VirtualSlots.h"

namespace qz {

/// Looks into a watcher.
class MemoryAndCpuWatcherTestPeer {
public:
    using Watcher = MemoryAndCpuWatcher;

    static qzMutex& editMutex(Watcher& watcher) { return watcher.mMutex; }
    static const qzThread& getThread(const Watcher& watcher) { return watcher; }
    static std::string getThreadId(const Watcher& watcher)
    {
        return const_cast<Watcher&>(watcher).getThreadId();
    }
    static void requestStop(Watcher& watcher)
    {
        const qzMutexLocker locker(watcher.mMutex);
        watcher.mStopRequested = true;
        watcher.mWake.wakeAll();
    }
    static unsigned int getPeriodMs(const Watcher& watcher) { return watcher.mPeriodMs; }
    static std::size_t getReservedReferences(const Watcher& watcher)
    {
        return watcher.mUsage.references.capacity();
    }
    static std::size_t getReservedEntries(const Watcher& watcher)
    {
        return watcher.mUsage.monitor.capacity();
    }

    static Offsets getOffsets(const Watcher& watcher)
    {
        return {findOffset(watcher, watcher.mFileBuffer),
                findOffset(watcher, watcher.mStatFields),
                findOffset(watcher, watcher.mMutex),
                findOffset(watcher, watcher.mWake),
                findOffset(watcher, watcher.mUsage),
                findOffset(watcher, watcher.mLastCpuSeconds),
                findOffset(watcher, watcher.mLastCpuTimeMs),
                findOffset(watcher, watcher.mLastMonitorTimeMs),
                findOffset(watcher, watcher.mCurrent),
                findOffset(watcher, watcher.mMonitorWindow),
                findOffset(watcher, watcher.mPeriodMs),
                findOffset(watcher, watcher.mMonitorPeriodSeconds),
                findOffset(watcher, watcher.mMonitorMaxEntries),
                findOffset(watcher, watcher.mStopRequested)};
    }
};

}  // namespace qz
