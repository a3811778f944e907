// SPDX-License-Identifier: MIT
#include "ChildWatch.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <iterator>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "DescriptorWait.h"

namespace qz::system {

namespace {

// Bounds a start whose child never comes to its program, for example in a file system that hangs.
constexpr int kLongestStartMs = 5000;
constexpr int kStartTimeMs = 10;

// The first bytes of "/proc/PID/stat"; empty if it can't be read.
std::string_view readStatus(pid_t pid, char (&buffer)[256])
{
    constexpr char kName[] = "/stat";
    char path[32] = "/proc/";
    char* const end = std::to_chars(path + std::strlen(path), std::end(path), pid).ptr;
    std::memcpy(end, kName, sizeof kName);
    const ssize_t size = FileDescriptor::Open(path, O_RDONLY).read(buffer, sizeof buffer);
    return {buffer, static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

// Whether a child still has to run its program, and only the machine keeps it from that: it waits
// for a processor (R) or for memory (D), or the last of its threads ends (Z). One that sleeps does
// so by itself.
bool isKeptFromProgram(pid_t pid)
{
    constexpr unsigned long kForkedWithoutExec = 0x40;  // PF_FORKNOEXEC of the Linux kernel
    constexpr int kFieldsToFlags = 6;                   // from the state
    char buffer[256];
    std::string_view fields = readStatus(pid, buffer);
    // The name of the program may contain anything.
    const std::size_t nameEnd = fields.rfind(") ");
    if (nameEnd == std::string_view::npos) return false;
    fields.remove_prefix(nameEnd + 2);
    if (fields.empty() || std::string_view("RDZ").find(fields.front()) == std::string_view::npos)
        return false;
    for (int i = 0; i < kFieldsToFlags; ++i)
        fields.remove_prefix(std::min(fields.find(' '), fields.size() - 1) + 1);
    unsigned long flags = 0;
    std::from_chars(fields.data(), fields.data() + fields.size(), flags);
    return (flags & kForkedWithoutExec) != 0;
}

}  // namespace

bool waitForChild(pid_t pid, int options, siginfo_t& end)
{
    int result = 0;
    do {
        end = {};
        result = ::waitid(P_PID, static_cast<id_t>(pid), &end, WEXITED | options);
    } while (result != 0 && errno == EINTR);
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

void sleepForStart(pid_t child)
{
    ProcessDeathWatch death(child);
    for (int waitedMs = 0; waitedMs < kLongestStartMs; waitedMs += kStartTimeMs) {
        if (death.sleep(kStartTimeMs) || !isKeptFromProgram(child)) return;
    }
}

}  // namespace qz::system
