#pragma once

#include <qz/qzExport.h>
#include <qz/qzMutex.h>
#include <qz/qzWaitCondition.h>

namespace qz {

/// Counts things that threads take and give back, any number at a time.
class QZ_API qzSemaphore {
public:
    /// @param resources how many there are at the start.
    explicit qzSemaphore(unsigned int resources);
    ~qzSemaphore();
    qzSemaphore(const qzSemaphore&) = delete;
    qzSemaphore& operator=(const qzSemaphore&) = delete;

    /// Waits until `count` can be taken at once, and takes them; 0 passes at once.
    void acquire(unsigned int count);
    /// Adds `count`, and lets all who wait look again; 0 does nothing.
    void release(unsigned int count);
    /// How many there are right now; already stale when others take or give.
    unsigned int getNoResources() const;

private:
    qzMutex mMutex;
    qzWaitCondition mReleased;
    unsigned int mResources;  // changed under mMutex, read without
};

}  // namespace qz
