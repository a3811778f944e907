// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include <qz/qzCancelInterface.h>
#include <qz/qzExport.h>

namespace qz {

class qzMutex;
class qzProgressNotifierGroupCloser;

/// Receives the progress of long work, and reports whether the work should stop.
///
/// Progress is a stack of step groups. An operation splits its work into weighted steps, and each
/// step may open a group of its own. So a function reports against its own maximum, without knowing
/// how big its part of the whole is, and the stack turns that into one figure between 0 and 1:
///
/// @code
/// void convertAll(const Files& files, qzProgressNotifierInterface& progress)
/// {
///     qzProgressNotifierGroupCloser closer;
///     const auto count = static_cast<double>(files.size());
///     progress.beginStepGroupWeights({1, 3}, count, &closer);  // reading, converting
///     for (const File& file : files) {
///         if (progress.shouldCancel()) return;
///         read(file);
///         progress.incrementCurrentStepProgress(1);
///     }
///     progress.changeCurrentStep(1, 1);
///     convert(progress);  // may open groups inside the second step
/// }
/// @endcode
///
/// Threads: one thread at a time, unless the class says otherwise; `cancel` and `shouldCancel` from
/// any.
class QZ_API qzProgressNotifierInterface : public qzCancelInterface {
public:
    qzProgressNotifierInterface();
    ~qzProgressNotifierInterface() override;
    qzProgressNotifierInterface(const qzProgressNotifierInterface&) = delete;
    qzProgressNotifierInterface& operator=(const qzProgressNotifierInterface&) = delete;

    /// Whether the work should stop.
    bool shouldCancel() const override = 0;
    /// Requests that the work stops.
    void cancel() override = 0;
    /// Sets or clears the notifier's own request to stop.
    virtual void setInternalCancelFlag(bool cancel) = 0;
    /// Starts anew: no progress, no request of its own to stop, no group but the root group.
    virtual void resetNotifier() = 0;

    /// Opens a group of steps inside the current step, and makes its first step the current one.
    /// @param weights the share of each step; only their proportion matters. A list with fewer than
    ///     two weights, or with a sum that is not above 0, makes one step. Single weights may be
    ///     negative.
    /// @param firstStepMaxProgress the scale of the first step; 1.0 unless it is above 0.
    /// @param closer ends the group when it is destroyed; may be null, and the caller then calls
    ///     `endStepGroup`.
    virtual void beginStepGroupWeights(const std::vector<double>& weights,
                                       double firstStepMaxProgress,
                                       qzProgressNotifierGroupCloser* closer) = 0;
    /// Ends the last group; the step that it was opened in counts as finished. Without a group it
    /// does nothing. The root group must not be ended: nothing can be reported after it.
    virtual void endStepGroup() = 0;
    /// Goes to a step of the last group, and starts it at 0. Steps may be repeated.
    /// @param maxProgress the scale of the step; 1.0 unless it is above 0.
    /// @param step counted from 0; a number that is too high selects the last step.
    virtual void changeCurrentStep(double maxProgress, unsigned long step) = 0;
    /// Starts the current step again with another scale; 1.0 unless it is above 0.
    virtual void setCurrentStepMaxProgress(double maxProgress) = 0;
    /// Gets the position in the current step and its scale. Without a group both stay as they are.
    virtual void getCurrentStepProgress(double& progress, double& maxProgress) = 0;
    /// Sets the position in the current step, at most its scale. A negative position is kept, so
    /// the figure can move backward. NaN is ignored.
    virtual void setCurrentStepProgress(double progress) = 0;
    /// Moves the position in the current step, within 0 and its scale. NaN is ignored.
    virtual void incrementCurrentStepProgress(double increment) = 0;
    /// Gets the figure for the whole, from 0 to 1 while positions are in their ranges.
    virtual float getGlobalProgress() const = 0;
};

/// Ends a step group when it is destroyed, on whatever path a function is left.
///
/// It remembers the notifier and not the group: it ends the group that is last at that moment.
class QZ_API qzProgressNotifierGroupCloser {
public:
    qzProgressNotifierGroupCloser() = default;
    /// Ends the group. An exception of the notifier ends the process.
    ~qzProgressNotifierGroupCloser();
    qzProgressNotifierGroupCloser(const qzProgressNotifierGroupCloser&) = delete;
    qzProgressNotifierGroupCloser& operator=(const qzProgressNotifierGroupCloser&) = delete;

