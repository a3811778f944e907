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
    /// What the work is called.
    virtual const char* getRunnableName() const = 0;
};

/// A thread: a subclass says in `run` what it does.
///
/// An exception or a crash in `run` is reported in the log, and then ends the process: a body that
/// is to survive its exceptions catches them. A subclass ends its loop and waits for the thread in
/// its own destructor; the one of this class can no longer reach `run`.
/// Threads: start and wait from one thread; ask from any, but for the id not while another waits.
class QZ_API qzThread {
public:
    /// A time for `waitThread` that never runs out.
    static constexpr int msNoLimit = 0x7fffffff;

    /// Makes a thread that isn't started. One that is made ahead of the library's full start is
    /// reported as a CRITICAL entry, and works.
    qzThread();
    /// Waits for the thread without a limit.
    virtual ~qzThread();
    qzThread(const qzThread&) = delete;
    qzThread& operator=(const qzThread&) = delete;

    /// The body of the thread.
    virtual void run() = 0;

    /// Starts the thread. Does nothing for a thread that was started and not waited for since.
    /// @param name part of the thread's description; null takes the name of the object's type.
    /// @throws std::system_error when the system gives no thread; the object then counts as running
    ///     for good.
    void startThread(const char* name);
    /// Waits for the end of `run` and gives the system's thread back; then it may be started again.
    /// @param timeoutMs milliseconds, in steps of 15; `msNoLimit` waits for ever, without steps.
    /// @return false when the time ran out, or there is no started thread to wait for.
    /// @throws std::system_error when a thread waits for itself without a limit.
    bool waitThread(int timeoutMs);

    /// True from the start until `run` has returned.
    bool isRunning() const;
    /// True for a thread that was never started or was waited for: not yet at the end of `run`.
    bool isFinished() const;
    /// The C++ library's number of the thread, or "InvalidThread" for one that isn't started. It is
    /// not the number of `CurrentThreadId`.
    std::string getThreadId();

    /// The kernel's number of the calling thread, in decimal, as log lines show it.
    ///
    /// The text is made at the first call on a thread and lives as long as the thread. In a forked
    /// child a text that was made before the fork keeps the parent's number.
    static const std::string& CurrentThreadId();

    /// Sleeps for seconds, counted in microseconds of 32 bits: 4295 seconds wrap around to 33 ms.
    static void sleep(unsigned long seconds);
    /// Sleeps for milliseconds, counted in microseconds of 32 bits: it wraps from 4294968 on.
    static void msleep(unsigned long milliseconds);
    /// Sleeps for microseconds, of which the low 32 bits count.
    static void usleep(unsigned long microseconds);

    /// What the new thread runs: the body inside the guard of the library. For the library's use.
    static void Run(qzThread* thread);
    /// What the guard runs: the body of the `qzThread` at `thread`. For the library's use.
    static void RunImpl(void* thread);

protected:
    /// Lets the system's thread go, if it is the calling one: nobody can wait for it any more. For
    /// destructors that may run on the object's own thread, as those of static objects do when that
    /// thread ends the process.
    /// @return whether it was the calling thread.
    bool releaseOwnThread();

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
/// Whatever wakes the thread runs all functions: so they run at once when one is added, and a last
/// time when the object goes.
class QZ_API qzThreadPeriodicalUpdater : public qzThread {
public:
    /// A function to call, and what to call it with.
    struct CallbackInfo {
        /// Makes an entry that names nothing.
        CallbackInfo() = default;

        void (*callback)(void*) = nullptr;  ///< The function.
        void* userData = nullptr;           ///< Its argument; not owned.
    };

    /// Starts the thread, which sleeps until there is a function to call.
    /// @param periodSeconds 0 acts as 1.
    explicit qzThreadPeriodicalUpdater(unsigned int periodSeconds);
    /// Calls all functions once more, and ends the thread.
    ~qzThreadPeriodicalUpdater() override;

    /// Adds a function and runs all of them at once; a thread that is only just coming up runs them
    /// after its first period. A function may add others.
    void addCallback(void (*callback)(void*), void* userData);
    /// Removes the first entry with this function and argument, if there is one. A function must
    /// not remove its own entry while it runs.
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
