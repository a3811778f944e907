// SPDX-License-Identifier: MIT
#pragma once

#include <list>

#include <qz/qzExport.h>
#include <qz/qzMutex.h>
#include <qz/qzThread.h>
#include <qz/qzWaitCondition.h>

namespace qz {

/// A piece of work for a `qzWorkThread`.
class QZ_API qzJob {
public:
    virtual ~qzJob();
    /// Called by `qzWorkThread::clearJobs` for a job that it drops, and by nothing else. Does
    /// nothing by default.
    virtual void onDelete();
};

/// A thread that runs jobs from a queue, one at a time.
///
/// The queue is changed between `beginWake` and `endWake`, which waits for the running job. One
/// more job of the old queue may run after that, if the thread has already taken it. A job must not
/// change the queue itself: it would wait for its own end. The subclass must start the thread, and
/// must call `stop` in its destructor.
///
/// @code
/// worker.beginWake();
/// worker.addJob(&nextPage);
/// worker.endWake();
/// @endcode
class QZ_API qzWorkThread : public qzThread {
public:
    /// Makes a thread that isn't started, with an empty queue.
    qzWorkThread();
    /// Drops the queue without a call of its jobs. It doesn't stop the thread.
    ~qzWorkThread() override;

    /// The loop of the thread.
    void run() override;
    /// Ends the thread after the running job. The other jobs stay in the queue. The thread can't be
    /// used again: after a later start it ends at once.
    virtual void stop();
    /// Runs a job, on the work thread.
    virtual void processJob(qzJob* job) = 0;

    /// Begins a change of the queue; the thread takes no job until `endWake`.
    void beginWake();
    /// Appends a job during a change. The queue doesn't own it.
    void addJob(qzJob* job);
    /// Empties the queue during a change, and calls `onDelete` of each job.
    void clearJobs();
    /// Waits for the running job, ends the change and wakes the thread.
    void endWake();

private:
    friend class qzWorkThreadTestPeer;

    QZ_LOCAL bool waitForWork();

    qzWaitCondition mWake;
    qzMutex mQueueMutex;          // guards the queue and the two flags
    qzMutex mJobMutex;            // locked while a job runs
    bool mStopRequested = false;  // ends the loop
    bool mIdle = true;            // no job is taken until `endWake`
    std::list<qzJob*> mJobs;      // not owned
};

}  // namespace qz
