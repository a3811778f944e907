#include <qz/qzLogObject.h>

#include <iostream>
#include <utility>

#include <qz/SystemError.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "LogLine.h"

namespace qz {

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
    if (mReport.stream != nullptr) send();
    mReport.~Report();
}

void qzLogObject::send()
{
    qzLog* const log = mReport.log;
    const bool hasTag = mReport.systemLogTag != nullptr;
    qzLog::LogEntry entry;
    entry.message = std::move(*mReport.stream).str();
    if (entry.message.empty()) return;
    if (mReport.subType != nullptr) entry.subType = std::move(*mReport.subType);
    if (hasTag) entry.systemLogTag = std::move(*mReport.systemLogTag);
    entry.threadId = mReport.threadId;
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
    if (mReport.stream == nullptr) mReport.stream = std::make_unique<std::ostringstream>();
    return *mReport.stream;
}

void qzLogObject::insert(const char* text)
{
    editStream() << (text != nullptr ? text : "[NullPtr]");
}

void qzLogObject::insert(const std::string& text)
{
    editStream() << text;
}

void qzLogObject::insert(unsigned long value)
{
    editStream() << value;
}

void qzLogObject::insert(const SystemError& error)
{
    editStream() << error.toString();
}

void qzLogObject::assign(std::unique_ptr<std::string>& field, const char* text)
{
    field = text != nullptr ? std::make_unique<std::string>(text) : nullptr;
}

}  // namespace qz
