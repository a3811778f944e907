// SPDX-License-Identifier: MIT
#define QZ_LOG_OBJECT_BODY  // see there
#include <qz/qzLogObject.h>

#include <charconv>
#include <iterator>
#include <locale>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>

#include <qz/SystemError.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "Console.h"
#include "SignalSafety.h"
#include "frame/base/ErrnoPreserver.h"

namespace qz {

namespace {

constexpr std::size_t kUsualTextSize = 128;

}  // namespace

// Texts and whole numbers need no stream, which costs 300 ns to make: one would show them the same
// way unless something has been set in it, or the locale groups digits.
struct qzLogObject::Text {
    Text() : locale(getLocale()) {}

    // A signal may have interrupted a thread that has locked the global locale.
    static std::locale getLocale()
    {
        return log::SignalReport::IsRunning() ? std::locale::classic() : std::locale();
    }

    void insert(std::string_view added)
    {
        if (stream.has_value()) {
            *stream << added;
            return;
        }
        if (text.empty()) text.reserve(kUsualTextSize);
        text += added;
    }

    template <typename Number>
    void insertNumber(Number value)
    {
        if (stream.has_value() || locale != std::locale::classic()) {
            editStream() << value;
            return;
        }
        char digits[24];
        insert({digits, std::to_chars(digits, std::end(digits), value).ptr});
    }

    // Whether numbers are shown in hexadecimal or octal.
    bool showsBits() const
    {
        const auto base =
            stream.has_value() ? stream->flags() & std::ios_base::basefield : std::ios_base::dec;
        return base == std::ios_base::hex || base == std::ios_base::oct;
    }

    // Inserts after the text so far.
    std::ostream& editStream()
    {
        if (stream.has_value()) return *stream;
        stream.emplace(std::move(text), std::ios_base::ate);
        if (stream->getloc() != locale) stream->imbue(locale);
        return *stream;
    }

    std::string take() { return stream.has_value() ? std::move(*stream).str() : std::move(text); }

    const std::locale locale;  // the global one of the first insertion
    std::string text;
    std::optional<std::ostringstream> stream;
};

void qzLogObject::begin() noexcept
{
    mReport.log = qzLog::msInstance;
    mTimeMs = qzSystemUtils::GetMSecElapsedSinceEpoch();
    // Only verbose logs name the thread, so that the others needn't ask for it.
    if (mReport.log != nullptr && mReport.log->isTypeEnabled(qzLog::Debug)) {
        mReport.threadId = qzThread::CurrentThreadId();
    }
}

void qzLogObject::end() noexcept
{
    const ErrnoPreserver preserver;
    const std::unique_ptr<Text> text(mReport.stream);
    if (mReport.stream != nullptr) send();
    mReport.~Report();
}

void qzLogObject::send()
{
    qzLog* const log = mReport.log;
    const bool hasTag = mReport.systemLogTag != nullptr;
    qzLog::LogEntry entry;
    entry.message = mReport.stream->take();
    if (entry.message.empty()) return;
    if (mReport.subType != nullptr) entry.subType = std::move(*mReport.subType);
    if (hasTag) entry.systemLogTag = std::move(*mReport.systemLogTag);
    entry.threadId = std::move(mReport.threadId);
    entry.timeMs = mTimeMs;
    entry.type = mType;
    if (log != nullptr && !hasTag) {
        log->Write(entry, mSynchronous);  // computes the prefix by itself
        return;
    }
    entry.computeLogPrefix(true);
    if (hasTag) {
        qzLog::WriteToSystemLog(entry, /*echoToStdErr=*/log == nullptr);
        if (log != nullptr) log->Write(entry, mSynchronous);
        return;
    }
    log::Console::WriteLine(entry.prefix, entry.message);
}

qzLogObject::Text& qzLogObject::editText()
{
    if (mReport.stream == nullptr) mReport.stream = std::make_unique<Text>().release();
    return *mReport.stream;
}

std::ostream& qzLogObject::editStream()
{
    return editText().editStream();
}

void qzLogObject::insertText(std::string_view text)
{
    editText().insert(text);
}

template <typename Number>
void qzLogObject::insertNumber(Number value)
{
    editText().insertNumber(value);
}

void qzLogObject::insert(const char* text)
{
    insertText(text != nullptr ? text : "[NullPtr]");
}

void qzLogObject::insert(const std::string& text)
{
    insertText(text);
}

// A negative number reads in hexadecimal and octal as the bits of its own type.
void qzLogObject::insert(long value, std::size_t sizeBytes)
{
    if (value < 0 && editText().showsBits()) {
        const std::size_t unusedBits = 8 * (sizeof value - sizeBytes);
        insertNumber(static_cast<unsigned long>(value) << unusedBits >> unusedBits);
        return;
    }
    insertNumber(value);
}

void qzLogObject::insert(unsigned long value)
{
    insertNumber(value);
}

void qzLogObject::insert(const SystemError& error)
{
    insert(error.toString());
}

void qzLogObject::assign(std::unique_ptr<std::string>& field, const char* text)
{
    field = text != nullptr ? std::make_unique<std::string>(text) : nullptr;
}

}  // namespace qz
