// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

FaultTable getRemoveTreeFaults()
{
    const std::string done = "all removed";
    return {"remove_tree",
            "C.UTF-8",
            done,
            {
                {"open",
                 EACCES,
                 {"open the folder of " + describe(EACCES), "open " + describe(EACCES),
                  "return from " + describe(EACCES)}},
                // Other folders are closed, and the call is made again.
                {"open",
                 EMFILE,
                 {done, "open the folder of " + describe(EMFILE)},
                 {"open " + describe(EMFILE), "return from " + describe(EMFILE)}},
                {"open",
                 ENFILE,
                 {done, "open the folder of " + describe(ENFILE)},
                 {"open " + describe(ENFILE), "return from " + describe(ENFILE)}},
                {"open", EINTR, {done}},
                {"fstat",
                 EIO,
                 {"open the folder of " + describe(EIO), "statx " + describe(EIO),
                  "return from " + describe(EIO)}},
                // At the end of a folder, nothing is left to read.
                {"getdents64",
                 EIO,
                 {"read " + describe(EIO), "read " + describe(EIO) + ", all was removed"}},
                {"unlink", EPERM, {"unlink " + describe(EPERM), "rmdir " + describe(EPERM)}},
                {"close", EIO, {done}},
                {"mmap", ENOMEM, {}, {done}},
                {"madvise", EINVAL, {}, {done}},
            },
            {"std::bad_alloc"}};
}

}  // namespace qz::faults
