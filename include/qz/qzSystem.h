#pragma once

#include <string>

#include <qz/qzExport.h>

/// Everything of libqzSystem.
namespace qz {

/// How much of the library a start brings up.
enum InitType : int {
    LightInit = 1,  ///< Services for one thread only: no thread and no lock is made.
    FullInit = 2,   ///< The light start, then everything that concurrency needs.
};

/// Starts the library, or adds one to the count of its starts.
///
/// Every call wants one `terminateQzSystem`. A process may start light and start full later; the
/// first full start makes the whole process full, until the last stop. Any value that is not of
/// `InitType` is ignored without a report.
///
/// A full start gives the log a thread and installs handlers for 23 signals: a crash on any thread
/// and most requests to end are reported in the log, and become exceptions. The handlers stay
/// behind a stop, when they pass every signal on to what was there before.
/// Threads: call it while no other thread uses the library.
/// @param type the strength asked for.
/// @param probeMainDisk asks a full start to look up the main disk at once; a light start takes no
///     notice of it.
/// @throws std::system_error when the system gives no thread to the log; that start is then full
///     without a log thread and without the handlers, and wants its stop all the same.
QZ_API void initializeQzSystem(InitType type, bool probeMainDisk = false);

/// Undoes one start; the last one takes all services down, whatever the strength of the starts.
///
/// There is no guard against a stop without a start: it makes the count of starts wrap around, and
/// the next start brings no services up.
/// Threads: call it while no other thread uses the library.
QZ_API void terminateQzSystem();

/// Tells whether the library runs in the full state, so that several threads may use it.
///
/// Runs `CheckIfProcessForkAfterThreadSafeInit` first. In a forked child of a full process the
/// answer stays true, and every call reports the fork.
QZ_API bool IsQzSystemThreadSafe();

/// Writes a CRITICAL report when this process is a forked child of the one that was started full.
///
/// Does nothing outside the full state. Nothing is repaired in the child, so each call reports
/// again.
QZ_API void CheckIfProcessForkAfterThreadSafeInit();

/// Parts of the library that only libraries built on it use.
namespace impl {

/// Counts the starts of a library, so that a library built on this one can keep the same account.
///
/// Threads: none of its calls takes a lock; start and stop from one thread.
class QZ_API LibInitCounter {
public:
    /// A switch for warnings about early use. The library stores it and reads it nowhere.
    static bool msLibInitWarnings;

    /// Makes a counter at 0.
    /// @param name what is counted; copied, and "n/a" for null.
    /// @param flag kept for the owner of the counter; nothing here reads it.
    LibInitCounter(const char* name, bool flag);

    /// Adds one. @return true when the count is now exactly 1.
    bool incrementInitCounter();
    /// Subtracts one, from 0 around to the largest count. @return true when the count was 1.
    bool decrementInitCounter();
    /// Gives the starts that are not undone yet.
    unsigned getInitCounter() const;
    /// Sets the count to 0.
    void clearInitCounter();
    /// Tells whether the count is not 0.
    bool isInitialized() const;

    /// Stores `msLibInitWarnings`.
    static void SetLibInitWarningsEnabled(bool enabled);

private:
    friend class LibInitCounterTestPeer;

    unsigned mCount = 0;
    bool mTouched = false;  // set by every increment, never cleared
    bool mFlag;
    std::string mName;
};

}  // namespace impl

}  // namespace qz
