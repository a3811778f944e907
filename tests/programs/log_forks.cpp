// SPDX-License-Identifier: MIT
// Forks children while four threads use the library, and counts what the children report:
//     log_forks FOLDER COUNT THREAD...
//
// A THREAD is "log", "tag", "set" or "convert": what one of the threads does without a pause: plain
// reports, reports to the system log, changes of settings, or conversions of texts and times. Each
// of the COUNT children reports ten lines and leaves. The log's file alternates between
// FOLDER/a.log and FOLDER/b.log. "newthread" has each child forked by a thread that has done
// nothing before.
//
// Shows "missing N doubled N damaged N waiting N": lines of children that are in neither file, or
// more than once, lines of any kind that are no lines of a log, and children that didn't end.

#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzStringUtils.h>
#include <qz/qzSystem.h>

namespace {

using qz::qzLog;
using qz::qzStringUtils;

constexpr int kLinesOfAChild = 10;
constexpr int kLimitMs = 60000;  // ends a hang

std::atomic<bool> gIsOver = false;

void installFile(const std::string& path)
{
    qzLog::msInstance->installFileHandlerExUtf8(path, /*flags=*/0, /*maxSize=*/-1, /*maxFiles=*/-1,
                                                qzLog::RotateNever);
}

void logLines()
{
    for (long i = 0; !gIsOver; ++i) {
        qz::logInfo() << "parent " << i;
        ::usleep(200);
    }
}

void logTagged()
{
    for (long i = 0; !gIsOver; ++i) {
        qz::logInfo(nullptr, "log_forks") << "tagged " << i;
        ::usleep(100);
    }
}

void changeSettings(const std::string& folder)
{
    for (long i = 0; !gIsOver; ++i) {
        installFile(folder + (i % 2 == 0 ? "/a.log" : "/b.log"));
        qzLog::msInstance->setSubTypeEnabled("channel,of,children", i % 2 != 0);
        ::usleep(100);
    }
}

// Each conversion on a new thread, which makes converters of its own.
void convertTexts()
{
    while (!gIsOver) {
        std::thread([] {
            qzStringUtils::convertCharset("text", qzStringUtils::CharSetUtf8,
                                          qzStringUtils::CharSetLocal);
            const time_t now = ::time(nullptr);
            tm parts = {};
            for (int i = 0; i < 1000; ++i)
                ::localtime_r(&now, &parts);
        }).join();
    }
}

void runThread(const std::string& kind, const std::string& folder)
{
    if (kind == "log") logLines();
    if (kind == "tag") logTagged();
    if (kind == "set") changeSettings(folder);
    if (kind == "convert") convertTexts();
}

pid_t forkReporter(int number)
{
    const pid_t child = ::fork();
    if (child != 0) return child;
    for (int i = 0; i < kLinesOfAChild; ++i) {
        // One of them as every check for a fork reports: to the system log, too.
        const char* const tag = i == 0 ? "log_forks" : nullptr;
        qz::logInfo(nullptr, tag) << "child " << number << ' ' << i;
    }
    ::_exit(0);
}

bool hasEnded(pid_t child)
{
    for (int i = 0; i < kLimitMs * 5; ++i) {
        if (::waitpid(child, nullptr, WNOHANG) == child) return true;
        ::usleep(200);
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    return false;
}

struct Counts {
    std::map<std::string, int> childLines;
    int damaged = 0;
};

void countLines(const std::string& path, Counts& counts)
{
    std::ifstream file(path, std::ios::binary);
    std::string line;
    for (bool isFirst = true; std::getline(file, line); isFirst = false) {
        if (isFirst) line.erase(0, 3);
        const std::size_t message = line.find(" : ");
        const bool isLine = line.rfind("INFO PID ", 0) == 0 && message != std::string::npos;
        if (!isLine) {
            ++counts.damaged;
        } else if (line.compare(message + 3, 6, "child ") == 0) {
            ++counts.childLines[line.substr(message + 3)];
        }
    }
}

void show(const std::string& folder, int count, int waiting)
{
    Counts counts;
    countLines(folder + "/a.log", counts);
    countLines(folder + "/b.log", counts);
    int missing = 0;
    int doubled = 0;
    for (int child = 0; child < count; ++child) {
        for (int i = 0; i < kLinesOfAChild; ++i) {
            std::ostringstream text;
            text << "child " << child << ' ' << i;
            const auto found = counts.childLines.find(text.str());
            if (found == counts.childLines.end()) ++missing;
            if (found != counts.childLines.end() && found->second != 1) ++doubled;
        }
    }
    std::cout << "missing " << missing << " doubled " << doubled << " damaged " << counts.damaged
              << " waiting " << waiting << std::endl;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount < 3) return 2;
    const std::string folder = arguments[1];
    const int count = std::atoi(arguments[2]);
    const std::vector<std::string> kinds(arguments + 3, arguments + argumentCount);
    bool isForkedByNewThread = false;
    qz::initializeQzSystem(qz::FullInit);
    qzLog::msInstance->setLogLevel(qz::LogLevelNormal);
    for (const char* const name : {"/b.log", "/a.log"}) {
        installFile(folder + name);
        qzLog::msInstance->flush();
    }
    std::vector<std::thread> threads;
    for (const std::string& kind : kinds) {
        isForkedByNewThread = isForkedByNewThread || kind == "newthread";
        threads.emplace_back([&kind, &folder] { runThread(kind, folder); });
    }
    int waiting = 0;
    for (int i = 0; i < count && waiting < 3; ++i) {
        pid_t child = 0;
        if (isForkedByNewThread) {
            std::thread([&child, i] { child = forkReporter(i); }).join();
        } else {
            child = forkReporter(i);
        }
        waiting += hasEnded(child) ? 0 : 1;
    }
    gIsOver = true;
    for (std::thread& thread : threads)
        thread.join();
    qz::terminateQzSystem();
    show(folder, count, waiting);
    return 0;
}
