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
    /// Hears that the queue has dropped the job undone; does nothing by itself.
    virtual void onDelete();
};

/// A thread that takes jobs from a queue, one at a time.
///
/// The queue is changed between `beginWake` and `endWake`, which waits for the job at work. A job
/// that the thread has just taken, but not begun, is the one job of the old queue that may follow.
/// No job may change the queue itself: it would wait for who waits for it. The subclass starts the
/// thread, and calls `stop` before it goes.
class QZ_API qzWorkThread : public qzThread {
public:
    /// Makes a thread that isn't started, with an empty queue.
    qzWorkThread();
    /// Forgets the queue without a word to its jobs. It doesn't stop the thread.
    ~qzWorkThread() override;

    /// The loop of the thread.
    void run() override;
    /// Ends the thread behind the job at work. The other jobs stay in the queue.
    virtual void stop();
    /// Does a job, on the work thread.
    virtual void processJob(qzJob* job) = 0;

    /// Begins a change of the queue; the thread takes no job until `endWake`.
    void beginWake();
    /// Appends a job, within a change. The queue doesn't own it.
    void addJob(qzJob* job);
    /// Tells each job in the queue that it is dropped, and empties the queue, within a change.
    void clearJobs();
    /// Waits for the job at work, ends the change and wakes the thread.
    void endWake();

private:
    friend class qzWorkThreadTestPeer;

    QZ_LOCAL bool waitForWork();

    qzWaitCondition mWake;
    qzMutex mQueueMutex;          // guards the queue and the two flags
    qzMutex mJobMutex;            // held while a job is at work
    bool mStopRequested = false;  // ends the loop
    bool mIdle = true;            // nothing is taken until `endWake`
    std::list<qzJob*> mJobs;      // not owned
};

}  // namespace qz
