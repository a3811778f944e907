// SPDX-License-Identifier: MIT
#include <qz/qzWorkThread.h>

namespace qz {

// No deadlock: `endWake` locks the job mutex while the queue mutex is locked, but the loop unlocks
// the queue mutex before it locks the job mutex.

qzJob::~qzJob() = default;

void qzJob::onDelete() {}

qzWorkThread::qzWorkThread() = default;

qzWorkThread::~qzWorkThread() = default;

void qzWorkThread::run()
{
    qzMutexLocker queueLocker(mQueueMutex);
    while (waitForWork()) {
        qzJob* const job = mJobs.front();
        mJobs.pop_front();
        queueLocker.unlock();
        {
            const qzMutexLocker jobLocker(mJobMutex);
            processJob(job);
        }
        queueLocker.lock();
    }
}

// Waits until a job may be taken. Must be called with the queue mutex locked.
// Compatibility: a wait that ends without a wake takes a job as well if there is one, so the idle
// flag isn't checked again after a wait.
bool qzWorkThread::waitForWork()
{
    while (!mStopRequested) {
        const bool mustWait = mIdle || mJobs.empty();
        if (mustWait) {
            mIdle = true;
            mWake.wait(&mQueueMutex, qzWaitCondition::msNoLimit);
        }
        if (!mStopRequested && !mJobs.empty()) return true;
    }
    return false;
}

void qzWorkThread::stop()
{
    {
        const qzMutexLocker locker(mQueueMutex);
        mStopRequested = true;
        mWake.wakeAll();
    }
    waitThread(msNoLimit);
}

void qzWorkThread::beginWake()
{
    mQueueMutex.lock();
}

void qzWorkThread::addJob(qzJob* job)
{
    mJobs.push_back(job);
}

void qzWorkThread::clearJobs()
{
    for (qzJob* const job : mJobs) {
        job->onDelete();
    }
    mJobs.clear();
}

void qzWorkThread::endWake()
{
    mJobMutex.lock();
    mJobMutex.unlock();
    mIdle = false;
    mQueueMutex.unlock();
    mWake.wakeAll();
}

}  // namespace qz
