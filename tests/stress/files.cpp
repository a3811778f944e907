// SPDX-License-Identifier: MIT
// Replacement of files as a whole, by processes that are killed and on a disk that is full, and
// starts and stops of the library in one process:
//
//   stress_files [SECONDS]
//
// for that time. The exit code is 1 if something was lost.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

#include <qz/ext/SafeFiles.h>
#include <qz/qzLog.h>
#include <qz/qzLogObject.h>

#include "stress/StressRun.h"
#include "support/Files.h"
#include "support/LibraryStart.h"
#include "support/Limits.h"
#include "support/ScratchFolder.h"
#include "support/Waiting.h"

namespace {

using namespace qz;
using stress::Random;
using stress::StressRun;

constexpr std::size_t kSize = 300'000;

std::string makeContent(unsigned long generation)
{
    return std::string(kSize, static_cast<char>('a' + generation % 26));
}

bool isWhole(const std::string& content)
{
    return content.size() == kSize && content.find_first_not_of(content[0]) == std::string::npos;
}

bool replace(const std::string& path, const std::string& content, ext::SystemFailure* failure)
{
    ext::AtomicFile file;
    if (!file.openUtf8(path, failure)) return false;
    file << content;
    return file.commit(failure);
}

// Starts a process that replaces the file until it is killed. Returns after its first replacement.
pid_t startWriter(const std::string& path, unsigned long generation)
{
    int ends[2] = {};
    if (::pipe(ends) != 0) return -1;
    const pid_t pid = ::fork();
    if (pid == 0) {
        const support::LibraryStart library;
        for (bool isFirst = true; replace(path, makeContent(generation), nullptr); ++generation) {
            if (isFirst && ::write(ends[1], "", 1) != 1) break;
            isFirst = false;
        }
        std::_Exit(1);
    }
    ::close(ends[1]);
    char byte = 0;
    const bool isReady = ::read(ends[0], &byte, 1) == 1;
    ::close(ends[0]);
    return isReady ? pid : -1;
}

std::string killWriter(const std::string& path, Random& random)
{
    const pid_t pid = startWriter(path, random());
    if (pid < 0) return "a process that replaces the file";
    ::usleep(static_cast<useconds_t>(random() % 5000));
    ::kill(pid, SIGKILL);
    int status = 0;
    if (::waitpid(pid, &status, 0) != pid || !WIFSIGNALED(status)) return "a running process";
    const std::string content = support::readFile(path);
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(path).parent_path())) {
        if (entry.path() != path) std::filesystem::remove(entry.path());
    }
    return isWhole(content) ? "" : "the content of the file";
}

// The limit of a file's size refuses a write at any place, as a full disk does.
std::string fillDisk(const std::string& path, Random& random)
{
    const std::string before = support::readFile(path);
    ext::SystemFailure failure;
    const support::FileSizeLimit limit(random() % kSize);
    if (replace(path, makeContent(random()), &failure)) return "a failure";
    if (failure.error != EFBIG) return "the reason: " + failure.toString();
    return support::readFile(path) == before ? "" : "the old content";
}

std::size_t countThreads()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

// Starts the library, logs to a file and stops.
std::string startAndStop(const std::string& path, Random& random)
{
    const std::size_t descriptors = support::countOpenDescriptors();
    const std::size_t threads = countThreads();
    const unsigned long lines = random() % 100;
    std::filesystem::remove(path);
    {
        const support::LibraryStart library(random() % 4 == 0 ? LightInit : FullInit);
        qzLog::msInstance->setLogLevel(LogLevelNormal);
        qzLog::msInstance->installFileHandlerExUtf8(path, /*flags=*/0, /*maxSize=*/-1,
                                                    /*maxFiles=*/-1, qzLog::RotateNever);
        for (unsigned long i = 0; i < lines; ++i)
            logInfo() << "line";
    }
    if (support::countOpenDescriptors() != descriptors) return "descriptors";
    // A thread that was joined may still be listed for a moment.
    if (!support::waitUntil([threads] { return countThreads() <= threads; })) return "threads";
    const std::string log = lines == 0 ? "" : support::readFile(path);
    const auto found = static_cast<unsigned long>(std::count(log.begin(), log.end(), '\n'));
    return found == lines ? ""
                          : std::to_string(lines - found) + " lines of " + std::to_string(lines);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const int seconds = std::max(1, (argumentCount > 1 ? std::atoi(arguments[1]) : 3) / 3);
    const support::ScratchFolder folder;
    const std::string path = folder.write("target", makeContent(0));
    // A sanitizer starts a thread of its own beside the first one, and keeps it.
    std::thread([] {}).join();
    StressRun run(0);
    run.repeatHere("files: writers killed while they replace a file", seconds,
                   [&](Random& random) { return killWriter(path, random); });
    run.repeatHere("start: full and light starts with a log file", seconds,
                   [&](Random& random) { return startAndStop(folder.getPath("log"), random); });
    const support::LibraryStart library;
    run.repeatHere("files: replacements that the disk refuses", seconds,
                   [&](Random& random) { return fillDisk(path, random); });
    return run.getExitCode();
}
