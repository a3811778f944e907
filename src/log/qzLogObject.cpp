#include <qz/qzLogObject.h>

#include <charconv>
#include <iostream>
#include <iterator>
#include <locale>
#include <utility>

#include <qz/SystemError.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "LogLine.h"

namespace qz {

namespace {

constexpr std::size_t kUsualTextSize = 128;

}  // namespace

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
    if (mReport.stream != nullptr || !mReport.text.empty()) send();
    mReport.~Report();
}

void qzLogObject::send()
{
    qzLog* const log = mReport.log;
    const bool hasTag = mReport.systemLogTag != nullptr;
    qzLog::LogEntry entry;
    entry.message =
        mReport.stream != nullptr ? std::move(*mReport.stream).str() : std::move(mReport.text);
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
    writeLine(std::cout, entry.prefix, entry.message);
}

std::ostream& qzLogObject::editStream()
{
    if (mReport.stream == nullptr) {
        // Behind what was said so far.
        mReport.stream =
            std::make_unique<std::ostringstream>(std::move(mReport.text), std::ios_base::ate);
    }
    return *mReport.stream;
}

// Texts and whole numbers need no stream, which costs 300 ns to make: a stream would show them the
// same way unless something has been set in it, or the global locale groups digits.

void qzLogObject::append(std::string_view text)
{
    if (mReport.text.empty()) mReport.text.reserve(kUsualTextSize);
    mReport.text += text;
}

template <typename Number>
void qzLogObject::insertNumber(Number value)
{
    if (mReport.stream != nullptr || std::locale() != std::locale::classic()) {
        editStream() << value;
        return;
    }
    char digits[24];
    append({digits, std::to_chars(digits, std::end(digits), value).ptr});
}

void qzLogObject::insert(const char* text)
{
    const std::string_view shown = text != nullptr ? text : "[NullPtr]";
    if (mReport.stream != nullptr) {
        *mReport.stream << shown;
    } else {
        append(shown);
    }
}

void qzLogObject::insert(const std::string& text)
{
    if (mReport.stream != nullptr) {
        *mReport.stream << text;
    } else {
        append(text);
    }
}

void qzLogObject::insert(long value)
{
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
