// SPDX-License-Identifier: MIT
#pragma once

namespace qz {

/// Makes the registry of resources, if there is none.
/// @param withMutex also makes its mutex, if there is none. The entries are kept.
void createResourceRegistry(bool withMutex);
/// Destroys the registry, with the mutex before the entries.
void destroyResourceRegistry();

}  // namespace qz
