// SPDX-License-Identifier: MIT
#include <qz/qzMutex.h>
#include <qz/qzProgressNotifier.h>

namespace qz {

qzProgressNotifierThreadSafeProxy::qzProgressNotifierThreadSafeProxy(
    qzProgressNotifierInterface* target)
    : mTarget(target), mMutex(std::make_unique<qzMutex>())
{
}

qzProgressNotifierThreadSafeProxy::~qzProgressNotifierThreadSafeProxy() = default;

bool qzProgressNotifierThreadSafeProxy::shouldCancel() const
{
    return mTarget->shouldCancel();
}

void qzProgressNotifierThreadSafeProxy::cancel()
{
    mTarget->cancel();
}

void qzProgressNotifierThreadSafeProxy::setInternalCancelFlag(bool cancel)
{
    const qzMutexLocker locker(*mMutex);
    mTarget->setInternalCancelFlag(cancel);
}

void qzProgressNotifierThreadSafeProxy::resetNotifier()
{
    const qzMutexLocker locker(*mMutex);
    mTarget->resetNotifier();
}

void qzProgressNotifierThreadSafeProxy::beginStepGroupWeights(const std::vector<double>& weights,
                                                              double firstStepMaxProgress,
                                                              qzProgressNotifierGroupCloser* closer)
{
    const qzMutexLocker locker(*mMutex);
    mTarget->beginStepGroupWeights(weights, firstStepMaxProgress, nullptr);
    if (closer != nullptr) closer->setNotifier(this);
}

void qzProgressNotifierThreadSafeProxy::endStepGroup()
{
    const qzMutexLocker locker(*mMutex);
    mTarget->endStepGroup();
}

void qzProgressNotifierThreadSafeProxy::changeCurrentStep(double maxProgress, unsigned long step)
{
    const qzMutexLocker locker(*mMutex);
    mTarget->changeCurrentStep(maxProgress, step);
}

void qzProgressNotifierThreadSafeProxy::setCurrentStepMaxProgress(double maxProgress)
{
    const qzMutexLocker locker(*mMutex);
    mTarget->setCurrentStepMaxProgress(maxProgress);
}

void qzProgressNotifierThreadSafeProxy::getCurrentStepProgress(double& progress,
                                                               double& maxProgress)
{
    const qzMutexLocker locker(*mMutex);
    mTarget->getCurrentStepProgress(progress, maxProgress);
}

void qzProgressNotifierThreadSafeProxy::setCurrentStepProgress(double progress)
{
    const qzMutexLocker locker(*mMutex);
    mTarget->setCurrentStepProgress(progress);
}

void qzProgressNotifierThreadSafeProxy::incrementCurrentStepProgress(double increment)
{
    const qzMutexLocker locker(*mMutex);
    mTarget->incrementCurrentStepProgress(increment);
}

float qzProgressNotifierThreadSafeProxy::getGlobalProgress() const
{
    const qzMutexLocker locker(*mMutex);
    return mTarget->getGlobalProgress();
}

}  // namespace qz
