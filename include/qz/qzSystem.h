// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>

/// Everything of libqzSystem.
namespace qz {

/// The parts of the library that a start makes available.
enum InitType : int {
    LightInit = 1,  ///< Services for one thread only: no thread and no lock is created.
    FullInit = 2,   ///< The light start, then everything that several threads need.
};

/// Starts the library, or increments the count of its starts.
///
/// Each call must be matched by one `terminateQzSystem`. A process may start light and start full
/// later; it stays full until the last stop. A value that is not in `InitType` is ignored without a
/// report.
///
/// A full start creates the log thread and one worker of the default pool for each processor (none
/// on a machine with one). It ignores SIGPIPE, and installs handlers for 22 other signals: a crash
/// on any thread, SIGINT, SIGQUIT, SIGHUP and SIGSYS are reported in the log and become exceptions;
/// the others, SIGTERM among them, are reported and passed on to the previous action. The handlers
/// stay installed after a stop, and then pass every signal on.
///
/// @code
/// int main()
/// {
///     qz::initializeQzSystem(qz::FullInit);
///     const int status = runApplication();
///     qz::terminateQzSystem();
///     return status;
/// }
/// @endcode
///
/// Threads: no other thread may use the library during the call.
/// @param type the kind of start.
/// @param probeMainDisk makes a full start look up the main disk at once.
/// @throws std::system_error if the system can't create one of the threads. The start is then full,
///     but without the services that come after: without the log thread there is no pool, and
///     without either of them there are no handlers.
/// @throws std::bad_alloc without memory.
///     A start that throws counts as well, and must be matched by a stop.
QZ_API void initializeQzSystem(InitType type, bool probeMainDisk = false);

/// Undoes one start. The last call stops all services.
///
/// A stop must not be called without a start: the count of starts would wrap around, and the next
/// start would start nothing. Threads: no other thread may use the library during the call; threads
/// may end.
QZ_API void terminateQzSystem();

/// Whether the library is in the full state, so that several threads may use it.
///
/// Calls `CheckIfProcessForkAfterThreadSafeInit` first. In a forked child of a full process the
/// result is still true, and every call reports the fork.
QZ_API bool IsQzSystemThreadSafe();

/// Writes a CRITICAL report if this process is a forked child of the one that was started full.
///
/// Does nothing outside the full state. Each call in the child reports again.
QZ_API void CheckIfProcessForkAfterThreadSafeInit();

/// For libraries that are built on this one.
namespace impl {

/// Counts the starts of a library, as this library counts its own.
///
/// Threads: no call takes a lock; start and stop from one thread.
class QZ_API LibInitCounter {
public:
    /// A switch for warnings about early use. The library only stores it.
    static bool msLibInitWarnings;

    /// Makes a counter at 0.
    /// @param name the name of the counter; null stands for "n/a".
    /// @param flag stored only.
    LibInitCounter(const char* name, bool flag);

    /// Adds 1. @return true if the count is now 1.
    bool incrementInitCounter();
    /// Subtracts 1; 0 wraps around to the largest count. @return true if the count was 1.
    bool decrementInitCounter();
    /// The number of starts that are not undone yet.
    unsigned getInitCounter() const;
    /// Sets the count to 0.
    void clearInitCounter();
    /// Whether the count is not 0.
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
