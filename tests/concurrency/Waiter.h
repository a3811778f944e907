// SPDX-License-Identifier: MIT
#pragma once

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "support/Waiting.h"

namespace qz {

/// Whether a thread sleeps, by its kernel's number; 0 is no thread yet.
inline bool isAsleep(long kernelId)
{
    if (kernelId == 0) return false;
    std::ifstream file("/proc/self/task/" + std::to_string(kernelId) + "/stat");
    std::string text;
    std::getline(file, text);
    return text.find(") S ") != std::string::npos;  // after the name in parentheses
}

/// Runs a piece of work that may have to wait, on a thread of its own.
class Waiter {
public:
    explicit Waiter(const std::function<void()>& work)
        : mThread([this, work] {
              mKernelId = ::syscall(SYS_gettid);
              work();
              mIsDone = true;
          })
    {
    }
    ~Waiter() { mThread.join(); }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    bool isDone() const { return mIsDone; }
    /// Waits until the work has ended.
    bool awaitDone() const
    {
        return support::waitUntil([this] { return isDone(); });
    }
    /// Waits until the thread sleeps, which most likely means that the work waits. What a test then
    /// claims must hold anyway.
    bool awaitSleep() const
    {
        return support::waitUntil([this] { return mIsDone || isAsleep(mKernelId); });
    }

private:
    std::atomic<long> mKernelId = 0;
    std::atomic<bool> mIsDone = false;
    std::thread mThread;
};

}  // namespace qz
