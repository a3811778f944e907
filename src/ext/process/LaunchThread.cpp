#include "LaunchThread.h"

#include <pthread.h>
#include <signal.h>

namespace qz::ext {

namespace {

// A signal of the process must be handled by a thread of the application.
class ScopedAllSignalsBlocked {
public:
    ScopedAllSignalsBlocked()
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &mMask);
    }
    ~ScopedAllSignalsBlocked() noexcept(false) { ::pthread_sigmask(SIG_SETMASK, &mMask, nullptr); }
    ScopedAllSignalsBlocked(const ScopedAllSignalsBlocked&) = delete;
    ScopedAllSignalsBlocked& operator=(const ScopedAllSignalsBlocked&) = delete;

private:
    sigset_t mMask;
};

}  // namespace

LaunchThread::LaunchThread(const std::function<void()>& work)
{
    {
        const ScopedAllSignalsBlocked block;
        mThread = std::thread(&LaunchThread::run, this, std::cref(work));
    }
    std::unique_lock lock(mMutex);
    mChanged.wait(lock, [this] { return mIsDone; });
}

LaunchThread::~LaunchThread()
{
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
