// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

#include <qz/qzExport.h>
#include <qz/qzLog.h>

namespace qz {

class SystemError;

namespace impl {

/// Whether `T` is one of `Types`.
template <typename T, typename... Types>
inline constexpr bool isAmong = (std::is_same_v<T, Types> || ...);

/// Whether `T` is an integer that a stream shows as a number, of at most 64 bits.
template <typename T>
inline constexpr bool isNumber = isAmong<T, short, unsigned short, int, unsigned int, long,
                                         unsigned long, long long, unsigned long long>;

}  // namespace impl

/// One report: build it on the stack, stream the text into it, and let it go out of scope.
///
/// The destructor hands the text to the log, or drops the report when the text is empty. A report
/// whose type is switched off costs the test of a flag: its insertions are not even formatted.
/// Without a logger (before the library's start and after its stop) the line goes to standard
/// output, or with a system-log tag to the system log and the standard error stream; a DEBUG report
/// with a tag is dropped then.
///
/// @code
/// qz::logWarning("network") << "no answer after " << 250 << " ms";
/// @endcode
///
/// Reports keep `errno`.
///
/// The text follows the process's global C++ locale of the first insertion. The entry's time is
/// that of construction. An exception while the report is handed over ends the process.
///
/// Threads: an object belongs to the thread that made it.
class qzLogObject {
public:
    /// Begins a report.
    /// @param type how serious it is; `qzLog::Unknown` switches the object off.
    /// @param synchronous waits in the destructor until the entry is written.
    explicit qzLogObject(qzLog::EntryType type, bool synchronous = false);
    /// Begins a report with a sub-type and a system-log tag; null for none.
    qzLogObject(qzLog::EntryType type, bool synchronous, const char* subType,
                const char* systemLogTag);
    /// Sends the report.
    QZ_API ~qzLogObject();
    qzLogObject(const qzLogObject&) = delete;
    qzLogObject& operator=(const qzLogObject&) = delete;

    /// Names the channel of the report; null for none. Ignored by a switched-off report.
    qzLogObject& setSubType(const char* subType);
    /// Sends the report to the system log too, with this title; null to not send it. Ignored by a
    /// switched-off report.
    qzLogObject& setSystemLogTag(const char* systemLogTag);

    /// Inserts a value as a standard stream does.
    template <typename T>
    qzLogObject& operator<<(const T& value);
    /// Inserts a text; null reads as "[NullPtr]".
    QZ_API qzLogObject& operator<<(const char* text);
    /// Inserts a text; null reads as "[NullPtr]".
    qzLogObject& operator<<(char* text) { return *this << static_cast<const char*>(text); }
    /// Inserts a text.
    QZ_API qzLogObject& operator<<(const std::string& text);
    /// Inserts a number.
    QZ_API qzLogObject& operator<<(unsigned long value);
    /// Inserts the text of a system error.
    QZ_API qzLogObject& operator<<(const SystemError& error);
    /// Applies a manipulator such as `std::hex`.
    qzLogObject& operator<<(std::ios_base& (*manipulator)(std::ios_base&));
    /// Applies a manipulator such as `std::endl`.
    qzLogObject& operator<<(std::ostream& (*manipulator)(std::ostream&));

private:
    friend class qzLogObjectTestPeer;

    // What the code of this header calls if the report is on. It is out of line, so that a report
    // that is off stays small.
    QZ_API void begin() noexcept;
    QZ_API void end() noexcept;
    QZ_API std::ostream& editStream();
    QZ_API void insert(const char* text);
    QZ_API void insert(const std::string& text);
    QZ_API void insert(long value, std::size_t sizeBytes);
    QZ_API void insert(unsigned long value);
    QZ_API void insert(const SystemError& error);
    QZ_API static void assign(std::unique_ptr<std::string>& field, const char* text);

    struct Text;  // a string, and a string stream once one is needed

    // Filled by a report that is on. One that is off has nothing to free in here.
    struct Report {
        ~Report() {}  // NOLINT: clang 14 leaves the implied one of a union's member out
        std::string threadId;
        std::unique_ptr<std::string> subType;
        std::unique_ptr<std::string> systemLogTag;
        qzLog* log = nullptr;    // null when the entry doesn't go to the logger
        Text* stream = nullptr;  // owned; null until the first insertion
    };
    struct Decided {
        int type;  // `qzLog::Unknown` for a report that is off
    };

    static Decided decide(qzLog::EntryType type);
    qzLogObject(Decided decided, bool synchronous);

    bool isOff() const { return mType == qzLog::Unknown; }

    void send();
    Text& editText();
    void insertText(std::string_view text);
    template <typename Number>
    void insertNumber(Number value);

