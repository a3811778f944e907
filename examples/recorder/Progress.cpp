// SPDX-License-Identifier: MIT
#include "Progress.h"

#include <atomic>
#include <csignal>
#include <initializer_list>
#include <iostream>

#include <unistd.h>

namespace recorder {

namespace {

constexpr unsigned long kShowEveryMs = 200;

std::atomic<int> gSecondSignal = 0;  // any thread may get a signal

qz::ext::ProgressViewOptions makeViewOptions(unsigned long fileCount)
{
    qz::ext::ProgressViewOptions options;
    options.title = "record and compare";
    options.unit = " files";
    options.total = static_cast<double>(fileCount);
    // In a log file the summary at the end is enough.
    options.isQuiet = ::isatty(STDERR_FILENO) != 1;
    return options;
}

}  // namespace

Progress::Progress(unsigned long partCount, unsigned long fileCount,
                   const qz::qzCancelInterfaceReadOnly& cancel)
    : mPartsAtWork(partCount), mCancel(cancel), mView(makeViewOptions(fileCount), &cancel)
{
    // Each file is recorded, and later compared.
    mView.beginStepGroupWeights({1}, 2.0 * static_cast<double>(fileCount), nullptr);
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
    mView.clearLine();
    return mPartsAtWork == 0 ? 0 : gSecondSignal.load();
}

void Progress::confirmInterruption()
{
    if (mHasConfirmed) return;
    mHasConfirmed = true;
    // From here on a signal is the second one.
    for (const int signal : {SIGINT, SIGTERM})
        std::signal(signal, [](int number) { gSecondSignal = number; });
    mView.clearLine();
    std::cerr << "recorder: interrupted, finishing the current records\n";
}

void Progress::show()
{
    mView.setCurrentStepProgress(static_cast<double>(mRecordedFiles + mComparedFiles));
}

}  // namespace recorder
