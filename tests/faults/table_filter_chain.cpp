// SPDX-License-Identifier: MIT
#include <cerrno>
#include <string>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const std::string kCopyError = "Fail to write on destination";
const std::string kTailError = "Could not keep enough terminal bytes";

}  // namespace

FaultTable getFilterChainFaults()
{
    return {
        "filter_chain",
        "C.UTF-8",
        "all passed",
        {
            {"open", EMFILE, {"begin to write: " + kOpenError, "begin to read: " + kOpenError}},
            // The text of what failed after them comes after those of the filters.
            {"read", EIO, {"read: " + kReadError, "read: " + kTailError + ", " + kReadError}},
            {"write",
             ENOSPC,
             {"write: " + kWriteError, "write: " + kCopyError + ", " + kWriteError}},
            // A failed move of the place to read is no error in itself; what comes next is short.
            {"lseek", EIO, {"read: " + kTailError}, {"all passed"}},
            {"close", EIO, {"all passed"}},
            {"read", EINTR, {"all passed"}},
            {"write", EINTR, {"all passed"}},
        },
        {"std::bad_alloc", "begin to write: " + kOpenError, "begin to read: " + kOpenError}};
}

}  // namespace qz::faults
