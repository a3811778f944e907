// SPDX-License-Identifier: MIT
#include "LogHandler.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <mutex>

#include "base/ForkedMutex.h"

namespace qz::ext {

namespace {

constexpr std::size_t kRoles = 3;

// Held while the receivers are called, so that a removal waits for the call.
std::mutex gMutex;
std::array<LogReceiver*, kRoles> gReceivers = {};  // by role; guarded by gMutex

void passToReceivers(std::list<qzLog::LogEntry>& batch, void* /*data*/)
{
    const std::lock_guard<std::mutex> lock(gMutex);
    for (LogReceiver* const receiver : gReceivers) {
        if (receiver != nullptr) receiver->receive(batch);
    }
}

// Whether the log has this handler: it came with a receiver, and leaves with the last one.
bool isHandlerInstalled()
{
    return std::any_of(gReceivers.begin(), gReceivers.end(), [](const LogReceiver* receiver) {
        return receiver != nullptr && receiver->isOfThisLog();
    });
}

void setReceiver(LogRole role, LogReceiver* receiver)
{
    const std::lock_guard<std::mutex> lock(gMutex);
    gReceivers[static_cast<std::size_t>(role)] = receiver;
}

}  // namespace

bool installReceiver(LogRole role, LogReceiver& receiver)
{
    renewInForkedChildren<gMutex>();
    qzLog* const log = qzLog::msInstance;
    if (log == nullptr) return false;
    if (!isHandlerInstalled() && !log->installCustomHandler(&passToReceivers, nullptr))
        return false;
    log->flush();  // what is queued now goes to the receivers before
    setReceiver(role, &receiver);
    return true;
}

void removeReceiver(LogRole role)
{
    qzLog* const log = qzLog::msInstance;
    const bool isInstalled = log != nullptr && isHandlerInstalled();
    if (isInstalled) log->flush();
    setReceiver(role, nullptr);
    if (isInstalled && !isHandlerInstalled()) log->installCustomHandler(nullptr, nullptr);
}

bool hasReceiver(LogRole role)
{
    const LogReceiver* const receiver = gReceivers[static_cast<std::size_t>(role)];
    return receiver != nullptr && receiver->isOfThisLog();
}

}  // namespace qz::ext
