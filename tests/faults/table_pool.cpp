// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const std::string kSums = "sums 3000 4";

}  // namespace

FaultTable getPoolFaults()
{
    return {"pool",
            "C.UTF-8",
            kSums + "; " + kSums,
            {
                {"pthread_create", EAGAIN, {"no pool: Resource temporarily unavailable; " + kSums}},
                // Without a clock the workers take more or fewer pieces at once.
                {"clock_gettime", EINVAL, {}, {kSums + "; " + kSums}},
            },
            // A text of a thread that stays short is nothing that it would fail for.
            {"std::bad_alloc", kSums + "; " + kSums}};
}

}  // namespace qz::faults
