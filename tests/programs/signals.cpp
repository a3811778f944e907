// SPDX-License-Identifier: MIT
// Runs the steps that its arguments name, and shows in brackets what comes of them. The parts of a
// step stand between '|':
//   light | full | stop      of the library
//   file|PATH                a log file
//   old|SIGNAL|FORM          an action of the program's own: default, ignored, plain or detailed
//   mask                     shows the signals that the thread blocks
//   ids                      shows process, thread, parent and user
//   state                    shows whether the watcher is registered
//   say|TEXT                 a synchronous report
//   flush                    of the log
//   locale                   groups the digits of numbers from now on
//   grouped                  goes on in a process group of its own, woken up whenever it is stopped
//
// Ways to get a signal:
//   raise|SIGNAL, kill|SIGNAL, queue|SIGNAL, timer|SIGNAL
//   send|SIGNAL|CODE         with this code, from process 77 of user 88
//   main|SIGNAL              sent to the main thread, whichever thread runs the step
//   abort, divide, read, write, call, wild, bus, illegal, breakpoint, overflow, pipe, throw
//
// Places for another step that follows after a blank:
//   catch STEP               shows the exception that leaves it, and what unwinds on its way
//   guard STEP               the same within the library's guard
//   thread STEP              on a thread of the library
//   other STEP               on a thread of the program's own, with `catch`
//   fork STEP                in a forked child, whose end it shows
//   handler STEP             within the log's custom handler, at its first call
//   always STEP              within the log's custom handler, at each call

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <list>
#include <locale>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <qz/qzException.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>
#include <qz/qzThread.h>

// Shows the title of what goes to the system log.

namespace {

void showSystemLogCall(int priority, va_list arguments)
{
    const std::string text = va_arg(arguments, const char*);
    std::cout << "[syslog " << priority << ' ' << text.substr(0, text.find(" : ")) << ']'
              << std::endl;
}

}  // namespace

extern "C" {

void syslog(int priority, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    showSystemLogCall(priority, arguments);
    va_end(arguments);
}

// What hardened builds call in its stead.
void __syslog_chk(int priority, int /*flag*/, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    showSystemLogCall(priority, arguments);
    va_end(arguments);
}

// What a forked child calls in their stead, with a datagram "<PRIORITY>TIME PROGRAM: TITLE : ...".
ssize_t sendto(int /*descriptor*/, const void* data, size_t size, int /*flags*/,
               const sockaddr* address, socklen_t /*addressSize*/)
{
    const std::string datagram(static_cast<const char*>(data), size);
    const std::string path = reinterpret_cast<const sockaddr_un*>(address)->sun_path;
    tm time = {};
    const char* const timeEnd =
        ::strptime(datagram.c_str() + datagram.find('>') + 1, "%b %e %T", &time);
    if (path != "/dev/log" || timeEnd == nullptr) return -1;
    const std::string text = datagram.substr(datagram.find(": ") + 2);
    std::cout << "[syslog " << std::stoi(datagram.substr(1)) % 8 << ' '
              << text.substr(0, text.find(" : ")) << ']' << std::endl;
    return static_cast<ssize_t>(size);
}

}  // extern "C"

// --- Faults, under names that a trace shows. The compiler isn't to look into them, as it would
// take some for functions that never return, or never throw.

#ifdef __clang__
#define QZ_OPAQUE [[gnu::noinline]]
#else
#define QZ_OPAQUE [[gnu::noipa]]
#endif

namespace faults {

volatile int gZero = 0;
int* volatile gNull = nullptr;
volatile int gSink = 0;

QZ_OPAQUE void divide()
{
    gSink = 1 / gZero;
}

QZ_OPAQUE void read()
{
    gSink = *gNull;
}

QZ_OPAQUE void write()
{
    void* const page =
        ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ::mprotect(page, 4096, PROT_READ);
    *static_cast<volatile int*>(page) = 1;
}

QZ_OPAQUE void call()
{
    void (*volatile function)() = nullptr;
    function();
}

// An address that no process can have.
QZ_OPAQUE void wild()
{
    gSink = *reinterpret_cast<volatile int*>(0x8000000000000000);
}

// Beyond the end of a mapped file.
QZ_OPAQUE void bus()
{
    const int file = ::memfd_create("empty", 0);
    void* const page = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0);
    gSink = *static_cast<volatile int*>(page);
}