    /// Ends the group of the notifier that it has, and takes another one. For notifiers, which call
    /// it when a group begins. Beware of using a closer for a second group: the end call concerns
    /// the group that is last then.
    /// @param notifier not owned; must outlive the closer, or be forgotten before; may be null.
    void setNotifier(qzProgressNotifierInterface* notifier);
    /// Forgets the notifier.
    /// @param endGroup ends the group first.
    void forgiveNotifier(bool endGroup);

private:
    friend class qzProgressNotifierTestPeer;

    qzProgressNotifierInterface* mNotifier = nullptr;
};

/// Keeps the stack of step groups and the figure; subclasses choose what to do with it.
///
/// An update costs a multiplication and an addition for each nested group, and allocates nothing.
class QZ_API qzProgressNotifierBase : public qzProgressNotifierInterface {
public:
    /// One group of the stack.
    struct StepGroup {
        std::vector<double> weights;    ///< The share of each step; they sum to 1.
        std::vector<double> offsets;    ///< Where each step starts; 0 for the first.
        unsigned long currentStep = 0;  ///< Index into both.
        double maxProgress = 1.0;       ///< The scale of the current step.
        double progress = 0.0;          ///< The position in the current step.
    };

    /// Makes a notifier with the root group alone, at 0.
    /// @param externalFlag a request to stop from outside; not owned, may be null.
    /// @param externalCancel a further source of such requests; not owned, may be null.
    explicit qzProgressNotifierBase(const bool* externalFlag = nullptr,
                                    const qzCancelInterfaceReadOnly* externalCancel = nullptr);
    ~qzProgressNotifierBase() override;

    /// Replaces the flag from outside; null removes it.
    void setExternalCancelFlag(const bool* externalFlag);
    /// Replaces the source from outside; null removes it.
    void setExternalCancelInterface(const qzCancelInterfaceReadOnly* externalCancel);

    /// True for a request of its own, and for one from outside.
    bool shouldCancel() const override;
    /// Sets the notifier's own request; nothing outside is told.
    void cancel() override;
    void setInternalCancelFlag(bool cancel) override;
    void resetNotifier() override;
    void beginStepGroupWeights(const std::vector<double>& weights, double firstStepMaxProgress,
                               qzProgressNotifierGroupCloser* closer) override;
    void endStepGroup() override;
    void changeCurrentStep(double maxProgress, unsigned long step) override;
    void setCurrentStepMaxProgress(double maxProgress) override;
    void getCurrentStepProgress(double& progress, double& maxProgress) override;
    void setCurrentStepProgress(double progress) override;
    void incrementCurrentStepProgress(double increment) override;
    float getGlobalProgress() const override;

protected:
    /// Receives each change of the figure, on the thread that reports. A figure that a float can't
    /// hold counts as a change at each update. Does nothing here.
    virtual void onProgressChanged(float progress);
    /// Computes the figure, and passes a change on.
    void updateGlobalProgress();

private:
    friend class qzProgressNotifierTestPeer;

    std::vector<StepGroup> mGroups;
    const bool* mExternalCancelFlag;  // never null: mNeverCancel if there is none
    const qzCancelInterfaceReadOnly* mExternalCancel;
    float mGlobalProgress = -1;
    bool mInternalCancel = false;  // set by any thread
    const bool mNeverCancel = false;
};

/// Carries requests to stop, and ignores all progress.
///
/// For work that takes a notifier where nobody is interested in its progress. Threads: its requests
/// may be made and polled on any thread.
class QZ_API qzProgressNotifierCancelSupportOnly : public qzProgressNotifierInterface {
public:
    /// Makes a notifier without a request of its own.
    /// @param externalFlag a request to stop from outside; not owned, may be null.
    /// @param externalCancel a further source of such requests; not owned, may be null.
    explicit qzProgressNotifierCancelSupportOnly(
        const bool* externalFlag = nullptr,
        const qzCancelInterfaceReadOnly* externalCancel = nullptr);
    ~qzProgressNotifierCancelSupportOnly() override;

