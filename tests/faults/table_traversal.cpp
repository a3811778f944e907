// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const char* const kWholeWalk = "entered 4, folders 3, files 3, left 4";

}  // namespace

FaultTable getTraversalFaults()
{
    return {
        "traversal",
        "C.UTF-8",
        kWholeWalk,
        {
            // A folder that can't be opened is skipped; what can't be looked at is a file.
            {"opendir",
             ENOMEM,
             {"entered 0, folders 0, files 0, left 0", "entered 2, folders 2, files 1, left 2",
              "entered 3, folders 3, files 2, left 3"}},
            // Below the root, a folder above is closed for the missing descriptor.
            {"opendir", EMFILE, {"entered 0, folders 0, files 0, left 0", kWholeWalk}},
            {"opendir", ENFILE, {"entered 0, folders 0, files 0, left 0", kWholeWalk}},
            {"opendir", EACCES, {kWholeWalk}},
            {"stat", EIO, {"entered 3, folders 2, files 3, left 3"}},
            // A folder that can't be read on is at its end; what came before depends on its order.
            {"readdir",
             EIO,
             {kWholeWalk, "entered 1, folders 0, files 0, left 1",
              "entered 4, folders 3, files 2, left 4"},
             {"entered 3, folders 2, files 2, left 3", "entered 2, folders 1, files 1, left 2",
              "entered 3, folders 2, files 1, left 3"}},
            {"closedir", EIO, {kWholeWalk}},
        },
        {"std::bad_alloc", kWholeWalk, "entered 0, folders 0, files 0, left 0",
         "entered 2, folders 2, files 1, left 2", "entered 3, folders 3, files 2, left 3"}};
}

}  // namespace qz::faults
