// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const std::string kMeasured = "segments 2, entries 2, table";
const std::string kMeasuredAll = kMeasured + ", memory";
const std::string kMeasuredLess = kMeasured + ", a sample without memory";
const std::string kNotStarted = "not started: Resource temporarily unavailable";

}  // namespace

FaultTable getWatcherFaults()
{
    // How many samples the thread takes meanwhile depends on the machine.
    return {"watcher",
            "C.UTF-8",
            kMeasuredAll,
            {
                {"pthread_create", EAGAIN, {kNotStarted}},
                {"fopen", EMFILE, {kMeasuredLess}, {kMeasuredAll}},
                {"fclose", EIO, {kMeasuredAll}},
                // Without the statistics a sample has no load.
                {"open", EMFILE, {kMeasuredAll}},
                {"open", EINTR, {kMeasuredAll}},
                {"read", EIO, {kMeasuredAll}},
                {"read", EINTR, {kMeasuredAll}},
                {"close", EIO, {kMeasuredAll}},
                {"clock_gettime", EINVAL, {kMeasuredAll}},
                {"gettimeofday", EFAULT, {kMeasuredAll}},
                {"mmap", ENOMEM, {}, {kMeasuredAll, kNotStarted}},
                {"madvise", EINVAL, {}, {kMeasuredAll}},
                // On a slow machine its thread reads the statistics too, and converts their path.
                {"newlocale", ENOMEM, {}, {kMeasuredAll}},
                {"pthread_setspecific", ENOMEM, {}, {kMeasuredAll}},
                {"iconv_open", EMFILE, {}, {kMeasuredAll}},
                {"iconv", EILSEQ, {}, {kMeasuredAll}},
                {"iconv_close", EBADF, {}, {kMeasuredAll}},
            },
            {"std::bad_alloc", kMeasuredAll, kMeasuredLess}};
}

}  // namespace qz::faults
