// SPDX-License-Identifier: MIT
// Sends signals to children that use the library, and counts how they take them:
//     log_interrupted print PRINTER OUTPUT COUNT
//     log_interrupted call FUNCTION COUNT
//     log_interrupted twice COUNT
//     log_interrupted again COUNT
//     log_interrupted fork COUNT
//     log_interrupted convert COUNT
//     log_interrupted large FILE
//
// "print": each of COUNT children prints without a pause, by "printf", "cout" or "unsynchronised",
// to a "file", a "pipe" or a "terminal", until a SIGTERM ends it. Shows "ended N reported N": how
// many ended by the signal, and how many outputs hold the whole report of it.
//
// "call": the same for children that call a function of the C library without a pause: "localtime",
// "mktime", "setlocale" or "syslog", which lock something there.
//
// "twice": the process gets COUNT pairs of SIGUSR1, the second shortly after the first. Shows how
// many its own handler has seen.
//
// "again": the process's own handler of SIGUSR1 sends it the next one, until it has seen COUNT of
// them. Shows whether it has seen all.
//
// "fork": the process forks COUNT children while another one sends it SIGUSR1 without a pause.
// Shows whether it has come to the end.
//
// "convert": COUNT threads get a SIGUSR1 while they convert their first text. Shows whether all
// have ended.
//
// "large": a forked child reports into a log file that has reached the limit of a file's size.
// Shows how the child ends.

#include <fcntl.h>
#include <locale.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <random>
#include <string>
#include <thread>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzStringUtils.h>
#include <qz/qzSystem.h>

namespace {

constexpr int kLimitMs = 60000;  // ends a hang

[[noreturn]] void printForEver(const std::string& printer)
{
    if (printer == "unsynchronised") std::ios_base::sync_with_stdio(false);
    qz::initializeQzSystem(qz::FullInit);
    for (unsigned long i = 0;; ++i) {
        if (printer == "printf") {
            std::printf("line %lu of the application\n", i);
        } else {
            std::cout << "line " << i << " of the application\n";
        }
    }
}

[[noreturn]] void callForEver(const std::string& function)
{
    // Without a zone, each call of mktime allocates, and a signal in an allocation may hang.
    ::setenv("TZ", "UTC", 1);
    qz::initializeQzSystem(qz::FullInit);
    qz::qzLog::msInstance->flush();  // the log thread has opened its converters then
    std::cout << "calls of the application" << std::endl;
    const time_t now = ::time(nullptr);
    tm parts = {};
    while (true) {
        if (function == "localtime") {
            ::localtime_r(&now, &parts);
        } else if (function == "mktime") {
            parts = {};
            ::mktime(&parts);
        } else if (function == "setlocale") {
            ::setlocale(LC_CTYPE, "POSIX");
        } else {
            ::syslog(LOG_DEBUG, "a call");
        }
    }
}

// The two ends of what a child prints to. A file has no reader.
struct Output {
    int writer = -1;
    int reader = -1;
};

Output openOutput(const std::string& kind)
{
    Output output;
    if (kind == "file") {
        output.writer = ::memfd_create("printed", MFD_CLOEXEC);
    } else if (kind == "pipe") {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) == 0) output = {ends[1], ends[0]};
    } else {
        output.reader = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        ::grantpt(output.reader);
        ::unlockpt(output.reader);
        output.writer = ::open(::ptsname(output.reader), O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios settings = {};
        ::tcgetattr(output.writer, &settings);
        ::cfmakeraw(&settings);
        ::tcsetattr(output.writer, TCSANOW, &settings);
    }
    return output;
}

std::string readAll(int descriptor, std::atomic<bool>& hasBegun)
{
    std::string text;
    char buffer[65536];
    ssize_t got = 0;
    while ((got = ::read(descriptor, buffer, sizeof buffer)) > 0) {
        text.append(buffer, static_cast<std::size_t>(got));
        hasBegun = true;
    }
    return text;
}

