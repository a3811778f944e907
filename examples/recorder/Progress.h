// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

#include <qz/ext/ProgressView.h>
#include <qz/qzCancelInterface.h>
#include <qz/qzMutex.h>
#include <qz/qzWaitCondition.h>

namespace recorder {

/// What the parts of a run have done so far, and a bar about it on the terminal.
class Progress {
public:
    /// @param partCount the number of parts to wait for.
    /// @param cancel what requests the parts to end early.
    Progress(unsigned long partCount, unsigned long fileCount,
             const qz::qzCancelInterfaceReadOnly& cancel);

    /// From any thread.
    void countRecordedFile() { ++mRecordedFiles; }
    /// From any thread.
    void countComparedFile() { ++mComparedFiles; }
    /// From any thread: one more part has ended.
    void countEndedPart();

    /// Waits until all parts have ended. A terminal shows the progress meanwhile. The first
    /// interruption is confirmed on standard error; the parts end soon, unless an input sends
    /// nothing.
    /// @return 0, or at once the signal of a second interruption while parts are at work.
    int waitForEnd();

private:
    void show();
    void confirmInterruption();

    qz::qzMutex mMutex;
    qz::qzWaitCondition mPartEnded;
    unsigned long mPartsAtWork;  // guarded by mMutex
    std::atomic<unsigned long> mRecordedFiles = 0;
    std::atomic<unsigned long> mComparedFiles = 0;
    const qz::qzCancelInterfaceReadOnly& mCancel;
    qz::ext::ProgressView mView;  // used by the thread that waits alone
    bool mHasConfirmed = false;
};

}  // namespace recorder
