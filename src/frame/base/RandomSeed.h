// SPDX-License-Identifier: MIT
#pragma once

namespace qz {

/// The next seed of the standard random generator. Each thread takes one and increments it, so that
/// no two threads have the same.
///
/// It starts as the milliseconds since the epoch at load. A forked child draws a new one, so that
/// it makes other random names than its parent. It is a class because its construction has a place
/// in the load order.
struct RandomSeed {
    RandomSeed();

    long next;  // guarded by a mutex in qzRandomUtils.cpp
};
extern RandomSeed gRandomSeed;

}  // namespace qz
