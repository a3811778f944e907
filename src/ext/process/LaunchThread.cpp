// SPDX-License-Identifier: MIT
#include "LaunchThread.h"

#include "base/CancellationBlock.h"

namespace qz::ext {

LaunchThread::LaunchThread(const std::function<void()>& work)
{
    const CancellationBlock noCancellation;
    mThread = std::thread(&LaunchThread::run, this, std::cref(work));
    std::unique_lock lock(mMutex);
    mChanged.wait(lock, [this] { return mIsDone; });
}

LaunchThread::~LaunchThread()
{
    const CancellationBlock noCancellation;
    {
        const std::lock_guard lock(mMutex);
        mMustEnd = true;
    }
    mChanged.notify_all();
    mThread.join();
}

void LaunchThread::run(const std::function<void()>& work)
{
    work();
    std::unique_lock lock(mMutex);
    mIsDone = true;
    mChanged.notify_all();
    mChanged.wait(lock, [this] { return mMustEnd; });
}

}  // namespace qz::ext
