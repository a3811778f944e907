// SPDX-License-Identifier: MIT
#pragma once

#include <list>
#include <memory>
#include <string>
#include <vector>

#include <qz/qzExport.h>

namespace qz {

class qzLogThread;
struct qzLogParameters;

/// How much the log shows: DEV, TRACE and DEBUG can be switched, the rest is always on.
enum qzLogLevel : int {
    LogLevelAll = 0,     ///< Everything.
    LogLevelDebug = 1,   ///< Everything but TRACE.
    LogLevelNormal = 2,  ///< INFO, WARNING and CRITICAL only; the level at the start.
};

/// The one logger of the process. Reports are made with a `qzLogObject`.
///
/// An entry goes to the console, to a log file, to a custom handler and, if it has a tag, to the
/// system log. Before the library's full start it is written when `Write` returns. After it a
/// thread of the logger writes the entries in batches. A writer waits only if its entry is
/// synchronous, if another thread waits for the queue, or if more than 16 MiB are queued.
///
/// A setting takes effect after the entries that were queued before it, so a setter may wait for
/// them. In a child that is forked from a fully started process the entries are written on the
/// caller's thread, and no report waits for a lock of the parent.
///
/// @code
/// qz::initializeQzSystem(qz::FullInit);
/// qz::qzLog::msInstance->installFileHandlerUtf8("/var/log/shop/shop.log");
/// qz::logInfo() << "ready";
/// @endcode
///
/// If std::cout has another stream buffer than at its start, the lines go through that one on the
/// logger's thread, so it must be safe for that. `setEchoToConsole` switches the console off.
///
/// Threads: before a full start one at a time; after it any, and in a custom handler no call waits.
/// The level may be read and set from any thread and applies to reports that start later.
class QZ_API qzLog {
public:
    /// How serious an entry is.
    enum EntryType : int {
        Dev = 0,       ///< Developer notes.
        Trace = 1,     ///< Trace.
        Debug = 2,     ///< Debug. Sub-types filter these only, and the system log has none of them.
        Info = 3,      ///< Information.
        Warning = 4,   ///< Warning.
        Critical = 5,  ///< Critical.
        Unknown = 6,   ///< No type; any other value prints as this one.
    };

    /// How often a log file gets a new name by the calendar.
    enum TimeRotationInterval : int {
        RotateNever = 0,    ///< Never.
        RotateDaily = 1,    ///< Each day: "-2026-11-14" comes before the extension.
        RotateWeekly = 2,   ///< Each week from Sunday on: "-2026-W46". New Year begins a week too.
        RotateMonthly = 3,  ///< Each month: "-2026-11".
    };

    /// One report on its way to the outlets.
    struct QZ_API LogEntry {
        std::string message;       ///< The text, without a line end.
        std::string subType;       ///< A short channel name; empty for none.
        std::string systemLogTag;  ///< Title in the system log; empty for none.
        std::string prefix;        ///< What comes before the message on a line.
        std::string threadId;      ///< The writer's thread; empty when none was taken.
        long timeMs = 0;           ///< Milliseconds since the epoch at which the report began.
        int type = Unknown;        ///< An `EntryType`.

        /// Builds `prefix` from the other fields, for example
        /// "INFO(iodevice) PID 4711 TID 4712 Sat Nov 14 20:17:56+0000 2026 : ".
        /// @param withTime false leaves the local time out.
        void computeLogPrefix(bool withTime);
    };

    /// Receives each batch of entries after the other outlets, with `prefix` filled in. It may
    /// change or empty the list. The second argument is that of `installCustomHandler`. The handler
    /// isn't entered again on the thread on which it runs; what it reports itself before a full
    /// start doesn't reach it.
    using CustomHandler = void (*)(std::list<LogEntry>& batch, void* data);

    /// The logger; null before the library's start and after its stop.
    static qzLog* msInstance;

    /// Makes the logger and opens the system log. Does nothing if there is one already.
    /// @param threadSafe gives it its thread at once. See `makeThreadSafe`.
    static void createInstance(bool threadSafe);
    /// Writes the entries that are queued and deletes the logger, if there is one.
    static void destroyInstance();

    /// Makes a logger that echoes to the console, at `LogLevelNormal`. See `createInstance`.
    explicit qzLog(bool threadSafe);
    ~qzLog();
    qzLog(const qzLog&) = delete;
    qzLog& operator=(const qzLog&) = delete;

    /// Starts the thread that writes the entries from now on, unless there is one. The settings,
    /// log file included, carry over. The library's full start does this.
    /// @throws std::system_error when the system gives no thread; the logger goes on without.
    void makeThreadSafe();

    /// Sets what is shown. A value that isn't in `qzLogLevel` acts as `LogLevelNormal`.
    void setLogLevel(qzLogLevel level);
    /// What is shown.
    qzLogLevel getLogLevel() const;
    /// Whether reports of `type` are shown; always true for a value that is no type.
    bool isTypeEnabled(int type) const;

