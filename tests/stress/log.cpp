// SPDX-License-Identifier: MIT
// Processes with several threads each that write to one rotating log file, and then processes that
// are killed while they write:
//
//   stress_log [SECONDS]
//
// for that time. The exit code is 1 if a line is missing, doubled or damaged.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "stress/StressRun.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace {

using namespace qz;
using stress::Random;
using stress::StressRun;
using Clock = std::chrono::steady_clock;

constexpr int kProcesses = 4;
constexpr int kThreads = 8;            // of each process
constexpr long kFileSize = 8'000'000;  // takes more than a second, the unit of old files' names
constexpr unsigned long kPause = 10;   // lines between two pauses of a thread
constexpr long kNoRotation = -1;

void installFile(const std::string& path, long size)
{
    qzLog::msInstance->installFileHandlerExUtf8(path, /*flags=*/0, size, /*maxFiles=*/-1,
                                                qzLog::RotateNever);
}

// The number of each line of a file, by the writer that stands before it in the line. A line that
// is none of a writer counts as damaged.
struct Lines {
    std::map<std::string, std::vector<unsigned long>> numbers;
    unsigned long damaged = 0;
    bool isLastWhole = true;

    void read(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        file.ignore(3);  // the byte order mark
        for (std::string line; std::getline(file, line);) {
            isLastWhole = !file.eof();
            if (isLastWhole) take(line);
        }
    }
    void take(const std::string& line)
    {
        const std::size_t message = line.find(" : ");
        char writer[32] = "";
        unsigned long number = 0;
        if (line.rfind("INFO PID ", 0) == 0 && message != std::string::npos &&
            std::sscanf(line.c_str() + message + 3, "%31s %lu", writer, &number) == 2)
            numbers[writer].push_back(number);
        else
            ++damaged;
    }
};

// @return how many of the numbers from 0 are not there exactly once.
unsigned long countLost(std::vector<unsigned long> numbers, unsigned long count)
{
    std::vector<unsigned char> seen(count);
    unsigned long lost = 0;
    for (const unsigned long number : numbers) {
        if (number >= count || seen[number]++ != 0) ++lost;
    }
    return lost + static_cast<unsigned long>(std::count(seen.begin(), seen.end(), 0));
}

// --- Many threads and processes

void writeLines(const std::string& writer, Clock::time_point end)
{
    unsigned long number = 0;
    while (Clock::now() < end) {
        for (unsigned long i = 0; i < kPause; ++i)
            logInfo() << writer << ' ' << number++;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    logInfo() << writer << "-end " << number;
}

void runWriters(const std::string& folder, int process, Clock::time_point end)
{
    const support::LibraryStart library(FullInit);
    qzLog::msInstance->setLogLevel(LogLevelNormal);
    installFile(folder + "/log.txt", kFileSize);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        const std::string writer = std::to_string(process) + '.' + std::to_string(i);
        threads.emplace_back([writer, end] { writeLines(writer, end); });
    }
    for (std::thread& thread : threads)
        thread.join();
}

void shareOneFile(StressRun& run, int seconds)
{
    const support::ScratchFolder folder;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(seconds);
    std::vector<pid_t> pids;
    for (int process = 0; process < kProcesses; ++process) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            runWriters(folder.getPath(), process, end);
            std::_Exit(0);
        }
        pids.push_back(pid);
    }
    unsigned long failed = 0;
    for (const pid_t pid : pids) {
        int status = 0;
        failed += ::waitpid(pid, &status, 0) == pid && status == 0 ? 0 : 1;
    }
    Lines lines;
    unsigned long files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.getPath())) {
        lines.read(entry.path());
        lines.damaged += lines.isLastWhole ? 0 : 1;
        ++files;
    }
    unsigned long count = 0;
    unsigned long lost = lines.damaged;
    for (int process = 0; process < kProcesses; ++process) {
        for (int i = 0; i < kThreads; ++i) {
            const std::string writer = std::to_string(process) + '.' + std::to_string(i);
            const std::vector<unsigned long>& ends = lines.numbers[writer + "-end"];
            const unsigned long written = ends.size() == 1 ? ends[0] : 0;
            lost += written == 0 ? 1 : countLost(lines.numbers[writer], written);
            count += written;
        }
    }
    run.report("log: processes with 8 threads on one file", kProcesses, failed);
    run.report("log: rotations of the file", files - 1, 0);
    run.report("log: lines in the files", count, lost);
}

// --- Killed processes

[[noreturn]] void writeUntilKilled(const std::string& path, int output)
{
    const support::LibraryStart library(FullInit);
    qzLog::msInstance->setLogLevel(LogLevelNormal);
    installFile(path, kNoRotation);
    for (unsigned long number = 0;;) {
        for (unsigned long i = 0; i < kPause; ++i)
            logInfo() << "writer " << number++;
        qzLog::msInstance->flush();
        if (::write(output, &number, sizeof number) != sizeof number) std::_Exit(1);
    }
}

// Returns what the process said last: so many lines were flushed.
unsigned long killWriter(const std::string& path, useconds_t delay)
{
    int ends[2] = {};
    if (::pipe(ends) != 0) return 0;
    const pid_t pid = ::fork();
    if (pid == 0) writeUntilKilled(path, ends[1]);
    ::close(ends[1]);
    unsigned long flushed = 0;
    if (::read(ends[0], &flushed, sizeof flushed) == sizeof flushed) ::usleep(delay);
    ::kill(pid, SIGKILL);
    while (::read(ends[0], &flushed, sizeof flushed) == sizeof flushed) {
    }
    ::close(ends[0]);
    ::waitpid(pid, nullptr, 0);
    return flushed;
}

void killWriters(StressRun& run)
{
    const support::ScratchFolder folder;
    const std::string path = folder.getPath("log.txt");
    Random random(0);
    unsigned long kills = 0;
    unsigned long flushedLines = 0;
    unsigned long lost = 0;
    for (; !run.isOver(); ++kills) {
        std::filesystem::remove(path);
        const unsigned long flushed = killWriter(path, static_cast<useconds_t>(random() % 10'000));
        Lines lines;
        lines.read(path);
        std::vector<unsigned long> numbers = lines.numbers["writer"];
        // Lines that nobody has flushed may be there as well, and the last one may be cut.
        numbers.resize(std::min<std::size_t>(numbers.size(), flushed));
        lost += lines.damaged + countLost(numbers, flushed) + (flushed == 0 ? 1 : 0);
        flushedLines += flushed;
    }
    run.report("log: processes killed while they write", kills, 0);
    run.report("log: lines flushed before the kill", flushedLines, lost);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const int seconds = argumentCount > 1 ? std::atoi(arguments[1]) : 3;
    StressRun run(seconds);
    shareOneFile(run, std::max(1, seconds / 2));
    killWriters(run);
    return run.getExitCode();
}
