// SPDX-License-Identifier: MIT
#pragma once

namespace qz {

/// Whether this process is a forked child of the one that has loaded the library, or a descendant
/// of such a child. Its memory is then a copy. The answer doesn't depend on the call that made the
/// child, nor on the state of the library, and needs no call of the system.
bool isForkedSinceLoad();

}  // namespace qz
