#include "Progress.h"

#include <iostream>

#include <unistd.h>

namespace recorder {

namespace {

constexpr unsigned long kShowEveryMs = 200;

}  // namespace

Progress::Progress(unsigned long partCount, unsigned long fileCount,
                   const qz::qzCancelInterfaceReadOnly& cancel)
    : mPartsAtWork(partCount),
      mFileCount(fileCount),
      mCancel(cancel),
      mHasTerminal(::isatty(STDERR_FILENO) == 1)
{
}

void Progress::countEndedPart()
{
    const qz::qzMutexLocker locker(mMutex);
    --mPartsAtWork;
    mPartEnded.wakeAll();
}

void Progress::showUntilEnd()
{
    const qz::qzMutexLocker locker(mMutex);
    while (mPartsAtWork != 0) {
        mPartEnded.wait(&mMutex, kShowEveryMs);
        show();
        if (mCancel.shouldCancel()) acknowledgeInterruption();
    }
    if (mHasTerminal) std::cerr << '\n';
}

void Progress::acknowledgeInterruption()
{
    if (mHasAcknowledged) return;
    mHasAcknowledged = true;
    if (mHasTerminal) std::cerr << '\n';
    std::cerr << "recorder: interrupted, finishing the records at work\n";
}

void Progress::show() const
{
    if (!mHasTerminal) return;
    std::cerr << "\r  recorded " << mRecordedFiles << " of " << mFileCount << " files, compared "
              << mComparedFiles << std::flush;
}

}  // namespace recorder
