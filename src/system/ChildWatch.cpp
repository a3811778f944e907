#include "ChildWatch.h"

#include <cerrno>

#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "DescriptorWait.h"

namespace qz::system {

bool waitForChild(pid_t pid, int options, siginfo_t& end)
{
    int result = 0;
    do {
        end = {};
        result = ::waitid(P_PID, static_cast<id_t>(pid), &end, WEXITED | options);
    } while (result != 0 && errno == EINTR);
    if (result != 0) end = {};
    return result == 0;
}

bool hasStartFailed(const siginfo_t& end)
{
    return end.si_pid != 0 && end.si_code == CLD_KILLED && end.si_status == kStartFailedSignal;
}

void sleepWholeTime(int timeMs)
{
    timespec end = {};
    ::clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += timeMs / 1000;
    end.tv_nsec += timeMs % 1000 * 1'000'000L;
    if (end.tv_nsec >= 1'000'000'000L) {
        end.tv_nsec -= 1'000'000'000L;
        ++end.tv_sec;
    }
    while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

// A process descriptor is close-on-exec from its creation.
ProcessDeathWatch::ProcessDeathWatch(pid_t pid)
    : mProcess(pid > 0 ? static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)) : -1)
{
}

bool ProcessDeathWatch::sleep(int timeMs)
{
    if (mProcess.isOpen()) {
        const DescriptorWait wait = waitForDescriptor(mProcess.get(), POLLIN, timeMs);
        if (wait == DescriptorWait::TimedOut) return false;
        mProcess.close();
        if (wait == DescriptorWait::Ready) return true;
    }
    sleepWholeTime(timeMs);
    return false;
}

}  // namespace qz::system
