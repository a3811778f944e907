// SPDX-License-Identifier: MIT
#include <qz/ext/LogTools.h>

#include <atomic>
#include <list>
#include <utility>

#include "LogHandler.h"
#include "OfferedEntry.h"

namespace qz::ext {

LogOutlet::~LogOutlet() = default;

void LogOutlet::endBatch() {}

unsigned long LogOutlet::takeLaterLosses()
{
    return 0;
}

// --- LogOutletInstallation

struct LogOutletInstallation::State final : LogReceiver {
    explicit State(LogOutlet& takingOutlet) : outlet(takingOutlet) {}

    void receive(std::list<qzLog::LogEntry>& batch) override;
    bool isOfThisLog() const override { return qzLog::msInstance == log; }

    LogOutlet& outlet;
    qzLog* const log = qzLog::msInstance;
    bool isInstalled = false;
    std::atomic<unsigned long> lostCount = 0;
};

void LogOutletInstallation::State::receive(std::list<qzLog::LogEntry>& batch)
{
    for (const qzLog::LogEntry& entry : batch) {
        if (!offerEntry(outlet, entry)) ++lostCount;
        lostCount += outlet.takeLaterLosses();
    }
    outlet.endBatch();
}

LogOutletInstallation::LogOutletInstallation(LogOutlet& outlet)
    : mState(std::make_unique<State>(outlet))
{
    mState->isInstalled =
        !hasReceiver(LogRole::Outlet) && installReceiver(LogRole::Outlet, *mState);
}

LogOutletInstallation::~LogOutletInstallation()
{
    if (mState->isInstalled) removeReceiver(LogRole::Outlet);
}

bool LogOutletInstallation::isInstalled() const
{
    return mState->isInstalled;
}

unsigned long LogOutletInstallation::getLostCount() const
{
    return mState->lostCount;
}

// --- FanOutOutlet

FanOutOutlet::FanOutOutlet() = default;

FanOutOutlet::~FanOutOutlet() = default;

void FanOutOutlet::addOutlet(LogOutlet& outlet, qzLog::EntryType leastType)
{
    mBranches.push_back({&outlet, leastType});
}

bool FanOutOutlet::take(const qzLog::LogEntry& entry)
{
    bool isMeant = false;
    bool isTaken = false;
    for (const Branch& branch : mBranches) {
        if (entry.type < branch.leastType) continue;
        isMeant = true;
        isTaken |= offerEntry(*branch.outlet, entry);
    }
    return isTaken || !isMeant;
}

void FanOutOutlet::endBatch()
{
    for (const Branch& branch : mBranches)
        branch.outlet->endBatch();
}

// --- EscapingOutlet

EscapingOutlet::EscapingOutlet(LogOutlet& next) : mNext(next) {}

EscapingOutlet::~EscapingOutlet() = default;

bool EscapingOutlet::take(const qzLog::LogEntry& entry)
{
    std::string message = escaped(entry.message);
    std::string subType = escaped(entry.subType);
    if (message == entry.message && subType == entry.subType) return mNext.take(entry);
    qzLog::LogEntry changed = entry;
    changed.message = std::move(message);
    if (subType != entry.subType) {
        changed.subType = std::move(subType);
        changed.computeLogPrefix(true);
    }
    return mNext.take(changed);
}

void EscapingOutlet::endBatch()
{
    mNext.endBatch();
}

unsigned long EscapingOutlet::takeLaterLosses()
{
    return mNext.takeLaterLosses();
}

}  // namespace qz::ext
