// SPDX-License-Identifier: MIT
#pragma once

#include <list>
#include <memory>
#include <string>

#include <qz/ext/SystemFailure.h>
#include <qz/qzExport.h>
#include <qz/qzLog.h>

namespace qz::ext {

/// Where `CrashKit` writes, and how long a crash may take.
struct CrashOptions {
    /// The folder of the reports, in UTF-8. It is made if it is missing.
    std::string folder;
    /// How many bytes of the last log entries are kept: 4096 to 64 MiB.
    unsigned long entryBytes = 1024UL * 1024;
    /// Whether the kit receives the entries by the log's custom handler, which it shares with a
    /// `LogOutletInstallation`. A program that has a handler of its own passes it below, or sets
    /// this to false and calls `CrashKit::KeepEntries` in it.
    bool usesLogHandler = true;
    /// Called with each batch after the kit and the outlets of LogTools.h; see
    /// `qzLog::installCustomHandler`. May be null.
    qzLog::CustomHandler nextHandler = nullptr;
    /// Passed to `nextHandler`; not owned.
    void* nextHandlerData = nullptr;
    /// Milliseconds after which a report that hangs is ended.
    int reportLimitMs = 3000;
    /// Milliseconds that the handlers have which were installed before the kit, the library's own
    /// among them. Then the process is ended by the signal of the crash.
    int handlingLimitMs = 1500;
};

/// Leaves a report when the process crashes, and the last log entries even after `kill -9`.
///
/// One call after the full start installs it:
///
/// @code
/// const qz::ext::LibraryStart library(qz::FullInit);
/// qz::ext::CrashOptions options;
/// options.folder = folder;  // for example "/var/lib/shop/crashes"
/// qz::ext::SystemFailure failure;
/// if (!qz::ext::CrashKit::Install(options, &failure)) qz::logWarning() << failure.toString();
/// @endcode
///
/// The report covers SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS and
/// `std::terminate`: the signal with its code and address, the exception's type and text, the
/// thread, the registers, and the addresses of the calls with the build ids of their files. The
/// command `qz-crash` shows it. It is written without memory, locks and new descriptors, into a
/// file whose space on the disk is allocated by `Install`. Afterwards the handler goes on that was
/// installed before, as a rule the library's, which reports to the log and throws. If the exception
/// is caught, the process lives on and may leave further reports. Of many hundreds, the first and
/// the last ones remain.
///
/// The same file holds the last log entries, which the log's own thread copies to mapped memory of
/// the file. An entry that is queued but not yet written when `kill -9` comes is lost. The file
/// must not be cut while the process runs.
///
/// If nothing was reported, the file is removed by `Remove` or when the process ends by `exit`. It
/// remains if the process is killed, ends by `_exit` or a signal such as SIGTERM, or executes
/// another program.
///
/// A stack overflow is only reported on a thread that has an alternate signal stack:
/// - `Install` gives one to each thread that exists. The others than the caller receive a real-time
///   signal for that, which may interrupt a system call of theirs (EINTR) once. A thread that
///   blocks all signals or waits for them by `sigwait` is left alone. See also `CoverThreads`.
/// - Threads of `qzThread` that start later get one by themselves.
/// - Any other thread that starts later, such as a `std::thread`, has none, and its stack overflow
///   ends the process without a report, unless it has a `CrashStack` object or `CoverThreads` is
///   called meanwhile: the system reports the start of a thread to nobody.
/// - A thread that has an alternate stack of its own keeps that. The report takes about 16 KiB of
///   it, and the library's handler about 32 KiB more.
///
/// The kit uses the highest real-time signal that has no handler. It needs a full start: with a
/// light one `Install` fails. In a forked child it is not installed: a crash of the child goes to
/// the handlers that were installed before, and the child may call `Install` itself. Call `Remove`
/// before the library's stop, or `Install` again after the next start.
///
/// Threads: `Install`, `Remove` and `CoverThreads` from one thread at a time, and never in a custom
/// handler of the log.
class QZ_API CrashKit {
public:
    CrashKit() = delete;

    /// Makes the file of the report and installs the handlers. An earlier installation ends after
    /// that, as by `Remove`; after a failure it stays.
    /// @param failure receives the reason if the result is false: EINVAL for impossible options,
    ///     EPERM without a full start, EBUSY if the log has a custom handler of the program, ENOSPC
    ///     for a full disk, and so on; may be null.
    static bool Install(const CrashOptions& options, SystemFailure* failure = nullptr);
    /// Restores the previous handlers and closes the file, which is removed if nothing was
    /// reported. Does nothing if the kit isn't installed.
    static void Remove();
    /// Whether the kit is installed in this process.
    static bool IsInstalled();
    /// The path of the file in UTF-8; empty if the kit isn't installed.
    static std::string GetFilePath();
    /// Gives an alternate signal stack to each thread that has none, as `Install` does; for threads
    /// that other libraries have started since.
    /// @return false if the kit isn't installed, or if a thread has no stack, because it blocks all
    ///     signals or waits for them by `sigwait`, wasn't scheduled within 5 seconds, or there is
    ///     no memory.
    static bool CoverThreads();
    /// Keeps entries: for a custom handler of the log. Does nothing if the kit isn't installed.
    /// Threads: one at a time, as the log calls its handler.
    static void KeepEntries(const std::list<qzLog::LogEntry>& batch);
};

/// An alternate signal stack for the calling thread, so that a stack overflow is reported there
/// too. For threads that start after `CrashKit::Install` and aren't of `qzThread`:
///
/// @code
/// std::thread worker([] {
///     const qz::ext::CrashStack stack;
///     doWork();
/// });
/// @endcode
///
/// Does nothing on a thread that has an alternate stack, and without memory.
/// Threads: made and destroyed on one thread, whose work is done in between.
class QZ_API CrashStack {
public:
    /// Sets up the stack.
    CrashStack();
    /// Takes it away.
    ~CrashStack();
    CrashStack(const CrashStack&) = delete;
    CrashStack& operator=(const CrashStack&) = delete;

private:
    struct QZ_LOCAL Stack;
    std::unique_ptr<Stack> mStack;  // null if the thread had one
};

}  // namespace qz::ext
