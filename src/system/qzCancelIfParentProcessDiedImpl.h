// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzMutex.h>
#include <qz/qzProcess.h>
#include <qz/qzThread.h>
#include <qz/qzWaitCondition.h>

#include "frame/base/Relaxed.h"

namespace qz {

/// The thread that polls for the end of the parent process.
class qzCancelIfParentProcessDiedImpl : public qzThread {
public:
    /// Starts the thread.
    qzCancelIfParentProcessDiedImpl();
    ~qzCancelIfParentProcessDiedImpl() override;

    void run() override;

    /// Whether the end has been seen.
    bool hasParentDied() const { return relaxedLoad(mParentDied); }

private:
    friend class qzCancelIfParentProcessDiedTestPeer;

    void watchParent();

    bool mParentDied = false;  // written by the thread, polled by others
    qzProcess mParentProcess;  // used by the thread only, once it runs
    qzMutex mMutex;
    qzWaitCondition mWake;
    bool mStopRequested = false;  // guarded by mMutex until the thread ends
};

}  // namespace qz
