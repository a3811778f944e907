// SPDX-License-Identifier: MIT
// A memory and CPU watcher over given clocks, memory and process statistics. Its thread doesn't
// run, so that samples are taken by the steps only. The arguments are the steps:
//
//   wall MS         sets the wall clock
//   tick MS         sets the monotonic clock
//   ram KB          sets the memory in use
//   ticks N         sets the user time, in clock ticks
//   stat TEXT       sets the process statistics; an empty text makes the file missing
//   start PERIOD MONITOR-PERIOD MAX-ENTRIES
//   stop
//   capture FORCE
//   stamp LABEL
//   table           prints the table
//   result          prints what is extracted
//   mutex           prints, at each reading of the process statistics from now on, whether another
//                   thread finds the watcher's mutex locked
//   readings        prints what is read from now on
//   wakes           prints how often threads have been woken since the last time
//   lines           prints the captured entries as "TYPE(sub-type) message"
//   debug           captures the log with DEBUG entries
//
// With "unstarted" as the first argument, the library isn't started. With "idle", it isn't either,
// and the program prints how the thread of a watcher waits while it doesn't watch. With "period",
// it is started, and the program prints the hours that the thread waits with a period of a day.

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include <qz/MemoryAndCpuWatcher.h>
#include <qz/qzLog.h>

#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/NextFunction.h"
#include "support/Waiting.h"
#include "system/MemoryAndCpuWatcherTestPeer.h"

namespace {

thread_local bool isReplacing = false;  // on the main thread, from the first step on
bool gIsIdlingThreads = false;
std::atomic<bool> gHasUnlimitedWait = false;
std::atomic<long> gLongestWaitMs = 0;
int gWakes = 0;  // on the main thread, from the first step on
long gWallMs = 1'000'000;
long gTickMs = 0;
std::string gStatus;
std::string gStatistics;
qz::qzMutex* gTriedMutex = nullptr;  // at each reading of the process statistics
bool gIsTracing = false;

// A descriptor of a file with the text.
int openText(const std::string& text)
{
    const int fd = ::memfd_create("text", MFD_CLOEXEC);
    if (::write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size())) std::abort();
    ::lseek(fd, 0, SEEK_SET);
    return fd;
}

void trace(const char* source)
{
    if (!gIsTracing) return;
    isReplacing = false;  // a print may read a clock
    std::cout << source << '\n';
    isReplacing = true;
}

void tryMutex()
{
    std::thread([] {
        const bool isFree = gTriedMutex->tryLock();
        if (isFree) gTriedMutex->unlock();
        std::cout << (isFree ? "free\n" : "locked\n");
    }).join();
}

// Runs nothing of a thread of the C++ library, which frees its argument itself.
void* doNothing(void* argument)
{
    delete static_cast<std::thread::_State*>(argument);
    return nullptr;
}

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept
{
    static auto* const real = qz::support::findNext<int(clockid_t, timespec*)>("clock_gettime");
    if (!isReplacing || clock != CLOCK_MONOTONIC) return real(clock, now);
    trace("monotonic clock");
    *now = {gTickMs / 1000, gTickMs % 1000 * 1'000'000};
    return 0;
}

extern "C" int gettimeofday(timeval* now, void* zone) noexcept
{
    static auto* const real = qz::support::findNext<int(timeval*, void*)>("gettimeofday");
    if (!isReplacing) return real(now, zone);
    trace("wall clock");
    *now = {gWallMs / 1000, gWallMs % 1000 * 1000};
    return 0;
}

extern "C" FILE* fopen(const char* path, const char* mode)
{
    static auto* const real = qz::support::findNext<FILE*(const char*, const char*)>("fopen");
    if (!isReplacing || std::strcmp(path, "/proc/self/status") != 0) return real(path, mode);
    trace("memory");
    return ::fdopen(openText(gStatus), mode);
}

extern "C" int open(const char* path, int flags, ...)
{
    static auto* const real = qz::support::findNext<int(const char*, int, ...)>("open");
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (!isReplacing || std::strcmp(path, "/proc/self/stat") != 0) return real(path, flags, mode);
    if (gTriedMutex != nullptr) tryMutex();
    trace("statistics");
    if (!gStatistics.empty()) return openText(gStatistics);
    errno = ENOENT;
    return -1;
}

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) noexcept
{
    using Call = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static auto* const real = qz::support::findNext<Call>("pthread_create");
    return real(thread, attributes, gIsIdlingThreads ? &doNothing : body, argument);
}

extern "C" int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    static auto* const real =
        qz::support::findNext<int(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
    gHasUnlimitedWait = true;
    return real(condition, mutex);
}

