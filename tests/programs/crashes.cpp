// SPDX-License-Identifier: MIT
// Runs the steps that its arguments name, with the library started and the crash kit installed in
// the folder of the first argument. With QZ_NO_FREE_SIGNAL set, all real-time signals are ignored.
// Steps of the kit's own state:
//   stop, start                of the library
//   install, remove            of the kit
//   path                       shows the path of the kit's file
//   limit|MS                   of a report and of the handlers, for the next install
//   hanging                    installs the kit with the default limits over a terminate handler
//                              that hangs
//   say|TEXT, flush            an entry of the log
//   fill|COUNT                 that many entries
//   disk                       fills the disk of the folder
//   descriptors                uses up all descriptors
//   cover                      gives stacks to the threads
//   sigwait                    installs the kit while a thread waits for all signals
//   ended                      installs the kit on another thread, after the end of the first one
//   wait                       sleeps until the process is killed
//   exit                       ends the process by exit
//
// Crashes:
//   null, wild, readonly, bus, divide, illegal, abort, doublefree, overflow, throw (in a
//   destructor), terminate, call (of null), stack (a stack pointer to nowhere), kill
//   malloc (with the lock of the heap), dlopen (with the lock of the loader), broken (an exception
//   whose text can't be read), endless (one whose text takes for ever), two (threads at once),
//   leaving (in a destructor of a static object), printing (while the log's thread prints)
//
// Places for another step that follows after a blank:
//   thread STEP                on a thread of the library
//   plain STEP                 on a std::thread with a CrashStack
//   early STEP                 on a std::thread that exists when the kit is installed
//   loader STEP                while another thread holds the lock of the loader's list
//   anew STEP                  on the same thread, after another installation of the kit
//   fork STEP                  in a forked child, whose end it shows
//   catch STEP                 catches the exception of a fault

#include <dlfcn.h>
#include <link.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <list>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <qz/ext/CrashKit.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>
#include <qz/qzThread.h>

#ifdef __clang__
#define QZ_OPAQUE [[gnu::noinline]]
#else
#define QZ_OPAQUE [[gnu::noipa]]
#endif

// Not in an unnamed namespace, so that their names are in the program's table.
namespace faults {

volatile int gZero = 0;
int* volatile gNull = nullptr;
volatile int gSink = 0;

QZ_OPAQUE void null()
{
    gSink = *gNull;
}

QZ_OPAQUE void wild()
{
    gSink = *reinterpret_cast<volatile int*>(0x8000000000000000);
}

QZ_OPAQUE void readonly()
{
    void* const page =
        ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ::mprotect(page, 4096, PROT_READ);
    *static_cast<volatile int*>(page) = 1;
}

QZ_OPAQUE void bus()
{
    const int file = ::memfd_create("cut", 0);
    if (::ftruncate(file, 4096) != 0) ::_exit(99);
    void* const page = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0);
    gSink = *static_cast<volatile int*>(page);
    if (::ftruncate(file, 0) != 0) ::_exit(99);
    gSink = *static_cast<volatile int*>(page);
}

QZ_OPAQUE void divide()
{
    gSink = 1 / gZero;
}

QZ_OPAQUE void illegal()
{
    asm volatile("ud2");
}

QZ_OPAQUE void abort()
{
    std::abort();
}

QZ_OPAQUE void doublefree()
{
    void* volatile memory = std::malloc(24);
    std::free(memory);
    std::free(memory);  // NOLINT: that is the fault
}

int overflow();
int (*volatile gOverflow)() = &overflow;

QZ_OPAQUE int overflow()
{
    volatile char room[4096] = {};
    return room[0] + gOverflow() + room[4095];
}

QZ_OPAQUE void call()
{
    void (*volatile function)() = nullptr;
    function();
}

QZ_OPAQUE void stack()
{
    asm volatile("mov $0x1234, %rsp\n\tpush %rax\n");
}

// Throws in a destructor; those are noexcept.
struct Thrower {
    QZ_OPAQUE ~Thrower() { fail(); }
    static void fail()
    {
        if (gZero == 0) throw std::out_of_range("from a destructor");
    }
};

QZ_OPAQUE void throwInDestructor()
{
    const Thrower thrower;
}

QZ_OPAQUE void terminate()
{
    std::terminate();
}

struct BrokenText : std::exception {
    const char* what() const noexcept override
    {
        gSink = *gNull;
        return "";
    }
};

struct EndlessText : std::exception {
    const char* what() const noexcept override
    {
        while (gZero == 0)
            ::usleep(1000);
        return "";
    }
};

