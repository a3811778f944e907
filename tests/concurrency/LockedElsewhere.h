// SPDX-License-Identifier: MIT
#pragma once

#include <future>
#include <thread>

#include <qz/qzMutex.h>

namespace qz {

/// Keeps a mutex locked by another thread until the end of a scope.
class LockedElsewhere {
public:
    explicit LockedElsewhere(qzMutex& mutex)
        : mThread([this, &mutex] {
              const qzMutexLocker locker(mutex);
              mLocked.set_value();
              mMayUnlock.get_future().wait();
          })
    {
        mLocked.get_future().wait();
    }
    ~LockedElsewhere()
    {
        mMayUnlock.set_value();
        mThread.join();
    }
    LockedElsewhere(const LockedElsewhere&) = delete;
    LockedElsewhere& operator=(const LockedElsewhere&) = delete;

private:
    std::promise<void> mLocked;
    std::promise<void> mMayUnlock;
    std::thread mThread;  // the last field: it uses the others
};

}  // namespace qz
