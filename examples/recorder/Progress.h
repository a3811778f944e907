#pragma once

#include <atomic>

#include <qz/qzMutex.h>
#include <qz/qzWaitCondition.h>

namespace recorder {

/// What the parts of a run have done so far, and a line about it on the console.
class Progress {
public:
    /// @param partCount how many parts there are to wait for.
    Progress(unsigned long partCount, unsigned long fileCount);

    /// From any thread.
    void countRecordedFile() { ++mRecordedFiles; }
    /// From any thread.
    void countComparedFile() { ++mComparedFiles; }
    /// From any thread: one part more is at its end.
    void countEndedPart();

    /// Shows the line until all parts are at their end. Only a terminal gets to see it.
    void showUntilEnd();

private:
    void show() const;

    qz::qzMutex mMutex;
    qz::qzWaitCondition mPartEnded;
    unsigned long mPartsAtWork;  // guarded by mMutex
    unsigned long mFileCount;
    std::atomic<unsigned long> mRecordedFiles = 0;
    std::atomic<unsigned long> mComparedFiles = 0;
    bool mHasTerminal;
};

}  // namespace recorder
