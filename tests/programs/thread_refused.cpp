// SPDX-License-Identifier: MIT
// A thread whose start the system refuses at first: what its object says then, and that it can be
// started when there is room again. With the argument "log": the logger without its thread. With
// "pool": a full start, on a machine with three processors, in which the second worker of the
// default pool is refused; then a stop, and a start in which none is.

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <iostream>
#include <string>
#include <system_error>

#include <qz/ConcurrentPool.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>
#include <qz/qzThread.h>

namespace {

constexpr int kProcessors = 3;

bool gIsRefusing = false;
int gThreadsLeft = -1;  // threads that may still be started; -1 for any number
bool gHasThreeProcessors = false;

class EmptyThread : public qz::qzThread {
public:
    void run() override {}
};

void describe(qz::qzThread& thread)
{
    std::cout << thread.isRunning() << thread.isFinished() << ' ' << thread.getThreadId() << ' '
              << thread.waitThread(0) << '\n';
}

}  // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) noexcept
{
    using Call = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    if (gIsRefusing || gThreadsLeft == 0) return EAGAIN;
    if (gThreadsLeft > 0) --gThreadsLeft;
    return reinterpret_cast<Call>(::dlsym(RTLD_NEXT, "pthread_create"))(thread, attributes, body,
                                                                        argument);
}

// A sanitizer calls it before anything else runs, so it can't be instrumented.
extern "C" __attribute__((no_sanitize("thread", "address", "undefined"))) long sysconf(
    int name) noexcept
{
    if (gHasThreeProcessors && name == _SC_NPROCESSORS_ONLN) return kProcessors;
    return reinterpret_cast<long (*)(int)>(::dlsym(RTLD_NEXT, "sysconf"))(name);
}

namespace {

void reportWithoutThread()
{
    qz::initializeQzSystem(qz::LightInit);
    gIsRefusing = true;
    try {
        qz::qzLog::msInstance->makeThreadSafe();
    } catch (const std::system_error& error) {
        std::cout << (error.code().value() == EAGAIN ? "EAGAIN\n" : "another error\n");
    }
    qz::logInfo() << "text";
    std::cout << "after the text\n";
    qz::terminateQzSystem();
}

void describePool()
{
    const qz::ConcurrentPool* const pool = qz::concurrent::GetConcurrentPool();
    std::cout << "full " << qz::IsQzSystemThreadSafe() << ", pool "
              << (pool != nullptr ? pool->getWorkerCount() : 0);
}

// The signal watcher, which comes after the pool, ignores this signal.
void describeSigpipe()
{
    struct sigaction action = {};
    ::sigaction(SIGPIPE, nullptr, &action);
    std::cout << ", SIGPIPE ignored " << (action.sa_handler == SIG_IGN) << '\n';
}

void startWithoutAWorker()
{
    std::signal(SIGPIPE, SIG_DFL);
    gHasThreeProcessors = true;
    gThreadsLeft = 2;  // the log thread and the first worker
    try {
        qz::initializeQzSystem(qz::FullInit);
        std::cout << "started\n";
    } catch (const std::system_error& error) {
        std::cout << (error.code().value() == EAGAIN ? "EAGAIN\n" : "another error\n");
    }
    gThreadsLeft = -1;
    describePool();
    describeSigpipe();
    qz::terminateQzSystem();
    describePool();
    std::cout << '\n';
    qz::initializeQzSystem(qz::FullInit);
    describePool();
    describeSigpipe();
    qz::terminateQzSystem();
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount > 1) {
        if (std::string(arguments[1]) == "pool")
            startWithoutAWorker();
        else
            reportWithoutThread();
        return 0;
    }
    qz::initializeQzSystem(qz::FullInit);
    {
        EmptyThread thread;
        describe(thread);
        gIsRefusing = true;
        try {
            thread.startThread("refused");
        } catch (const std::system_error& error) {
            std::cout << (error.code().value() == EAGAIN ? "EAGAIN\n" : "another error\n");
        }
        gIsRefusing = false;
        describe(thread);
        thread.startThread("not refused");
        std::cout << thread.waitThread(qz::qzThread::msNoLimit) << '\n';
    }
    qz::terminateQzSystem();
    return 0;
}
