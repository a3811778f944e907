// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const char* const kAllDone = "all done";

}  // namespace

FaultTable getFilesFaults()
{
    return {
        "files",
        "C.UTF-8",
        kAllDone,
        {
            // A folder that can't be looked at is made, which fails as it is there; a file is taken
            // for missing, and a folder for a file. To clear a folder that can't be looked at is
            // done.
            {"stat",
             EIO,
             {kAllDone, "make", "info", "permissions", "left over",
              "clear: unlink error " + describe(EISDIR) + " for FOLDER/work/deep",
              "clear: unlink error " + describe(EISDIR) + " for FOLDER/work/deep/deeper"}},
            {"mkdir", EEXIST, {"make"}},
            {"open",
             EMFILE,
             {"copy: fail to open source file 'FOLDER/file'",
              "copy: fail to open destination file 'FOLDER/work/a'"}},
            {"open", EINTR, {kAllDone}},
            // Errors with both files open are ignored.
            {"read", EIO, {"content"}, {kAllDone}},
            {"read", EINTR, {kAllDone}},
            {"write", ENOSPC, {"content"}},
            {"write", EINTR, {kAllDone}},
            {"rename", EXDEV, {"rename: rename error " + describe(EXDEV)}},
            {"chmod", EPERM, {"permissions"}},
            {"remove", EBUSY, {"remove: remove error " + describe(EBUSY) + " for 'FOLDER/work/b'"}},
            {"mkostemp", EMFILE, {"temporary file"}},
            {"close", EIO, {kAllDone}},
            {"statvfs", EIO, {"free space"}},
            {"chdir", EACCES, {"change"}},
            {"getcwd", EACCES, {"current folder"}},
            // What can't be resolved for another reason counts as missing too.
            {"readlink", EACCES, {"program", "absolute"}},
            {"realpath", EACCES, {kAllDone, "absolute"}},
            {"statfs", EIO, {kAllDone}},
            {"opendir", ENOMEM, {"clear: opendir error " + describe(ENOMEM) + " for "}},
            // Below the root, a folder above is closed for the missing descriptor.
            {"opendir", EMFILE, {kAllDone, "clear: opendir error " + describe(EMFILE) + " for "}},
            // A folder that can't be read to its end isn't empty when its turn comes.
            {"readdir",
             EIO,
             {kAllDone, "clear: rmdir error " + describe(ENOTEMPTY) + " for FOLDER/work",
              "clear: rmdir error " + describe(ENOTEMPTY) + " for FOLDER/work/deep"}},
            {"closedir", EIO, {kAllDone}},
            {"unlink",
             EBUSY,
             {"clear: unlink error " + describe(EBUSY) + " for FOLDER/work/deep/file"}},
            {"rmdir",
             EBUSY,
             {"clear: rmdir error " + describe(EBUSY) + " for FOLDER/work",
              "clear: rmdir error " + describe(EBUSY) + " for FOLDER/work/deep",
              "clear: rmdir error " + describe(EBUSY) + " for FOLDER/work/deep/deeper"}},
        },
        {"std::bad_alloc", "current folder", "clear: opendir error " + describe(ENOMEM) + " for ",
         kAllDone}};
}

}  // namespace qz::faults
