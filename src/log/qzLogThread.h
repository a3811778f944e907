// SPDX-License-Identifier: MIT
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <string>

#include <qz/qzLog.h>
#include <qz/qzMutex.h>
#include <qz/qzThread.h>
#include <qz/qzWaitCondition.h>

#include "LogFile.h"
#include "qzLogParameters.h"

namespace qz {

/// Takes entries from all threads and writes them on its own thread, batch by batch.
///
/// The mutex is never held during file work, console output or a call of the handler.
class qzLogThread : public qzThread {
public:
    /// Changes settings. It may be called twice for one change, because other threads may change
    /// something in between, so its result must depend on its argument alone.
    using Change = std::function<void(qzLogParameters&)>;

    /// Makes a thread that begins with the given settings, and isn't started.
    explicit qzLogThread(const qzLogParameters& parameters);
    /// Writes what is queued and ends the thread.
    ~qzLogThread() override;

    /// Starts the thread, which blocks the asynchronous signals, so that the other threads of the
    /// process get them.
    void start();
    void run() override;

    /// Queues an entry, whose strings are empty afterwards. Waits until the queue is written if
    /// `synchronous` is set, if another thread waits for that, or if more than 16 MiB are queued.
    void append(qzLog::LogEntry& entry, bool synchronous);
    /// Waits until the queue is written; on the log thread itself it returns at once.
    void flush();

    /// Refreshes the caller's copy of the settings, changes it, and publishes it. Entries that were
    /// queued before are written under the old settings. Waits if too many files are requested and
    /// not installed.
    /// @param installedPath null, or the path as given whose file must be installed, even if it is
    ///     the file in use.
    void configure(qzLogParameters& parameters, const Change& change,
                   const std::string* installedPath);

    /// Locks and unlocks the mutex around a fork.
    void prepareFork();
    void resumeParent();
    /// Makes the mutex usable in a forked child, and copies the published settings.
    void resumeChild(qzLogParameters& parameters);

private:
    friend class qzLogTestPeer;
    class Lock;

    struct Installation {
        qzLogParameters parameters;
        std::string path;  // as given
    };

    bool isOwnThread() const;
    qzLog::LogEntry& addElement();
    void wakeUp(Lock& lock);
    bool isUrgent() const;
    void awaitDrained(Lock& lock);
    void waitForDrained(Lock& lock);
    void reconfigure(Lock& lock);
    void writeQueue(Lock& lock);
    void nap(Lock& lock);
    void sleep(Lock& lock);
    void confirmDrained();
    void writeAtOnce(qzLog::LogEntry& entry);
    void applyFileSettings(qzLogParameters& fresh, const std::string* installedPath);

    // The order of the fields up to mStopRequested is fixed; additions follow.
    std::string mOwnThreadId;  // for debuggers; see isOwnThread
    qzLogParameters mShared;   // what is published
    std::list<qzLog::LogEntry> mQueue;
    std::uint64_t mQueuedBytes = 0;  // of the messages
    qzMutex mMutex;                  // guards all fields up to mWaiting
    qzWaitCondition mWorkAvailable;
    qzWaitCondition mDrained;
    bool mReconfigure = true;      // mShared has changed
    bool mHasEntries = false;      // something was queued since the queue was last seen empty
    bool mFlushRequested = false;  // a thread waits until the queue is empty
    bool mStopRequested = false;

    std::list<qzLog::LogEntry> mSpare;       // elements for the queue, with empty texts
    std::list<Installation> mInstallations;  // requested and not begun
    bool mIsAsleep = false;                  // the log thread sleeps until it is woken
    bool mIsNapping = false;                 // the log thread sleeps for a short time
    std::condition_variable mNapEnd;
    int mWaiting = 0;  // how many threads sleep at mDrained

    // The log thread's own.
    bool mHasWritten = false;  // since its last nap
    qzLogParameters mWorking;
    log::LogFolderLock mFolderLock;
};

}  // namespace qz
