#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>

#include <qz/qzLog.h>
#include <qz/qzMutex.h>
#include <qz/qzThread.h>
#include <qz/qzWaitCondition.h>

#include "qzLogParameters.h"

namespace qz {

/// Takes entries from all threads and writes them on its own, batch by batch.
///
/// The mutex is never held during file work, console output or a call of the handler.
class qzLogThread : public qzThread {
public:
    /// Changes settings. It may be called twice for one change, as others may come between, so it
    /// looks at nothing but its argument.
    using Change = std::function<void(qzLogParameters&)>;

    /// Makes a thread that begins under the given settings, and isn't started.
    explicit qzLogThread(const qzLogParameters& parameters);
    /// Writes what is queued and ends the thread.
    ~qzLogThread() override;

    /// Starts the thread, which leaves the process's asynchronous signals to the other threads.
    void start();
    void run() override;

    /// Queues an entry, whose strings are empty then. Waits until the queue is written when asked
    /// to, when somebody else does, or when more than 16 MiB are queued.
    void append(qzLog::LogEntry& entry, bool synchronous);
    /// Waits until the queue is written; on the log thread itself it returns at once.
    void flush();

    /// Refreshes the caller's side of the settings, changes it, and publishes it. Entries that were
    /// queued before still go out under the old settings.
    /// @param install has the file handler installed, also where the folder stays the same.
    void configure(qzLogParameters& parameters, const Change& change, bool install);

private:
    friend class qzLogTestPeer;
    class Lock;

    bool isOwnThread() const;
    qzLog::LogEntry& addElement();
    void awaitDrained(Lock& lock);
    void waitForDrained(Lock& lock);
    void reconfigure(Lock& lock);
    void writeQueue(Lock& lock);
    bool linger(Lock& lock);
    void confirmDrained();
    void writeAtOnce(qzLog::LogEntry& entry);
    void applyFileSettings(qzLogParameters& fresh, bool install);
    std::unique_lock<qzMutexSystem> lockFolder() const;
    void keepFileInUse(qzLogParameters& fresh) const;

    qzLogParameters mShared;  // what is published
    std::list<qzLog::LogEntry> mQueue;
    std::uint64_t mQueuedBytes = 0;     // of the messages
    std::list<qzLog::LogEntry> mSpare;  // elements for the queue, with empty texts
    qzMutex mMutex;                     // guards the fields above and the flags below
    qzWaitCondition mWorkAvailable;
    qzWaitCondition mDrained;
    // The log thread also looks at three of them without the mutex while it lingers.
    bool mReconfigure = true;      // mShared has changed
    bool mHasEntries = false;      // something was queued since the queue was last seen empty
    bool mFlushRequested = false;  // somebody waits for the queue to run empty
    bool mStopRequested = false;
    std::list<qzLogParameters> mInstallations;  // asked for and not begun
    int mWaiting = 0;                           // how many threads sleep at mDrained

    // The log thread's own.
    std::size_t mLastBatchSize = 0;
    qzLogParameters mWorking;
    std::unique_ptr<qzMutexSystem> mFolderLock;  // keeps processes apart that share the folder
    int mReportsAtOnce = 0;                      // of signals, one within the other
};

}  // namespace qz
