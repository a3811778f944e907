#include <qz/qzLogObject.h>

#include <iostream>
#include <utility>

#include <qz/SystemError.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>

#include "LogLine.h"

namespace qz {

void qzLogObject::begin(qzLog::EntryType type, qzLog* log) noexcept
{
    mType = type;
    mLog = log;
    mTimeMs = qzSystemUtils::GetMSecElapsedSinceEpoch();
    // Only verbose logs name the thread, so that the others needn't ask for it.
    if (log != nullptr && log->isTypeEnabled(qzLog::Debug)) mThreadId = qzThread::CurrentThreadId();
}

void qzLogObject::send() noexcept
{
    qzLog::LogEntry entry;
    entry.message = std::move(*mStream).str();
    if (entry.message.empty()) return;
    if (mSubType != nullptr) entry.subType = std::move(*mSubType);
    if (mSystemLogTag != nullptr) entry.systemLogTag = std::move(*mSystemLogTag);
    entry.threadId = mThreadId;
    entry.timeMs = mTimeMs;
    entry.type = mType;
    if (mLog != nullptr && mSystemLogTag == nullptr) {
        mLog->Write(entry, mSynchronous);  // computes the prefix by itself
        return;
    }
    entry.computeLogPrefix(true);
    if (mSystemLogTag != nullptr) {
        qzLog::WriteToSystemLog(entry, /*echoToStdErr=*/mLog == nullptr);
        if (mLog != nullptr) mLog->Write(entry, mSynchronous);
        return;
    }
    writeLine(std::cout, entry.prefix, entry.message);
}

std::ostream& qzLogObject::editStream()
{
    if (mStream == nullptr) mStream = std::make_unique<std::ostringstream>();
    return *mStream;
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
