// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include <qz/qzExport.h>

namespace qz {

class qzMutex;

/// Lets threads wait until another thread reports a change.
///
/// A wait may end without a report, so it must be in a loop that checks the condition. A
/// construction before the library's full start is reported as a CRITICAL entry, but the object
/// works.
///
/// @code
/// qzMutexLocker locker(mMutex);
/// while (mQueue.empty()) mChanged.wait(&mMutex, qzWaitCondition::msNoLimit);
/// @endcode
class QZ_API qzWaitCondition {
public:
    /// Makes a condition without waiting threads.
    qzWaitCondition();
    virtual ~qzWaitCondition();
    qzWaitCondition(const qzWaitCondition&) = delete;
    qzWaitCondition& operator=(const qzWaitCondition&) = delete;

    /// A timeout that never expires.
    static constexpr unsigned long msNoLimit = ~0UL;

    /// Unlocks the mutex, waits, and locks the mutex again.
    /// @param mutex must be locked by the caller exactly once, since it is unlocked once.
    /// @param timeMs timeout in milliseconds of the wall clock: setting that clock moves the end.
    /// The whole seconds are calculated in 32 bits and wrap around beyond 2147483647.
    /// @return false if the timeout expired, or if the clock can't be read; true after any other
    /// error.
    bool wait(qzMutex* mutex, unsigned long timeMs);
    /// Ends the waits of all threads.
    void wakeAll();
    /// Ends the wait of one thread, if any waits.
    void wakeOne();

    /// Chooses an implementation. There is only one on this platform, so it does nothing.
    static void FindBestImplementation();

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

}  // namespace qz
