// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const std::string kEnded = "reports 1, ended";
const std::string kNotStarted = "not started: Resource temporarily unavailable";

}  // namespace

FaultTable getWatchdogExitFaults()
{
    return {"watchdog_exit",
            "C.UTF-8",
            kEnded,
            {
                {"pthread_create", EAGAIN, {kNotStarted}},
                // Memory that can't be read is not too much; the next reading ends the process.
                {"fopen", EMFILE, {kEnded}},
                {"fclose", EIO, {kEnded}},
                {"clock_gettime", EINVAL, {}, {kEnded}},
                {"gettimeofday", EFAULT, {kEnded}},
                {"localtime_r", EOVERFLOW, {kEnded}},
                {"strftime", ENOMEM, {kEnded}},
                {"iconv", EILSEQ, {}, {kEnded}},
                {"mmap", ENOMEM, {}, {kEnded, kNotStarted}},
                {"madvise", EINVAL, {}, {kEnded}},
            },
            {}};
}

}  // namespace qz::faults
