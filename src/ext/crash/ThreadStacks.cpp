#include "ThreadStacks.h"

#include <atomic>
#include <charconv>
#include <list>
#include <memory>
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

constexpr int kMostWaitMs = 1000;

// A stack for one thread. A thread that blocks the signal may take it any time later, so the object
// remains until no thread has that number.
struct Cover {
    explicit Cover(pid_t thread) : threadId(thread) {}

    pid_t threadId;
    SignalStack stack;
    std::atomic<bool> isDone = false;
};

using Covers = std::list<std::unique_ptr<Cover>>;

// Never destroyed, because threads may use their stacks until the process has ended.
Covers& editCovers()
{
    static Covers& covers = *std::make_unique<Covers>().release();
    return covers;
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

Cover& findCover(pid_t thread)
{
    Covers& covers = editCovers();
    for (const std::unique_ptr<Cover>& cover : covers) {
        if (cover->threadId == thread) return *cover;
    }
    return *covers.emplace_back(std::make_unique<Cover>(thread));
}

void askThread(int signal, Cover& cover)
{
    cover.isDone = false;
    siginfo_t info = {};
    info.si_signo = signal;
    info.si_code = SI_QUEUE;
    info.si_pid = ::getpid();
    info.si_uid = ::getuid();
    info.si_value.sival_ptr = &cover;
    // A thread that has just ended has nothing to be covered.
    if (::syscall(SYS_rt_tgsigqueueinfo, ::getpid(), cover.threadId, signal, &info) != 0)
        cover.isDone = true;
}

bool isFinished(const Cover& cover)
{
    return cover.isDone || !isAlive(cover.threadId);
}

}  // namespace

bool coverThreads(int signal)
{
    editCovers().remove_if([](const auto& cover) { return !isAlive(cover->threadId); });
    const pid_t own = ::gettid();
    std::vector<Cover*> waiting;
    for (const pid_t thread : listThreads()) {
        if (thread == own) continue;
        Cover& cover = findCover(thread);
        if (!cover.stack.isMade()) return false;
        askThread(signal, cover);
        waiting.push_back(&cover);
    }
    if (SignalStack::IsMissing()) {
        const stack_t stack = findCover(own).stack.describe();
        ::sigaltstack(&stack, nullptr);
    }
    const Deadline deadline(kMostWaitMs);
    for (const Cover* const cover : waiting) {
        constexpr timespec kPause = {0, 200'000};
        while (!isFinished(*cover) && !deadline.hasPassed())
            ::nanosleep(&kPause, nullptr);
        if (!isFinished(*cover)) return false;
    }
    return true;
}

void takeStack(sigval value, ucontext_t& context)
{
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
