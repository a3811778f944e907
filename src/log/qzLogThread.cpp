#include "qzLogThread.h"

#include <utility>

#include "LogFile.h"
#include "SignalReport.h"
#include "SignalsPutOff.h"
#include "frame/base/Relaxed.h"

namespace qz {

namespace {

constexpr std::uint64_t kMostQueuedBytes = 16777216;
// What is kept of written entries for the next ones: at most some 2 MiB as entries usually are.
constexpr std::size_t kMostSpares = 4096;
constexpr std::size_t kMostSpareText = 1024;
constexpr std::size_t kBatchThatLingers = 8;
constexpr int kLingerLooks = 1000;  // some 40 us

// How many locks of log threads the calling thread holds or takes: a signal handler may find it
// inside one.
thread_local int locksHeld = 0;

// The log thread that the calling thread is, or null. Asked without a lock: a signal handler could
// not take it.
thread_local const qzLogThread* ownLogThread = nullptr;

// Moves an entry to an element that had another one. What the element has left goes the other way,
// so that a writer frees on its own thread what a writer has allocated. The prefix is made later.
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

}  // namespace

// Holds the mutex for a scope, and knows it.
class qzLogThread::Lock {
public:
    // In two steps, for an exception of a signal handler within the second to find an object to
    // destroy, and with it the lock given back.
    explicit Lock(qzMutex& mutex) : Lock(&mutex) { lock(); }
    // A signal that was put off is handled behind it, and some are handled by throwing.
    ~Lock() noexcept(false)
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
    // A signal that comes meanwhile is reported when the lock is given back, since its report takes
    // the lock as well. A thread on its way into the wait and out of it counts as holding it.
    void wait(qzWaitCondition& condition)
    {
        mSignals.begin();
        condition.wait(&mMutex, qzWaitCondition::msNoLimit);
    }

private:
    explicit Lock(qzMutex* mutex) : mMutex(*mutex) {}

    log::SignalsPutOff mSignals;  // ends behind the lock
    qzMutex& mMutex;
    bool mIsHeld = false;
};

qzLogThread::qzLogThread(const qzLogParameters& parameters) : mShared(parameters) {}

qzLogThread::~qzLogThread()
{
    {
        const Lock lock(mMutex);
        relaxedStore(mFlushRequested, true);
        relaxedStore(mStopRequested, true);
        mWorkAvailable.wakeAll();
        mDrained.wakeAll();
    }
    waitThread(msNoLimit);
    // Whoever waited for the last batch is on the way out, and needs the mutex for that.
    Lock lock(mMutex);
    while (mWaiting != 0)
        lock.wait(mDrained);
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
    Lock lock(mMutex);
    mQueuedBytes += entry.message.size();
    moveTexts(entry, addElement());
    mHasEntries = true;
    if (synchronous || mQueuedBytes > kMostQueuedBytes) relaxedStore(mFlushRequested, true);
    mWorkAvailable.wakeAll();
    awaitDrained(lock);
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
    relaxedStore(mFlushRequested, true);
    mWorkAvailable.wakeAll();
    awaitDrained(lock);
}

bool qzLogThread::isOwnThread() const
{
    return ownLogThread == this;
}

// Waits once: whoever wakes the condition has seen the queue empty.
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

void qzLogThread::configure(qzLogParameters& parameters, const Change& change, bool install)
{
    Lock lock(mMutex);
    parameters = mShared;
    change(parameters);
    if (!install && haveSameSettings(parameters, mShared)) return;
    mWorkAvailable.wakeAll();
    if (mHasEntries && !isOwnThread()) {
        relaxedStore(mFlushRequested, true);
        while (mFlushRequested && !mStopRequested) {
            waitForDrained(lock);
        }
        // Others may have changed something meanwhile, and theirs isn't to be lost.
        parameters = mShared;
        change(parameters);
    }
    const bool isHandlerReplaced = parameters.customHandler != mShared.customHandler ||
                                   parameters.customHandlerData != mShared.customHandlerData;
    mShared = parameters;
    relaxedStore(mReconfigure, true);
    if (install) mInstallations.push_back(parameters);
    mWorkAvailable.wakeAll();
    // Writers may have been quicker, and a batch is under way again. It is the last one that knows
    // the old handler, whose data may be gone when its removal is done.
    if (!isHandlerReplaced || !mHasEntries || isOwnThread()) return;
    while (mReconfigure && !mStopRequested) {
        waitForDrained(lock);
    }
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
    ownLogThread = this;
    Lock lock(mMutex);
    while (true) {
        if (mReconfigure) {
            reconfigure(lock);
        } else if (!mQueue.empty()) {
            writeQueue(lock);
        } else {
            confirmDrained();
            if (mStopRequested) break;
            if (!linger(lock)) lock.wait(mWorkAvailable);
        }
    }
    lock.unlock();
    mFolderLock.reset();
}

// Behind a batch of some size more is likely to come at once. To wait a little for it, without
// going to sleep, spares the writers the waking (2 us and more for each batch), and lets the next
// batch grow. Returns whether to look at the queue again.
bool qzLogThread::linger(Lock& lock)
{
    if (mLastBatchSize < kBatchThatLingers) return false;
    mLastBatchSize = 0;
    lock.unlock();
    const auto isWanted = [this] {
        return relaxedLoad(mFlushRequested) || relaxedLoad(mStopRequested) ||
               relaxedLoad(mReconfigure);
    };
    for (int i = 0; i < kLingerLooks && !isWanted(); ++i) {
        __builtin_ia32_pause();
    }
    lock.lock();
    return true;
}

void qzLogThread::writeQueue(Lock& lock)
{
    std::list<qzLog::LogEntry> batch;
    batch.swap(mQueue);
    mLastBatchSize = batch.size();
    mQueuedBytes = 0;
    lock.unlock();
    {
        const std::unique_lock<qzMutexSystem> folderLock = lockFolder();
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
    relaxedStore(mFlushRequested, false);
    mDrained.wakeAll();
}

void qzLogThread::reconfigure(Lock& lock)
{
    qzLogParameters fresh = mShared;
    std::list<qzLogParameters> installations = std::exchange(mInstallations, {});
    relaxedStore(mReconfigure, false);
    // Writers wait until the queue is empty under the new settings.
    relaxedStore(mFlushRequested, true);
    lock.unlock();
    const bool install =
        !installations.empty() && installations.back().requestedPath == fresh.requestedPath;
    if (install) installations.pop_back();
    // What a later call has overtaken is carried out all the same.
    for (qzLogParameters& overtaken : installations) {
        applyFileSettings(overtaken, /*install=*/true);
        mWorking = std::move(overtaken);
    }
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
    const std::unique_lock<qzMutexSystem> folderLock = lockFolder();
    log::installFile(fresh);
}

// Keeps other processes from the folder, where there is a lock for it.
std::unique_lock<qzMutexSystem> qzLogThread::lockFolder() const
{
    return mFolderLock != nullptr ? std::unique_lock(*mFolderLock)
                                  : std::unique_lock<qzMutexSystem>();
}

// Which file is in use is what this thread knows, and not a setting.
void qzLogThread::keepFileInUse(qzLogParameters& fresh) const
{
    if (fresh.requestedPath != mWorking.requestedPath) return;
    fresh.currentFileUtf8 = mWorking.currentFileUtf8;
    fresh.currentFileLocal = mWorking.currentFileLocal;
    fresh.currentFileSecond = mWorking.currentFileSecond;
    fresh.rotationPending = mWorking.rotationPending;
}

}  // namespace qz
