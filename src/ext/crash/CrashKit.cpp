// SPDX-License-Identifier: MIT
#include <qz/ext/CrashKit.h>

#include <cerrno>
#include <memory>
#include <mutex>

#include <qz/qzException.h>

#include "Handlers.h"
#include "KitSignal.h"
#include "ReportLayout.h"
#include "Session.h"
#include "SignalStack.h"
#include "ThreadStacks.h"
#include "base/ForkedMutex.h"
#include "base/LocalText.h"
#include "log/LogHandler.h"

namespace qz::ext {

namespace {

using crash::Session;

// Held by the thread of the log while it adds entries, so that a session isn't destroyed meanwhile.
std::mutex gEntriesMutex;
qzLog::CustomHandler gNextHandler = nullptr;  // guarded by gEntriesMutex, as is its data
void* gNextHandlerData = nullptr;

// A start of the library makes a new log, and puts its handlers of signals over the kit's.
bool isLogOfKit()
{
    return exception::IsSigWatcherRegistered() && !crash::areHandlersReplaced();
}

struct EntryReceiver final : LogReceiver {
    void receive(std::list<qzLog::LogEntry>& batch) override { CrashKit::KeepEntries(batch); }
    bool isOfThisLog() const override { return isLogOfKit(); }
};

struct NextReceiver final : LogReceiver {
    void receive(std::list<qzLog::LogEntry>& batch) override
    {
        qzLog::CustomHandler handler = nullptr;
        void* data = nullptr;
        {
            const std::lock_guard<std::mutex> lock(gEntriesMutex);
            handler = gNextHandler;
            data = gNextHandlerData;
        }
        if (handler != nullptr) handler(batch, data);
    }
    bool isOfThisLog() const override { return isLogOfKit(); }
};

EntryReceiver gEntryReceiver;
NextReceiver gNextReceiver;

bool arePossible(const CrashOptions& options)
{
    return !options.folder.empty() && options.entryBytes >= crash::kLeastRingBytes &&
           options.entryBytes <= crash::kMostRingBytes && options.reportLimitMs > 0 &&
           options.handlingLimitMs > 0 &&
           (options.usesLogHandler || options.nextHandler == nullptr);
}

void removeReceivers()
{
    removeReceiver(LogRole::CrashEntries);
    removeReceiver(LogRole::NextHandler);
}

void setNextHandler(const CrashOptions& options)
{
    const std::lock_guard<std::mutex> lock(gEntriesMutex);
    gNextHandler = options.nextHandler;
    gNextHandlerData = options.nextHandlerData;
}

// Destroys the session as soon as no entry is added to it.
void finish(std::unique_ptr<Session> session)
{
    if (session == nullptr) return;
    const std::lock_guard<std::mutex> lock(gEntriesMutex);
    session->finish();
    session.reset();
}

}  // namespace

bool CrashKit::Install(const CrashOptions& options, SystemFailure* failure)
{
    renewInForkedChildren<gEntriesMutex>();
    const char* const step = "CrashKit::Install";
    if (!arePossible(options)) return fail(failure, step, EINVAL);
    if (!exception::IsSigWatcherRegistered())
        return fail(failure, "CrashKit::Install before a full start", EPERM);
    const int signal = crash::getKitSignal();
    if (signal == 0) return fail(failure, "CrashKit::Install without a free signal", EBUSY);
    std::unique_ptr<Session> session = Session::Make(options, failure);
    if (session == nullptr) return false;

    if (!options.usesLogHandler) removeReceivers();
    if (options.usesLogHandler && !installReceiver(LogRole::CrashEntries, gEntryReceiver))
        return fail(failure, "CrashKit::Install: the log has another custom handler", EBUSY);
    setNextHandler(options);
    const Session* const installed = session.get();
    finish(crash::replaceSession(std::move(session)));
    if (crash::getSession() != installed)
        return fail(failure, "CrashKit::Install during a crash", EBUSY);
    // Not before: only now the kit's handlers of signals are those of this start.
    if (options.nextHandler != nullptr) installReceiver(LogRole::NextHandler, gNextReceiver);
    crash::coverThreads(signal);
    return true;
}

void CrashKit::Remove()
{
    if (!IsInstalled()) return;
    removeReceivers();
    finish(crash::replaceSession(nullptr));
}

bool CrashKit::IsInstalled()
{
    return crash::getSession() != nullptr;
}

std::string CrashKit::GetFilePath()
{
    const std::lock_guard<std::mutex> lock(gEntriesMutex);
    const Session* const session = crash::getSession();
    return session != nullptr ? toUtf8(session->getPath()) : std::string();
}

bool CrashKit::CoverThreads()
{
    return IsInstalled() && crash::coverThreads(crash::getKitSignal());
}

void CrashKit::KeepEntries(const std::list<qzLog::LogEntry>& batch)
{
    const std::lock_guard<std::mutex> lock(gEntriesMutex);
    Session* const session = crash::getSession();
    if (session == nullptr) return;
    for (const qzLog::LogEntry& entry : batch)
        session->editRing().append(entry.prefix, entry.message);
}

// --- CrashStack

struct CrashStack::Stack {
    crash::SignalStack memory;
};

CrashStack::CrashStack()
{
    if (!crash::SignalStack::IsMissing()) return;
    auto stack = std::make_unique<Stack>();
    if (!stack->memory.isMade()) return;
    const stack_t description = stack->memory.describe();
    if (::sigaltstack(&description, nullptr) == 0) mStack = std::move(stack);
}

CrashStack::~CrashStack()
{
    if (mStack == nullptr) return;
    stack_t none = {};
    none.ss_flags = SS_DISABLE;
    ::sigaltstack(&none, nullptr);
}

}  // namespace qz::ext
