// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <qz/ext/PrintableText.h>
#include <qz/qzExport.h>
#include <qz/qzLog.h>

/// @file
/// Outlets of the log that can be combined: JSON lines for a collector, several outlets with a
/// level each, repeated entries as a count, and text from outside that can't forge a line.
///
/// @code
/// qz::ext::JsonLinesOutlet all("/var/log/shop/shop.json");
/// qz::ext::JsonLinesOutlet trouble(STDERR_FILENO);
/// qz::ext::FanOutOutlet both;
/// both.addOutlet(all, qz::qzLog::Dev);
/// both.addOutlet(trouble, qz::qzLog::Warning);
/// qz::ext::ThrottlingOutlet throttled(both);
/// const qz::ext::LogOutletInstallation installed(throttled);
/// @endcode
///
/// Threads and processes: outlets are made, combined, installed and destroyed by one thread, and
/// never in a custom handler of the log. While they are installed, the log calls them for one entry
/// at a time: on the thread of the log after a full start, else on the thread that reports.
/// - A forked child has copies of the outlets, and calls them on the threads that report, one after
///   another. No outlet of this header waits for a lock of the parent. The child should end by
///   `_exit` or `exec`: if it destroys the outlets, it also writes what they had to write last.
/// - The report of a signal reaches them like any other entry, unless it interrupts the thread of
///   the log, or one that is just calling an outlet: then the report goes to the other outlets of
///   the log only, because an outlet is never entered again while it runs.
/// - What an outlet reports itself reaches no outlet before a full start. After a full start it
///   comes back as a new entry, so an outlet that reports with each entry has no end.

namespace qz::ext {

/// Something that entries go to.
class QZ_API LogOutlet {
public:
    LogOutlet() = default;
    virtual ~LogOutlet();
    LogOutlet(const LogOutlet&) = delete;
    LogOutlet& operator=(const LogOutlet&) = delete;

    /// Takes an entry, with its prefix filled in.
    ///
    /// Failures are for the result: but for `std::bad_alloc`, which counts as a loss, an exception
    /// ends the process after a full start.
    /// @return false if the entry was meant for this outlet and is lost.
    virtual bool take(const qzLog::LogEntry& entry) = 0;
    /// Is called after the last entry of a batch. Does nothing here.
    virtual void endBatch();
    /// How many entries are lost that were taken before, such as those that a lost count stands
    /// for. Each is returned once, after a call of `take`. None here.
    virtual unsigned long takeLaterLosses();
};

/// Passes the entries of the log to an outlet, as long as it exists. Destroy it before the stop of
/// the library.
///
/// The log has one custom handler, which this library shares: an outlet and a `CrashKit` may be
/// installed and removed in any order. Of each batch, the kit keeps the entries first, then the
/// outlet takes them, then the kit's `nextHandler` is called, which may change the list.
class QZ_API LogOutletInstallation {
public:
    /// Installs the outlet, unless the library isn't started, another outlet is installed, or the
    /// log has a custom handler of the program.
    /// @param outlet must exist as long as this object.
    explicit LogOutletInstallation(LogOutlet& outlet);
    /// Removes the outlet, after the entries that were queued before.
    ~LogOutletInstallation();
    LogOutletInstallation(const LogOutletInstallation&) = delete;
    LogOutletInstallation& operator=(const LogOutletInstallation&) = delete;

