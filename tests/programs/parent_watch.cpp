// SPDX-License-Identifier: MIT
// A process that watches its parent. The step is the first argument:
//
//   parent PATH   starts "child PATH" and sleeps until it is killed
//   child PATH    makes the file PATH, waits for the end of its parent, and writes the file
//                 PATH.end: the entries of the log until then
//   order         watches a parent that ends while each entry is written at once; prints whether
//                 the source cancels when the entry about it is written
//   blocked       watches a parent that ends while the log thread is blocked; prints whether the
//                 source cancels meanwhile
//   unlock        watches a parent that ends; prints whether the thread has marked its own end when
//                 it unlocks its mutex, and whether it has at last
//   stop          stops watching while the poll sleeps without a limit; prints the time between
//                 two polls in ms

#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include <qz/qzCancelIfParentProcessDied.h>
#include <qz/qzLogObject.h>
#include <qz/qzMutex.h>

#include "io/VirtualSlots.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/NextFunction.h"
#include "support/Waiting.h"

namespace {

std::atomic<bool> gIsTimeFrozen = false;
std::atomic<int> gLimitedWaits = 0;
std::atomic<int> gUnlimitedWaits = 0;
std::atomic<long> gLongestWaitMs = 0;
thread_local bool isPolling = false;
std::atomic<bool> gHasParentEnded = false;
std::atomic<bool> gIsLogBlocked = false;
std::atomic<bool> gMayLogGoOn = false;
std::atomic<void*> gTracedMutex = nullptr;
std::atomic<const bool*> gTracedFlag = nullptr;
std::atomic<bool> gFlagAtUnlock = false;
std::atomic<int> gTracedUnlocks = 0;
// A sanitizer doesn't see the atomic variables of a program that it isn't built into.
std::mutex gMutex;
const qz::qzCancelIfParentProcessDied* gWatched = nullptr;  // guarded by gMutex

long getMsUntil(const timespec& time)
{
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return (time.tv_sec - now.tv_sec) * 1000 + (time.tv_nsec - now.tv_nsec) / 1000000;
}

bool isTracedFlagSet()
{
    return __atomic_load_n(gTracedFlag.load(), __ATOMIC_RELAXED);
}

}  // namespace

extern "C" int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept
{
    static auto* const real = qz::support::findNext<int(pthread_mutex_t*)>("pthread_mutex_unlock");
    if (mutex == gTracedMutex) {
        gFlagAtUnlock = isTracedFlagSet();
        ++gTracedUnlocks;
    }
    return real(mutex);
}

extern "C" pid_t getppid() noexcept
{
    isPolling = true;
    return gHasParentEnded ? 1 : static_cast<pid_t>(::syscall(SYS_getppid));
}

