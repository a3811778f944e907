// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const char* const kAllEntries = "entries 3, dated 3, timed 3, console good";
const char* const kOneUntimed = "entries 3, dated 3, timed 2, console good";

}  // namespace

FaultTable getLogDispatchFaults()
{
    return {"log_dispatch",
            "C.UTF-8",
            kAllEntries,
            {
                // A line that can't be written is lost, and the application's stream is as it was.
                {"write", ENOSPC, {kAllEntries}},
                // One failure costs one entry its time, and none of those after it.
                {"strftime", ENOMEM, {kOneUntimed}, {kAllEntries}},
                {"localtime_r", EOVERFLOW, {kOneUntimed}, {kAllEntries}},
                {"gettimeofday", EFAULT, {"entries 3, dated 2, timed 3, console good"}},
                // The log thread then doesn't nap after a batch.
                {"clock_gettime", EINVAL, {}, {kAllEntries}},
                {"iconv", EILSEQ, {}, {kAllEntries}},
            },
            {}};
}

}  // namespace qz::faults
