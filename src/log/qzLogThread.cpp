// SPDX-License-Identifier: MIT
#include "qzLogThread.h"

#include <exception>
#include <optional>
#include <utility>

#include <pthread.h>
#include <time.h>

#include "SignalSafety.h"
#include "concurrency/RecursiveMutex.h"
#include "concurrency/YieldingLock.h"
#include "text/TextServices.h"

namespace qz {

namespace {

constexpr std::uint64_t kMostQueuedBytes = 16777216;
// How many elements are reused, and how much of their texts: some 2 MiB as entries usually are.
constexpr std::size_t kMostSpares = 4096;
constexpr std::size_t kMostSpareText = 1024;
// After the stop was requested. The first one holds all entries from before it. A thread or a
// handler that goes on reporting must not keep the stop from ending.
constexpr int kMostLastBatches = 16;
// More requested files than that would take memory without limit.
constexpr std::size_t kMostInstallations = 64;
constexpr long kNapNanoseconds = 50000;
constexpr long kNanosecondsInSecond = 1000000000;

// The log thread that the calling thread is, or null. Known without a lock, because a signal
// handler can't lock the mutex.
thread_local const qzLogThread* tOwnLogThread = nullptr;

// Moves an entry to a reused element. The memory of the element's texts goes the other way, so that
// a writer frees on its own thread what a writer has allocated. The prefix is made later.
void moveTexts(qzLog::LogEntry& from, qzLog::LogEntry& to)
{
    to.message.swap(from.message);
    to.subType.swap(from.subType);
    to.systemLogTag.swap(from.systemLogTag);
    to.threadId.swap(from.threadId);
    to.timeMs = from.timeMs;
    to.type = from.type;
    from.prefix.clear();
}

void clearText(std::string& text)
{
    if (text.capacity() > kMostSpareText) text = std::string();
    text.clear();
}

void prepareForReuse(std::list<qzLog::LogEntry>& batch)
{
    if (batch.size() > kMostSpares) batch.resize(kMostSpares);
    for (qzLog::LogEntry& entry : batch) {
        clearText(entry.message);
        clearText(entry.subType);
        clearText(entry.systemLogTag);
        clearText(entry.threadId);
        clearText(entry.prefix);
    }
}

// The C library locks its locales meanwhile. It may be too late when the first line comes: that
// line may report a signal, which has interrupted a thread that has locked them.
void openConverters()
{
    try {
        text::getThreadContent();
    } catch (const std::exception&) {
        // Without memory now, the first line tries again.
    }
}

}  // namespace

// Holds the mutex for a scope, and counts it. See SignalSafety.h.
class qzLogThread::Lock {
public:
    // In two steps, so that an exception of a signal handler within the second finds an object to
    // destroy, which unlocks the mutex.
    explicit Lock(qzMutex& mutex) : Lock(&mutex) { lock(); }
    // A signal that was blocked is handled after it, and some are handled by throwing.
    ~Lock() noexcept(false)
    {
        if (mIsHeld) unlock();
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    // The state is set before the call, because a signal may break off the call on either side of
    // it. To unlock a mutex that the thread doesn't hold has no effect.
    void lock()
    {
        mIsHeld = true;
        log::LockCount::Increment();
        lockYielding(mMutex);
    }
    void unlock()
    {
        mMutex.unlock();
        log::LockCount::Decrement();
        mIsHeld = false;
    }
    // A signal that comes meanwhile is reported after the lock is released, since its report locks
    // the mutex as well.
    void wait(qzWaitCondition& condition)
    {
        mSignals.block();
        condition.wait(&mMutex, qzWaitCondition::msNoLimit);
    }
    // For a time that qzWaitCondition, which counts milliseconds, can't express. It may end early.
    void waitBriefly(std::condition_variable& condition, long nanoseconds)
    {
        timespec end = {};
        ::clock_gettime(CLOCK_MONOTONIC, &end);
        end.tv_nsec += nanoseconds;
        if (end.tv_nsec >= kNanosecondsInSecond) {
            end.tv_nsec -= kNanosecondsInSecond;
            ++end.tv_sec;
        }
        auto* const mutex = static_cast<pthread_mutex_t*>(mMutex.getMutexData());
        ::pthread_cond_clockwait(condition.native_handle(), mutex, CLOCK_MONOTONIC, &end);
    }
    // A signal isn't handled within this call, which is declared `noexcept`, since it may throw.
    void notify(std::condition_variable& condition)
    {
        mSignals.block();
        condition.notify_all();
    }

private:
    explicit Lock(qzMutex* mutex) : mMutex(*mutex) {}

    ScopedSignalBlock mSignals{ScopedSignalBlock::Later};  // ends after the lock
    qzMutex& mMutex;
    bool mIsHeld = false;
};

qzLogThread::qzLogThread(const qzLogParameters& parameters) : mShared(parameters) {}

qzLogThread::~qzLogThread()
{
    {
        Lock lock(mMutex);
        mFlushRequested = true;
        mStopRequested = true;
        wakeUp(lock);
        mDrained.wakeAll();
    }
    waitThread(msNoLimit);
    // A thread that waited for the last batch still has to lock the mutex once more.
    Lock lock(mMutex);
    while (mWaiting != 0)
        lock.wait(mDrained);
}

void qzLogThread::start()
{
    startThreadWithSignalsBlocked(nullptr);
}

// --- The writers' side

void qzLogThread::append(qzLog::LogEntry& entry, bool synchronous)
{
    if (log::SignalReport::IsRunning() && (isOwnThread() || !log::LockCount::IsZero())) {
        writeAtOnce(entry);
        return;
    }
    Lock lock(mMutex);
    mQueuedBytes += entry.message.size();
    moveTexts(entry, addElement());
    mHasEntries = true;
    if (synchronous || mQueuedBytes > kMostQueuedBytes) mFlushRequested = true;
    wakeUp(lock);
    awaitDrained(lock);
}

// Ends a sleep of the log thread, or a nap if somebody waits for it. Only once, because each
// further signal would take 15 ns until the thread runs, which is a tenth of a report.
void qzLogThread::wakeUp(Lock& lock)
{
    if (mIsAsleep) {
        mWorkAvailable.wakeAll();  // a signal handler may throw out of it, and the thread sleeps on
        mIsAsleep = false;
    }
    if (mIsNapping && isUrgent()) {
        mIsNapping = false;
        lock.notify(mNapEnd);
    }
}

bool qzLogThread::isUrgent() const
{
    return mFlushRequested || mStopRequested || mReconfigure;
}

// A new element at the end of the queue, with the mutex held.
qzLog::LogEntry& qzLogThread::addElement()
{
    if (mSpare.empty()) return mQueue.emplace_back();
    mQueue.splice(mQueue.end(), mSpare, mSpare.begin());
    return mQueue.back();
}

void qzLogThread::flush()
{
    Lock lock(mMutex);
    mFlushRequested = true;
    wakeUp(lock);
    awaitDrained(lock);
}

bool qzLogThread::isOwnThread() const
{
    return tOwnLogThread == this;
}

// Waits once: the condition is signalled when the queue is empty.
void qzLogThread::awaitDrained(Lock& lock)
{
    if (!mFlushRequested || mStopRequested || isOwnThread()) return;
    waitForDrained(lock);
}

void qzLogThread::waitForDrained(Lock& lock)
{
    ++mWaiting;
    lock.wait(mDrained);
    --mWaiting;
    if (mStopRequested) mDrained.wakeAll();
}

void qzLogThread::configure(qzLogParameters& parameters, const Change& change,
                            const std::string* installedPath)
{
    Lock lock(mMutex);
    parameters = mShared;
    change(parameters);
    if (installedPath == nullptr && haveSameSettings(parameters, mShared)) return;
    const bool mustWait = mHasEntries || mInstallations.size() >= kMostInstallations;
    if (mustWait && !isOwnThread()) {
        mFlushRequested = true;
        wakeUp(lock);
        while (mFlushRequested && !mStopRequested) {
            waitForDrained(lock);
        }
        // Another thread may have changed something meanwhile, which must not be lost.
        parameters = mShared;
        change(parameters);
    }
    const bool isHandlerReplaced = parameters.customHandler != mShared.customHandler ||
                                   parameters.customHandlerData != mShared.customHandlerData;
    mShared = parameters;
    mReconfigure = true;
    if (installedPath != nullptr) mInstallations.push_back({parameters, *installedPath});
    wakeUp(lock);
    // Another batch may have begun meanwhile. It is the last one that uses the old handler, whose
    // data the caller may delete once this call returns.
    if (!isHandlerReplaced || !mHasEntries || isOwnThread()) return;
    while (mReconfigure && !mStopRequested) {
        waitForDrained(lock);
    }
}

// The report of a signal whose thread can't wait for the log thread: because it is the log thread,
// or because it holds the mutex that the log thread needs.
void qzLogThread::writeAtOnce(qzLog::LogEntry& entry)
{
    std::list<qzLog::LogEntry> batch;
    batch.push_back(std::move(entry));
    entry = {};
    const bool isOwn = isOwnThread();
    qzLogParameters parameters = isOwn ? mWorking : mShared;
    parameters.maxFileSize = 0;  // no rotation while the interrupted code uses the file
    if (isOwn) {
        const Lock lock(mMutex);
        batch.splice(batch.begin(), mQueue);
        mQueuedBytes = 0;
    }
    // The handler may have crashed, and still hold a mutex of its own.
    parameters.customHandler = nullptr;
    qzLog::WriteImpl(parameters, batch);
}

// --- Around a fork

void qzLogThread::prepareFork()
{
    log::LockCount::Increment();
    mMutex.lock();
}

void qzLogThread::resumeParent()
{
    mMutex.unlock();
    log::LockCount::Decrement();
}

void qzLogThread::resumeChild(qzLogParameters& parameters)
{
    renewAfterFork(mMutex);
    log::LockCount::Reset();
    parameters = mShared;
    log::LogFile(parameters).resumeChild();
}

// --- The log thread's side

void qzLogThread::run()
{
    tOwnLogThread = this;
    openConverters();
    Lock lock(mMutex);
    mOwnThreadId = CurrentThreadId();
    int lastBatches = 0;
    while (true) {
        if (mReconfigure) {
            reconfigure(lock);
        } else if (!mQueue.empty() && lastBatches < kMostLastBatches) {
            if (mStopRequested) ++lastBatches;
            writeQueue(lock);
        } else {
            confirmDrained();
            if (mStopRequested) break;
            if (std::exchange(mHasWritten, false)) {
                nap(lock);
            } else {
                sleep(lock);
            }
        }
    }
    lock.unlock();
    mFolderLock.reset();
}

void qzLogThread::sleep(Lock& lock)
{
    mIsAsleep = true;
    lock.wait(mWorkAvailable);
    mIsAsleep = false;
}

// After a batch more entries are likely to come soon. Until the nap ends no writer has to wake the
// thread, which takes 2 us and more, and the next batch grows.
void qzLogThread::nap(Lock& lock)
{
    mIsNapping = true;
    lock.waitBriefly(mNapEnd, kNapNanoseconds);
    mIsNapping = false;
}

void qzLogThread::writeQueue(Lock& lock)
{
    std::list<qzLog::LogEntry> batch;
    batch.swap(mQueue);
    mHasWritten = true;
    mQueuedBytes = 0;
    lock.unlock();
    {
        const std::unique_lock<qzMutexSystem> folderLock = mFolderLock.lock();
        qzLog::WriteImpl(mWorking, batch);
    }
    prepareForReuse(batch);
    lock.lock();
    if (mSpare.size() < kMostSpares) mSpare.splice(mSpare.end(), batch);
}

void qzLogThread::confirmDrained()
{
    mHasEntries = false;
    if (!mFlushRequested) return;
    mHasWritten = false;  // whoever has waited may wait again at once
    mFlushRequested = false;
    mDrained.wakeAll();
}

void qzLogThread::reconfigure(Lock& lock)
{
    qzLogParameters fresh = mShared;
    std::list<Installation> installations = std::exchange(mInstallations, {});
    mReconfigure = false;
    // Writers wait until the queue is empty under the new settings.
    mFlushRequested = true;
    lock.unlock();
    std::optional<std::string> installedPath;
    if (!installations.empty() &&
        installations.back().parameters.requestedPath == fresh.requestedPath) {
        installedPath = std::move(installations.back().path);
        installations.pop_back();
    }
    // An installation that a later call has replaced is carried out all the same.
    for (Installation& replaced : installations) {
        applyFileSettings(replaced.parameters, &replaced.path);
        mWorking = std::move(replaced.parameters);
    }
    applyFileSettings(fresh, installedPath.has_value() ? &*installedPath : nullptr);
    lock.lock();
    mWorking = std::move(fresh);
}

void qzLogThread::applyFileSettings(qzLogParameters& fresh, const std::string* installedPath)
{
    log::LogFile file(fresh);
    const bool isNewFolder = mFolderLock.follow(fresh, mWorking);
    if (installedPath == nullptr && !(isNewFolder && file.isRequested())) {
        file.takeOver(mWorking);
        return;
    }
    const std::unique_lock<qzMutexSystem> folderLock = mFolderLock.lock();
    file.install(installedPath != nullptr ? *installedPath : std::string());
}

}  // namespace qz
