// SPDX-License-Identifier: MIT
#pragma once

#include <list>
#include <memory>
#include <string>

#include <qz/qzExport.h>
#include <qz/qzMutex.h>
#include <qz/qzWaitCondition.h>

namespace qz {

/// Something that can be run.
class QZ_API qzRunnableInterface {
public:
    virtual ~qzRunnableInterface();
    /// Does the work.
    virtual void run() = 0;
    /// The name of the work.
    virtual const char* getRunnableName() const = 0;
};

/// A thread. A subclass implements its body, `run`.
///
/// An exception or a crash in `run` is reported in the log and then ends the process, so `run` must
/// catch the exceptions that the process should survive. A subclass must end its loop and wait for
/// the thread in its own destructor, since the destructor of this class can no longer call its
/// `run`.
///
/// @code
/// class Greeter : public qzThread {
/// public:
///     ~Greeter() override { waitThread(msNoLimit); }
///     void run() override { logInfo() << "hello from thread " << getThreadId(); }
/// };
///
/// Greeter greeter;
/// greeter.startThread("greeter");
/// @endcode
///
/// Threads: start and wait from one thread; the other functions from any.
class QZ_API qzThread {
public:
    /// A timeout for `waitThread` that never expires.
    static constexpr int msNoLimit = 0x7fffffff;

    /// Makes a thread that isn't started. Before the library's full start this is reported as a
    /// CRITICAL entry, but the thread works.
    qzThread();
    /// Waits for the thread without a timeout.
    virtual ~qzThread();
    qzThread(const qzThread&) = delete;
    qzThread& operator=(const qzThread&) = delete;

    /// The body of the thread. It may also end the thread by `pthread_exit`.
    virtual void run() = 0;

    /// Starts the thread. Does nothing if it was started and not waited for since.
    /// @param name part of the thread's description; null stands for the name of the object's type.
    /// @throws std::system_error if the system can't make a thread; `isRunning` is then true for
    /// ever.
    void startThread(const char* name);
    /// Waits for the end of `run` and joins the system's thread, which may then be started again.
    /// @param timeoutMs milliseconds. The end is checked every 15 ms, so 0 may sleep that long too;
    /// a negative value only checks. With `msNoLimit` the call waits for the end itself.
    /// @return false if the timeout expired, or if there is no started thread.
    /// @throws std::system_error if a thread waits for itself with `msNoLimit`.
    bool waitThread(int timeoutMs);

    /// True from `startThread` until `run` has ended.
    bool isRunning() const;
    /// True if the thread was never started, or was waited for. Between the end of `run` and the
    /// wait both this and `isRunning` are false.
    bool isFinished() const;
    /// The number of the thread in the C++ library, from the start of `run` until the wait;
    /// otherwise "InvalidThread". It is not the number of `CurrentThreadId`.
    std::string getThreadId();

    /// The kernel's number of the calling thread in decimal, as log lines show it.
    ///
    /// The text is made at the first call on a thread and is valid as long as the thread. In a
    /// forked child a text that was made before the fork still has the parent's number.
    static const std::string& CurrentThreadId();

    /// Sleeps. The microseconds are calculated in 32 bits, so 4295 seconds wrap around to 33 ms. A
    /// signal ends the sleep early.
    static void sleep(unsigned long seconds);
    /// Sleeps. The microseconds are calculated in 32 bits and wrap around from 4294968 ms on. A
    /// signal ends the sleep early.
    static void msleep(unsigned long milliseconds);
    /// Sleeps. Only the low 32 bits are used. A signal ends the sleep early.
    static void usleep(unsigned long microseconds);

    /// Runs `run` inside the library's guard. For the library's own use.
    static void Run(qzThread* thread);
    /// Calls `run` of the `qzThread` at `thread`. For the library's own use.
    static void RunImpl(void* thread);

protected:
    /// Starts the thread as `startThread` does, with the signals blocked that the library watches
    /// and that come from outside, such as SIGINT. They reach the other threads of the process.
    /// @throws std::system_error as `startThread` does.
    void startThreadWithSignalsBlocked(const char* name);
    /// Lets the system's thread go, if it is the calling one: nobody can wait for it any more. For
    /// destructors that may run on the object's own thread, as those of static objects do when that
    /// thread ends the process.
    /// @return whether it was the calling thread.
    bool releaseOwnThread();
    /// Ends a loop of `run` and waits for the thread, from the destructor of a class of the
    /// library. In a forked child, where the thread doesn't exist, it takes no lock; on the
    /// object's own thread it is `releaseOwnThread`.
    /// @param stopRequested set with `mutex` locked; the loop waits on `wake` and checks it.
    QZ_LOCAL void stopThread(qzMutex& mutex, qzWaitCondition& wake, bool& stopRequested);

private:
    friend class qzThreadTestPeer;
    struct Cell;

    QZ_LOCAL bool waitForEnd(int timeoutMs) const;
    QZ_LOCAL void describe(const char* name) noexcept;
    QZ_LOCAL bool isInherited() const;
    QZ_LOCAL void forgetInherited();

    std::unique_ptr<Cell> mThread;
    std::string mDescription;
    bool mRunning = false;  // written by the starter and the thread, read by all
};

/// Calls functions at a fixed period, on a thread of its own.
///
/// Whenever the thread wakes up, it calls all functions: after each period, when one is added, and
/// a last time when the object is destroyed. A thread that hasn't begun by then calls none.
///
/// @code
/// qzThreadPeriodicalUpdater updater(60);
/// updater.addCallback([](void* data) { static_cast<Cache*>(data)->refresh(); }, &cache);
/// @endcode
class QZ_API qzThreadPeriodicalUpdater : public qzThread {
public:
    /// A function and its argument.
    struct CallbackInfo {
        /// Makes an entry without a function.
        CallbackInfo() = default;

        void (*callback)(void*) = nullptr;  ///< The function.
        void* userData = nullptr;           ///< Its argument; not owned.
    };

    /// Starts the thread, which sleeps until there is a function to call.
    /// @param periodSeconds 0 is taken as 1. The milliseconds are calculated in 32 bits, so 4294968
    /// seconds and more wrap around; 536870912 make 0, and the thread then calls without a pause.
    explicit qzThreadPeriodicalUpdater(unsigned int periodSeconds);
    /// Calls all functions a last time, if the thread has begun, and ends the thread.
    ~qzThreadPeriodicalUpdater() override;

    /// Adds a function and makes the thread call all of them at once. A thread that has just been
    /// started may call them after its first period. A function may add others. The call waits
    /// while functions run.
    void addCallback(void (*callback)(void*), void* userData);
    /// Removes the first entry with this function and argument, if there is one. A function must
    /// not remove its own entry. The call waits while functions run, so the function isn't running
    /// any more when it returns.
    void removeCallback(void (*callback)(void*), void* userData);

    /// The loop of the thread.
    void run() override;

private:
    friend class qzThreadTestPeer;

    std::list<CallbackInfo> mCallbacks;  // guarded by mMutex
    qzMutex mMutex;                      // held during the calls too
    qzWaitCondition mWake;
    unsigned int mPeriodMs;
    bool mStopRequested = false;  // guarded by mMutex
};

}  // namespace qz
