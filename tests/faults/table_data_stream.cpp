// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

FaultTable getDataStreamFaults()
{
    return {"data_stream",
            "C.UTF-8",
            "all equal",
            {
                {"open", EMFILE, {"write: " + kOpenError, "read: " + kOpenError}},
                {"read", EIO, {"read: " + kReadError}},
                {"write", ENOSPC, {"write: " + kWriteError}},
                {"close", EIO, {"all equal"}},
                {"read", EINTR, {"all equal"}},
                {"write", EINTR, {"all equal"}},
            },
            {"std::bad_alloc", "write: " + kOpenError, "read: " + kOpenError}};
}

}  // namespace qz::faults