    union {
        Report mReport;  // made empty with the object, but freed by `end` alone
    };
    int mType;
    long mTimeMs = 0;
    bool mSynchronous;
};

// The level is read before the construction. If it were read later, the atomic read would separate
// the object's first stores from its tests, and the compiler couldn't remove them. This way nothing
// but the test of the level's flag is left of a report that is off.
inline qzLogObject::Decided qzLogObject::decide(qzLog::EntryType type)
{
    const qzLog* const log = qzLog::msInstance;
    return {log == nullptr || log->isTypeEnabled(type) ? type : qzLog::Unknown};
}

inline qzLogObject::qzLogObject(Decided decided, bool synchronous)
    : mReport(), mType(decided.type), mSynchronous(synchronous)
{
    if (!isOff()) begin();
}

inline qzLogObject::qzLogObject(qzLog::EntryType type, bool synchronous)
    : qzLogObject(decide(type), synchronous)
{
}

inline qzLogObject::qzLogObject(qzLog::EntryType type, bool synchronous, const char* subType,
                                const char* systemLogTag)
    : qzLogObject(type, synchronous)
{
    setSubType(subType);
    setSystemLogTag(systemLogTag);
}

inline qzLogObject& qzLogObject::setSubType(const char* subType)
{
    if (!isOff()) assign(mReport.subType, subType);
    return *this;
}

inline qzLogObject& qzLogObject::setSystemLogTag(const char* systemLogTag)
{
    if (!isOff()) assign(mReport.systemLogTag, systemLogTag);
    return *this;
}

template <typename T>
qzLogObject& qzLogObject::operator<<(const T& value)
{
    if (isOff()) return *this;
    // Of the integers only these read as numbers in a stream.
    if constexpr (impl::isNumber<T> && std::is_signed_v<T>) {
        insert(static_cast<long>(value), sizeof value);
    } else if constexpr (impl::isNumber<T>) {
        insert(static_cast<unsigned long>(value));
    } else {
        editStream() << value;
    }
    return *this;
}

inline qzLogObject& qzLogObject::operator<<(std::ios_base& (*manipulator)(std::ios_base&))
{
    if (!isOff()) editStream() << manipulator;
    return *this;
}

inline qzLogObject& qzLogObject::operator<<(std::ostream& (*manipulator)(std::ostream&))
{
    if (!isOff()) editStream() << manipulator;
    return *this;
}

// The library holds these functions. g++ also gets their bodies here, only to inline them: a call
// would cost a report that is off more than all the rest. QZ_LOG_OBJECT_BODY is defined as nothing
// where the library defines them.
#if !defined(QZ_LOG_OBJECT_BODY) && defined(__GNUC__) && !defined(__clang__)
#define QZ_LOG_OBJECT_BODY __attribute__((gnu_inline)) inline
#endif
#ifdef QZ_LOG_OBJECT_BODY

QZ_LOG_OBJECT_BODY qzLogObject::~qzLogObject()
{
    if (!isOff()) end();
}

QZ_LOG_OBJECT_BODY qzLogObject& qzLogObject::operator<<(const char* text)
{
    if (!isOff()) insert(text);
    return *this;
}

QZ_LOG_OBJECT_BODY qzLogObject& qzLogObject::operator<<(const std::string& text)
{
    if (!isOff()) insert(text);
    return *this;
}

QZ_LOG_OBJECT_BODY qzLogObject& qzLogObject::operator<<(unsigned long value)
{
    if (!isOff()) insert(value);
    return *this;
}

QZ_LOG_OBJECT_BODY qzLogObject& qzLogObject::operator<<(const SystemError& error)
{
    if (!isOff()) insert(error);
    return *this;
}

#endif

/// Begins a DEV report; `subType` and `systemLogTag` may be null for none. Neither is the text:
/// `logDev("started")` writes nothing.
inline qzLogObject logDev(const char* subType = nullptr, const char* systemLogTag = nullptr)
{
    return qzLogObject(qzLog::Dev, /*synchronous=*/false, subType, systemLogTag);
}

/// Begins a TRACE report; `subType` and `systemLogTag` may be null for none. Neither is the text:
/// `logTrace("started")` writes nothing.
inline qzLogObject logTrace(const char* subType = nullptr, const char* systemLogTag = nullptr)
{
    return qzLogObject(qzLog::Trace, /*synchronous=*/false, subType, systemLogTag);
}

/// Begins a DEBUG report; `subType` and `systemLogTag` may be null for none. Neither is the text:
/// `logDebug("started")` writes nothing.
inline qzLogObject logDebug(const char* subType = nullptr, const char* systemLogTag = nullptr)
{
    return qzLogObject(qzLog::Debug, /*synchronous=*/false, subType, systemLogTag);
}

/// Begins an INFO report; `subType` and `systemLogTag` may be null for none. Neither is the text:
/// `logInfo("started")` writes nothing.
inline qzLogObject logInfo(const char* subType = nullptr, const char* systemLogTag = nullptr)
{
    return qzLogObject(qzLog::Info, /*synchronous=*/false, subType, systemLogTag);
}

/// Begins a WARNING report, synchronous; `subType` and `systemLogTag` may be null for none.
/// Neither is the text: `logWarning("started")` writes nothing.
inline qzLogObject logWarning(const char* subType = nullptr, const char* systemLogTag = nullptr)
{
    return qzLogObject(qzLog::Warning, /*synchronous=*/true, subType, systemLogTag);
}

/// Begins a CRITICAL report, synchronous; `subType` and `systemLogTag` may be null for none.
/// Neither is the text: `logCritical("started")` writes nothing.
inline qzLogObject logCritical(const char* subType = nullptr, const char* systemLogTag = nullptr)
{
    return qzLogObject(qzLog::Critical, /*synchronous=*/true, subType, systemLogTag);
}

}  // namespace qz