// The first output makes the buffer of the stream, and a signal in an allocation may hang.
void waitForBegin(const Output& output, const std::atomic<bool>& hasBegun)
{
    struct stat status = {};
    for (int i = 0; i < kLimitMs; ++i) {
        if (output.reader >= 0 ? hasBegun.load()
                               : ::fstat(output.writer, &status) == 0 && status.st_size != 0)
            return;
        ::usleep(1000);
    }
}

bool isEndedBySigterm(pid_t child)
{
    int status = 0;
    for (int i = 0; i < kLimitMs; ++i) {
        if (::waitpid(child, &status, WNOHANG) == child)
            return WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM;
        ::usleep(1000);
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
    return false;
}

bool holdsReport(const std::string& text)
{
    const std::size_t report =
        text.find(" : Got signal (SIGTERM 15) Terminated (SI_USER), from PID");
    if (report == std::string::npos) return false;
    const std::size_t end = text.find('\n', report);
    const std::string line = text.substr(report, end - report);
    return line.find(", sent by UID " + std::to_string(::getuid())) != std::string::npos;
}

void interruptChildren(void (*work)(const std::string&), const std::string& argument,
                       const std::string& kind, int count)
{
    std::mt19937 random(1);  // NOLINT: the same run each time
    int ended = 0;
    int reported = 0;
    for (int i = 0; i < count; ++i) {
        const Output output = openOutput(kind);
        const pid_t child = ::fork();
        if (child == 0) {
            ::dup2(output.writer, STDOUT_FILENO);
            work(argument);
        }
        std::string text;
        std::atomic<bool> hasBegun = false;
        std::thread reader;
        if (output.reader >= 0) {
            ::close(output.writer);
            reader = std::thread([&] { text = readAll(output.reader, hasBegun); });
        }
        waitForBegin(output, hasBegun);
        ::usleep(static_cast<useconds_t>(random() % 5000));
        ::kill(child, SIGTERM);
        ended += isEndedBySigterm(child) ? 1 : 0;
        if (output.reader >= 0) {
            reader.join();
            ::close(output.reader);
        } else {
            ::lseek(output.writer, 0, SEEK_SET);
            text = readAll(output.writer, hasBegun);
            ::close(output.writer);
        }
        reported += holdsReport(text) ? 1 : 0;
    }
    std::cout << "ended " << ended << " reported " << reported << std::endl;
}

volatile sig_atomic_t gSeen = 0;

void countSignal(int /*signal*/)
{
    gSeen = gSeen + 1;
}

// Each pair waits for the one before, since the system keeps one pending signal of a number only.
void sendPairs(int count)
{
    ::signal(SIGUSR1, &countSignal);
    qz::initializeQzSystem(qz::FullInit);
    qz::qzLog::msInstance->setEchoToConsole(false);
    int lines[2];
    if (::pipe(lines) != 0) ::_exit(99);
    const pid_t sender = ::fork();
    if (sender == 0) {
        std::mt19937 random(1);  // NOLINT: the same run each time
        char seen = 0;
        for (int i = 0; i < count && ::read(lines[0], &seen, 1) == 1; ++i) {
            ::kill(::getppid(), SIGUSR1);
            ::usleep(static_cast<useconds_t>(random() % 300));
            ::kill(::getppid(), SIGUSR1);
        }
        ::_exit(0);
    }
    for (int i = 0; i < count; ++i) {
        const int before = gSeen;
        if (::write(lines[1], "", 1) != 1) ::_exit(99);
        // The two may come so soon after each other that they are one.
        for (int k = 0; k < 20 && gSeen < before + 2; ++k)
            ::usleep(1000);
        for (int k = 0; k < kLimitMs && gSeen == before; ++k)
            ::usleep(1000);
        if (gSeen == before) break;
    }
    ::kill(sender, SIGKILL);
    ::waitpid(sender, nullptr, 0);
    std::cout << (gSeen >= count ? "all seen" : "too few") << std::endl;
    qz::terminateQzSystem();
}

volatile sig_atomic_t gToSend = 0;

void sendNext(int signal)
{
    gSeen = gSeen + 1;
    if (gSeen < gToSend) ::raise(signal);
}

void sendFromHandler(int count)
{
    gToSend = count;
    ::signal(SIGUSR1, &sendNext);
    qz::initializeQzSystem(qz::FullInit);
    qz::qzLog::msInstance->setEchoToConsole(false);
    ::raise(SIGUSR1);
    std::cout << (gSeen == count ? "all seen" : "too few") << std::endl;
    qz::terminateQzSystem();
}

void forkBetweenSignals(int count)
{
    ::signal(SIGUSR1, &countSignal);
    qz::initializeQzSystem(qz::FullInit);
    qz::qzLog::msInstance->setEchoToConsole(false);
    // So many that a copy of the log's settings needs more memory than a thread has at hand.
    for (int i = 0; i < 30; ++i)
        qz::qzLog::msInstance->setSubTypeEnabled({"channel number " + std::to_string(i)}, false);
    qz::qzLog::msInstance->flush();
    const pid_t sender = ::fork();
    if (sender == 0) {
        std::mt19937 random(1);  // NOLINT: the same run each time
        while (::kill(::getppid(), SIGUSR1) == 0)
            ::usleep(static_cast<useconds_t>(300 + random() % 500));
        ::_exit(0);
    }
    // Children that come to their end before any signal has been handled would show nothing.
    for (int i = 0; i < count || gSeen < count; ++i) {
        const pid_t child = ::fork();
        if (child == 0) ::_exit(0);
        ::waitpid(child, nullptr, 0);
    }
    ::kill(sender, SIGKILL);
    ::waitpid(sender, nullptr, 0);
    std::cout << "all forked" << std::endl;
    qz::terminateQzSystem();
}

// Each thread converts its first text, for which it makes converters.
void convertDuringSignals(int count)
{
    ::signal(SIGUSR1, &countSignal);
    qz::initializeQzSystem(qz::FullInit);
    qz::qzLog::msInstance->setEchoToConsole(false);
    std::mt19937 random(1);  // NOLINT: the same run each time
    for (int i = 0; i < count; ++i) {
        std::atomic<bool> isRunning = false;
        std::atomic<bool> mayEnd = false;
        std::thread thread([&] {
            isRunning = true;
            qz::qzStringUtils::convertCharset("text", qz::qzStringUtils::CharSetUtf8,
                                              qz::qzStringUtils::CharSetLocal);
            while (!mayEnd)
                std::this_thread::yield();
        });
        while (!isRunning)
            std::this_thread::yield();
        const auto end =
            std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 100);
        while (std::chrono::steady_clock::now() < end) {
        }
        ::pthread_kill(thread.native_handle(), SIGUSR1);
        mayEnd = true;
        thread.join();
    }
    std::cout << "all converted" << std::endl;
    qz::terminateQzSystem();
}

