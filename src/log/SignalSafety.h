// SPDX-License-Identifier: MIT
#pragma once

#include "frame/base/ScopedSignalBlock.h"

// Who may be interrupted by a watched signal, and what happens then.
//
// "Asynchronous" are the signals of the table that come from outside, such as SIGTERM and SIGINT.
// "Faults" come from what a thread itself does, such as SIGSEGV; nothing can block them.
//
//   The interrupted thread ...          asynchronous signal           fault
//   ----------------------------------  ----------------------------  -----------------------------
//   is outside of the log, also while   is reported through the log   is reported in the same way,
//   it holds the lock of stdout         thread, which never waits     and thrown
//                                       for that lock
//   locks, holds or unlocks the log's   is reported at once, on this  the same
//   mutex                               thread, under the published
//                                       settings, without rotation
//                                       and without custom handler
//   waits for the log thread            is blocked until the mutex    -
//                                       is unlocked
//   is in the C library, which has      is reported as usual, under   the same
//   locked the time zones, the locales  the last line's offset of
//   or the system log                   the time zone, and to the
//                                       system log without `syslog`
//   is in the log's own `syslog`        is blocked until `syslog`     the same as in the row above
//                                       returns
//   is the log thread                   is always blocked             is reported at once, without
//                                                                     rotation and without custom
//                                                                     handler, which may hold a
//                                                                     mutex; and thrown
//   reports a signal                    is blocked until the handler  is passed on without a report
//                                       ends, or calls that of the
//                                       program
//   uses the outlets of a forked child  is blocked until the entry    is reported at once, without
//                                       is written                    rotation and custom handler
//   forks                               is blocked until the fork is  is reported at once; may hang
//                                       done; an exception leaves     while the C library has
//                                       `fork`, which compilers take  locked its memory
//                                       for a function that never
//                                       throws, and so terminates
//   has never converted a text, and is  may hang: the report opens    may hang
//   in `setlocale` or `newlocale`       converters
//   is in `malloc`, also on behalf of   may hang: the report needs    may hang
//   `tzset` or `setlocale`              memory
//
// The last two rows are accepted: a report of a crash is worth the risk. In the same way the log
// thread may hang if it began to wait for the lock of the time zones, or at its start for that of
// the locales, just before the signal came.

namespace qz::log {

/// Marks the calling thread as one that reports a signal.
class SignalReport {
public:
    SignalReport() noexcept;
    ~SignalReport();
    SignalReport(const SignalReport&) = delete;
    SignalReport& operator=(const SignalReport&) = delete;

    /// Whether the calling thread reports a signal.
    static bool IsRunning();
};

/// Marks the calling thread as one that runs the custom handler.
class HandlerCall {
public:
    HandlerCall() noexcept;
    ~HandlerCall();
    HandlerCall(const HandlerCall&) = delete;
    HandlerCall& operator=(const HandlerCall&) = delete;

    /// Whether the calling thread runs the custom handler.
    static bool IsRunning();
};

/// Counts the locks of the log's mutexes that the calling thread holds or is about to lock, so that
/// the report of a signal knows whether it may wait for the log thread.
class LockCount {
public:
    static void Increment();
    static void Decrement();
    static void Reset();
    static bool IsZero();
};

/// After a failed write of the log on a thread that blocks the asynchronous signals: discards the
/// signal of a file that has reached the limit of its size. The report of that signal would write
/// to the same file, and so cause the next one, without end.
void discardOwnFileSizeSignal();

}  // namespace qz::log
