// SPDX-License-Identifier: MIT
#include <qz/qzCancelConsoleEventCatcher.h>

#include <cerrno>
#include <memory>
#include <utility>

#include <signal.h>

#include <qz/SystemError.h>
#include <qz/qzLogObject.h>
#include <qz/qzThread.h>

#include "ConsoleCatcher.h"
#include "concurrency/LoadingThread.h"
#include "concurrency/NeverCancels.h"
#include "frame/base/Relaxed.h"

namespace qz {

constinit qzCancelConsoleEventCatcher* gConsoleCatcher = nullptr;

namespace {

constexpr int kCaughtSignals[] = {SIGINT, SIGTERM};

int gIsRequested = 0;  // set by a signal handler, read by all threads

void requestCancel(int /*signal*/)
{
    if (relaxedLoad(gIsRequested) == 0) relaxedStore(gIsRequested, 1);
}

void setHandlers(void (*handler)(int))
{
    for (const int signal : kCaughtSignals) {
        struct sigaction action = {};
        ::sigemptyset(&action.sa_mask);
        action.sa_handler = handler;
        if (::sigaction(signal, &action, nullptr) == 0) continue;
        const SystemError error(errno);
        logCritical() << "Failed to install " << signal << " signal handler : " << error;
    }
}

// Reports a call on another thread.
bool isMainThread(const char* complaint)
{
    if (qzThread::CurrentThreadId() == gLoadingThreadId) return true;
    logCritical() << complaint;
    return false;
}

}  // namespace

qzCancelInterfaceReadOnly* qzCancelConsoleEventCatcher::Create()
{
    if (!isMainThread("Trying to Create signal catcher outside of main thread")) {
        return &gNeverCancels;
    }
    if (gConsoleCatcher != nullptr) return gConsoleCatcher;
    relaxedStore(gIsRequested, 0);
    gConsoleCatcher = new qzCancelConsoleEventCatcher;  // NOLINT: the process's end keeps it
    setHandlers(&requestCancel);
    return gConsoleCatcher;
}

void qzCancelConsoleEventCatcher::Delete()
{
    if (!isMainThread("Trying to Delete signal catcher outside of main thread")) return;
    if (gConsoleCatcher == nullptr) return;
    std::unique_ptr<qzCancelConsoleEventCatcher>(std::exchange(gConsoleCatcher, nullptr)).reset();
    if (qzLog::msInstance != nullptr) qzLog::msInstance->flush();
    setHandlers(SIG_DFL);
}

qzCancelConsoleEventCatcher* qzCancelConsoleEventCatcher::Get()
{
    return gConsoleCatcher;
}

qzCancelConsoleEventCatcher::qzCancelConsoleEventCatcher() = default;

qzCancelConsoleEventCatcher::~qzCancelConsoleEventCatcher() = default;

bool qzCancelConsoleEventCatcher::shouldCancel() const
{
    return relaxedLoad(gIsRequested) != 0;
}

}  // namespace qz
