// SPDX-License-Identifier: MIT
#include <cerrno>
#include <string>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const std::string kHolderFound = "found, refused: held: " + describe(ECANCELED);
const std::string kHolderNotFound = "not found, refused: held: " + describe(ECANCELED);

}  // namespace

FaultTable getFileLockFaults()
{
    return {"file_lock",
            "C.UTF-8",
            kHolderFound,
            {
                {"open",
                 EMFILE,
                 {"new: failed: " + describe(EMFILE), kHolderNotFound,
                  "found, refused: failed: " + describe(EMFILE),
                  "existing: failed: " + describe(EMFILE)}},
                {"open", EINTR, {kHolderFound}},
                // The close of the file makes up for an explicit unlock that fails.
                {"fcntl",
                 ENOLCK,
                 {"new: failed: " + describe(ENOLCK), kHolderNotFound,
                  "found, refused: failed: " + describe(ENOLCK),
                  "existing: failed: " + describe(ENOLCK), kHolderFound}},

                {"fcntl", EINTR, {kHolderFound, kHolderNotFound}},
                // A file that can't be compared with the one at the path is opened anew.
                {"fstat", EIO, {kHolderFound, "elsewhere, " + kHolderFound}},
                {"lstat", EIO, {kHolderFound, "elsewhere, " + kHolderFound}},
                // A file that can't be read is not overwritten.
                {"pread",
                 EIO,
                 {"new: failed: " + describe(EIO), kHolderNotFound,
                  "found, refused: failed: " + describe(ECANCELED),
                  "existing: failed: " + describe(EIO)},
                 {kHolderFound}},
                {"pread", EINTR, {kHolderFound}},
                // The line is for people; the lock is taken without it.
                {"pwrite", ENOSPC, {"not found, refused: failed: " + describe(ECANCELED)}},
                {"pwrite", EINTR, {kHolderFound}},
                {"ftruncate", EIO, {kHolderFound}},
                {"close", EIO, {kHolderFound}},
                // A time that is not known may be after the deadline.
                {"clock_gettime",
                 EINVAL,
                 {},
                 {kHolderFound, "found, refused: held: " + describe(ETIMEDOUT)}},
                {"mmap", ENOMEM, {}, {kHolderFound}},
                {"madvise", EINVAL, {}, {kHolderFound}},
            },
            {"std::bad_alloc"}};
}

}  // namespace qz::faults
