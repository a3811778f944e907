// SPDX-License-Identifier: MIT
#pragma once

#include <list>

#include <qz/qzLog.h>

namespace qz::ext {

/// A part of this library, or a handler of the program, that gets the entries of the log.
///
/// The log has one custom handler. All receivers share it, so that an outlet and the crash kit can
/// be installed at the same time, and each can come and go without the other.
class LogReceiver {
public:
    /// Takes a batch, one at a time, as a custom handler of the log does.
    virtual void receive(std::list<qzLog::LogEntry>& batch) = 0;
    /// Whether the log is still the one that the receiver was installed in. A stop of the library
    /// destroys the log with its handler, and a new one may have the same address.
    virtual bool isOfThisLog() const = 0;

protected:
    ~LogReceiver() = default;
};

/// What a receiver is installed as, one each, in the order in which they get a batch.
enum class LogRole { CrashEntries, Outlet, NextHandler };

/// Makes a receiver the one of its role, from the entries on that are queued later. One of that
/// role that was installed before is replaced, and isn't called any more when the call returns.
/// @return false if the library isn't started or the log has a custom handler of the program. The
///     receiver is then not installed, nor is one before it.
/// Threads: as for `removeReceiver`.
bool installReceiver(LogRole role, LogReceiver& receiver);
/// Removes the receiver of a role after the entries that were queued before, and the handler with
/// the last receiver. Does nothing if there is none. Threads: one at a time, and never in a custom
/// handler.
void removeReceiver(LogRole role);
/// Whether a role has a receiver in this log.
bool hasReceiver(LogRole role);

}  // namespace qz::ext
