// SPDX-License-Identifier: MIT
#include <qz/qzLog.h>

#include <mutex>
#include <new>
#include <utility>

#include <syslog.h>
#include <time.h>

#include <qz/qzSystemUtils.h>

#include "Console.h"
#include "LogFile.h"
#include "LogTime.h"
#include "SignalSafety.h"
#include "SubTypeList.h"
#include "frame/base/ForkProtocol.h"
#include "frame/base/Relaxed.h"
#include "frame/base/TimeText.h"
#include "qzLogParameters.h"
#include "qzLogThread.h"

namespace qz {

qzLog* qzLog::msInstance = nullptr;

namespace {

// The threads of a forked child use the outlets and the settings directly, one after the other. It
// is recursive because a custom handler may report something.
std::recursive_mutex gChildMutex;

// The log thread whose mutex a fork has locked; guarded by that mutex, or in a child by
// gChildMutex.
thread_local qzLogThread* tThreadAtFork = nullptr;

// Locks the mutex in a forked child. Before a full start there is one thread, and nothing to lock.
class ChildLock {
public:
    ChildLock()
    {
        if (!isForkedChild()) return;
        mSignals.block();
        mIsOutermost = log::LockCount::IsZero();
        log::LockCount::Increment();
        mLock = std::unique_lock(gChildMutex);
    }
    ~ChildLock() noexcept(false)
    {
        if (mLock.owns_lock()) log::LockCount::Decrement();
    }
    ChildLock(const ChildLock&) = delete;
    ChildLock& operator=(const ChildLock&) = delete;

