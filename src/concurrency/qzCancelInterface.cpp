// SPDX-License-Identifier: MIT
#include <qz/qzCancelInterface.h>

#include "NeverCancels.h"
#include "frame/base/LoadOrder.h"
#include "frame/base/Relaxed.h"

namespace qz {

[[gnu::init_priority(QZ_LOAD_CANCELLATION)]] qzCancelInterfaceProxyReadOnly gNeverCancels;

qzCancelInterfaceReadOnly::~qzCancelInterfaceReadOnly() = default;
qzCancelInterface::~qzCancelInterface() = default;
qzCancelInterfaceProxyReadOnly::~qzCancelInterfaceProxyReadOnly() = default;
qzCancelInterfaceProxy::~qzCancelInterfaceProxy() = default;

// The flags are plain ones that other threads may set.

bool qzCancelInterfaceProxyReadOnly::shouldCancel() const
{
    if (mFlag != nullptr && relaxedLoad(*mFlag)) return true;
    return mParent != nullptr && mParent->shouldCancel();
}

bool qzCancelInterfaceProxy::shouldCancel() const
{
    if (relaxedLoad(*mFlag)) return true;
    if (mTarget != nullptr && mTarget->shouldCancel()) return true;
    return mParent != nullptr && mParent->shouldCancel();
}

void qzCancelInterfaceProxy::cancel()
{
    relaxedStore(*mFlag, true);
    if (mTarget != nullptr) mTarget->cancel();
}

}  // namespace qz
