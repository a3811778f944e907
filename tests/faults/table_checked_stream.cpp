// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

FaultTable getCheckedStreamFaults()
{
    const std::string header = "read: frame header at offset 0: the device has failed: ";
    const std::string payload = "read: frame payload at offset 32: the device has failed: ";
    const std::string end = "read: end at offset 300060: the device has failed: ";
    return {"checked_stream",
            "C.UTF-8",
            "all equal",
            {
                {"open", EMFILE, {"write: " + kOpenError, header + kOpenError}},
                {"read",
                 EIO,
                 {header + kReadError, payload + kReadError, end + kReadError + ", at the end"}},
                {"write", ENOSPC, {"write: " + kWriteError}},
                {"close", EIO, {"all equal"}},
                {"read", EINTR, {"all equal"}},
                {"write", EINTR, {"all equal"}},
            },
            {"std::bad_alloc", "write: " + kOpenError, header + kOpenError}};
}

}  // namespace qz::faults
