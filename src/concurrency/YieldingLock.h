// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzMutex.h>

namespace qz {

/// Locks a mutex that many threads hold for a short time. A thread that finds it locked lets others
/// run some times before it sleeps. Once a thread sleeps at a mutex, each unlock has to wake one by
/// a system call, and the threads keep running into each other: where there are as many as
/// processors and more, that takes up to half as long again.
void lockYielding(qzMutex& mutex);

}  // namespace qz
