#pragma once

#include <atomic>

#include <qz/qzCancelInterface.h>
#include <qz/qzMutex.h>
#include <qz/qzWaitCondition.h>

namespace recorder {

/// What the parts of a run have done so far, and a line about it on the console.
class Progress {
public:
    /// @param partCount how many parts there are to wait for.
    /// @param cancel what asks the parts to end early.
    Progress(unsigned long partCount, unsigned long fileCount,
             const qz::qzCancelInterfaceReadOnly& cancel);

    /// From any thread.
    void countRecordedFile() { ++mRecordedFiles; }
    /// From any thread.
    void countComparedFile() { ++mComparedFiles; }
    /// From any thread: one part more is at its end.
    void countEndedPart();

    /// Shows the line until all parts are at their end, which only a terminal gets to see, and says
    /// when an interruption has been heard.
    void showUntilEnd();

private:
    void show() const;
    void acknowledgeInterruption();

    qz::qzMutex mMutex;
    qz::qzWaitCondition mPartEnded;
    unsigned long mPartsAtWork;  // guarded by mMutex
    unsigned long mFileCount;
    std::atomic<unsigned long> mRecordedFiles = 0;
    std::atomic<unsigned long> mComparedFiles = 0;
    const qz::qzCancelInterfaceReadOnly& mCancel;
    bool mHasTerminal;
    bool mHasAcknowledged = false;
};

}  // namespace recorder