extern "C" int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                      const timespec* end)
{
    using Call = int(pthread_cond_t*, pthread_mutex_t*, const timespec*);
    static auto* const real = qz::support::findNext<Call>("pthread_cond_timedwait");
    timespec now = {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    const long waitMs = (end->tv_sec - now.tv_sec) * 1000 + (end->tv_nsec - now.tv_nsec) / 1000000;
    gLongestWaitMs = std::max(gLongestWaitMs.load(), waitMs);
    return real(condition, mutex, end);
}

extern "C" int pthread_cond_broadcast(pthread_cond_t* condition) noexcept
{
    static auto* const real = qz::support::findNext<int(pthread_cond_t*)>("pthread_cond_broadcast");
    if (isReplacing) ++gWakes;
    return real(condition);
}

extern "C" int pthread_cond_signal(pthread_cond_t* condition) noexcept
{
    static auto* const real = qz::support::findNext<int(pthread_cond_t*)>("pthread_cond_signal");
    if (isReplacing) ++gWakes;
    return real(condition);
}

namespace {

using Watcher = qz::MemoryAndCpuWatcher;

int showIdleWait()
{
    const Watcher watcher;
    const bool isUnlimited = qz::support::waitUntil([] { return gHasUnlimitedWait.load(); });
    std::cout << (isUnlimited ? "no limit\n" : "a limit\n");
    return 0;
}

int showPeriod()
{
    constexpr long kMsInHour = 3'600'000;
    const qz::support::LibraryStart start(qz::FullInit);
    Watcher watcher;
    watcher.startWatching(24 * kMsInHour);
    qz::support::waitUntil([] { return gLongestWaitMs > kMsInHour; });
    std::cout << (gLongestWaitMs + kMsInHour / 2) / kMsInHour << '\n';
    return 0;
}

void setRam(const std::string& kilobytes)
{
    gStatus = "Name:\tx\nVmRSS:\t" + kilobytes + " kB\n";
}

void setTicks(const std::string& ticks)
{
    gStatistics = "1 (x) 3 4 5 6 7 8 9 10 11 12 13 " + ticks + " 15\n";
}

template <typename T>
void print(const char* name, const Watcher::Series<T>& series)
{
    std::cout << ' ' << name << '=' << series.count << '/' << series.sum;
    if (series.count != 0) std::cout << '/' << series.minimum << '/' << series.maximum;
}

void printResult(Watcher& watcher)
{
    const Watcher::RamUsageData result = watcher.extractResult();
    std::cout << "start=" << result.startTimeMs;
    print("ram", result.overallRam);
    std::cout << '\n';
    for (const Watcher::TimestampReference& reference : result.references) {
        std::cout << reference.label << ": " << reference.timeMs << ' ' << reference.lastRam;
        print("ram", reference.ramSeries);
        print("second", reference.secondSeries);
        print("cpu", reference.cpuSeries);
        std::cout << '\n';
    }
    for (const Watcher::MonitorEntry& entry : result.monitor) {
        std::cout << "monitor: " << entry.timeMs << ' ' << entry.peakRam << ' ' << entry.lastRam
                  << ' ' << entry.peakCpu << '\n';
    }
}

class Steps {
public:
    Steps(Watcher& watcher, char** arguments) : mWatcher(watcher), mNext(arguments) {}

    void run()
    {
        while (*mNext != nullptr)
            runStep(take());
    }

private:
    std::string take() { return *mNext++; }
    unsigned int takeNumber() { return static_cast<unsigned int>(std::stoul(take())); }

    void runStep(const std::string& step)
    {
        if (step == "wall") gWallMs = std::stol(take());
        if (step == "tick") gTickMs = std::stol(take());
        if (step == "ram") setRam(take());
        if (step == "ticks") setTicks(take());
        if (step == "stat") gStatistics = take();
        if (step == "start") start();
        if (step == "stop") mWatcher.stopWatching();
        if (step == "capture") mWatcher.captureNow(takeNumber() != 0);
        if (step == "stamp") mWatcher.stampReference(take());
        if (step == "table") std::cout << mWatcher.getUsageAsAsciiTable() << '\n';
        if (step == "result") printResult(mWatcher);
        if (step == "mutex") gTriedMutex = &qz::MemoryAndCpuWatcherTestPeer::editMutex(mWatcher);
        if (step == "readings") gIsTracing = true;
        if (step == "wakes") std::cout << std::exchange(gWakes, 0) << '\n';
        if (step == "debug") mLog = std::make_unique<qz::support::LogCapture>(qz::LogLevelDebug);
        if (step == "lines") printLines();
    }

    void start()
    {
        const unsigned int periodMs = takeNumber();
        const unsigned int monitorPeriodSeconds = takeNumber();
        mWatcher.startWatching(periodMs, monitorPeriodSeconds, 0, takeNumber());
    }

    void printLines()
    {
        qz::qzLog::msInstance->flush();
        for (const std::string& line : mLog->getLines())
            std::cout << line << '\n';
    }

    Watcher& mWatcher;
    char** mNext;
    std::unique_ptr<qz::support::LogCapture> mLog;
};

}  // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount > 1 && std::strcmp(arguments[1], "idle") == 0) return showIdleWait();
    if (argumentCount > 1 && std::strcmp(arguments[1], "period") == 0) return showPeriod();
    std::optional<qz::support::LibraryStart> start;
    if (argumentCount > 1 && std::strcmp(arguments[1], "unstarted") == 0)
        ++arguments;
    else
        start.emplace(qz::FullInit);
    setRam("1024");
    setTicks("0");
    gIsIdlingThreads = true;
    Watcher watcher;
    gIsIdlingThreads = false;
    isReplacing = true;
    Steps(watcher, arguments + 1).run();
    isReplacing = false;
    return 0;
}
