// SPDX-License-Identifier: MIT
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace qz::ext {

/// A thread that does one piece of work, and then waits for the end of its object.
///
/// The system kills a child at the end of the thread that has started it, not of the process. So
/// the start happens on a thread that lives as long as the child.
class LaunchThread {
public:
    /// Returns when the work is done. The work must not throw. The caller must have blocked all
    /// signals, which the thread inherits: a signal of the process is for a thread of the
    /// application.
    /// @throws std::system_error if there is no thread.
    explicit LaunchThread(const std::function<void()>& work);
    ~LaunchThread();
    LaunchThread(const LaunchThread&) = delete;
    LaunchThread& operator=(const LaunchThread&) = delete;

private:
    void run(const std::function<void()>& work);

    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mIsDone = false;   // guarded by mMutex
    bool mMustEnd = false;  // guarded by mMutex
    std::thread mThread;
};

}  // namespace qz::ext
