// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzCancelIfParentProcessDied.h>

#include "io/VirtualSlots.h"
#include "system/qzCancelIfParentProcessDiedImpl.h"

namespace qz {

/// Looks into a source and its thread.
class qzCancelIfParentProcessDiedTestPeer {
public:
    using Impl = qzCancelIfParentProcessDiedImpl;

    static Impl& editImpl(const qzCancelIfParentProcessDied& source) { return *source.mImpl; }
    static qzMutex& editMutex(Impl& impl) { return impl.mMutex; }
    static qzProcess& editParentProcess(Impl& impl) { return impl.mParentProcess; }
    static bool isStopRequested(const Impl& impl) { return relaxedLoad(impl.mStopRequested); }
    static void requestStop(Impl& impl)
    {
        const qzMutexLocker locker(impl.mMutex);
        relaxedStore(impl.mStopRequested, true);
        impl.mWake.wakeAll();
    }
    static void setParentDied(Impl& impl) { relaxedStore(impl.mParentDied, true); }

    static Offsets getOffsets(const qzCancelIfParentProcessDied& source)
    {
        return {findOffset(source, source.mImpl), findOffset(source, source.mParent)};
    }
    static Offsets getOffsets(const Impl& impl)
    {
        return {findOffset(impl, impl.mParentDied), findOffset(impl, impl.mParentProcess),
                findOffset(impl, impl.mMutex), findOffset(impl, impl.mWake),
                findOffset(impl, impl.mStopRequested)};
    }
};

}  // namespace qz
