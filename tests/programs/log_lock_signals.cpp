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

// A function of its own that the compiler can't look into: what comes may be an exception, and the
// call of the system is declared as one that never throws.
[[gnu::noipa]] void raiseAt(const char* point)
{
    if (!gIsArmed || std::strcmp(point, gPoint) != 0) return;
    gIsArmed = false;
    ::raise(gSignal);
}

template <typename Call>
Call* findReal(Call* /*standIn*/, const char* name)
{
    return reinterpret_cast<Call*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept(false)
{
    static auto* const real = findReal(&pthread_mutex_lock, "pthread_mutex_lock");
    raiseAt("locking");
    const int result = real(mutex);
    raiseAt("locked");
    return result;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept(false)
{
    static auto* const real = findReal(&pthread_mutex_unlock, "pthread_mutex_unlock");
    raiseAt("unlocking");
    const int result = real(mutex);
    raiseAt("unlocked");
    return result;
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept(false)
{
    static auto* const real = findReal(&pthread_cond_broadcast, "pthread_cond_broadcast");
    raiseAt("waking");
    return real(condition);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    static auto* const real = findReal(&pthread_cond_wait, "pthread_cond_wait");
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
    try {
        gIsArmed = call != "setting";
        callLog(call);
    } catch (const std::runtime_error&) {
        std::cout << "[thrown]" << std::endl;
    }
    gIsLogThreadReleased = true;
    std::cout << (gIsArmed ? "[no such point]" : "[returned]") << std::endl;
    gIsArmed = false;
    // Whether the lock can still be had, here and elsewhere.
    qz::logWarning() << "main after";
    std::thread([] { qz::logWarning() << "other after"; }).join();
    gPoint = "";
    ::raise(SIGUSR1);
    qz::terminateQzSystem();
    return 0;
}
