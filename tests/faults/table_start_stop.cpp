// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const char* const kUp = "log, full, local text '\xc3\xa9', down";
const char* const kNoThread =
    "no thread: Resource temporarily unavailable; log, full, local text '\xc3\xa9', written 1, "
    "down";

}  // namespace

FaultTable getStartStopFaults()
{
    return {"start_stop",
            "C.UTF-8",
            kUp,
            {
                {"newlocale",
                 ENOMEM,
                 {"log, full, no number locale, local text '\xc3\xa9', down",
                  "log, full, local text '?', down", kUp}},
                {"pthread_key_create", EAGAIN, {"log, full, no text services, down"}},
                {"pthread_setspecific", ENOMEM, {kUp}},
                {"iconv_open", EMFILE, {kUp, "log, full, local text '', down"}},
                {"iconv", EILSEQ, {}, {kUp}},
                {"iconv_close", EBADF, {kUp}},
                {"pthread_create", EAGAIN, {kNoThread}},
                {"mmap", ENOMEM, {}, {kUp}},
                {"madvise", EINVAL, {}, {kUp}},
                // The log notes the time zone for children that are forked later.
                {"gettimeofday", EFAULT, {kUp}},
                {"localtime_r", EOVERFLOW, {kUp}},
            },
            {"std::bad_alloc", kUp, "log, full, no text services, down",
             "log, full, local text '?', down", "log, full, local text '', down"}};
}

}  // namespace qz::faults