    /// Shows entries on standard output, or stops doing so. A new logger shows them.
    void setEchoToConsole(bool echo);
    /// Installs the custom handler, or removes it with null.
    ///
    /// To replace a handler, install null first. Once a removal has returned, the handler is no
    /// longer called. While a log file is in use, the handler runs with the lock that keeps other
    /// processes out of the folder, so a slow one delays their logs too. An exception of the
    /// handler ends the process after a full start; before it, it leaves `Write`, and ends the
    /// process if a report's destructor called that.
    /// @param handler called on the logger's thread, or on the writer's if there is none.
    /// @param data passed to the handler; not owned.
    /// @return false if another handler is installed; nothing changes then.
    bool installCustomHandler(CustomHandler handler, void* data);
    /// Switches channels of DEBUG entries off or on; entries of other types are never switched off.
    ///
    /// If that changes anything, the next DEBUG entry is preceded by one that lists all channels
    /// that are off. With a logger's thread it is repeated after each later change of a setting.
    ///
    /// Beware: a DEBUG entry of a channel that is off ends the batch that it is in. Entries of
    /// every type that were queued after it are lost, and the custom handler doesn't get the batch.
    /// @param names without the white space around them; the empty name is one like any other.
    void setSubTypeEnabled(const std::vector<std::string>& names, bool enabled);
    /// The same with the names in one text, between any of the characters " /\,;|"; null does
    /// nothing.
    void setSubTypeEnabled(const char* names, bool enabled);

    /// Writes entries to a file too, in UTF-8 after a byte order mark, one line each. The same as
    /// the long form without flags and rotation, and with no other file kept.
    ///
    /// Beware: this deletes every other file of the folder whose name begins with the base name and
    /// ends with the extension, whoever made it: "app.txt" deletes "app-worker.txt" of another
    /// program. Without an extension, every file is deleted that begins with the base name: "log"
    /// deletes "logbook.odt". Use the long form with `maxFiles` -1 to keep them.
    void installFileHandlerUtf8(const std::string& path);
    /// Writes entries to a file too, and begins a new file by size or by the calendar. It replaces
    /// the present file handler in one step, so no entry is without a file in between.
    ///
    /// The file in use is closed between batches, so it may be moved or removed: the next batch
    /// begins a new one. Two rotations of one base name within a second replace each other. If the
    /// file can't be made, a CRITICAL entry reports so, and entries go to the console. So do the
    /// entries of a batch for which the file can't be opened. A named pipe without a reader is one
    /// that can't be; what a slow reader of one hasn't taken after a second is lost.
    ///
    /// After a full start, the next change of any setting tries a failed installation again, and
    /// reports again. Until one succeeds, `setEchoToConsole(false)` doesn't silence the console.
    /// Before a full start the console stays on even after that.
    /// @param path made absolute; empty only removes the present file handler. A path that the
    ///     local character set can't represent can't be made.
    /// @param flags the sum of: 1 to remove the previous file; 2 with 1 to rename it instead, with
    ///     the present time in its name; 4 to keep showing entries on the console, which otherwise
    ///     ends; 8 to make the file with the first entry only.
    /// @param maxSize bytes beyond which the next entry begins a new file and the old one gets a
    ///     name with the time in it; 0 or less for no limit.
    /// @param maxFiles how many other files to keep that begin with the base name and have the
    ///     extension, whoever made them; less than 0 keeps all. The others are deleted at the
    ///     installation, at each rotation and when the calendar gives a new name.
    /// @param interval adds the day, the week or the month to the file's name.
    void installFileHandlerExUtf8(const std::string& path, int flags, long maxSize, int maxFiles,
                                  TimeRotationInterval interval);
    /// Stops writing to the file. The echo stays as the file handler has set it: off without flag
    /// 4, so nothing is shown then until `setEchoToConsole(true)`.
    void removeFileHandler();
    /// The absolute path that was requested, without the calendar's part; empty for no file. After
    /// a full start also the path of a file that couldn't be made.
    std::string getCurrentLogFileNameUtf8() const;

    /// Fills in the prefix of an entry, and sends it to the outlets, whatever the level; its
    /// strings are empty afterwards.
    /// @param synchronous wait until the entry is written.
    void Write(LogEntry& entry, bool synchronous);
    /// Waits until all entries before it are written. In a custom handler, and before a full start,
    /// it returns at once.
    void flush();

    /// The present local time in the form of log lines.
    static std::string GetTime();
    /// Writes a batch to the outlets. For the library's own use.
    ///
    /// A DEBUG entry of a switched-off sub-type ends the whole batch: later entries are dropped,
    /// and the custom handler isn't called.
    static void WriteImpl(qzLogParameters& parameters, std::list<LogEntry>& batch);
    /// Sends an entry to the system log, unless it is of type DEBUG. Title, prefix and message
    /// together are cut to 16384 bytes. A text that isn't UTF-8, also because the cut has split a
    /// character, arrives empty.
    /// @param echoToStdErr writes the line to the standard error stream as well.
    static void WriteToSystemLog(const LogEntry& entry, bool echoToStdErr);

private:
    friend class qzLogTestPeer;
    static constexpr int kTypeCount = 6;

    QZ_LOCAL qzLogThread* editLogThread() const;
    template <typename Change>
    QZ_LOCAL void configure(const Change& change, const std::string* installedPath = nullptr) const;
    QZ_LOCAL static void PrepareFork();
    QZ_LOCAL static void ResumeParent();
    QZ_LOCAL static void ResumeChild();

    std::unique_ptr<qzLogParameters> mParameters;
    std::unique_ptr<qzLogThread> mLogThread;
    bool mTypeEnabled[kTypeCount];  // read by all threads with no lock
};

inline bool qzLog::isTypeEnabled(int type) const
{
    if (type < 0 || type >= kTypeCount) return true;
    return __atomic_load_n(&mTypeEnabled[type], __ATOMIC_RELAXED);
}

}  // namespace qz