    /// Whether the outlet was installed.
    bool isInstalled() const;
    /// How many entries were lost, because no outlet that they were meant for took them. The count
    /// of a `ThrottlingOutlet` is as many entries as it stands for. A forked child continues with
    /// the number of its parent. Threads: any.
    unsigned long getLostCount() const;

private:
    struct QZ_LOCAL State;
    std::unique_ptr<State> mState;
};

/// Writes an entry as a JSON object on a line of its own; see `appendJsonLine` for its form. The
/// process is the one that writes.
///
/// A line is written with one call, so several processes may write to one file. If the output takes
/// a part of a line only, as a full disk does, the line is lost, and the next one begins on a line
/// of its own. An output without a reader raises no SIGPIPE. One that takes nothing, such as a pipe
/// whose reader is slow, is waited for without end, unless it has O_NONBLOCK, as named pipes that
/// are opened here have: then a line is waited for a second, and the ones after it are lost at once
/// until the output takes one again.
class QZ_API JsonLinesOutlet : public LogOutlet {
public:
    /// Appends to a file, which is made with its folders when the first entry comes. It is closed
    /// after each batch, so tools may move it away: the next batch begins a new one.
    /// @param pathUtf8 is converted when the file is opened, so the library must be started then. A
    ///     path that can't be converted loses all entries.
    explicit JsonLinesOutlet(std::string pathUtf8);
    /// Writes to a descriptor, which stays open as long as the outlet exists; it is not closed.
    explicit JsonLinesOutlet(int descriptor);
    ~JsonLinesOutlet() override;

    bool take(const qzLog::LogEntry& entry) override;
    void endBatch() override;

private:
    struct QZ_LOCAL Output;
    std::unique_ptr<Output> mOutput;
};

/// Sends entries to several outlets.
///
/// What one of them loses later, such as the count of a `ThrottlingOutlet`, isn't counted, because
/// others may have taken the entries. For an exact number, put the `ThrottlingOutlet` before this.
class QZ_API FanOutOutlet : public LogOutlet {
public:
    FanOutOutlet();
    ~FanOutOutlet() override;

    /// Adds an outlet, before the installation.
    /// @param outlet must exist as long as this object.
    /// @param leastType the least serious type that it takes; `qzLog::Dev` for all that the level
    /// of
    ///     the log shows.
    void addOutlet(LogOutlet& outlet, qzLog::EntryType leastType);

    /// Each outlet gets the entry, whether others fail or not.
    /// @return false if there are outlets that it is meant for, and none of them has taken it.
    bool take(const qzLog::LogEntry& entry) override;
    void endBatch() override;

private:
    struct Branch {
        LogOutlet* outlet;
        int leastType;
    };
    std::vector<Branch> mBranches;
};

/// Escapes message and sub-type of each entry, so that one entry is one line: see `escaped`.
///
/// It filters what goes on to another outlet. The log's own file has been written by then: for that
/// one, use `EscapedText` in the report.
class QZ_API EscapingOutlet : public LogOutlet {
public:
    /// @param next must exist as long as this object.
    explicit EscapingOutlet(LogOutlet& next);
    ~EscapingOutlet() override;

    bool take(const qzLog::LogEntry& entry) override;
    void endBatch() override;
    unsigned long takeLaterLosses() override;

private:
    LogOutlet& mNext;
};

/// Replaces entries that repeat the one before them (type, sub-type and message) by a count.
///
/// The first entry of a series goes on to the next outlet. An entry "... repeated 41 times" is the
/// last one of it: it comes before an entry that differs, at the destruction, and before a repeated
/// entry that comes when the count has been silent for too long. It has the time and the thread of
/// the last entry that it stands for. A single repeated entry is passed on as it is.
///
/// If the process is killed, the count of the present series is lost. A forked child begins a
/// series of its own.
class QZ_API ThrottlingOutlet : public LogOutlet {
public:
    /// @param next must exist as long as this object, as it gets the last count.
    /// @param longestSilenceMs after so many milliseconds of a series, by the times of its entries,
    ///     the count is passed on and begins anew.
    explicit ThrottlingOutlet(LogOutlet& next, long longestSilenceMs = 60'000);
    /// Passes on the count of the last series.
    ~ThrottlingOutlet() override;

    bool take(const qzLog::LogEntry& entry) override;
    void endBatch() override;
    unsigned long takeLaterLosses() override;

private:
    struct QZ_LOCAL Series;

    QZ_LOCAL Series& editSeries();
    QZ_LOCAL void passCount(Series& series);

    LogOutlet& mNext;
    const long mLongestSilenceMs;
    std::unique_ptr<Series> mSeries;
};

}  // namespace qz::ext
