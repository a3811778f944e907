#pragma once

namespace qz {

/// The next seed of the random generator: milliseconds since the epoch at load, and 1 more for each
/// thread that took one, in one atomic step. A class, because its construction has a place in the
/// load order.
struct RandomSeed {
    long next;
};
extern RandomSeed gRandomSeed;

}  // namespace qz
