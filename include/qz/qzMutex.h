// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include <qz/qzExport.h>

namespace qz {

// Each lock works as soon as it is constructed. A construction before the library's full start is
// reported as a CRITICAL entry, since a light start is for one thread only.

/// A recursive mutex. A thread may lock it several times, and must unlock it as often.
class QZ_API qzMutex {
public:
    /// Makes an unlocked mutex.
    qzMutex();
    virtual ~qzMutex();
    qzMutex(const qzMutex&) = delete;
    qzMutex& operator=(const qzMutex&) = delete;

    /// Waits for the mutex and locks it.
    void lock();
    /// Locks the mutex unless another thread has locked it.
    /// @return whether the caller has locked it.
    bool tryLock();
    /// Unlocks the mutex once. The calling thread must have locked it.
    void unlock();

    /// The address of the system's mutex, for `qzWaitCondition`.
    void* getMutexData() const;

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

/// A recursive mutex with a timed try. It can't be used with `qzWaitCondition`.
class QZ_API qzMutex2 {
public:
    /// Makes an unlocked mutex.
    qzMutex2();
    virtual ~qzMutex2();
    qzMutex2(const qzMutex2&) = delete;
    qzMutex2& operator=(const qzMutex2&) = delete;

    /// Waits for the mutex and locks it.
    void lock();
    /// Locks the mutex unless another thread has locked it. It never waits.
    /// @param timeoutMs has no effect. Compatibility: callers treat it as a hint.
    /// @return whether the caller has locked it.
    bool tryLock(unsigned int timeoutMs);
    /// Unlocks the mutex once. The calling thread must have locked it.
    void unlock();

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

/// A lock between processes: a lock on a file in /var/lock. It doesn't exclude two threads that
/// share one object.
///
/// The file is neither truncated nor inherited by started programs, and links are not followed.
///
/// A forked child shares the lock with its parent: what it unlocks is unlocked for both, its `lock`
/// doesn't wait for the parent, and its destructor removes the file. A child that needs the lock
/// makes an object of its own.
class QZ_API qzMutexSystem {
public:
    /// Opens the lock file, or makes it. A failure, such as a link in its place, is reported;
    /// `lock` and `unlock` then do nothing.
    /// @param name identifies the lock; the file has "_" for each "/" and "." in it. Null stands
    /// for a random name, which no other process has.
    explicit qzMutexSystem(const char* name);
    /// Closes and removes the file. Other processes that have it open continue with a file without
    /// a name, and the next one makes a new file.
    ~qzMutexSystem();
    qzMutexSystem(const qzMutexSystem&) = delete;
    qzMutexSystem& operator=(const qzMutexSystem&) = delete;

    /// Waits for the lock and takes it. Signal handlers run during the wait, which then continues.
    void lock();
    /// Releases the lock.
    void unlock();

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

/// Locks a `qzMutex` until the end of a scope.
///
/// It may be unlocked and locked in between; a repeated call has no effect.
///
/// @code
/// const qzMutexLocker locker(mMutex);
/// ++mCount;
/// @endcode
class qzMutexLocker {
public:
    /// @param mutex must outlive the locker.
    /// @param lockNow false doesn't lock the mutex before `lock`.
    explicit qzMutexLocker(qzMutex& mutex, bool lockNow = true) : mMutex(&mutex)
    {
        if (lockNow) lock();
    }
    /// Unlocks the mutex if the locker has locked it.
    ~qzMutexLocker() { unlock(); }
    qzMutexLocker(const qzMutexLocker&) = delete;
    qzMutexLocker& operator=(const qzMutexLocker&) = delete;

    /// Locks the mutex, unless the locker has locked it.
    void lock();
    /// Unlocks the mutex, if the locker has locked it.
    void unlock();
    /// Whether the locker has locked the mutex.
    bool isLocked() { return mLocked; }

private:
    qzMutex* mMutex;
    bool mLocked = false;
};

inline void qzMutexLocker::lock()
{
    if (mLocked) return;
    mMutex->lock();
    mLocked = true;
}

inline void qzMutexLocker::unlock()
{
    if (!mLocked) return;
    mLocked = false;
    mMutex->unlock();
}

}  // namespace qz
