// SPDX-License-Identifier: MIT
#include "ThreadStacks.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <dirent.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "SignalStack.h"
#include "base/Deadline.h"

namespace qz::ext::crash {

namespace {

constexpr int kMostWaitMs = 5000;
// A thread that starts blocks all signals for a moment, others do so for good.
constexpr int kMostBlockedMs = 100;

// A stack for one thread. A thread that blocks the signal may take it any time later, so the object
// remains until no thread has that number.
struct Cover {
    explicit Cover(pid_t thread) : threadId(thread) {}

    pid_t threadId;
    SignalStack stack;
    std::atomic<bool> isDone = true;  // no signal is on its way
};

// What is written before a signal is sent isn't known to its handler by the rules of the language;
// this makes it known.
std::atomic<int> gSentSignals = 0;

using Covers = std::list<std::unique_ptr<Cover>>;

// Never destroyed, because threads may use their stacks until the process has ended. A forked child
// begins with an empty list: its thread has inherited the stack of the thread that has forked.
Covers& editCovers()
{
    static std::map<pid_t, Covers>& covers = *std::make_unique<std::map<pid_t, Covers>>().release();
    return covers[::getpid()];
}

std::vector<pid_t> listThreads()
{
    std::vector<pid_t> threads;
    const auto close = [](DIR* open) { ::closedir(open); };
    const std::unique_ptr<DIR, decltype(close)> folder(::opendir("/proc/self/task"), close);
    if (folder == nullptr) return threads;
    while (const dirent* const entry = ::readdir(folder.get())) {
        const std::string_view name = entry->d_name;
        pid_t thread = 0;
        if (std::from_chars(name.data(), name.data() + name.size(), thread).ec == std::errc())
            threads.push_back(thread);
    }
    return threads;
}

bool isAlive(pid_t thread)
{
    return ::syscall(SYS_tgkill, ::getpid(), thread, 0) == 0;
}

// Whether the thread takes the signal only when it unblocks it, which may be never.
bool isBlocked(pid_t thread, int signal)
{
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    const std::string key = "SigBlk:\t";
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(key, 0) != 0) continue;
        std::uint64_t mask = 0;
        std::from_chars(line.data() + key.size(), line.data() + line.size(), mask, 16);
        return (mask >> (signal - 1) & 1U) != 0;
    }
    return false;
}

Cover& findCover(pid_t thread)
{
    Covers& covers = editCovers();
    for (const std::unique_ptr<Cover>& cover : covers) {
        if (cover->threadId == thread) return *cover;
    }
    return *covers.emplace_back(std::make_unique<Cover>(thread));
}

// @return false if the system can't queue the signal.
bool sendSignal(int signal, Cover& cover)
{
    if (!cover.isDone.exchange(false)) return true;
    gSentSignals.fetch_add(1, std::memory_order_release);
    siginfo_t info = {};
    info.si_signo = signal;
    info.si_code = SI_QUEUE;
    info.si_pid = ::getpid();
    info.si_uid = ::getuid();
    info.si_value.sival_ptr = &cover;
    if (::syscall(SYS_rt_tgsigqueueinfo, ::getpid(), cover.threadId, signal, &info) == 0)
        return true;
    cover.isDone = true;
    return errno == ESRCH;  // a thread that has just ended needs no stack
}

bool isFinished(const Cover& cover)
{
    return cover.isDone || !isAlive(cover.threadId);
}

struct Deadlines {
    const Deadline last{kMostWaitMs};
    const Deadline blocked{kMostBlockedMs};
};

bool waitFor(const Cover& cover, int signal, const Deadlines& deadlines)
{
    constexpr timespec kPause = {0, 200'000};
    while (!isFinished(cover)) {
        const bool isHopeless = deadlines.blocked.hasPassed() && isBlocked(cover.threadId, signal);
        if (isHopeless || deadlines.last.hasPassed()) return isFinished(cover);
        ::nanosleep(&kPause, nullptr);
    }
    return true;
}

}  // namespace

bool coverThreads(int signal)
{
    editCovers().remove_if([](const auto& cover) { return !isAlive(cover->threadId); });
    const pid_t own = ::gettid();
    std::vector<Cover*> waiting;
    const std::vector<pid_t> threads = listThreads();
    bool isGood = !threads.empty();
    for (const pid_t thread : threads) {
        if (thread == own) continue;
        Cover& cover = findCover(thread);
        if (!cover.stack.isMade()) return false;
        isGood = sendSignal(signal, cover) && isGood;
        waiting.push_back(&cover);
    }
    if (SignalStack::IsMissing()) {
        const stack_t stack = findCover(own).stack.describe();
        ::sigaltstack(&stack, nullptr);
    }
    const Deadlines deadlines;
    for (const Cover* const cover : waiting)
        isGood = waitFor(*cover, signal, deadlines) && isGood;
    return isGood;
}

void takeStack(sigval value, ucontext_t& context)
{
    gSentSignals.load(std::memory_order_acquire);
    auto& cover = *static_cast<Cover*>(value.sival_ptr);
    if (SignalStack::IsMissing()) {
        const stack_t stack = cover.stack.describe();
        // The system restores the stack of the context when the handler returns. The call is for
        // tools that run handlers later, with a copy of the context.
        context.uc_stack = stack;
        ::sigaltstack(&stack, nullptr);
    }
    cover.isDone = true;
}

}  // namespace qz::ext::crash
