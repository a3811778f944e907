// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzProgressNotifier.h>

#include "io/VirtualSlots.h"

namespace qz {

/// Looks into the classes of progress.
class qzProgressNotifierTestPeer {
public:
    static Offsets getOffsets(const qzProgressNotifierBase& notifier)
    {
        return {findOffset(notifier, notifier.mGroups),
                findOffset(notifier, notifier.mExternalCancelFlag),
                findOffset(notifier, notifier.mExternalCancel),
                findOffset(notifier, notifier.mGlobalProgress),
                findOffset(notifier, notifier.mInternalCancel),
                findOffset(notifier, notifier.mNeverCancel)};
    }
    static Offsets getOffsets(const qzProgressNotifierCancelSupportOnly& notifier)
    {
        return {findOffset(notifier, notifier.mExternalCancelFlag),
                findOffset(notifier, notifier.mExternalCancel),
                findOffset(notifier, notifier.mInternalCancel),
                findOffset(notifier, notifier.mNeverCancel)};
    }
    static Offsets getOffsets(const qzProgressNotifierThreadSafeProxy& proxy)
    {
        return {findOffset(proxy, proxy.mTarget), findOffset(proxy, proxy.mMutex)};
    }
    static Offsets getOffsets(const qzProgressNotifierConsoleView& view)
    {
        return {findOffset(view, view.mBarWidth), findOffset(view, view.mLastPercent)};
    }
    static const std::vector<qzProgressNotifierBase::StepGroup>& getGroups(
        const qzProgressNotifierBase& notifier)
    {
        return notifier.mGroups;
    }
    static const bool* getFlag(const qzProgressNotifierBase& notifier)
    {
        return notifier.mExternalCancelFlag;
    }
    static bool isNeverCancel(const qzProgressNotifierBase& notifier)
    {
        return notifier.mExternalCancelFlag == &notifier.mNeverCancel;
    }
    static qzProgressNotifierInterface* getNotifier(const qzProgressNotifierGroupCloser& closer)
    {
        return closer.mNotifier;
    }
    static qzMutex& editMutex(qzProgressNotifierThreadSafeProxy& proxy) { return *proxy.mMutex; }
};

}  // namespace qz
