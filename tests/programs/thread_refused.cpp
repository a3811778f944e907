// SPDX-License-Identifier: MIT
// A thread whose start the system refuses at first: what its object says then, and that it can be
// started when there is room again. With an argument: the logger without its thread.

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <iostream>
#include <system_error>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>
#include <qz/qzThread.h>

namespace {

bool gIsRefusing = false;

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
    if (gIsRefusing) return EAGAIN;
    return reinterpret_cast<Call>(::dlsym(RTLD_NEXT, "pthread_create"))(thread, attributes, body,
                                                                        argument);
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

}  // namespace

int main(int argumentCount, char** /*arguments*/)
{
    if (argumentCount > 1) {
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
