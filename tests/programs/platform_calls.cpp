// SPDX-License-Identifier: MIT
// Prints what threads and primitives ask of the system, whose clocks and answers are given: nothing
// here takes real time. One step is run, with the numbers after it:
//
//   wait SECONDS NANOSECONDS TIME_MS ANSWER   a condition's wait at a time of the wall clock
//   wait-without-clock TIME_MS                the same while there is no clock
//   wake                                      all and one of those that wait
//   try-lock TIMEOUT_MS ANSWER                of the mutex with a timed try
//   system-lock NAME                          a lock between processes, taken and given back
//   sleep N, msleep N, usleep N               of a thread
//   wait-thread TIMEOUT_MS                    for a thread that goes on until the wait is over
//   wait-thread-that-ends TIMEOUT_MS          for one that ends while the clock is read again
//   join-thread                               waits without a limit for one that is about to end
//   wait-thread-without-clock TIMEOUT_MS      the same; the thread ends at the third look
//   end-wake                                  of a work thread, and whether its queue is unlocked
//                                             when it wakes the thread
//   updater SECONDS                           a call added, a period that ends, and the end

#include <dlfcn.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <qz/qzLog.h>
#include <qz/qzMutex.h>
#include <qz/qzSystem.h>
#include <qz/qzThread.h>
#include <qz/qzWaitCondition.h>
#include <qz/qzWorkThread.h>

