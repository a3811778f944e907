// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

std::string fails(const std::string& step, int error)
{
    return step + ": " + describe(error);
}

}  // namespace

FaultTable getSafeFilesFaults()
{
    const std::string done = "all done";
    return {
        "safe_files",
        "C.UTF-8",
        done,
        {
            {"open",
             EMFILE,
             {fails("make: open the folder of new", EMFILE),
              fails("make: create a file beside new", EMFILE), fails("replace: open link", EMFILE),
              fails("replace: open the folder of link", EMFILE),
              fails("replace: create a file beside link", EMFILE), fails("ini: open ini", EMFILE),
              fails("ini: save of the values for ini", EMFILE), fails("copy: open old", EMFILE),
              fails("copy: create a file beside copy", EMFILE)},
             {fails("make: open new", EMFILE), fails("replace: open old", EMFILE),
              fails("ini: open the folder of ini", EMFILE),
              fails("ini: create a file beside ini", EMFILE),
              fails("copy: open the folder of copy", EMFILE), fails("copy: open copy", EMFILE)}},
            {"open", EINTR, {done}},
            // A folder that can't be checked counts as one of all users, but not as append-only.
            {"fstat",
             EIO,
             {done, fails("make: fstat a file beside new", EIO), fails("make: open new", EIO),
              fails("make: stat new", EIO), fails("replace: open link", EIO),
              fails("replace: open link", EACCES), fails("replace: stat link", EIO),
              fails("replace: stat link", EACCES), fails("ini: open ini", EIO),
              fails("ini: open ini", EACCES), fails("ini: stat ini", EIO),
              fails("ini: stat ini", EACCES), fails("copy: fstat old", EIO),
              fails("copy: open copy", EIO), fails("copy: fstat a file beside copy", EIO),
              fails("copy: stat copy", EIO)}},
            {"fstatfs", EIO, {fails("replace: open link", EACCES)}},
            {"readlink", EIO, {fails("replace: open link", EIO)}},
            {"faccessat",
             EROFS,
             {fails("replace: write to link", EROFS), fails("ini: write to ini", EROFS)}},
            {"getrandom",
             EIO,
             {fails("make: choose a name beside new", EIO),
              fails("replace: choose a name beside link", EIO),
              fails("ini: choose a name beside ini", EIO),
              fails("copy: choose a name beside copy", EIO)}},
            {"getrandom", EINTR, {done}},
            {"fchown",
             EPERM,
             {fails("replace: fchown to the owner of link", EPERM),
              fails("ini: fchown to the owner of ini", EPERM)}},
            {"fchmod",
             EPERM,
             {fails("make: create a file beside new", EPERM), fails("make: fchmod for new", EPERM),
              fails("replace: create a file beside link", EPERM),
              fails("replace: fchmod for link", EPERM),
              fails("ini: create a file beside ini", EPERM), fails("ini: fchmod for ini", EPERM),
              fails("copy: create a file beside copy", EPERM),
              fails("copy: fchmod for copy", EPERM)}},
            {"write",
             ENOSPC,
             {fails("make: write for new", ENOSPC), fails("replace: write for link", ENOSPC),
              fails("ini: write for ini", ENOSPC), fails("ini: save of the values for ini", ENOSPC),
              fails("copy: write for copy", ENOSPC)}},
            {"write", EINTR, {done}},
            // What can't be read of the copy of an old ini file is missing in the new one.
            {"read",
             EIO,
             {fails("ini: read ini", EIO), fails("copy: read old", EIO)},
             {done, done + ", ini is damaged"}},
            {"read", EINTR, {done}},
            {"fsync",
             EIO,
             {fails("make: fsync for new", EIO),
              // The new file is in place then.
              fails("make: fsync of the folder of new", EIO), fails("replace: fsync for link", EIO),
              fails("ini: fsync for ini", EIO), fails("copy: fsync for copy", EIO),
              fails("replace: fsync of the folder of link", EIO),
              fails("ini: fsync of the folder of ini", EIO),
              fails("copy: fsync of the folder of copy", EIO)}},
            // Some systems have no fsync for folders.
            {"fsync",
             EINVAL,
             {done, fails("make: fsync for new", EINVAL), fails("replace: fsync for link", EINVAL),
              fails("ini: fsync for ini", EINVAL), fails("copy: fsync for copy", EINVAL)}},
            {"rename",
             EPERM,
             {fails("make: rename to new", EPERM), fails("replace: rename to link", EPERM),
              fails("ini: rename to ini", EPERM), fails("copy: rename to copy", EPERM)}},
            // The sample for the mode of new files.
            {"unlink",
             EIO,
             {fails("make: unlink a file beside new", EIO) + ", a file is left",
              fails("copy: unlink a file beside copy", EIO) + ", a file is left"}},
            {"close", EIO, {done}},
            {"stat", EIO, {}, {done, done + ", ini is damaged"}},
            {"mmap", ENOMEM, {}, {done}},
            {"madvise", EINVAL, {}, {done}},
            {"pthread_key_create", EAGAIN, {}, {done}},
            {"pthread_setspecific", ENOMEM, {}, {done}},
        },
        {"std::bad_alloc"}};
}

}  // namespace qz::faults
