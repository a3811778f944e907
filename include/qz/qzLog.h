#pragma once

#include <list>
#include <memory>
#include <string>

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
/// An entry goes to the console, to a custom handler and, when it carries a tag, to the system log.
/// Threads: the settings and `Write` from one thread at a time; the level may be read and set from
/// any thread and applies to reports that start later.
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
        RotateDaily = 1,    ///< Each day.
        RotateWeekly = 2,   ///< Each week, which begins on Sunday.
        RotateMonthly = 3,  ///< Each month.
    };

    /// One report on its way to the outlets.
    struct QZ_API LogEntry {
        std::string message;       ///< The text, without a line end.
        std::string subType;       ///< A short channel name; empty for none.
        std::string systemLogTag;  ///< Title in the system log; empty for none.
        std::string prefix;        ///< What stands ahead of the message on a line.
        std::string threadId;      ///< The writer's thread; empty when none was taken.
        long timeMs = 0;           ///< Milliseconds since the epoch at which the report began.
        int type = Unknown;        ///< An `EntryType`.

        /// Builds `prefix` anew from the other fields, for example
        /// "INFO(iodevice) PID 4711 TID 4712 Sat Nov 14 20:17:56+0000 2026 : ".
        /// @param withTime false leaves the local time out.
        void computeLogPrefix(bool withTime);
    };

    /// Receives each batch of entries after the other outlets, with `prefix` filled in. It may
    /// change or empty the list. The second argument is that of `installCustomHandler`.
    using CustomHandler = void (*)(std::list<LogEntry>& batch, void* data);

    /// The logger; null before the library's start and after its stop.
    static qzLog* msInstance;

    /// Makes the logger and opens the system log. Does nothing when there is one already.
    /// @param threadSafe asks for a logger that several threads may write to. This release writes
    ///     on the caller's thread in either case.
    static void createInstance(bool threadSafe);
    /// Deletes the logger, if there is one.
    static void destroyInstance();

    /// Makes a logger that echoes to the console, at `LogLevelNormal`. See `createInstance`.
    explicit qzLog(bool threadSafe);
    ~qzLog();
    qzLog(const qzLog&) = delete;
    qzLog& operator=(const qzLog&) = delete;

    /// Sets what is shown. Any value that is not of `qzLogLevel` acts as `LogLevelNormal`.
    void setLogLevel(qzLogLevel level);
    /// Tells what is shown.
    qzLogLevel getLogLevel() const;
    /// Tells whether reports of `type` are shown; always true for a value that is no type.
    bool isTypeEnabled(int type) const;

    /// Shows entries on standard output, or stops doing so. A new logger shows them.
    void setEchoToConsole(bool echo);
    /// Installs the custom handler, or removes it with null.
    ///
    /// A handler doesn't replace another one: install null first.
    /// @param handler called on the writer's thread.
    /// @param data handed to the handler; not owned.
    /// @return false when another handler stands; nothing changes then.
    bool installCustomHandler(CustomHandler handler, void* data);

    /// Sends an entry to the outlets; its strings are empty afterwards.
    /// @param synchronous wait until the entry is out. It is out in any case on return, as the
    ///     caller's thread does the writing.
    void Write(LogEntry& entry, bool synchronous);

    /// The present local time as log lines show it.
    static std::string GetTime();
    /// Runs the outlets over a batch. For the library's own use.
    ///
    /// A DEBUG entry of a switched-off sub-type ends the whole batch: later entries are dropped,
    /// and the custom handler isn't called.
    static void WriteImpl(qzLogParameters& parameters, std::list<LogEntry>& batch);
    /// Sends an entry to the system log, unless it is of type DEBUG, cut to 16384 bytes.
    /// @param echoToStdErr writes the line to the standard error stream as well.
    static void WriteToSystemLog(const LogEntry& entry, bool echoToStdErr);

private:
    friend class qzLogTestPeer;
    static constexpr int kTypeCount = 6;

    std::unique_ptr<qzLogParameters> mParameters;
    qzLogThread* mLogThread = nullptr;  // the flags below are read inline and keep their place
    bool mTypeEnabled[kTypeCount];      // read by all threads with no lock
};

inline bool qzLog::isTypeEnabled(int type) const
{
    if (type < 0 || type >= kTypeCount) return true;
    return __atomic_load_n(&mTypeEnabled[type], __ATOMIC_RELAXED);
}

}  // namespace qz
