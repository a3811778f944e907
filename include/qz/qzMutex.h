#pragma once

#include <memory>

#include <qz/qzExport.h>

namespace qz {

// Each lock here works from its making on. One that is made ahead of the library's full start is
// reported as a CRITICAL entry, since nothing in a light start is meant for several threads.

/// A recursive mutex: a thread that holds it may lock it again, and unlocks it as often.
class QZ_API qzMutex {
public:
    /// Makes a free mutex.
    qzMutex();
    virtual ~qzMutex();
    qzMutex(const qzMutex&) = delete;
    qzMutex& operator=(const qzMutex&) = delete;

    /// Waits for the mutex and takes it.
    void lock();
    /// Takes the mutex if no other thread holds it.
    /// @return whether the caller has it now.
    bool tryLock();
    /// Gives back one level of the caller's hold.
    void unlock();

    /// The address of the platform's mutex, for `qzWaitCondition`.
    void* getMutexData() const;

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

/// A recursive mutex whose try takes a timeout. No condition waits with it.
class QZ_API qzMutex2 {
public:
    /// Makes a free mutex.
    qzMutex2();
    virtual ~qzMutex2();
    qzMutex2(const qzMutex2&) = delete;
    qzMutex2& operator=(const qzMutex2&) = delete;

    /// Waits for the mutex and takes it.
    void lock();
    /// Takes the mutex if no other thread holds it. It never waits: callers take the time for a
    /// hint.
    /// @param timeoutMs a hint.
    /// @return whether the caller has it now.
    bool tryLock(unsigned int timeoutMs);
    /// Gives back one level of the caller's hold.
    void unlock();

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

/// A lock between processes, held in a file under /var/lock. It doesn't keep two threads apart that
/// share the object.
class QZ_API qzMutexSystem {
public:
    /// Opens the lock file, and makes it when there is none. A failure is reported; `lock` and
    /// `unlock` then do nothing.
    /// @param name what processes share; "/" and "." in it stand as "_" in the file's name. Null
    ///     makes a random name, which no other process has.
    explicit qzMutexSystem(const char* name);
    /// Removes the file. Who holds it open then goes on with a file that has no name, and the next
    /// to come makes a new one.
    ~qzMutexSystem();
    qzMutexSystem(const qzMutexSystem&) = delete;
    qzMutexSystem& operator=(const qzMutexSystem&) = delete;

    /// Waits for the lock and takes it.
    void lock();
    /// Gives the lock back.
    void unlock();

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

/// Holds a `qzMutex` for a scope.
///
/// Both steps may be repeated: a lock that is held isn't taken twice.
class qzMutexLocker {
public:
    /// @param mutex must outlive the locker.
    /// @param lockNow false leaves the mutex alone until `lock`.
    explicit qzMutexLocker(qzMutex& mutex, bool lockNow = true) : mMutex(&mutex)
    {
        if (lockNow) lock();
    }
    /// Gives the mutex back if it is held.
    ~qzMutexLocker() { unlock(); }
    qzMutexLocker(const qzMutexLocker&) = delete;
    qzMutexLocker& operator=(const qzMutexLocker&) = delete;

    /// Takes the mutex, unless the locker has it.
    void lock();
    /// Gives the mutex back, if the locker has it.
    void unlock();
    /// Tells whether the locker holds the mutex.
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
