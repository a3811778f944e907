#include "Progress.h"

#include <csignal>
#include <initializer_list>
#include <iostream>

#include <unistd.h>

namespace recorder {

namespace {

constexpr unsigned long kShowEveryMs = 200;

volatile std::sig_atomic_t gSecondSignal = 0;

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

int Progress::waitForEnd()
{
    const qz::qzMutexLocker locker(mMutex);
    while (mPartsAtWork != 0 && gSecondSignal == 0) {
        mPartEnded.wait(&mMutex, kShowEveryMs);
        show();
        if (mCancel.shouldCancel()) confirmInterruption();
    }
    if (mHasTerminal) std::cerr << '\n';
    return gSecondSignal;
}

void Progress::confirmInterruption()
{
    if (mHasConfirmed) return;
    mHasConfirmed = true;
    // From here on a signal is the second one.
    for (const int signal : {SIGINT, SIGTERM})
        std::signal(signal, [](int number) { gSecondSignal = number; });
    if (mHasTerminal) std::cerr << '\n';
    std::cerr << "recorder: interrupted, finishing the current records\n";
}

void Progress::show() const
{
    if (!mHasTerminal) return;
    std::cerr << "\r  recorded " << mRecordedFiles << " of " << mFileCount << " files, compared "
              << mComparedFiles << std::flush;
}

}  // namespace recorder