extern "C" int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                      const timespec* end)
{
    static auto* const limited =
        qz::support::findNext<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>(
            "pthread_cond_timedwait");
    static auto* const unlimited =
        qz::support::findNext<int(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
    if (!isPolling) return limited(condition, mutex, end);
    gLongestWaitMs = std::max(gLongestWaitMs.load(), getMsUntil(*end));
    ++(gIsTimeFrozen ? gUnlimitedWaits : gLimitedWaits);
    if (!gIsTimeFrozen) return limited(condition, mutex, end);
    return unlimited(condition, mutex);
}

namespace {

int beParent(const char* program, const char* path)
{
    if (::fork() == 0) ::execl(program, program, "child", path, nullptr);
    for (;;)
        ::pause();
}

int beChild(const std::string& path)
{
    const qz::support::LibraryStart start(qz::FullInit);
    const qz::support::LogCapture log;
    const qz::qzCancelIfParentProcessDied cancel;
    const bool isEarly = cancel.shouldCancel();
    std::ofstream(path) << "ready";
    if (!qz::support::waitUntil([&] { return cancel.shouldCancel(); }) || isEarly) return 1;
    qz::support::waitUntil([&] { return !log.getLines().empty(); });
    // Renamed when it is complete, since the test waits for the file.
    {
        std::ofstream file(path + ".part");
        for (const std::string& line : log.getLines())
            file << line << '\n';
    }
    return std::rename((path + ".part").c_str(), (path + ".end").c_str());
}

int stop()
{
    const qz::support::LibraryStart start(qz::FullInit);
    auto cancel = std::make_unique<qz::qzCancelIfParentProcessDied>();
    if (!qz::support::waitUntil([] { return gLimitedWaits >= 3; })) return 1;
    const bool isPeriod = gLongestWaitMs > 50 && gLongestWaitMs <= 100;
    gIsTimeFrozen = true;
    if (!qz::support::waitUntil([] { return gUnlimitedWaits > 0; })) return 2;
    cancel.reset();
    std::cout << (isPeriod ? "100" : "another limit");
    return 0;
}

// Prints the state of the source at the end of its parent.
void printSource(std::list<qz::qzLog::LogEntry>& entries, void* /*userData*/)
{
    const std::lock_guard lock(gMutex);
    for (const qz::qzLog::LogEntry& entry : entries) {
        if (entry.message != "Parent process died") continue;
        std::cout << "entry, cancelled " << gWatched->shouldCancel() << '\n';
    }
}

int showOrder()
{
    // Without a log thread, the handler runs on the thread that reports.
    const qz::support::LibraryStart start(qz::LightInit);
    qz::qzLog::msInstance->setEchoToConsole(false);
    qz::qzLog::msInstance->installCustomHandler(&printSource, nullptr);
    const qz::qzCancelIfParentProcessDied cancel;
    {
        const std::lock_guard lock(gMutex);
        gWatched = &cancel;
    }
    gHasParentEnded = true;
    const bool isCancelled = qz::support::waitUntil([&] { return cancel.shouldCancel(); });
    std::cout << "end, cancelled " << isCancelled << '\n';
    return 0;
}

void blockLog(std::list<qz::qzLog::LogEntry>& /*entries*/, void* /*userData*/)
{
    gIsLogBlocked = true;
    qz::support::waitUntil([] { return gMayLogGoOn.load(); });
}

int showWhileLogIsBlocked()
{
    const qz::support::LibraryStart start(qz::FullInit);
    qz::qzLog::msInstance->setEchoToConsole(false);
    qz::qzLog::msInstance->installCustomHandler(&blockLog, nullptr);
    // Until its new settings are in use, every writer waits for the log thread.
    qz::qzLog::msInstance->flush();
    const qz::qzCancelIfParentProcessDied cancel;
    qz::logInfo() << "blocks the log thread";
    if (!qz::support::waitUntil([] { return gIsLogBlocked.load(); })) return 1;
    gHasParentEnded = true;
    const bool isCancelled =
        qz::support::waitUntil([&] { return cancel.shouldCancel(); }, std::chrono::seconds(60));
    std::cout << "cancelled " << isCancelled << '\n';
    gMayLogGoOn = true;
    return 0;
}

int showUnlock()
{
    // Where the source has its thread, and the thread its mutex and the flag.
    constexpr std::size_t kThread = 8;
    constexpr std::size_t kMutex = 72;
    constexpr std::size_t kStopRequested = 104;
    const qz::support::LibraryStart start(qz::FullInit);
    qz::qzLog::msInstance->setEchoToConsole(false);
    const qz::qzCancelIfParentProcessDied cancel;
    const char* const thread = qz::readField<const char*>(&cancel, kThread);
    gTracedFlag = reinterpret_cast<const bool*>(thread + kStopRequested);
    gTracedMutex = reinterpret_cast<const qz::qzMutex*>(thread + kMutex)->getMutexData();
    gHasParentEnded = true;
    const bool isMarked = qz::support::waitUntil(&isTracedFlagSet);
    std::cout << "at unlock " << gTracedUnlocks << ": " << gFlagAtUnlock << ", at last " << isMarked
              << '\n';
    return 0;
}

}  // namespace

int main(int /*argumentCount*/, char** arguments)
{
    const std::string step = arguments[1];
    if (step == "parent") return beParent(arguments[0], arguments[2]);
    if (step == "order") return showOrder();
    if (step == "unlock") return showUnlock();
    if (step == "blocked") return showWhileLogIsBlocked();
    return step == "child" ? beChild(arguments[2]) : stop();
}
