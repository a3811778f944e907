// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzCancelInterface.h>

namespace qz {

/// A source that never cancels.
extern qzCancelInterfaceProxyReadOnly gNeverCancels;

}  // namespace qz
