// SPDX-License-Identifier: MIT
#include "support/LogCapture.h"

#include <stdexcept>

namespace qz::support {

namespace {

std::string describe(const qzLog::LogEntry& entry)
{
    return entry.prefix.substr(0, entry.prefix.find(' ')) + ' ' + entry.message;
}

}  // namespace

LogCapture::LogCapture(qzLogLevel level) : mOldLevel(LogLevelNormal)
{
    qzLog* log = qzLog::msInstance;
    if (log == nullptr) throw std::logic_error("the library is not started");
    mOldLevel = log->getLogLevel();
    if (!log->installCustomHandler(&LogCapture::Collect, this)) {
        throw std::logic_error("the log has a custom handler already");
    }
    log->setEchoToConsole(false);
    log->setLogLevel(level);
}

LogCapture::~LogCapture()
{
    qzLog* log = qzLog::msInstance;
    if (log == nullptr) return;
    log->setLogLevel(mOldLevel);
    log->setEchoToConsole(true);
    log->installCustomHandler(nullptr, nullptr);
}

std::vector<qzLog::LogEntry> LogCapture::getEntries() const
{
    const std::lock_guard lock(mMutex);
    return mEntries;
}

std::vector<std::string> LogCapture::getLines() const
{
    std::vector<std::string> lines;
    for (const qzLog::LogEntry& entry : getEntries())
        lines.push_back(describe(entry));
    return lines;
}

std::vector<std::string> LogCapture::getMessages() const
{
    std::vector<std::string> messages;
    for (const qzLog::LogEntry& entry : getEntries())
        messages.push_back(entry.message);
    return messages;
}

void LogCapture::clear()
{
    const std::lock_guard lock(mMutex);
    mEntries.clear();
}

void LogCapture::Collect(std::list<qzLog::LogEntry>& batch, void* capture)
{
    auto* self = static_cast<LogCapture*>(capture);
    const std::lock_guard lock(self->mMutex);
    self->mEntries.insert(self->mEntries.end(), batch.begin(), batch.end());
}

}  // namespace qz::support
