#pragma once

namespace qz {

/// Makes the registry of resources, when there is none.
/// @param withMutex gives it its mutex too, when it has none; the entries stay.
void createResourceRegistry(bool withMutex);
/// Forgets all resources, and the mutex first.
void destroyResourceRegistry();

}  // namespace qz
