// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const std::string kSwitched = "on, off, on";
const std::string kNotStarted = "not started: Resource temporarily unavailable";

}  // namespace

FaultTable getWatchdogFaults()
{
    return {"watchdog",
            "C.UTF-8",
            kSwitched,
            {
                {"pthread_create", EAGAIN, {kNotStarted}},
                // On a slow machine it gets as far as a reading.
                {"fopen", EMFILE, {}, {kSwitched}},
                {"fclose", EIO, {}, {kSwitched}},
                {"clock_gettime", EINVAL, {}, {kSwitched}},
                {"mmap", ENOMEM, {}, {kSwitched, kNotStarted}},
                {"madvise", EINVAL, {}, {kSwitched}},
            },
            {"std::bad_alloc", kSwitched}};
}

}  // namespace qz::faults
