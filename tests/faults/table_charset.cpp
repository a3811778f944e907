// SPDX-License-Identifier: MIT
#include <cerrno>

#include "faults/FaultTables.h"

namespace qz::faults {

FaultTable getCharsetFaults()
{
    return {"charset",
            "de_DE.ISO-8859-1",
            "up",
            {
                {"newlocale", ENOMEM, {"up", "up without 01 other 10 'caf?' without long"}},
                {"pthread_key_create", EAGAIN, {"not up"}},
                {"pthread_setspecific", ENOMEM, {"up"}},
                {"iconv_open",
                 EMFILE,
                 {"up", "up without wide0", "up without wide1", "up without wide2",
                  "up without 01 without long", "up without 02", "up without 10", "up without 12",
                  "up without 20", "up without 21"}},
                {"iconv",
                 E2BIG,
                 {},
                 {"up", "up without 01", "up without 10", "up without wide0", "up without wide1",
                  "up without wide2", "up without long"}},
                {"iconv_close", EBADF, {"up"}},
            },
            {"std::bad_alloc", "not up", "up", "up without 01 other 10 'caf?' without long",
             "up without 01 without long", "up without 02", "up without 10", "up without 12",
             "up without 20", "up without 21", "up without wide0", "up without wide1",
             "up without wide2"}};
}

}  // namespace qz::faults
