// SPDX-License-Identifier: MIT
#include <cerrno>
#include <string>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const char* const kAllDone = "all done";
const std::string kSwapWrite = "Fail to write to swap file ";
const std::string kSwapRead = "Not enought data in swap file ";
const std::string kSwapSeek = "Fail to seek in swap file ";

}  // namespace

FaultTable getBuffersFaults()
{
    return {
        "buffers",
        "C.UTF-8",
        kAllDone,
        {
            // Only the first making of the folder is needed.
            {"mkdir", EACCES, {"write: " + kSwapWrite + kOpenError}},
            {"stat", EIO, {"write: " + kSwapWrite + kOpenError, kAllDone}},
            {"open",
             EMFILE,
             {"write: " + kSwapWrite + kOpenError,
              "write after a clear: " + kSwapWrite + kOpenError}},
            {"fcntl",
             EMFILE,
             {"write: " + kSwapWrite + kOpenError,
              "write after a clear: " + kSwapWrite + kOpenError}},
            {"gettimeofday", EFAULT, {kAllDone}},
            // All done: atEnd, which the copy calls before each read, found no byte. That counts as
            // "not at the end", and the read that follows gets the byte or reports the error.
            {"read",
             EIO,
             {"read: " + kSwapRead + kReadError,
              "copy: ", "read after a clear: " + kSwapRead + kReadError, kAllDone}},
            {"write",
             ENOSPC,
             {"copy: ", "write: " + kSwapWrite + kWriteError,
              "write after a clear: " + kSwapWrite + kWriteError}},
            // A failed move of the position to read is no error in itself; what comes next is
            // short.
            {"lseek",
             EIO,
             {"read: " + kSwapSeek + kSeekError, "overwrite: " + kSwapSeek + kSeekError,
              "copy: ", "read after a clear: " + kSwapSeek + kSeekError, kAllDone,
              "read: " + kSwapRead, "overwrite: " + kSwapWrite + kWriteError,
              "write after a clear: " + kSwapWrite + kWriteError,
              "read after a clear: " + kSwapRead, "write: " + kSwapWrite + kOpenError,
              "write after a clear: " + kSwapWrite + kOpenError}},
            {"unlink", EBUSY, {"all done; a file is left"}},
            {"close", EIO, {kAllDone}},
            {"read", EINTR, {kAllDone}},
            {"write", EINTR, {kAllDone}},
            {"open", EINTR, {kAllDone}},
            {"mmap", ENOMEM, {}, {kAllDone}},
            {"madvise", EINVAL, {}, {kAllDone}},
        },
        {"std::bad_alloc", kAllDone}};
}

}  // namespace qz::faults
