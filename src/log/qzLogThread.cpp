#include "qzLogThread.h"

#include <utility>

#include "LogFile.h"
#include "SignalReport.h"
#include "SignalsPutOff.h"

namespace qz {

namespace {

constexpr std::uint64_t kMostQueuedBytes = 16777216;

// How many locks of log threads the calling thread holds or takes: a signal handler may find it
// inside one.
thread_local int locksHeld = 0;

// Holds the lock between processes for a scope, where there is one.
class FolderLocker {
public:
    explicit FolderLocker(qzMutexSystem* folderLock) : mFolderLock(folderLock)
    {
        if (mFolderLock != nullptr) mFolderLock->lock();
    }
    ~FolderLocker()
    {
        if (mFolderLock != nullptr) mFolderLock->unlock();
    }
    FolderLocker(const FolderLocker&) = delete;
    FolderLocker& operator=(const FolderLocker&) = delete;

private:
    qzMutexSystem* mFolderLock;
};

}  // namespace

// Holds the mutex for a scope, and knows it.
class qzLogThread::Lock {
public:
    // In two steps, for an exception of a signal handler within the second to find an object to
    // destroy, and with it the lock given back.
    explicit Lock(qzMutex& mutex) : Lock(&mutex) { lock(); }
    ~Lock()
    {
        if (mIsHeld) unlock();
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    // Said ahead of the deed, as that may be broken off on both sides of it. To give back a mutex
    // that one hasn't got does nothing.
    void lock()
    {
        mIsHeld = true;
        ++locksHeld;
        mMutex.lock();
    }
    void unlock()
    {
        mMutex.unlock();
        --locksHeld;
        mIsHeld = false;
    }
    // Counts as holding it: a thread on its way into the wait and out of it does.
    void wait(qzWaitCondition& condition) { condition.wait(&mMutex, qzWaitCondition::msNoLimit); }

private:
    explicit Lock(qzMutex* mutex) : mMutex(*mutex) {}

    qzMutex& mMutex;
    bool mIsHeld = false;
};

qzLogThread::qzLogThread(const qzLogParameters& parameters) : mShared(parameters) {}

qzLogThread::~qzLogThread()
{
    {
        const Lock lock(mMutex);
        mFlushRequested = true;
        mStopRequested = true;
        mWorkAvailable.wakeAll();
        mDrained.wakeAll();
    }
    waitThread(msNoLimit);
}

void qzLogThread::start()
{
    log::SignalsPutOff signals;
    signals.begin();
    startThread(nullptr);
}

// --- The writers' side

void qzLogThread::append(qzLog::LogEntry& entry, bool synchronous)
{
    if (log::SignalReport::IsUnderWay() && (isOwnThread() || locksHeld != 0)) {
        writeAtOnce(entry);
        return;
    }
    std::list<qzLog::LogEntry> added;
    added.push_back(std::move(entry));
    entry = {};
    const std::uint64_t size = added.front().message.size();

    log::SignalsPutOff signals;  // until the lock is given back
    Lock lock(mMutex);
    mQueue.splice(mQueue.end(), added);
    mQueuedBytes += size;
    mHasEntries = true;
    if (synchronous || mQueuedBytes > kMostQueuedBytes) mFlushRequested = true;
    mWorkAvailable.wakeAll();
    awaitDrained(lock, signals);
}

void qzLogThread::flush()
{
    log::SignalsPutOff signals;
    Lock lock(mMutex);
    mFlushRequested = true;
    mWorkAvailable.wakeAll();
    awaitDrained(lock, signals);
}

bool qzLogThread::isOwnThread() const
{
    return CurrentThreadId() == mOwnThreadId;
}

// Waits once: whoever wakes the condition has seen the queue empty. A signal that came meanwhile is
// reported behind the wait, when the report can take the lock.
void qzLogThread::awaitDrained(Lock& lock, log::SignalsPutOff& signals)
{
    if (!mFlushRequested || mStopRequested || isOwnThread()) return;
    signals.begin();
    lock.wait(mDrained);
}

void qzLogThread::configure(qzLogParameters& parameters, const Change& change, bool install)
{
    log::SignalsPutOff signals;
    Lock lock(mMutex);
    parameters = mShared;
    change(parameters);
    if (!install && haveSameSettings(parameters, mShared)) return;
    mWorkAvailable.wakeAll();
    if (mHasEntries && !isOwnThread()) {
        mFlushRequested = true;
        signals.begin();
        while (mFlushRequested && !mStopRequested) {
            lock.wait(mDrained);
        }
        // Others may have changed something meanwhile, and theirs isn't to be lost.
        parameters = mShared;
        change(parameters);
    }
    mShared = parameters;
    mReconfigure = true;
    mInstallRequested = mInstallRequested || install;
    mWorkAvailable.wakeAll();
}

// A report of a signal that came while the calling thread can't wait for the log thread: because it
// is the log thread, or because it holds the mutex that the log thread needs.
void qzLogThread::writeAtOnce(qzLog::LogEntry& entry)
{
    std::list<qzLog::LogEntry> batch;
    batch.push_back(std::move(entry));
    entry = {};
    const bool isOwn = isOwnThread();
    qzLogParameters parameters = isOwn ? mWorking : mShared;
    parameters.maxFileSize = 0;  // no rotation under the hands of the work that was interrupted
    // The handler belongs to the log thread; and when its own signals are being reported it isn't
    // called for yet another one.
    if (!isOwn || mReportsAtOnce > 0) parameters.customHandler = nullptr;
    if (isOwn) {
        const Lock lock(mMutex);
        batch.splice(batch.begin(), mQueue);
        mQueuedBytes = 0;
        ++mReportsAtOnce;
    }
    qzLog::WriteImpl(parameters, batch);
    if (isOwn) --mReportsAtOnce;
}

// --- The log thread's side

void qzLogThread::run()
{
    Lock lock(mMutex);
    mOwnThreadId = CurrentThreadId();
    while (true) {
        if (mReconfigure) {
            reconfigure(lock);
        } else if (!mQueue.empty()) {
            writeQueue(lock);
        } else {
            confirmDrained();
            if (mStopRequested) break;
            lock.wait(mWorkAvailable);
        }
    }
    lock.unlock();
    mFolderLock.reset();
}

void qzLogThread::writeQueue(Lock& lock)
{
    std::list<qzLog::LogEntry> batch;
    batch.swap(mQueue);
    mQueuedBytes = 0;
    lock.unlock();
    {
        const FolderLocker folderLocker(mFolderLock.get());
        qzLog::WriteImpl(mWorking, batch);
    }
    batch.clear();
    lock.lock();
}

void qzLogThread::confirmDrained()
{
    mHasEntries = false;
    if (!mFlushRequested) return;
    mFlushRequested = false;
    mDrained.wakeAll();
}

void qzLogThread::reconfigure(Lock& lock)
{
    qzLogParameters fresh = mShared;
    const bool install = std::exchange(mInstallRequested, false);
    mReconfigure = false;
    mFlushRequested = true;  // writers wait until the queue is empty under the new settings
    lock.unlock();
    applyFileSettings(fresh, install);
    lock.lock();
    mWorking = std::move(fresh);
}

void qzLogThread::applyFileSettings(qzLogParameters& fresh, bool install)
{
    if (fresh.folder != mWorking.folder) {
        mFolderLock.reset();
        install = install || !fresh.folder.empty();
        if (!fresh.folder.empty())
            mFolderLock = std::make_unique<qzMutexSystem>(fresh.folder.c_str());
    }
    if (!install) {
        keepFileInUse(fresh);
        return;
    }
    const FolderLocker folderLocker(mFolderLock.get());
    log::installFile(fresh);
}

// Which file is in use is what this thread knows, and not a setting.
void qzLogThread::keepFileInUse(qzLogParameters& fresh) const
{
    if (fresh.requestedPath != mWorking.requestedPath) return;
    fresh.currentFileUtf8 = mWorking.currentFileUtf8;
    fresh.currentFileLocal = mWorking.currentFileLocal;
    fresh.rotationPending = mWorking.rotationPending;
}

}  // namespace qz
