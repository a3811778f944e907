#include "Progress.h"

#include <iostream>

#include <unistd.h>

namespace recorder {

namespace {

constexpr unsigned long kShowEveryMs = 200;

}  // namespace

Progress::Progress(unsigned long partCount, unsigned long fileCount)
    : mPartsAtWork(partCount), mFileCount(fileCount), mHasTerminal(::isatty(STDERR_FILENO) == 1)
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
    }
    if (mHasTerminal) std::cerr << '\n';
}

void Progress::show() const
{
    if (!mHasTerminal) return;
    std::cerr << "\r  recorded " << mRecordedFiles << " of " << mFileCount << " files, compared "
              << mComparedFiles << std::flush;
}

}  // namespace recorder
