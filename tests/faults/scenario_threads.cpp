// SPDX-License-Identifier: MIT
// A lock between processes, a thread, and a wait that runs out.

#include <unistd.h>

#include <atomic>
#include <string>
#include <system_error>

#include <qz/qzLog.h>
#include <qz/qzMutex.h>
#include <qz/qzThread.h>
#include <qz/qzWaitCondition.h>

#include "faults/Scenario.h"
#include "support/LibraryStart.h"

namespace {

const std::string kName = "qz-faults-" + std::to_string(::getpid());
const std::string kPath = "/var/lock/" + kName;

bool hasLockFile()
{
    return ::access(kPath.c_str(), F_OK) == 0;
}

std::string takeLock()
{
    bool isThere = false;
    {
        qz::qzMutexSystem lock(kName.c_str());
        lock.lock();
        isThere = hasLockFile();
        lock.unlock();
    }
    return isThere ? "file" : "no file";
}

class CountingThread : public qz::qzThread {
public:
    explicit CountingThread(std::atomic<int>& runs) : mRuns(runs) {}
    ~CountingThread() override { waitThread(msNoLimit); }
    void run() override { ++mRuns; }

private:
    std::atomic<int>& mRuns;
};

std::string runThread()
{
    std::atomic<int> runs = 0;
    CountingThread thread(runs);
    try {
        thread.startThread("counting");
    } catch (const std::system_error& error) {
        return std::string(error.what()) + (thread.isRunning() ? ", running" : ", not running") +
               (thread.waitThread(qz::qzThread::msNoLimit) ? ", ended" : "");
    }
    thread.waitThread(qz::qzThread::msNoLimit);
    return "ran " + std::to_string(runs);
}

std::string waitForNothing()
{
    qz::qzMutex mutex;
    qz::qzWaitCondition condition;
    const qz::qzMutexLocker locker(mutex);
    return condition.wait(&mutex, 0) ? "woken" : "over";
}

std::string work(const std::string& /*folder*/)
{
    std::string outcome;
    {
        const qz::faults::Watch watch;
        outcome = takeLock() + "; " + runThread() + "; " + waitForNothing();
    }
    if (!hasLockFile()) return outcome;
    ::unlink(kPath.c_str());
    return outcome + "; file kept";
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    const qz::support::LibraryStart library(qz::FullInit);
    qz::qzLog::msInstance->setEchoToConsole(false);
    return qz::faults::runScenario(argumentCount, arguments, &work);
}
