// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/MemoryWatchDog.h>

#include "io/VirtualSlots.h"

namespace qz {

/// Looks into a watchdog.
class MemoryWatchDogTestPeer {
public:
    static qzMutex& editMutex(MemoryWatchDog& dog) { return dog.mMutex; }
    static const qzThread& getThread(const MemoryWatchDog& dog) { return dog; }
    static std::string getThreadId(const MemoryWatchDog& dog)
    {
        return const_cast<MemoryWatchDog&>(dog).getThreadId();
    }
    static void requestStop(MemoryWatchDog& dog)
    {
        const qzMutexLocker locker(dog.mMutex);
        __atomic_store_n(&dog.mStopRequested, true, __ATOMIC_RELAXED);
    }
    static unsigned long getThresholdBytes(const MemoryWatchDog& dog)
    {
        return dog.mThresholdBytes;
    }

    static Offsets getOffsets(const MemoryWatchDog& dog)
    {
        return {findOffset(dog, dog.mExitCode),     findOffset(dog, dog.mThresholdBytes),
                findOffset(dog, dog.mName),         findOffset(dog, dog.mMutex),
                findOffset(dog, dog.mWake),         findOffset(dog, dog.mMonitoringEnabled),
                findOffset(dog, dog.mStopRequested)};
    }
};

}  // namespace qz