QZ_OPAQUE void throwBrokenText()
{
    throw BrokenText();
}

QZ_OPAQUE void throwEndlessText()
{
    throw EndlessText();
}

// The list of the loaded modules is locked while the function is called.
int crashInList(dl_phdr_info* /*info*/, std::size_t /*size*/, void* /*data*/)
{
    null();
    return 0;
}

QZ_OPAQUE void crashWithLoaderLock()
{
    ::dl_iterate_phdr(&crashInList, nullptr);
}

}  // namespace faults

namespace {

// The lists of the heap are destroyed, so the next allocation crashes with the lock of the heap.
void crashWithHeapLock()
{
    constexpr std::size_t kSize = 4000;
    auto* volatile freed = static_cast<unsigned long*>(std::malloc(kSize));
    void* const next = std::malloc(kSize);
    std::free(freed);
    freed[0] = 0x10;  // NOLINT: that is the fault
    freed[1] = 0x10;
    std::free(std::malloc(2 * kSize));
    std::free(next);
}

void crashTwice()
{
    std::atomic<int> ready = 0;
    const auto crash = [&ready](void (*fault)()) {
        const qz::ext::CrashStack stack;
        ++ready;
        while (ready < 2) {
        }
        fault();
    };
    std::thread first(crash, &faults::null);
    std::thread second(crash, &faults::divide);
    first.join();
    second.join();
}

struct LeavingCrash {
    ~LeavingCrash()
    {
        if (isArmed) faults::null();
    }
    bool isArmed = false;
};
LeavingCrash gLeaving;

void crashWhilePrinting()
{
    std::thread([] {
        for (;;)
            qz::logInfo() << "busy";
    }).detach();
    for (int i = 0; i < 1000; ++i)
        qz::logInfo() << "busy too";
    faults::null();
}

// --- The kit

std::string gFolder;
qz::ext::CrashOptions gOptions;

void install()
{
    gOptions.folder = gFolder;
    qz::ext::SystemFailure failure;
    if (!qz::ext::CrashKit::Install(gOptions, &failure))
        std::cout << "[refused " << failure.toString() << ']' << std::endl;
}

void showPath()
{
    const std::string path = qz::ext::CrashKit::GetFilePath();
    std::cout << (path.empty() ? "[no file]" : path) << std::endl;
}

void fill(int count)
{
    for (int i = 1; i <= count; ++i)
        qz::logInfo() << "entry " << i;
}

void fillDisk()
{
    std::ofstream file(gFolder + "/full");
    while (file << std::string(4096, 'x') << std::flush) {
    }
}

void useUpDescriptors()
{
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = 3;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

// --- Steps

sigjmp_buf gJump;

void jump(int /*signal*/)
{
    ::siglongjmp(gJump, 1);
}

// A handler of the program was there before the kit, and is left by a jump. Then the limit passes.
void leaveByJump()
{
    qz::ext::CrashKit::Remove();
    struct sigaction action = {};
    action.sa_handler = &jump;
    ::sigaction(SIGSEGV, &action, nullptr);
    gOptions.handlingLimitMs = 100;
    install();
    if (sigsetjmp(gJump, /*savemask=*/1) == 0) faults::null();
    ::usleep(500'000);
    std::cout << "[jumped]" << std::endl;
}

void hang()
{
    for (;;)
        ::pause();
}

void installOverAHandlerThatHangs()
{
    qz::ext::CrashKit::Remove();
    std::set_terminate(&hang);
    gOptions = {};
    install();
}

// The thread would end at the next function that may end it.
void crashCancelled()
{
    std::thread([] {
        const qz::ext::CrashStack stack;
        ::pthread_cancel(::pthread_self());
        faults::null();
    }).join();
}

// Each child reports while the thread of the log may have been calling the kit.
void forkWhileLogging()
{
    qz::qzLog::msInstance->setEchoToConsole(false);
    std::atomic<bool> isOver = false;
    std::thread thread([&isOver] {
        while (!isOver) {
            qz::logInfo() << "busy";
            ::usleep(20);
        }
    });
    int hung = 0;
    for (int i = 0; i < 500 && hung == 0; ++i) {
        const pid_t child = ::fork();
        if (child == 0) {
            qz::logInfo() << "child";
            ::_exit(0);
        }
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (::waitpid(child, nullptr, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() < end) continue;
            ++hung;
            ::kill(child, SIGKILL);
            ::waitpid(child, nullptr, 0);
            break;
        }
    }
    isOver = true;
    thread.join();
    std::cout << "[hung " << hung << ']' << std::endl;
}

// Whether the thread sleeps in `sigwait` or the like.
bool isInSigwait(pid_t thread)
{
    long call = -1;
    std::ifstream("/proc/self/task/" + std::to_string(thread) + "/syscall") >> call;
    return call == SYS_rt_sigtimedwait;
}

// The thread would take the kit's signal for one of the program. Shows which one it has got first.
void installWhileAThreadWaits()
{
    sigset_t all;
    ::sigfillset(&all);
    std::atomic<pid_t> waiting = 0;
    std::thread thread([&] {
        ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
        waiting = ::gettid();
        int signal = 0;
        ::sigwait(&all, &signal);
        std::cout << "[got " << signal << ']' << std::endl;
    });
    while (waiting == 0 || !isInSigwait(waiting))
        ::usleep(1000);
    install();
    std::cout << "[covered " << qz::ext::CrashKit::CoverThreads() << ']' << std::endl;
    ::pthread_kill(thread.native_handle(), SIGUSR1);
    thread.join();
}

// The first thread remains as a zombie, which takes no signal.
[[noreturn]] void installAfterTheFirstThread()
{
    std::thread([] {
        std::string state;
        const std::string path = "/proc/self/task/" + std::to_string(::getpid()) + "/stat";
        while (state != "Z") {
            std::string number;
            std::string name;
            std::ifstream(path) >> number >> name >> state;
        }
        install();
        // A thread that is about to start blocks its signals.
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        bool isCovered = false;
        while (!(isCovered = qz::ext::CrashKit::CoverThreads()) &&
               std::chrono::steady_clock::now() < end)
            ::usleep(1000);
        std::cout << "[covered " << isCovered << ']' << std::endl;
        ::_exit(0);
    }).detach();
    ::pthread_exit(nullptr);
}

using Parts = std::vector<std::string>;

const std::map<std::string, std::function<void(const Parts&)>> kSteps = {
    {"stop", [](const Parts&) { qz::terminateQzSystem(); }},
    {"start", [](const Parts&) { qz::initializeQzSystem(qz::FullInit); }},
    {"install", [](const Parts&) { install(); }},
    {"remove", [](const Parts&) { qz::ext::CrashKit::Remove(); }},
    {"path", [](const Parts&) { showPath(); }},
    {"limit",
     [](const Parts& parts) {
         gOptions.reportLimitMs = std::stoi(parts.at(1));
         gOptions.handlingLimitMs = std::stoi(parts.at(1));
     }},
    {"hanging", [](const Parts&) { installOverAHandlerThatHangs(); }},
    {"say", [](const Parts& parts) { qz::logInfo() << parts.at(1); }},
    {"flush", [](const Parts&) { qz::qzLog::msInstance->flush(); }},
    {"fill", [](const Parts& parts) { fill(std::stoi(parts.at(1))); }},
    {"disk", [](const Parts&) { fillDisk(); }},
    {"descriptors", [](const Parts&) { useUpDescriptors(); }},
    {"cover",
     [](const Parts&) {
         // A thread that is about to start blocks its signals.
         bool isCovered = false;
         while (!(isCovered = qz::ext::CrashKit::CoverThreads()) &&
                qz::ext::CrashKit::IsInstalled())
             ::usleep(1000);
         std::cout << "[covered " << isCovered << ']' << std::endl;
     }},
    {"sigwait", [](const Parts&) { installWhileAThreadWaits(); }},
    {"ended", [](const Parts&) { installAfterTheFirstThread(); }},
    {"wait",
     [](const Parts&) {
         for (;;)
             ::pause();
     }},
    {"exit", [](const Parts&) { std::exit(0); }},
    {"null", [](const Parts&) { faults::null(); }},
    {"wild", [](const Parts&) { faults::wild(); }},
    {"readonly", [](const Parts&) { faults::readonly(); }},
    {"bus", [](const Parts&) { faults::bus(); }},
    {"divide", [](const Parts&) { faults::divide(); }},
    {"illegal", [](const Parts&) { faults::illegal(); }},
    {"abort", [](const Parts&) { faults::abort(); }},
    {"doublefree", [](const Parts&) { faults::doublefree(); }},
    {"overflow", [](const Parts&) { faults::overflow(); }},
    {"throw", [](const Parts&) { faults::throwInDestructor(); }},
    {"terminate", [](const Parts&) { faults::terminate(); }},
    {"call", [](const Parts&) { faults::call(); }},
    {"stack", [](const Parts&) { faults::stack(); }},
    {"kill", [](const Parts&) { ::kill(::getpid(), SIGKILL); }},
    {"malloc", [](const Parts&) { crashWithHeapLock(); }},
    {"dlopen", [](const Parts&) { faults::crashWithLoaderLock(); }},
    {"broken", [](const Parts&) { faults::throwBrokenText(); }},
    {"endless", [](const Parts&) { faults::throwEndlessText(); }},
    {"two", [](const Parts&) { crashTwice(); }},
    {"leaving", [](const Parts&) { gLeaving.isArmed = true; }},
    {"printing", [](const Parts&) { crashWhilePrinting(); }},
    {"jump", [](const Parts&) { leaveByJump(); }},
    {"cancelled", [](const Parts&) { crashCancelled(); }},
    {"forks", [](const Parts&) { forkWhileLogging(); }},
};

void run(const std::string& step);

class StepThread : public qz::qzThread {
public:
    explicit StepThread(const std::string& step) : mStep(step) {}
    ~StepThread() override { waitThread(msNoLimit); }
    void run() override { ::run(mStep); }

private:
    std::string mStep;
};

void runOnLibraryThread(const std::string& step)
{
    StepThread thread(step);
    thread.startThread("stepper");
    thread.waitThread(qz::qzThread::msNoLimit);
}

void runOnPlainThread(const std::string& step)
{
    std::thread([&step] {
        const qz::ext::CrashStack stack;
        run(step);
    }).join();
}

// The kit is installed while the thread waits.
void runOnEarlyThread(const std::string& step)
{
    std::mutex mutex;
    std::condition_variable wake;
    bool isInstalled = false;
    std::thread thread([&] {
        std::unique_lock<std::mutex> lock(mutex);
        wake.wait(lock, [&] { return isInstalled; });
        lock.unlock();
        run(step);
    });
    install();
    // Those of the installation before are gone.
    qz::logCritical() << "the last words";
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isInstalled = true;
    }
    wake.notify_one();
    thread.join();
}

void runForked(const std::string& step)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        run(step);
        std::exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    std::cout << "[child ended by "
              << (WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                                      : "exit " + std::to_string(WEXITSTATUS(status)))
              << ']' << std::endl;
}

struct LoaderLock {
    std::atomic<bool> isHeld = false;
    std::atomic<bool> isOver = false;
};

void runWithLoaderLock(const std::string& step)
{
    LoaderLock lock;
    std::thread thread([&lock] {
        ::dl_iterate_phdr(
            [](dl_phdr_info* /*info*/, std::size_t /*size*/, void* data) {
                auto& held = *static_cast<LoaderLock*>(data);
                held.isHeld = true;
                while (!held.isOver)
                    ::usleep(1000);
                return 1;
            },
            &lock);
    });
    while (!lock.isHeld)
        ::usleep(1000);
    run(step);
    lock.isOver = true;
    thread.join();
}

void runAnew(const std::string& step)
{
    install();
    run(step);
}

void runCaught(const std::string& step)
{
    try {
        run(step);
    } catch (const std::exception&) {
        std::cout << "[caught]" << std::endl;
    }
}

const std::map<std::string, std::function<void(const std::string&)>> kPlaces = {
    {"thread", &runOnLibraryThread}, {"plain", &runOnPlainThread},
    {"early", &runOnEarlyThread},    {"fork", &runForked},
    {"loader", &runWithLoaderLock},  {"anew", &runAnew},
    {"catch", &runCaught},
};

void run(const std::string& step)
{
    const std::size_t blank = step.find(' ');
    const auto place = kPlaces.find(step.substr(0, blank));
    if (blank != std::string::npos && place != kPlaces.end()) {
        place->second(step.substr(blank + 1));
        return;
    }
    Parts parts;
    std::istringstream stream(step);
    for (std::string part; std::getline(stream, part, '|');)
        parts.push_back(part);
    kSteps.at(parts.at(0))(parts);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    gFolder = arguments[1];
    // So that a loaded machine doesn't end a report.
    gOptions.reportLimitMs = 60'000;
    gOptions.handlingLimitMs = 60'000;
    if (std::getenv("QZ_NO_FREE_SIGNAL") != nullptr) {
        for (int number = SIGRTMIN; number <= SIGRTMAX; ++number)
            std::signal(number, SIG_IGN);
    }
    qz::initializeQzSystem(qz::FullInit);
    qz::qzLog::msInstance->installFileHandlerExUtf8(gFolder + "/log.txt", /*flags=*/0,
                                                    /*maxSize=*/-1, /*maxFiles=*/-1,
                                                    qz::qzLog::RotateNever);
    install();
    for (int i = 2; i < argumentCount; ++i)
        run(arguments[i]);
    std::cout << "[end]" << std::endl;
    return 0;
}
