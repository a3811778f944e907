// SPDX-License-Identifier: MIT
#include "lines.h"

#include <cstdlib>
#include <ctime>

#include <unistd.h>

namespace bench {

void useFixedTimeZone()
{
    ::setenv("TZ", "XST-1", /*overwrite=*/1);
    ::tzset();
}

std::string getExpectedPrefix()
{
    return "INFO(iodevice) PID " + std::to_string(::getpid()) +
           " TID 140388 Sat Nov 14 21:17:56+0100 2026 : ";
}

}  // namespace bench
