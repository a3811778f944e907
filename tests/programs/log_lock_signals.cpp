// SPDX-License-Identifier: MIT
// Sends itself a signal at a point of the log's locking, and shows what comes of it:
//     log_lock_signals POINT SIGNAL CALL
//
// POINT is where the signal comes to the main thread: "locking", "locked", "waking", "waiting",
// "woken", "unlocking" or "unlocked". CALL is what takes the lock: "write", "synchronous", "flush"
// or "setting". SIGUSR1 has a handler of the program's own.

#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <list>
#include <stdexcept>
#include <string>
#include <thread>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>

namespace {

using qz::qzLog;

const char* gPoint = "";
int gSignal = 0;
thread_local bool gIsArmed = false;
thread_local bool gIsMain = false;
std::atomic<bool> gIsLogThreadReleased = true;

bool isArmedFor(const char* point)
{
    return gIsArmed && std::strcmp(point, gPoint) == 0;
}

// Whether the mutex is to look as if another thread held it.
bool isToBeBusy()
{
    return isArmedFor("yielding") || isArmedFor("yielded") || isArmedFor("blocking") ||
           isArmedFor("blocked");
}

// A function of its own that the compiler can't look into: what comes may be an exception, and the
// call of the system is declared as one that never throws.
#ifdef __clang__
[[gnu::noinline]]
#else
[[gnu::noipa]]
#endif
void raiseAt(const char* point)
{
    if (!isArmedFor(point)) return;
    gIsArmed = false;
    ::raise(gSignal);
}

template <typename Call>
Call* findReal(Call* /*standIn*/, const char* name)
{
    return reinterpret_cast<Call*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

// The system's header says of its functions that they never throw, so the stand-ins have names of
// their own.

extern "C" {

int lockMutex(pthread_mutex_t* mutex) __asm__("pthread_mutex_lock");
int tryLockMutex(pthread_mutex_t* mutex) __asm__("pthread_mutex_trylock");
int yieldToOthers() __asm__("sched_yield");
int unlockMutex(pthread_mutex_t* mutex) __asm__("pthread_mutex_unlock");
int wakeAll(pthread_cond_t* condition) __asm__("pthread_cond_broadcast");
int waitFor(pthread_cond_t* condition, pthread_mutex_t* mutex) __asm__("pthread_cond_wait");

int lockMutex(pthread_mutex_t* mutex)
{
    static auto* const real = findReal(&lockMutex, "pthread_mutex_lock");
    raiseAt("blocking");
    const int result = real(mutex);
    raiseAt("blocked");
    return result;
}

int tryLockMutex(pthread_mutex_t* mutex)
{
    static auto* const real = findReal(&tryLockMutex, "pthread_mutex_trylock");
    if (isToBeBusy()) return EBUSY;
    raiseAt("locking");
    const int result = real(mutex);
    raiseAt("locked");
    return result;
}

int yieldToOthers()
{
    static auto* const real = findReal(&yieldToOthers, "sched_yield");
    raiseAt("yielding");
    const int result = real();
    raiseAt("yielded");
    return result;
}

int unlockMutex(pthread_mutex_t* mutex)
{
    static auto* const real = findReal(&unlockMutex, "pthread_mutex_unlock");
    raiseAt("unlocking");
    const int result = real(mutex);
    raiseAt("unlocked");
    return result;
}

int wakeAll(pthread_cond_t* condition)
{
    static auto* const real = findReal(&wakeAll, "pthread_cond_broadcast");
    raiseAt("waking");
    return real(condition);
}

int waitFor(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    static auto* const real = findReal(&waitFor, "pthread_cond_wait");
    if (gIsMain) gIsLogThreadReleased = true;
    raiseAt("waiting");
    const int result = real(condition, mutex);
    raiseAt("woken");
    return result;
}

}  // extern "C"

namespace {

void showSignal(int /*signal*/)
{
    const char text[] = "[signal]\n";
    if (::write(1, text, sizeof text - 1) < 0) ::_exit(99);
}

void callLog(const std::string& call)
{
    if (call == "write") qz::logInfo() << "written";
    if (call == "synchronous") qz::logWarning() << "written";
    if (call == "flush") qzLog::msInstance->flush();
    if (call == "setting") {
        gIsLogThreadReleased = false;  // so that there is something to wait for
        qz::logInfo() << "queued";
        gIsArmed = true;
        qzLog::msInstance->setSubTypeEnabled("channel", false);
    }
}

void showBatch(std::list<qzLog::LogEntry>& batch, void* /*data*/)
{
    while (!gIsLogThreadReleased)
        ::usleep(1000);
    for (const qzLog::LogEntry& entry : batch)
        std::cout << "[handler " << entry.message.substr(0, 10) << ']' << std::endl;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 4) return 2;
    gIsMain = true;
    gPoint = arguments[1];
    gSignal = std::stoi(arguments[2]);
    const std::string call = arguments[3];
    ::signal(SIGUSR1, &showSignal);
    qz::initializeQzSystem(qz::FullInit);
    qzLog::msInstance->installCustomHandler(&showBatch, nullptr);
    qz::logInfo() << "first";
    qzLog::msInstance->flush();  // the log thread sleeps now, and the call has to wake it
    try {
        gIsArmed = call != "setting";
        callLog(call);
    } catch (const std::runtime_error&) {
        std::cout << "[thrown]\n" << std::flush;  // at once, as the log may print meanwhile
    }
    gIsLogThreadReleased = true;
    std::cout << (gIsArmed ? "[no such point]\n" : "[returned]\n") << std::flush;
    gIsArmed = false;
    // Whether the lock can still be had, here and elsewhere.
    qz::logWarning() << "main after";
    std::thread([] { qz::logWarning() << "other after"; }).join();
    gPoint = "";
    ::raise(SIGUSR1);
    qz::terminateQzSystem();
    return 0;
}