void exceedFileSize(const std::string& path)
{
    ::signal(SIGXFSZ, SIG_IGN);  // the application's choice: its writes fail instead
    qz::initializeQzSystem(qz::FullInit);
    qz::qzLog::msInstance->installFileHandlerUtf8(path);
    qz::logInfo() << std::string(8192, 'x');
    qz::qzLog::msInstance->flush();
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit limit = {4096, 4096};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        qz::logInfo() << "beyond the limit";
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    std::cout << (WIFEXITED(status) ? "exit " : "signal ")
              << (WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status)) << std::endl;
    qz::terminateQzSystem();
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const std::string what = argumentCount > 2 ? arguments[1] : "";
    if (what == "print" && argumentCount == 5) {
        interruptChildren(&printForEver, arguments[2], arguments[3], std::atoi(arguments[4]));
        return 0;
    }
    if (what == "call" && argumentCount == 4) {
        interruptChildren(&callForEver, arguments[2], "file", std::atoi(arguments[3]));
        return 0;
    }
    if (what == "twice") {
        sendPairs(std::atoi(arguments[2]));
        return 0;
    }
    if (what == "again") {
        sendFromHandler(std::atoi(arguments[2]));
        return 0;
    }
    if (what == "fork") {
        forkBetweenSignals(std::atoi(arguments[2]));
        return 0;
    }
    if (what == "convert") {
        convertDuringSignals(std::atoi(arguments[2]));
        return 0;
    }
    if (what == "large") {
        exceedFileSize(arguments[2]);
        return 0;
    }
    return 2;
}
