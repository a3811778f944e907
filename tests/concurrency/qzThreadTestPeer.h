// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzThread.h>

#include "io/VirtualSlots.h"

namespace qz {

/// Looks into a thread.
class qzThreadTestPeer {
public:
    static const std::string& getDescription(const qzThread& thread) { return thread.mDescription; }
    /// The mutex that an updater holds during its calls.
    static qzMutex& editMutex(qzThreadPeriodicalUpdater& updater) { return updater.mMutex; }

    static Offsets getOffsets(const qzThread& thread)
    {
        return {findOffset(thread, thread.mThread), findOffset(thread, thread.mDescription),
                findOffset(thread, thread.mRunning)};
    }
    static Offsets getOffsets(const qzThreadPeriodicalUpdater& updater)
    {
        return {findOffset(updater, updater.mCallbacks), findOffset(updater, updater.mMutex),
                findOffset(updater, updater.mWake), findOffset(updater, updater.mPeriodMs),
                findOffset(updater, updater.mStopRequested)};
    }
};

}  // namespace qz