QZ_OPAQUE void illegal()
{
    asm volatile("ud2");
}

QZ_OPAQUE void breakpoint()
{
    asm volatile("int3");
}

int overflow();

int (*volatile gOverflow)() = &overflow;

QZ_OPAQUE int overflow()
{
    volatile char room[4096] = {};
    return room[0] + gOverflow() + room[4095];
}

}  // namespace faults

namespace {

using qz::qzLog;

pthread_t gMainThread;

// The signals of the system's calls come as exceptions out of calls that are declared as ones that
// never throw; so these have functions of their own.

QZ_OPAQUE void raiseSignal(int signal)
{
    ::raise(signal);
}

QZ_OPAQUE void killSelf(int signal)
{
    ::kill(::getpid(), signal);
}

QZ_OPAQUE void sendWithCode(int signal, int code)
{
    siginfo_t info = {};
    info.si_signo = signal;
    info.si_code = code;
    info.si_pid = 77;
    info.si_uid = 88;
    if (::syscall(SYS_rt_tgsigqueueinfo, ::getpid(), ::gettid(), signal, &info) != 0) ::_exit(99);
}

QZ_OPAQUE void sendToMainThread(int signal)
{
    ::pthread_kill(gMainThread, signal);
}

QZ_OPAQUE void abortProcess()
{
    std::abort();
}

// Blocks a signal for a scope, also one that an exception ends.
class BlockedSignal {
public:
    explicit BlockedSignal(int signal)
    {
        sigset_t blocked;
        ::sigemptyset(&blocked);
        ::sigaddset(&blocked, signal);
        ::pthread_sigmask(SIG_BLOCK, &blocked, &mBefore);
    }
    ~BlockedSignal() { ::pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    BlockedSignal(const BlockedSignal&) = delete;
    BlockedSignal& operator=(const BlockedSignal&) = delete;

    const sigset_t& getMaskBefore() const { return mBefore; }

private:
    sigset_t mBefore;
};

// In a suspended thread, since the thread sanitizer calls the handler of a queued signal only in
// the next function that it replaces. That may be `free` in a destructor, which nothing can leave.
void queueSignal(int signal)
{
    const BlockedSignal blocked(signal);
    ::sigqueue(::getpid(), signal, {});
    ::sigsuspend(&blocked.getMaskBefore());
}

void awaitTimer(int signal)
{
    const BlockedSignal blocked(signal);
    sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = signal;
    timer_t timer = {};
    const itimerspec soon = {{0, 0}, {0, 1000000}};
    if (::timer_create(CLOCK_MONOTONIC, &event, &timer) != 0) ::_exit(99);
    ::timer_settime(timer, 0, &soon, nullptr);
    ::sigsuspend(&blocked.getMaskBefore());
}

void writeToBrokenPipe()
{
    int ends[2];
    if (::pipe(ends) != 0) ::_exit(99);
    ::close(ends[0]);
    const ssize_t written = ::write(ends[1], "x", 1);
    std::cout << "[write " << written << (errno == EPIPE ? " EPIPE]" : "]") << std::endl;
    ::close(ends[1]);
}

// --- Actions of the program's own

// A report ends in system calls; the interrupted code must not see how they went.
void show(const std::string& text)
{
    if (::write(1, text.data(), text.size()) < 0) ::_exit(99);
    errno = ENOTTY;
}

void handlePlainly(int signal)
{
    show("[plain " + std::to_string(signal) + "]\n");
}

void handleWithDetails(int signal, siginfo_t* info, void* context)
{
    show("[detailed " + std::to_string(signal) + ' ' + std::to_string(info->si_signo) +
         (context != nullptr ? " context]\n" : "]\n"));
}

void setAction(int signal, const std::string& form)
{
    struct sigaction action = {};
    action.sa_handler = form == "ignored" ? SIG_IGN : SIG_DFL;
    if (form == "plain") action.sa_handler = &handlePlainly;
    if (form == "detailed") {
        action.sa_sigaction = &handleWithDetails;
        action.sa_flags = SA_SIGINFO;
    }
    ::sigaction(signal, &action, nullptr);
}

// --- The process

void showEnd(int status)
{
    std::cout << "[child ended by " << (WIFSIGNALED(status) ? "signal " : "exit ")
              << (WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status)) << ']' << std::endl;
}

pid_t forkChild()
{
    const pid_t child = ::fork();
    if (child == 0) ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    return child;
}

// A process can be stopped only in a group with a parent outside of it.
void goOnInOwnGroup()
{
    const pid_t child = forkChild();
    if (child == 0) {
        ::setpgid(0, 0);
        return;
    }
    int status = 0;
    while (::waitpid(child, &status, WUNTRACED) == child && WIFSTOPPED(status)) {
        show("[stopped by " + std::to_string(WSTOPSIG(status)) + "]\n");
        ::kill(child, SIGCONT);
    }
    showEnd(status);
    ::_exit(0);
}

class GroupedDigits : public std::numpunct<char> {
    char do_thousands_sep() const override { return '_'; }
    std::string do_grouping() const override { return "\1"; }
};

void showIds()
{
    std::cout << "[ids " << ::getpid() << ' ' << ::gettid() << ' ' << ::getppid() << ' '
              << ::getuid() << ']' << std::endl;
}

void showMask()
{
    sigset_t blocked;
    ::pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    std::cout << "[blocked";
    for (int signal = 1; signal < 32; ++signal) {
        if (::sigismember(&blocked, signal) != 0) std::cout << ' ' << signal;
    }
    std::cout << ']' << std::endl;
}

void throwOutOfRange()
{
    throw std::out_of_range("too far");
}

// --- Steps

using Parts = std::vector<std::string>;

Parts split(const std::string& step)
{
    Parts parts;
    std::istringstream stream(step);
    for (std::string part; std::getline(stream, part, '|');)
        parts.push_back(part);
    return parts;
}

int getSignal(const Parts& parts)
{
    return std::stoi(parts.at(1));
}

const std::map<std::string, std::function<void(const Parts&)>> kSteps = {
    {"light", [](const Parts&) { qz::initializeQzSystem(qz::LightInit); }},
    {"full", [](const Parts&) { qz::initializeQzSystem(qz::FullInit); }},
    {"stop", [](const Parts&) { qz::terminateQzSystem(); }},
    {"file", [](const Parts& parts) { qzLog::msInstance->installFileHandlerUtf8(parts.at(1)); }},
    {"old", [](const Parts& parts) { setAction(getSignal(parts), parts.at(2)); }},
    {"ids", [](const Parts&) { showIds(); }},
    {"mask", [](const Parts&) { showMask(); }},
    {"state",
     [](const Parts&) {
         std::cout << "[registered " << qz::exception::IsSigWatcherRegistered() << ']' << std::endl;
     }},
    {"say", [](const Parts& parts) { qz::logCritical() << parts.at(1); }},
    {"flush", [](const Parts&) { qzLog::msInstance->flush(); }},
    {"locale",
     [](const Parts&) {
         std::locale::global(std::locale(std::locale::classic(), new GroupedDigits));
     }},
    {"grouped", [](const Parts&) { goOnInOwnGroup(); }},
    {"raise",
     [](const Parts& parts) {
         errno = EXDEV;
         raiseSignal(getSignal(parts));
         std::cout << "[raised " << parts.at(1) << (errno == EXDEV ? "]" : " with another errno]")
                   << std::endl;
     }},
    {"kill", [](const Parts& parts) { killSelf(getSignal(parts)); }},
    {"queue", [](const Parts& parts) { queueSignal(getSignal(parts)); }},
    {"timer", [](const Parts& parts) { awaitTimer(getSignal(parts)); }},
    {"send", [](const Parts& parts) { sendWithCode(getSignal(parts), std::stoi(parts.at(2))); }},
    {"main", [](const Parts& parts) { sendToMainThread(getSignal(parts)); }},
    {"abort", [](const Parts&) { abortProcess(); }},
    {"divide", [](const Parts&) { faults::divide(); }},
    {"read", [](const Parts&) { faults::read(); }},
    {"write", [](const Parts&) { faults::write(); }},
    {"call", [](const Parts&) { faults::call(); }},
    {"wild", [](const Parts&) { faults::wild(); }},
    {"bus", [](const Parts&) { faults::bus(); }},
    {"illegal", [](const Parts&) { faults::illegal(); }},
    {"breakpoint", [](const Parts&) { faults::breakpoint(); }},
    {"overflow", [](const Parts&) { faults::overflow(); }},
    {"pipe", [](const Parts&) { writeToBrokenPipe(); }},
    {"throw", [](const Parts&) { throwOutOfRange(); }},
};

void run(const std::string& step);

struct Unwinding {
    ~Unwinding() { std::cout << "[unwound]" << std::endl; }
    std::string step;
};

void runStep(void* step)
{
    const Unwinding unwinding = {*static_cast<std::string*>(step)};
    run(unwinding.step);
}

void runAndShow(void (*call)(std::string& step), std::string step)
{
    try {
        call(step);
        std::cout << "[nothing thrown]" << std::endl;
    } catch (const std::runtime_error& error) {
        std::cout << "[runtime_error " << error.what() << ']' << std::endl;
    } catch (const std::exception& error) {
        const bool isPlain = typeid(error) == typeid(std::exception);
        std::cout << (isPlain ? "[plain exception]" : "[other exception]") << std::endl;
    }
}

void runCaught(const std::string& step)
{
    runAndShow([](std::string& given) { runStep(&given); }, step);
}

void runGuarded(const std::string& step)
{
    runAndShow([](std::string& given) { qz::exception::impl::ExecGuardedCode(&runStep, &given); },
               step);
}

class StepThread : public qz::qzThread {
public:
    explicit StepThread(const std::string& step) : mStep(step) {}
    ~StepThread() override { waitThread(msNoLimit); }
    void run() override { runStep(&mStep); }

private:
    std::string mStep;
};

void runOnLibraryThread(const std::string& step)
{
    StepThread thread(step);
    thread.startThread(nullptr);
}

void runForked(const std::string& step)
{
    const pid_t child = forkChild();
    if (child == 0) {
        run(step);
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    showEnd(status);
}

std::string gHandlerStep;
bool gIsHandlerStepKept = false;

void handleBatch(std::list<qzLog::LogEntry>& batch, void* /*data*/)
{
    std::cout << "[handler " << batch.front().message.substr(0, 10) << ']' << std::endl;
    if (gHandlerStep.empty()) return;
    const std::string step = gHandlerStep;
    if (!gIsHandlerStepKept) gHandlerStep.clear();
    run(step);
}

void installHandler(const std::string& step, bool isKept)
{
    gHandlerStep = step;
    gIsHandlerStepKept = isKept;
    qzLog::msInstance->installCustomHandler(&handleBatch, nullptr);
}

const std::map<std::string, std::function<void(const std::string&)>> kPlaces = {
    {"catch", &runCaught},
    {"guard", &runGuarded},
    {"thread", &runOnLibraryThread},
    {"other", [](const std::string& step) { std::thread(&runCaught, step).join(); }},
    {"fork", &runForked},
    {"handler", [](const std::string& step) { installHandler(step, /*isKept=*/false); }},
    {"always", [](const std::string& step) { installHandler(step, /*isKept=*/true); }},
};

void run(const std::string& step)
{
    const std::size_t blank = step.find(' ');
    const auto place = kPlaces.find(step.substr(0, blank));
    if (blank != std::string::npos && place != kPlaces.end()) {
        place->second(step.substr(blank + 1));
        return;
    }
    const Parts parts = split(step);
    kSteps.at(parts.at(0))(parts);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    gMainThread = ::pthread_self();
    for (int i = 1; i < argumentCount; ++i)
        run(arguments[i]);
    std::cout << "[end]" << std::endl;
    return 0;
}
