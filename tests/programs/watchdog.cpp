// SPDX-License-Identifier: MIT
// Memory watchdogs that end the process, or don't. The way is the first argument:
//
//   trip CODE      one with a limit of 0, in a started process
//   static CODE    the same as a static object, which the exit destroys on its own thread
//   slow-log CODE  one with a limit of 0, with a log that gives an early exit time to come first
//   two CODE       two static ones; the exit continues only after both have reported
//   unstarted CODE one with a limit of 0, without a start of the library
//   unread         one with a limit of 0, in a process whose memory can't be read: that is 0 bytes
//   checks         which readings of the memory one with a high limit makes; see `countChecks`

#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <string>
#include <thread>

#include <qz/MemoryWatchDog.h>
#include <qz/qzLog.h>
#include <qz/qzSystem.h>

#include "support/NextFunction.h"
#include "support/Waiting.h"

namespace {

constexpr unsigned long kHighMiB = 1UL << 40;

std::thread::id gMainThread;
std::atomic<int> gReports = 0;
std::atomic<int> gReadings = 0;
std::atomic<bool> gMayRead = true;
std::atomic<bool> gIsReadable = true;
std::atomic<int> gUnlimitedWaits = 0;
std::atomic<long> gLongestWaitMs = 0;
std::atomic<bool> gIsTimeFrozen = false;
thread_local bool isReader = false;

long getMsUntil(const timespec& time)
{
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return (time.tv_sec - now.tv_sec) * 1000 + (time.tv_nsec - now.tv_nsec) / 1000000;
}

}  // namespace

extern "C" FILE* fopen(const char* path, const char* mode)
{
    static auto* const real = qz::support::findNext<FILE*(const char*, const char*)>("fopen");
    if (std::strcmp(path, "/proc/self/status") == 0) {
        qz::support::waitUntil([] { return gMayRead.load(); });
        isReader = true;
        ++gReadings;
        if (!gIsReadable) return nullptr;
    }
    return real(path, mode);
}

extern "C" int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    static auto* const real =
        qz::support::findNext<int(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
    if (isReader) ++gUnlimitedWaits;
    return real(condition, mutex);
}

extern "C" int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                      const timespec* end)
{
    static auto* const real =
        qz::support::findNext<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>(
            "pthread_cond_timedwait");
    static auto* const unlimited =
        qz::support::findNext<int(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
    if (!isReader) return real(condition, mutex, end);
    gLongestWaitMs = std::max(gLongestWaitMs.load(), getMsUntil(*end));
    if (!gIsTimeFrozen) return real(condition, mutex, end);
    ++gUnlimitedWaits;
    return unlimited(condition, mutex);
}

namespace {

std::atomic<bool> gIsExiting = false;

void printExit()
{
    const bool isMainThread = std::this_thread::get_id() == gMainThread;
    std::printf("[exit on %s]\n", isMainThread ? "the main thread" : "another thread");
    std::fflush(stdout);
    gIsExiting = true;
}

// On the log thread. An exit that doesn't wait for the report is seen within the limit.
void printReportSlowly(std::list<qz::qzLog::LogEntry>& entries, void* /*userData*/)
{
    qz::support::waitUntil([] { return gIsExiting.load(); }, std::chrono::seconds(1));
    for (const qz::qzLog::LogEntry& entry : entries) {
        if (entry.message.find("too much RAM") != std::string::npos) std::puts("[too much]");
    }
    std::fflush(stdout);
}

void waitForBothReports()
{
    const bool areBoth = qz::support::waitUntil([] { return gReports >= 2; });
    // A second call of `exit` would end the process during this wait.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    std::printf("[%s]\n", areBoth ? "both reported" : "one reported");
    std::fflush(stdout);
}

void countReports(std::list<qz::qzLog::LogEntry>& entries, void* /*userData*/)
{
    gReports += static_cast<int>(entries.size());
}

[[noreturn]] void sleepForEver()
{
    for (;;)
        ::pause();
}

struct EndOfStatics {
    ~EndOfStatics()
    {
        std::puts("[statics destroyed]");
        std::fflush(stdout);
    }
};

// Prints what a correct watchdog does, else the name of the step that failed.
const char* countChecks()
{
    using qz::support::waitUntil;
    qz::MemoryWatchDog dog("dog", kHighMiB, 1);
    if (!waitUntil([] { return gReadings >= 3; })) return "no readings while enabled";
    const long waitMs = gLongestWaitMs;
    if (waitMs > 200 || waitMs < 100) return "another period";

    const int waitsBefore = gUnlimitedWaits;
    dog.setMonitoringEnabled(false);
    if (!waitUntil([&] { return gUnlimitedWaits > waitsBefore; })) return "no sleep when disabled";
    const int readings = gReadings;
    dog.setMonitoringEnabled(false);
    if (!waitUntil([&] { return gUnlimitedWaits > waitsBefore + 1; })) return "no second sleep";
    if (gReadings != readings) return "readings while disabled";

    gIsTimeFrozen = true;  // from here on only a wake ends a wait
    for (int i = 1; i <= 3; ++i) {
        const int waits = gUnlimitedWaits;
        dog.setMonitoringEnabled(true);
        if (!waitUntil([&] { return gUnlimitedWaits > waits; })) return "no wake when enabled";
        if (gReadings != readings + i) return "not one reading for each call";
    }
    return "as expected";  // its destructor must wake it as well
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    gMainThread = std::this_thread::get_id();
    const std::string way = arguments[1];
    const int exitCode = argumentCount > 2 ? std::atoi(arguments[2]) : 0;
    std::atexit(&printExit);
    if (way == "unstarted") {
        const qz::MemoryWatchDog dog("dog", 0, exitCode);
        sleepForEver();
    }
    qz::initializeQzSystem(qz::FullInit);
    if (way == "trip") {
        const qz::MemoryWatchDog dog("dog", 0, exitCode);
        sleepForEver();
    }
    if (way == "slow-log") {
        qz::qzLog::msInstance->setEchoToConsole(false);
        qz::qzLog::msInstance->installCustomHandler(&printReportSlowly, nullptr);
        const qz::MemoryWatchDog dog("dog", 0, exitCode);
        sleepForEver();
    }
    if (way == "static") {
        gMayRead = false;  // until all exit handlers are registered
        static const EndOfStatics end;
        static const qz::MemoryWatchDog dog("dog", 0, exitCode);
        gMayRead = true;
        sleepForEver();
    }
    if (way == "two") {
        qz::qzLog::msInstance->installCustomHandler(&countReports, nullptr);
        gMayRead = false;  // until all exit handlers are registered
        static const EndOfStatics end;
        static const qz::MemoryWatchDog first("first", 0, exitCode);
        static const qz::MemoryWatchDog second("second", 0, exitCode);
        std::atexit(&waitForBothReports);
        gMayRead = true;
        sleepForEver();
    }
    if (way == "unread") {
        gIsReadable = false;
        const qz::MemoryWatchDog dog("dog", 0, exitCode);
        std::puts(qz::support::waitUntil([] { return gReadings >= 3; }) ? "alive" : "no readings");
        qz::terminateQzSystem();
        return 0;
    }
    std::puts(countChecks());
    qz::terminateQzSystem();
    return 0;
}
