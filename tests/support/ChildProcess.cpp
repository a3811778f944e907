// SPDX-License-Identifier: MIT
#include "support/ChildProcess.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "TestPaths.h"
#include "support/OutputCapture.h"

// Writes the figures of a coverage build, which `_exit` would lose.
extern "C" void __gcov_dump() __attribute__((weak));

namespace qz::support {

namespace {

// A descriptor with an owner.
class Descriptor {
public:
    explicit Descriptor(int fd) : mFd(fd) {}
    ~Descriptor()
    {
        if (mFd >= 0) ::close(mFd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return mFd; }

private:
    int mFd;
};

#ifdef __SANITIZE_THREAD__

// In a forked child the thread sanitizer still counts the parent's threads. The C library gives the
// stack of one of them, and so its pthread_t, to the child's first thread, and the sanitizer ends
// the process with "dup thread with used id". No stack of the parent suits a larger size.
void avoidStacksOfTheParent()
{
    constexpr std::size_t kMoreBytes = 1 << 20;
    pthread_attr_t attributes;
    std::size_t sizeBytes = 0;
    ::pthread_getattr_default_np(&attributes);
    ::pthread_attr_getstacksize(&attributes, &sizeBytes);
    ::pthread_attr_setstacksize(&attributes, sizeBytes + kMoreBytes);
    ::pthread_setattr_default_np(&attributes);
    ::pthread_attr_destroy(&attributes);
}

#else

void avoidStacksOfTheParent() {}

#endif

[[noreturn]] void runBodyAndExit(const std::function<int()>& body) noexcept
{
    const int exitCode = body();
    flushStandardStreams();
    if (__gcov_dump != nullptr) __gcov_dump();
    ::_exit(exitCode);
}

// A child is waited for by descriptor, as any signal or alarm may be part of what it tests.
bool waitForEnd(pid_t pid, int timeoutSec)
{
    const Descriptor child(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    if (child.get() < 0) throw std::system_error(errno, std::generic_category(), "pidfd_open");
    pollfd ended{child.get(), POLLIN, 0};
    int result = 0;
    do {
        result = ::poll(&ended, 1, timeoutSec * 1000);
    } while (result < 0 && errno == EINTR);
    return result > 0;
}

int takeStatus(pid_t pid)
{
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

std::vector<std::string> makeEnvironment(const ProgramRun& run)
{
    std::vector<std::string> variables;
    for (char** variable = ::environ; *variable != nullptr; ++variable) {
        const std::string text(*variable);
        if (run.environment.count(text.substr(0, text.find('='))) == 0) variables.push_back(text);
    }
    for (const auto& [name, value] : run.environment) {
        if (value) variables.push_back(name + '=' + *value);
    }
    return variables;
}

std::vector<char*> makePointers(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

std::string ChildResult::getEnd() const
{
    if (timedOut) return "timed out";
    if (signal != 0) return "signal " + std::to_string(signal);
    return "exit " + std::to_string(exitCode);
}

ChildResult runInChild(const std::function<int()>& body, const std::string& input, int timeoutSec)
{
    const Descriptor in(makeMemoryFile(input));
    const Descriptor out(makeMemoryFile());
    const Descriptor err(makeMemoryFile());
    flushStandardStreams();
    const pid_t pid = ::fork();
    if (pid < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (pid == 0) {
        ::dup2(in.get(), 0);
        ::dup2(out.get(), 1);
        ::dup2(err.get(), 2);
        const rlimit noCore{0, 0};
        ::setrlimit(RLIMIT_CORE, &noCore);
        avoidStacksOfTheParent();
        runBodyAndExit(body);
    }
    ChildResult result;
    result.timedOut = !waitForEnd(pid, timeoutSec);
    if (result.timedOut) ::kill(pid, SIGKILL);
    const int status = takeStatus(pid);
    if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    result.out = readWholeFile(out.get());
    result.err = readWholeFile(err.get());
    return result;
}

ChildResult runProgram(const ProgramRun& run)
{
    const bool isPath = run.program.find('/') != std::string::npos;
    const std::string path = isPath ? run.program : QZ_TEST_PROGRAMS_DIR "/" + run.program;
    std::vector<std::string> arguments{path};
    arguments.insert(arguments.end(), run.arguments.begin(), run.arguments.end());
    std::vector<std::string> environment = makeEnvironment(run);
    const std::vector<char*> argumentPointers = makePointers(arguments);
    const std::vector<char*> environmentPointers = makePointers(environment);
    const auto start = [&] {
        for (const auto& [resource, value] : run.limits) {
            const rlimit limit{value, value};
            ::setrlimit(static_cast<__rlimit_resource_t>(resource), &limit);
        }
        if (run.workingFolder.empty() || ::chdir(run.workingFolder.c_str()) == 0) {
            ::execve(path.c_str(), argumentPointers.data(), environmentPointers.data());
        }
        return 127;
    };
    return runInChild(start, run.input, run.timeoutSec);
}

}  // namespace qz::support
