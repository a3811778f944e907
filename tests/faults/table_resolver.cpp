// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

namespace {

const char* const kWholeIndex = "found top p.prt.1 p.prt.2, newest p.prt.2";

}  // namespace

FaultTable getResolverFaults()
{
    return {"resolver",
            "C.UTF-8",
            kWholeIndex,
            {
                {"opendir", ENOMEM, {"found, newest none", "found top, newest none"}},
                {"opendir", EMFILE, {"found, newest none", kWholeIndex}},
                {"opendir", EACCES, {kWholeIndex}},
                {"readdir",
                 EIO,
                 {kWholeIndex, "found, newest none", "found top, newest none"},
                 {"found p.prt.1 p.prt.2, newest p.prt.2", "found top p.prt.1, newest p.prt.1",
                  "found top p.prt.2, newest p.prt.2"}},
                {"closedir", EIO, {kWholeIndex}},
            },
            {"std::bad_alloc", kWholeIndex, "found, newest none", "found top, newest none"}};
}

}  // namespace qz::faults
