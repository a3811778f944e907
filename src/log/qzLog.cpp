#include <qz/qzLog.h>

#include <utility>

#include <syslog.h>

#include <qz/qzDirUtils.h>
#include <qz/qzSystemUtils.h>

#include "LogFile.h"
#include "LogLine.h"
#include "SubTypeList.h"
#include "frame/base/ForkProtocol.h"
#include "frame/base/Relaxed.h"
#include "qzLogParameters.h"
#include "qzLogThread.h"

namespace qz {

qzLog* qzLog::msInstance = nullptr;

void qzLog::createInstance(bool threadSafe)
{
    if (msInstance != nullptr) return;
    msInstance = std::make_unique<qzLog>(threadSafe).release();
    ::openlog(nullptr, 0, LOG_USER);
}

void qzLog::destroyInstance()
{
    // The pointer goes last: what the logger has to say on its way still finds it.
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
    // In a forked child there is no thread to wait for, and its locks may be held for ever.
    if (isForkedChild()) static_cast<void>(mLogThread.release());
}

void qzLog::makeThreadSafe()
{
    if (mLogThread != nullptr) return;
    // The thread stands here before it runs, since it may have something to report by itself.
    mLogThread = std::make_unique<qzLogThread>(*mParameters);
    try {
        mLogThread->start();
    } catch (...) {
        mLogThread.reset();
        throw;
    }
}

// The log thread, where there is one that runs.
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

// Every setter goes through here.
template <typename Change>
void qzLog::configure(const Change& change, bool install) const
{
    qzLogThread* const thread = editLogThread();
    if (thread != nullptr) {
        thread->configure(*mParameters, change, install);
        return;
    }
    change(*mParameters);
    if (install) log::installFile(*mParameters);
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
    removeFileHandler();
    if (path.empty()) return;
    std::string absolutePath;
    qzDirUtils::GetAbsolutePathUtf8(path, absolutePath, {});
    const auto change = [&](qzLogParameters& parameters) {
        parameters.maxFileSize = maxSize;
        parameters.fileFlags = flags;
        parameters.maxFileCount = maxFiles;
        parameters.timeRotation = interval;
        if (!absolutePath.empty()) log::setRequestedPath(parameters, absolutePath);
        parameters.echoToConsole = (flags & log::FileEchoToConsole) != 0;
    };
    configure(change, /*install=*/true);
}

void qzLog::removeFileHandler()
{
    configure(log::clearFileNames);
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
    // A forked child takes the file over as it is: its parent has installed it.
    if (mLogThread != nullptr) mParameters->rotationPending = false;
    std::list<LogEntry> batch;
    batch.push_back(std::move(entry));
    entry = {};
    WriteImpl(*mParameters, batch);
}

std::string qzLog::GetTime()
{
    return qzSystemUtils::GetCurrentTimeAsString(kLogTimeFormat, true);
}

}  // namespace qz
