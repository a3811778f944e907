// SPDX-License-Identifier: MIT
#include "ThreadStacks.h"

#include <algorithm>
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
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "SignalStack.h"
#include "base/Deadline.h"
#include "base/FileDescriptor.h"

namespace qz::ext::crash {

namespace {

constexpr int kMostWaitMs = 5000;
// A thread that starts blocks all signals for a moment, others do so for good.
constexpr int kMostBlockedMs = 100;
constexpr timespec kPause = {0, 200'000};

// A stack for one thread. A thread that has begun to block the signal may take it any time later,
// so the object remains until no thread has that number.
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

std::string getFolder(pid_t thread)
{
    return "/proc/self/task/" + std::to_string(thread);
}

bool hasSignal(std::uint64_t signals, int signal)
{
    return (signals >> (signal - 1) & 1U) != 0;
}

// Reads a line of what the system knows about a thread; empty if it has ended.
std::string readStatus(pid_t thread, const std::string& name)
{
    std::ifstream status(getFolder(thread) + "/status");
    const std::string key = name + ":\t";
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(key, 0) == 0) return line.substr(key.size());
    }
    return {};
}

// Whether the thread takes the signal only when it unblocks it, which may be never.
bool isBlocked(pid_t thread, int signal)
{
    const std::string text = readStatus(thread, "SigBlk");
    std::uint64_t mask = 0;
    std::from_chars(text.data(), text.data() + text.size(), mask, 16);
    return hasSignal(mask, signal);
}

// The first thread of a process stays as a zombie until the last one has ended.
bool isZombie(pid_t thread)
{
    return readStatus(thread, "State").rfind('Z', 0) == 0;
}

// Whether the thread is in `sigwait` or the like for the signal, which would then go to the program
// and not to the handler. Such a thread doesn't seem to block it.
bool isAwaited(pid_t thread, int signal)
{
    std::ifstream file(getFolder(thread) + "/syscall");
    long call = -1;
    std::uint64_t address = 0;
    if (!(file >> call >> std::hex >> address) || call != SYS_rt_sigtimedwait) return false;
    // The system reads the memory, as the thread may have freed it meanwhile.
    const FileDescriptor memory(::open("/proc/self/mem", O_RDONLY | O_CLOEXEC));
    std::uint64_t signals = 0;
    const bool isRead = ::pread(memory.get(), &signals, sizeof signals,
                                static_cast<off_t>(address)) == sizeof signals;
    return !isRead || hasSignal(signals, signal);
}

bool isReceptive(pid_t thread, int signal)
{
    return !isBlocked(thread, signal) && !isAwaited(thread, signal);
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
    while (!isFinished(cover)) {
        const bool isHopeless = deadlines.blocked.hasPassed() && isBlocked(cover.threadId, signal);
        if (isHopeless || deadlines.last.hasPassed()) return isFinished(cover);
        ::nanosleep(&kPause, nullptr);
    }
    return true;
}

// Sends the signal to each thread that takes it, and leaves the others alone. @return false if
// there are such, or no memory for a stack.
bool sendSignals(int signal, std::vector<pid_t> threads, const Deadlines& deadlines,
                 std::vector<Cover*>& waiting)
{
    bool isGood = true;
    const auto send = [&](pid_t thread) {
        if (!isReceptive(thread, signal)) return false;
        Cover& cover = findCover(thread);
        isGood = cover.stack.isMade() && sendSignal(signal, cover) && isGood;
        if (cover.stack.isMade()) waiting.push_back(&cover);
        return true;
    };
    for (;;) {
        std::erase_if(threads, send);
        if (threads.empty() || deadlines.blocked.hasPassed()) break;
        ::nanosleep(&kPause, nullptr);
    }
    return isGood && std::none_of(threads.begin(), threads.end(), &isAlive);
}

}  // namespace

bool coverThreads(int signal)
{
    editCovers().remove_if([](const auto& cover) { return !isAlive(cover->threadId); });
    const pid_t own = ::gettid();
    std::vector<pid_t> threads = listThreads();
    bool isGood = !threads.empty();
    std::erase(threads, own);
    std::erase_if(threads, &isZombie);
    if (SignalStack::IsMissing()) {
        const SignalStack& stack = findCover(own).stack;
        const stack_t description = stack.describe();
        isGood = isGood && stack.isMade() && ::sigaltstack(&description, nullptr) == 0;
    }
    const Deadlines deadlines;
    std::vector<Cover*> waiting;
    isGood = sendSignals(signal, std::move(threads), deadlines, waiting) && isGood;
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
