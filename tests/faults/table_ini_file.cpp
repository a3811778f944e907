// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

FaultTable getIniFileFaults()
{
    return {"ini_file",
            "C.UTF-8",
            "done, file last",
            {
                // A file whose `stat` fails counts as missing, and nothing is merged.
                {"stat", EIO, {"done, file cut"}},
                {"open",
                 EMFILE,
                 {"not saved, file empty", "not loaded, file first", "not merged, file first"}},
                // What follows a failed read is missing, also in a file that is merged with others.
                {"read", EIO, {"done, file cut", "done, tree , file last"}, {"done, file last"}},
                {"write",
                 ENOSPC,
                 {"not saved, file cut", "not merged, file cut"},
                 {"not saved, file empty", "not merged, file empty"}},
                {"close", EIO, {"done, file last"}},
                {"read", EINTR, {"done, file last"}},
                {"write", EINTR, {"done, file last"}},
                // Without a word of a thread's end, no memory is kept for it.
                {"pthread_key_create", EAGAIN, {}, {"done, file last"}},
                {"pthread_setspecific", ENOMEM, {}, {"done, file last"}},
            },
            {"std::bad_alloc"}};
}

}  // namespace qz::faults
