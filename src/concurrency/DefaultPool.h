// SPDX-License-Identifier: MIT
#pragma once

namespace qz {

/// Makes the pool of the process. If a thread can't be started, there is none, and the exception
/// of the pool's constructor goes on.
void createDefaultPool(unsigned int workerCount);
/// Ends the pool of the process, if there is one, and waits for its workers.
void destroyDefaultPool();

}  // namespace qz
