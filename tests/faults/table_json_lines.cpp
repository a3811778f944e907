// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const char* const kBoth = "taken, taken, lines: 2";
const char* const kFirstLost = "lost, taken, lines: 1";
const char* const kSecondLost = "taken, lost, lines: 1";

}  // namespace

FaultTable getJsonLinesFaults()
{
    return {"json_lines",
            "C.UTF-8",
            kBoth,
            {
                {"open", EINTR, {kBoth}},
                {"open", EMFILE, {kFirstLost, kSecondLost}},
                // The folder is made again, as if it were missing.
                {"open", ENOENT, {kBoth}},
                {"write", EINTR, {kBoth}},
                {"write", EAGAIN, {kBoth}},
                {"write", ENOSPC, {kFirstLost, kSecondLost}},
                {"close", EIO, {kBoth}},
                {"clock_gettime", EINVAL, {kBoth}},
                {"mkdir", EACCES, {}, {kBoth, kFirstLost}},
                {"stat", EIO, {}, {kBoth, kFirstLost}},
            },
            {}};
}

}  // namespace qz::faults
