// SPDX-License-Identifier: MIT
#include <qz/qzCancelIfParentProcessDied.h>

#include <qz/qzLogObject.h>

#include "qzCancelIfParentProcessDiedImpl.h"

namespace qz {

namespace {

constexpr unsigned long kPollMs = 100;

}  // namespace

// --- The thread ------------------------------------------------------------------------------

qzCancelIfParentProcessDiedImpl::qzCancelIfParentProcessDiedImpl()
{
    qzProcess::GetParentProcess(mParentProcess);
    startThreadWithSignalsBlocked(nullptr);
}

qzCancelIfParentProcessDiedImpl::~qzCancelIfParentProcessDiedImpl()
{
    stopThread(mMutex, mWake, mStopRequested);
}

void qzCancelIfParentProcessDiedImpl::run()
{
    watchParent();
    relaxedStore(mStopRequested, true);
}

void qzCancelIfParentProcessDiedImpl::watchParent()
{
    const qzMutexLocker locker(mMutex);
    while (!mStopRequested && mParentProcess.getState() != qzProcess::Finished) {
        mWake.wait(&mMutex, kPollMs);
    }
    if (!mStopRequested) {
        logInfo() << "Parent process died";
        relaxedStore(mParentDied, true);
    }
    mParentProcess.clearProcess();
}

// --- The source ------------------------------------------------------------------------------

qzCancelIfParentProcessDied::qzCancelIfParentProcessDied(const qzCancelInterfaceReadOnly* parent)
    : mImpl(std::make_unique<qzCancelIfParentProcessDiedImpl>()), mParent(parent)
{
}

qzCancelIfParentProcessDied::~qzCancelIfParentProcessDied() = default;

bool qzCancelIfParentProcessDied::shouldCancel() const
{
    if (mImpl->hasParentDied()) return true;
    return mParent != nullptr && mParent->shouldCancel();
}

}  // namespace qz
