// SPDX-License-Identifier: MIT
#include <qz/qzProgressNotifier.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include <qz/qzMutex.h>

#include "frame/base/Relaxed.h"

namespace qz {

namespace {

// A scale that can be divided by: NaN isn't above 0 either.
double makeScale(double maxProgress)
{
    return maxProgress > 0 ? maxProgress : 1.0;
}

void startStep(qzProgressNotifierBase::StepGroup& group, double maxProgress)
{
    group.progress = 0;
    group.maxProgress = makeScale(maxProgress);
}

// Fills the shares of the steps and where they start.
void divide(qzProgressNotifierBase::StepGroup& group, const std::vector<double>& weights)
{
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    if (weights.size() < 2 || !(sum > 0)) {
        group.weights.assign(1, 1.0);
        group.offsets.assign(1, 0.0);
        return;
    }
    group.weights.reserve(weights.size());
    group.offsets.reserve(weights.size());
    double running = 0;
    for (const double weight : weights) {
        group.offsets.push_back(running);
        const double share = weight / sum;
        running += share;
        group.weights.push_back(share);
    }
}

}  // namespace

qzProgressMonitorable::~qzProgressMonitorable() = default;

qzProgressNotifierInterface::qzProgressNotifierInterface() = default;
qzProgressNotifierInterface::~qzProgressNotifierInterface() = default;

// --- The closer of a group -------------------------------------------------------------------

qzProgressNotifierGroupCloser::~qzProgressNotifierGroupCloser()
{
    forgiveNotifier(/*endGroup=*/true);
}

void qzProgressNotifierGroupCloser::setNotifier(qzProgressNotifierInterface* notifier)
{
    forgiveNotifier(/*endGroup=*/true);
    mNotifier = notifier;
}

void qzProgressNotifierGroupCloser::forgiveNotifier(bool endGroup)
{
    // Forgotten first, as the end call may throw.
    qzProgressNotifierInterface* const notifier = std::exchange(mNotifier, nullptr);
    if (notifier != nullptr && endGroup) notifier->endStepGroup();
}

// --- The stack of groups ---------------------------------------------------------------------

qzProgressNotifierBase::qzProgressNotifierBase(const bool* externalFlag,
                                               const qzCancelInterfaceReadOnly* externalCancel)
    : mExternalCancelFlag(externalFlag != nullptr ? externalFlag : &mNeverCancel),
      mExternalCancel(externalCancel)
{
    qzProgressNotifierBase::resetNotifier();
}

qzProgressNotifierBase::~qzProgressNotifierBase() = default;

void qzProgressNotifierBase::setExternalCancelFlag(const bool* externalFlag)
{
    mExternalCancelFlag = externalFlag != nullptr ? externalFlag : &mNeverCancel;
}

void qzProgressNotifierBase::setExternalCancelInterface(
    const qzCancelInterfaceReadOnly* externalCancel)
{
    mExternalCancel = externalCancel;
}

bool qzProgressNotifierBase::shouldCancel() const
{
    if (relaxedLoad(mInternalCancel) || relaxedLoad(*mExternalCancelFlag)) return true;
    return mExternalCancel != nullptr && mExternalCancel->shouldCancel();
}

void qzProgressNotifierBase::cancel()
{
    setInternalCancelFlag(true);
}

void qzProgressNotifierBase::setInternalCancelFlag(bool cancel)
{
    relaxedStore(mInternalCancel, cancel);
}

void qzProgressNotifierBase::resetNotifier()
{
    mGroups.clear();
    mGlobalProgress = -1;                        // so that the next figure is a change
    beginStepGroupWeights({1.0}, 1.0, nullptr);  // NOLINT: the constructor means its own class's
    relaxedStore(mInternalCancel, false);
    updateGlobalProgress();
}

void qzProgressNotifierBase::beginStepGroupWeights(const std::vector<double>& weights,
                                                   double firstStepMaxProgress,
                                                   qzProgressNotifierGroupCloser* closer)
{
    StepGroup group;
    divide(group, weights);
    startStep(group, firstStepMaxProgress);
    mGroups.push_back(std::move(group));
    if (closer != nullptr) closer->setNotifier(this);
    updateGlobalProgress();
}

void qzProgressNotifierBase::endStepGroup()
{
    if (mGroups.empty()) return;
    mGroups.pop_back();
    if (!mGroups.empty()) mGroups.back().progress = mGroups.back().maxProgress;
    updateGlobalProgress();
}

void qzProgressNotifierBase::changeCurrentStep(double maxProgress, unsigned long step)
{
    if (mGroups.empty()) return;
    StepGroup& group = mGroups.back();
    startStep(group, maxProgress);
    group.currentStep = std::min(step, group.weights.size() - 1);
    updateGlobalProgress();
}

void qzProgressNotifierBase::setCurrentStepMaxProgress(double maxProgress)
{
    if (mGroups.empty()) return;
    startStep(mGroups.back(), maxProgress);
    updateGlobalProgress();
}

void qzProgressNotifierBase::getCurrentStepProgress(double& progress, double& maxProgress)
{
    if (mGroups.empty()) return;
    progress = mGroups.back().progress;
    maxProgress = mGroups.back().maxProgress;
}

// Compatibility: without a lower bound, so that callers can move the figure backward.
void qzProgressNotifierBase::setCurrentStepProgress(double progress)
{
    if (mGroups.empty() || std::isnan(progress)) return;
    StepGroup& group = mGroups.back();
    group.progress = std::min(group.maxProgress, progress);
    updateGlobalProgress();
}

void qzProgressNotifierBase::incrementCurrentStepProgress(double increment)
{
    if (mGroups.empty()) return;
    StepGroup& group = mGroups.back();
    const double progress = group.progress + increment;
    if (std::isnan(progress)) return;
    group.progress = std::clamp(progress, 0.0, group.maxProgress);
    updateGlobalProgress();
}

float qzProgressNotifierBase::getGlobalProgress() const
{
    return mGlobalProgress;
}

void qzProgressNotifierBase::onProgressChanged(float /*progress*/) {}

void qzProgressNotifierBase::updateGlobalProgress()
{
    double figure = 1.0;
    if (!mGroups.empty()) {
        figure = mGroups.back().progress / mGroups.back().maxProgress;
        figure = std::accumulate(
            mGroups.rbegin(), mGroups.rend(), figure, [](double inner, const StepGroup& group) {
                return inner * group.weights[group.currentStep] + group.offsets[group.currentStep];
            });
    }
    if (static_cast<double>(mGlobalProgress) == figure) return;
    mGlobalProgress = static_cast<float>(figure);
    onProgressChanged(mGlobalProgress);  // NOLINT: a subclass shows its first figure itself
}

// --- Requests to stop alone ------------------------------------------------------------------

qzProgressNotifierCancelSupportOnly::qzProgressNotifierCancelSupportOnly(
    const bool* externalFlag, const qzCancelInterfaceReadOnly* externalCancel)
    : mExternalCancelFlag(externalFlag != nullptr ? externalFlag : &mNeverCancel),
      mExternalCancel(externalCancel)
{
}

qzProgressNotifierCancelSupportOnly::~qzProgressNotifierCancelSupportOnly() = default;

void qzProgressNotifierCancelSupportOnly::setExternalCancelFlag(const bool* externalFlag)
{
    mExternalCancelFlag = externalFlag != nullptr ? externalFlag : &mNeverCancel;
}

void qzProgressNotifierCancelSupportOnly::setExternalCancelInterface(
    const qzCancelInterfaceReadOnly* externalCancel)
{
    mExternalCancel = externalCancel;
}

bool qzProgressNotifierCancelSupportOnly::shouldCancel() const
{
    if (relaxedLoad(mInternalCancel) || relaxedLoad(*mExternalCancelFlag)) return true;
    return mExternalCancel != nullptr && mExternalCancel->shouldCancel();
}

void qzProgressNotifierCancelSupportOnly::cancel()
{
    setInternalCancelFlag(true);
}

void qzProgressNotifierCancelSupportOnly::setInternalCancelFlag(bool cancel)
{
    relaxedStore(mInternalCancel, cancel);
}

void qzProgressNotifierCancelSupportOnly::resetNotifier()
{
    relaxedStore(mInternalCancel, false);
}

void qzProgressNotifierCancelSupportOnly::beginStepGroupWeights(
    const std::vector<double>& /*weights*/, double /*firstStepMaxProgress*/,
    qzProgressNotifierGroupCloser* /*closer*/)
{
}

void qzProgressNotifierCancelSupportOnly::endStepGroup() {}

void qzProgressNotifierCancelSupportOnly::changeCurrentStep(double /*maxProgress*/,
                                                            unsigned long /*step*/)
{
}

void qzProgressNotifierCancelSupportOnly::setCurrentStepMaxProgress(double /*maxProgress*/) {}

void qzProgressNotifierCancelSupportOnly::getCurrentStepProgress(double& /*progress*/,
                                                                 double& /*maxProgress*/)
{
}

void qzProgressNotifierCancelSupportOnly::setCurrentStepProgress(double /*progress*/) {}

void qzProgressNotifierCancelSupportOnly::incrementCurrentStepProgress(double /*increment*/) {}

float qzProgressNotifierCancelSupportOnly::getGlobalProgress() const
{
    return 0;
}

void qzProgressNotifierCancelSupportOnly::onProgressChanged(float /*progress*/) {}

}  // namespace qz
