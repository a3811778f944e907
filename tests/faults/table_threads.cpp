// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const char* const kLockThreadWait = "file; ran 1; over";
const char* const kNoLock = "no file; ran 1; over";

}  // namespace

FaultTable getThreadsFaults()
{
    return {
        "threads",
        "C.UTF-8",
        kLockThreadWait,
        {
            {"open", EACCES, {kNoLock}},
            {"open", EINTR, {kLockThreadWait}},
            // An interrupted call is repeated; the result of any other is ignored.
            {"flock", EINTR, {kLockThreadWait}},
            {"flock", ENOLCK, {kLockThreadWait}},
            {"close", EIO, {kLockThreadWait}},
            {"remove", EBUSY, {"file; ran 1; over; file kept"}},
            {"pthread_create", EAGAIN, {"file; Resource temporarily unavailable, running; over"}},
            // There is nothing left to wait for either way.
            {"clock_gettime", EINVAL, {kLockThreadWait}},
        },
        // A text of a thread that stays short is nothing that it would fail for.
        {"std::bad_alloc", kNoLock, kLockThreadWait}};
}

}  // namespace qz::faults
