// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

FaultTable getFileDeviceFaults()
{
    return {
        "file_device",
        "C.UTF-8",
        "all done",
        {
            // A file that can't be looked at is taken for missing, and made anew.
            {"stat", EIO, {"read before the change: "}},
            {"open",
             EMFILE,
             {"open to write: " + kOpenError, "open to read: " + kOpenError,
              "open to change: " + kOpenError}},
            {"read",
             EIO,
             {"small read: " + kReadError, "large read: " + kReadError, "load: " + kReadError,
              "read before the change: " + kReadError, "end: "},
             {"look: " + kReadError}},
            {"write",
             ENOSPC,
             {"seek to look: " + kSeekError},
             {"flush: " + kWriteError, "large write: " + kWriteError,
              "seek to write: " + kSeekError}},
            // A failed move of the place to read is no error in itself; what comes next is short.
            {"lseek",
             EIO,
             {"load: ", "seek to write: " + kSeekError, "seek to change: " + kSeekError,
              "seek to look: " + kSeekError},
             {"all done", "look: ", "change: " + kWriteError}},
            // Only folders need it.
            {"fstat", EIO, {"all done"}},
            {"close", EIO, {"all done"}},
            {"read", EINTR, {"all done"}},
            {"write", EINTR, {"all done"}},
        },
        {"std::bad_alloc", "open to write: " + kOpenError, "open to read: " + kOpenError,
         "open to change: " + kOpenError}};
}

}  // namespace qz::faults
