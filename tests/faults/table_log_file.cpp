// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const char* const kAllLines = "in files: from earlier, line 1, line 2, line 3,";
const char* const kWithoutLine1 = "in files: from earlier, line 2, line 3,";
const char* const kWithoutLine2 = "in files: from earlier, line 1, line 3,";
const char* const kWithoutLine3 = "in files: from earlier, line 1, line 2,";
// What stood in the file before its rotation is gone.
const char* const kRotatedInPlace = "in files: line 2, line 3,";

}  // namespace

FaultTable getLogFileFaults()
{
    return {"log_file",
            "C.UTF-8",
            kAllLines,
            {
                // A line that can't be written goes to the console, or nowhere, and the next one is
                // tried.
                {"open", EMFILE, {kWithoutLine1, kWithoutLine2, kWithoutLine3}, {kAllLines}},
                {"write", ENOSPC, {kWithoutLine1, kWithoutLine2, kWithoutLine3}},
                {"lseek", ESPIPE, {}, {kAllLines}},
                // The first lines of a file are written without the lock then.
                {"flock", ENOLCK, {kAllLines}},
                {"close", EIO, {}, {kAllLines}},
                // A file that can't be looked at is taken for missing: the trial of the
                // installation empties it, and so does the rotation.
                {"stat", EIO, {"in files: line 1, line 2, line 3,", kRotatedInPlace}, {kAllLines}},
                {"rename", EACCES, {kRotatedInPlace}},
                // Without a time the old file has no name to go to.
                {"localtime_r", EOVERFLOW, {kRotatedInPlace}, {kAllLines}},
                {"strftime", ENOMEM, {kRotatedInPlace}, {kAllLines}},
                {"gettimeofday", EFAULT, {}, {kAllLines}},
                {"mmap", ENOMEM, {}, {kAllLines}},
                {"madvise", EINVAL, {}, {kAllLines}},
            },
            {}};
}

}  // namespace qz::faults
