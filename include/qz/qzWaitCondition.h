#pragma once

#include <memory>

#include <qz/qzExport.h>

namespace qz {

class qzMutex;

/// Lets threads wait until another one says that something has changed.
///
/// A wait may end without a reason, so test what was waited for in a loop. A condition that is made
/// ahead of the library's full start works, and is reported as a CRITICAL entry.
class QZ_API qzWaitCondition {
public:
    /// Makes a condition that nobody waits for.
    qzWaitCondition();
    virtual ~qzWaitCondition();
    qzWaitCondition(const qzWaitCondition&) = delete;
    qzWaitCondition& operator=(const qzWaitCondition&) = delete;

    /// The time for a wait without a limit.
    static constexpr unsigned long msNoLimit = ~0UL;

    /// Gives the mutex back, waits, and takes the mutex again.
    /// @param mutex held by the caller, once: of several levels only one is given back.
    /// @param timeMs milliseconds, by the wall clock: a change of that clock moves the end.
    /// @return false when the time ran out, or there was no clock to measure it.
    bool wait(qzMutex* mutex, unsigned long timeMs);
    /// Ends the waits of all threads.
    void wakeAll();
    /// Ends the wait of one thread, if any waits.
    void wakeOne();

    /// Chooses how conditions are made; there is one way here, so nothing is left to do.
    static void FindBestImplementation();

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

}  // namespace qz