namespace {

bool gIsWatching = false;
bool gHasClock = true;
timespec gWallClock = {};
long gMonotonicUs = 1'000'000;
int gAnswer = 0;
int gSleeps = 0;

// A semaphore of the system, which uses none of the calls that are watched.
class Gate {
public:
    Gate() { ::sem_init(&mGate, 0, 0); }
    ~Gate() { ::sem_destroy(&mGate); }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;
    void open() { ::sem_post(&mGate); }
    void pass()
    {
        while (::sem_wait(&mGate) != 0) {
        }
    }

private:
    sem_t mGate;
};

Gate gEndOfThread;
Gate gIsWaiting;  // opened by a thread that goes to wait
Gate gWake;       // opened to end its wait

void waitInGate(pthread_mutex_t* mutex)
{
    ::pthread_mutex_unlock(mutex);
    gIsWaiting.open();
    gWake.pass();
    ::pthread_mutex_lock(mutex);
}

bool gIsUpdating = false;

std::function<void()> gAtBroadcast;  // called once

const qz::qzThread* gEndingThread = nullptr;
int gClockReadings = 0;

// The first reading is that before the wait.
void endThreadAtSecondReading()
{
    if (gEndingThread == nullptr || ++gClockReadings != 2) return;
    gEndOfThread.open();
    while (gEndingThread->isRunning())
        ::sched_yield();
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept
{
    if (!gIsWatching) return static_cast<int>(::syscall(SYS_clock_gettime, clock, now));
    if (!gHasClock) {
        errno = EINVAL;
        return -1;
    }
    if (clock == CLOCK_REALTIME) {
        *now = gWallClock;
    } else {
        endThreadAtSecondReading();
        *now = {gMonotonicUs / 1'000'000, gMonotonicUs % 1'000'000 * 1000};
    }
    return 0;
}

int usleep(unsigned microseconds)
{
    std::cout << "usleep " << microseconds << '\n';
    gMonotonicUs += microseconds;
    if (++gSleeps == 3 && !gHasClock) gEndOfThread.open();
    return 0;
}

int pthread_cond_wait(pthread_cond_t* /*condition*/, pthread_mutex_t* mutex)
{
    std::cout << "wait without limit\n";
    if (gIsUpdating) waitInGate(mutex);
    return gAnswer;
}

int pthread_cond_timedwait(pthread_cond_t* /*condition*/, pthread_mutex_t* mutex,
                           const timespec* deadline)
{
    std::cout << "wait until " << deadline->tv_sec << ' ' << deadline->tv_nsec << '\n';
    if (gIsUpdating) waitInGate(mutex);
    return gAnswer;
}

int pthread_cond_broadcast(pthread_cond_t* /*condition*/) noexcept
{
    if (gAtBroadcast) std::exchange(gAtBroadcast, nullptr)();
    if (gIsUpdating) {
        gWake.open();
    } else {
        std::cout << "broadcast\n";
    }
    return 0;
}

int pthread_cond_signal(pthread_cond_t* /*condition*/) noexcept
{
    std::cout << "signal\n";
    return 0;
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept
{
    if (!gIsWatching) {
        using Call = int (*)(pthread_mutex_t*);
        return reinterpret_cast<Call>(::dlsym(RTLD_NEXT, "pthread_mutex_trylock"))(mutex);
    }
    std::cout << "trylock\n";
    return gAnswer;
}

int pthread_mutex_timedlock(pthread_mutex_t* /*mutex*/, const timespec* deadline) noexcept
{
    std::cout << "timedlock " << deadline->tv_sec << ' ' << deadline->tv_nsec << '\n';
    return gAnswer;
}

int flock(int /*fd*/, int operation) noexcept
{
    std::cout << "flock " << operation << '\n';
    return 0;
}

}  // extern "C"

namespace {

using Numbers = std::vector<std::string>;

unsigned long toNumber(const std::string& text)
{
    return std::stoul(text);
}

void answer(bool result)
{
    std::cout << (result ? "true\n" : "false\n");
}

void wait(unsigned long timeMs)
{
    qz::qzMutex mutex;
    qz::qzWaitCondition condition;
    const qz::qzMutexLocker locker(mutex);
    gIsWatching = true;
    const bool result = condition.wait(&mutex, timeMs);
    gIsWatching = false;
    answer(result);
}

void waitAtTime(const Numbers& numbers)
{
    gWallClock = {std::stol(numbers[0]), std::stol(numbers[1])};
    gAnswer = std::stoi(numbers[3]);
    wait(toNumber(numbers[2]));
}

void waitWithoutClock(const Numbers& numbers)
{
    gHasClock = false;
    wait(toNumber(numbers[0]));
}

void wake(const Numbers& /*numbers*/)
{
    qz::qzWaitCondition condition;
    condition.wakeAll();
    condition.wakeOne();
}

void tryLock(const Numbers& numbers)
{
    qz::qzMutex2 mutex;
    gAnswer = std::stoi(numbers[1]);
    gIsWatching = true;
    const bool result = mutex.tryLock(static_cast<unsigned>(toNumber(numbers[0])));
    gIsWatching = false;
    answer(result);
}

void lockSystem(const Numbers& numbers)
{
    qz::qzMutexSystem mutex(numbers[0].c_str());
    mutex.lock();
    mutex.unlock();
}

class WaitingThread : public qz::qzThread {
public:
    ~WaitingThread() override { waitThread(msNoLimit); }
    void run() override { gEndOfThread.pass(); }
};

void waitForThread(const Numbers& numbers)
{
    WaitingThread thread;
    thread.startThread("waiting");
    gIsWatching = true;
    const bool result = thread.waitThread(std::stoi(numbers[0]));
    gIsWatching = false;
    answer(result);
    gEndOfThread.open();
}

void waitForThreadThatEnds(const Numbers& numbers)
{
    WaitingThread thread;
    thread.startThread("ending");
    gEndingThread = &thread;
    gIsWatching = true;
    const bool result = thread.waitThread(std::stoi(numbers[0]));
    gIsWatching = false;
    answer(result);
}

void joinThread(const Numbers& /*numbers*/)
{
    gEndOfThread.open();
    waitForThread({"2147483647"});
}

void waitForThreadWithoutClock(const Numbers& numbers)
{
    gHasClock = false;
    waitForThread(numbers);
}

class IdleWorkThread : public qz::qzWorkThread {
protected:
    void processJob(qz::qzJob* /*job*/) override {}
};

void endWake(const Numbers& /*numbers*/)
{
    IdleWorkThread work;  // which is never started
    const auto takeQueue = [&work] {
        work.beginWake();
        work.endWake();
    };
    gAtBroadcast = [&] {
        std::thread(takeQueue).join();  // for ever if the queue is locked
        std::cout << "unlocked\n";
    };
    takeQueue();
}

void update(const Numbers& numbers)
{
    gIsWatching = true;
    gIsUpdating = true;
    gWallClock = {100, 0};
    gAnswer = ETIMEDOUT;
    {
        qz::qzThreadPeriodicalUpdater updater(static_cast<unsigned>(toNumber(numbers[0])));
        gIsWaiting.pass();
        std::cout << "adding\n";
        updater.addCallback([](void* text) { std::cout << static_cast<const char*>(text); },
                            const_cast<char*>("call\n"));
        gIsWaiting.pass();
        std::cout << "the time is over\n";
        gWake.open();
        gIsWaiting.pass();
        std::cout << "ending\n";
    }
    gIsUpdating = false;
    gIsWatching = false;
}

const std::map<std::string, std::function<void(const Numbers&)>> kSteps = {
    {"wait", waitAtTime},
    {"wait-without-clock", waitWithoutClock},
    {"wake", wake},
    {"try-lock", tryLock},
    {"system-lock", lockSystem},
    {"sleep", [](const Numbers& numbers) { qz::qzThread::sleep(toNumber(numbers[0])); }},
    {"msleep", [](const Numbers& numbers) { qz::qzThread::msleep(toNumber(numbers[0])); }},
    {"usleep", [](const Numbers& numbers) { qz::qzThread::usleep(toNumber(numbers[0])); }},
    {"wait-thread", waitForThread},
    {"wait-thread-that-ends", waitForThreadThatEnds},
    {"join-thread", joinThread},
    {"wait-thread-without-clock", waitForThreadWithoutClock},
    {"end-wake", endWake},
    {"updater", update},
};

}  // namespace

int main(int argumentCount, char** arguments)
{
    const std::vector<std::string> all(arguments + 1, arguments + argumentCount);
    // A light start, as the threads of a full one would show up here. It says that it is too early.
    qz::initializeQzSystem(qz::LightInit);
    qz::qzLog::msInstance->setEchoToConsole(false);
    kSteps.at(all.at(0))(Numbers(all.begin() + 1, all.end()));
    qz::terminateQzSystem();
    return 0;
}
