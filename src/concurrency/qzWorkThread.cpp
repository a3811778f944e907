#include <qz/qzWorkThread.h>

namespace qz {

// `endWake` takes the job's mutex while it holds the queue's; the loop gives the queue's back
// before it takes the job's. So neither waits for the other for ever.

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

// Waits, with the queue's mutex held, until a job may be taken.
bool qzWorkThread::waitForWork()
{
    while (!mStopRequested && (mIdle || mJobs.empty())) {
        mIdle = true;
        mWake.wait(&mQueueMutex, qzWaitCondition::msNoLimit);
    }
    return !mStopRequested;
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