    /// Replaces the flag from outside; null removes it.
    void setExternalCancelFlag(const bool* externalFlag);
    /// Replaces the source from outside; null removes it.
    void setExternalCancelInterface(const qzCancelInterfaceReadOnly* externalCancel);

    /// True for a request of its own, and for one from outside.
    bool shouldCancel() const override;
    /// Sets the notifier's own request; nothing outside is told.
    void cancel() override;
    void setInternalCancelFlag(bool cancel) override;
    /// Clears its own request to stop.
    void resetNotifier() override;
    /// Does nothing; the closer isn't registered.
    void beginStepGroupWeights(const std::vector<double>& weights, double firstStepMaxProgress,
                               qzProgressNotifierGroupCloser* closer) override;
    void endStepGroup() override;
    void changeCurrentStep(double maxProgress, unsigned long step) override;
    void setCurrentStepMaxProgress(double maxProgress) override;
    /// Leaves both as they are.
    void getCurrentStepProgress(double& progress, double& maxProgress) override;
    void setCurrentStepProgress(double progress) override;
    void incrementCurrentStepProgress(double increment) override;
    /// Always 0.
    float getGlobalProgress() const override;

protected:
    /// Does nothing here, and nothing here calls it.
    virtual void onProgressChanged(float progress);

private:
    friend class qzProgressNotifierTestPeer;

    const bool* mExternalCancelFlag;  // never null: mNeverCancel if there is none
    const qzCancelInterfaceReadOnly* mExternalCancel;
    bool mInternalCancel = false;  // set by any thread
    const bool mNeverCancel = false;
};

/// Passes everything on to another notifier, from several threads, one at a time.
///
/// `cancel` and `shouldCancel` take no lock: a request isn't delayed by a long callback, and a poll
/// stays cheap. The lock is recursive, so a callback may use the proxy.
class QZ_API qzProgressNotifierThreadSafeProxy : public qzProgressNotifierInterface {
public:
    /// @param target not owned; must not be null, and must outlive the proxy.
    explicit qzProgressNotifierThreadSafeProxy(qzProgressNotifierInterface* target);
    ~qzProgressNotifierThreadSafeProxy() override;

    bool shouldCancel() const override;
    void cancel() override;
    void setInternalCancelFlag(bool cancel) override;
    void resetNotifier() override;
    /// Registers the closer on the proxy, so that the group ends under its lock as well.
    void beginStepGroupWeights(const std::vector<double>& weights, double firstStepMaxProgress,
                               qzProgressNotifierGroupCloser* closer) override;
    void endStepGroup() override;
    void changeCurrentStep(double maxProgress, unsigned long step) override;
    void setCurrentStepMaxProgress(double maxProgress) override;
    void getCurrentStepProgress(double& progress, double& maxProgress) override;
    void setCurrentStepProgress(double progress) override;
    void incrementCurrentStepProgress(double increment) override;
    float getGlobalProgress() const override;

private:
    friend class qzProgressNotifierTestPeer;

    qzProgressNotifierInterface* mTarget;
    std::unique_ptr<qzMutex> mMutex;
};

/// Shows the figure as a bar on standard output: "[=====     ] 50%".
///
/// Each change of the whole percent rewrites the line from its start. There is no line end and no
/// flush; the application writes one when the work is done.
class QZ_API qzProgressNotifierConsoleView : public qzProgressNotifierBase {
public:
    /// Shows an empty bar at once.
    /// @param externalFlag a request to stop from outside; not owned, may be null.
    /// @param barWidth characters between the brackets.
    /// @param externalCancel a further source of such requests; not owned, may be null.
    qzProgressNotifierConsoleView(const bool* externalFlag, int barWidth,
                                  const qzCancelInterfaceReadOnly* externalCancel);
    ~qzProgressNotifierConsoleView() override;

protected:
    void onProgressChanged(float progress) override;

private:
    friend class qzProgressNotifierTestPeer;

    int mBarWidth;
    int mLastPercent = -1;
};

/// Marks things whose progress can be watched.
class QZ_API qzProgressMonitorable {
public:
    virtual ~qzProgressMonitorable();
};

}  // namespace qz
