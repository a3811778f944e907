// SPDX-License-Identifier: MIT
#include <cerrno>
#include <string>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const std::string kAllLocked =
    "locked, refused: Fail to acquire lock on existing file, " + describe(EWOULDBLOCK);

}  // namespace

FaultTable getLockFilesFaults()
{
    return {"lock_files",
            "C.UTF-8",
            kAllLocked,
            {
                {"open",
                 EMFILE,
                 {kAllLocked,
                  "locked, refused: Fail to set lock on created file, " + describe(EWOULDBLOCK),
                  "as a new file, " + kAllLocked}},
                {"open", EINTR, {kAllLocked}},
                {"fdopen",
                 ENOMEM,
                 {"new: Fail to open lock file in w+, " + describe(ENOMEM),
                  "locked, refused: Fail to set lock on created file, " + describe(EWOULDBLOCK),
                  "as a new file, " + kAllLocked}},
                {"flock",
                 ENOLCK,
                 {"new: Fail to set lock on created file, " + describe(ENOLCK),
                  "locked, refused: Fail to acquire lock on existing file, " + describe(ENOLCK),
                  "release: Fail to release lock on file, " + describe(ENOLCK),
                  "existing: Fail to acquire lock on existing file, " + describe(ENOLCK),
                  "removal: Fail to release lock on file, " + describe(ENOLCK)}},
                {"flock", EINTR, {kAllLocked}},
                // A file that can't be compared with the one at the path is opened anew.
                {"fstat",
                 EIO,
                 {kAllLocked, "the new file was there", "removal: Fail to remove lock file"}},
                {"stat",
                 EIO,
                 {kAllLocked, "the new file was there", "removal: Fail to remove lock file"}},
                // The lock itself needs none of these calls.
                {"fcntl", ENOMEM, {kAllLocked}},
                // What is in the file is for people alone.
                {"fwrite", ENOSPC, {kAllLocked}},
                {"fflush", ENOSPC, {kAllLocked}},
                {"fclose", EIO, {kAllLocked}},
                {"remove", EBUSY, {"removal: Fail to remove lock file"}},
                {"mmap", ENOMEM, {}, {kAllLocked}},
                {"madvise", EINVAL, {}, {kAllLocked}},
            },
            {"std::bad_alloc", kAllLocked, "as a new file, " + kAllLocked,
             "new: Fail to open lock file in w+, " + describe(ENOMEM),
             "locked, refused: Fail to set lock on created file, " + describe(EWOULDBLOCK)}};
}

}  // namespace qz::faults