    // Whether the calling thread has interrupted itself within the outlets by a fault.
    bool isInterruption() const
    {
        return mLock.owns_lock() && !mIsOutermost && log::SignalReport::IsRunning();
    }

private:
    ScopedSignalBlock mSignals{ScopedSignalBlock::Later};  // ends after the lock
    std::unique_lock<std::recursive_mutex> mLock;
    bool mIsOutermost = true;
};

}  // namespace

void qzLog::createInstance(bool threadSafe)
{
    if (msInstance != nullptr) return;
    msInstance = std::make_unique<qzLog>(threadSafe).release();
    ::openlog(nullptr, 0, LOG_USER);
    joinForkProtocol(ForkParticipant::Log, {&PrepareFork, &ResumeParent, &ResumeChild});
}

void qzLog::destroyInstance()
{
    // The pointer is cleared last, so that reports of the destructor still find the logger.
    delete msInstance;
    msInstance = nullptr;
}

qzLog::qzLog(bool threadSafe) : mParameters(std::make_unique<qzLogParameters>())
{
    for (bool& enabled : mTypeEnabled) {
        enabled = true;
    }
    setLogLevel(LogLevelNormal);
    if (threadSafe) makeThreadSafe();
}

qzLog::~qzLog()
{
    // In a forked child there is no thread to wait for.
    if (isForkedChild()) static_cast<void>(mLogThread.release());
}

void qzLog::makeThreadSafe()
{
    if (mLogThread != nullptr) return;
    rememberPresentZone();  // the report of a signal needs it, even the first
    // The pointer is set before the thread runs, since it may have something to report by itself.
    mLogThread = std::make_unique<qzLogThread>(*mParameters);
    try {
        mLogThread->start();
    } catch (...) {
        mLogThread.reset();
        throw;
    }
}

// The log thread, if there is one that runs.
qzLogThread* qzLog::editLogThread() const
{
    return isForkedChild() ? nullptr : mLogThread.get();
}

void qzLog::setLogLevel(qzLogLevel level)
{
    relaxedStore(mTypeEnabled[Dev], level == LogLevelAll || level == LogLevelDebug);
    relaxedStore(mTypeEnabled[Trace], level == LogLevelAll);
    relaxedStore(mTypeEnabled[Debug], level == LogLevelAll || level == LogLevelDebug);
}

qzLogLevel qzLog::getLogLevel() const
{
    if (!isTypeEnabled(Debug)) return LogLevelNormal;
    return isTypeEnabled(Trace) ? LogLevelAll : LogLevelDebug;
}

// Every setter is done here.
template <typename Change>
void qzLog::configure(const Change& change, const std::string* installedPath) const
{
    qzLogThread* const thread = editLogThread();
    if (thread != nullptr) {
        thread->configure(*mParameters, change, installedPath);
        return;
    }
    const ChildLock lock;
    change(*mParameters);
    if (installedPath != nullptr) log::LogFile(*mParameters).install(*installedPath);
}

void qzLog::setEchoToConsole(bool echo)
{
    configure([&](qzLogParameters& parameters) { parameters.echoToConsole = echo; });
}

bool qzLog::installCustomHandler(CustomHandler handler, void* data)
{
    bool isInstalled = false;
    configure([&](qzLogParameters& parameters) {
        isInstalled = handler == nullptr || parameters.customHandler == nullptr;
        if (!isInstalled) return;
        parameters.customHandler = handler;
        parameters.customHandlerData = data;
    });
    return isInstalled;
}

void qzLog::setSubTypeEnabled(const char* names, bool enabled)
{
    if (names != nullptr) setSubTypeEnabled(log::splitSubTypes(names), enabled);
}

void qzLog::setSubTypeEnabled(const std::vector<std::string>& names, bool enabled)
{
    configure([&](qzLogParameters& parameters) {
        const bool isChanged =
            log::switchSubTypes(parameters.subTypeBlacklist, names, /*off=*/!enabled);
        if (isChanged)
            parameters.pendingNotice = log::describeSubTypes(parameters.subTypeBlacklist);
    });
}

void qzLog::installFileHandlerUtf8(const std::string& path)
{
    installFileHandlerExUtf8(path, /*flags=*/0, /*maxSize=*/-1, /*maxFiles=*/0, RotateNever);
}

void qzLog::installFileHandlerExUtf8(const std::string& path, int flags, long maxSize, int maxFiles,
                                     TimeRotationInterval interval)
{
    if (path.empty()) {
        removeFileHandler();
        return;
    }
    // In one change with the removal of the file before, so that no entry comes in between.
    const auto change = [&](qzLogParameters& parameters) {
        log::LogFile(parameters).request({path, flags, maxSize, maxFiles, interval});
        parameters.echoToConsole = (flags & log::FileEchoToConsole) != 0;
    };
    configure(change, &path);
}

void qzLog::removeFileHandler()
{
    configure([](qzLogParameters& parameters) { log::LogFile(parameters).forget(); });
}

std::string qzLog::getCurrentLogFileNameUtf8() const
{
    std::string path;
    configure([&](const qzLogParameters& parameters) { path = parameters.requestedPath; });
    return path;
}

void qzLog::flush()
{
    qzLogThread* const thread = editLogThread();
    if (thread != nullptr) thread->flush();
}

void qzLog::Write(LogEntry& entry, bool synchronous)
{
    qzLogThread* const thread = editLogThread();
    if (thread != nullptr) {
        thread->append(entry, synchronous);
        return;
    }
    std::list<LogEntry> batch;
    batch.push_back(std::move(entry));
    entry = {};
    const ChildLock lock;
    if (!lock.isInterruption()) {
        WriteImpl(*mParameters, batch);
        return;
    }
    qzLogParameters parameters = *mParameters;
    parameters.maxFileSize = 0;
    parameters.customHandler = nullptr;
    WriteImpl(parameters, batch);
}

// --- Around a fork

void qzLog::PrepareFork()
{
    qzLogThread* const thread = msInstance != nullptr ? msInstance->editLogThread() : nullptr;
    if (thread != nullptr) thread->prepareFork();
    if (isForkedChild()) gChildMutex.lock();
    tThreadAtFork = thread;
}

void qzLog::ResumeParent()
{
    qzLogThread* const thread = std::exchange(tThreadAtFork, nullptr);
    if (isForkedChild()) gChildMutex.unlock();
    if (thread != nullptr) thread->resumeParent();
}

void qzLog::ResumeChild()
{
    log::Console::ResumeChild();
    if (!isForkedChild()) return;
    // The child can't unlock it, since its owner is identified by the parent's thread id.
    new (&gChildMutex) std::recursive_mutex;
    qzLogThread* const thread = std::exchange(tThreadAtFork, nullptr);
    if (thread != nullptr) thread->resumeChild(*msInstance->mParameters);
}

std::string qzLog::GetTime()
{
    return getPresentTimeText(log::kTimeFormat);
}

}  // namespace qz
