// SPDX-License-Identifier: MIT
// Children that begin one log file at the same moment, each with a line:
//     log_first_lines FOLDER CHILDREN ROUNDS
//
// Each round has new children and a new file, FOLDER/log.txt, which is empty when they begin. Every
// other child has a log thread. Shows "rounds N" and, for each round whose file isn't one byte
// order mark and then a line of each child, the file.

#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <new>
#include <string>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzSystem.h>

namespace {

using qz::qzLog;

const std::string kByteOrderMark = "\xEF\xBB\xBF";

std::atomic<int>* shareCounter()
{
    void* const place = ::mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                               MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return place == MAP_FAILED ? nullptr : new (place) std::atomic<int>(0);
}

void runChild(const std::string& path, int child, std::atomic<int>& ready, int children)
{
    qz::initializeQzSystem(child % 2 == 0 ? qz::LightInit : qz::FullInit);
    qzLog& log = *qzLog::msInstance;
    log.installFileHandlerExUtf8(path, /*flags=*/0, /*maxSize=*/-1, /*maxFiles=*/-1,
                                 qzLog::RotateNever);
    log.flush();
    ++ready;
    while (ready < children)
        ::sched_yield();
    qz::logInfo() << "child " << child;
    qz::terminateQzSystem();
}

// What the children leave in the file.
std::string runRound(const std::string& path, int children, std::atomic<int>& ready)
{
    ::unlink(path.c_str());
    ready = 0;
    for (int child = 0; child < children; ++child) {
        const pid_t pid = ::fork();
        if (pid < 0) std::exit(3);
        if (pid != 0) continue;
        runChild(path, child, ready, children);
        ::_exit(0);
    }
    while (::wait(nullptr) > 0) {
    }
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool isWhole(const std::string& content, int children)
{
    return content.rfind(kByteOrderMark) == 0 &&
           std::count(content.begin(), content.end(), '\n') == children;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 4) return 2;
    const std::string path = std::string(arguments[1]) + "/log.txt";
    const int children = std::atoi(arguments[2]);
    const int rounds = std::atoi(arguments[3]);
    std::atomic<int>* const ready = shareCounter();
    if (ready == nullptr) return 4;
    for (int round = 0; round < rounds; ++round) {
        const std::string content = runRound(path, children, *ready);
        if (!isWhole(content, children)) std::cout << "round " << round << ": " << content;
    }
    std::cout << "rounds " << rounds << '\n';
    return 0;
}
