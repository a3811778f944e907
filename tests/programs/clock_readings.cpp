// SPDX-License-Identifier: MIT
// Prints what the library makes of given clocks: seconds and nanoseconds of the monotonic one,
// seconds and microseconds of the wall clock. Without arguments both clocks fail.

#include <sys/time.h>
#include <time.h>

#include <cstdlib>
#include <iostream>

#include <qz/qzSystemUtils.h>

namespace {

bool gClocksWork = false;
timespec gMonotonic = {};
timeval gWall = {};

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept
{
    if (!gClocksWork || clock != CLOCK_MONOTONIC) return -1;
    *now = gMonotonic;
    return 0;
}

extern "C" int gettimeofday(timeval* now, void* /*zone*/) noexcept
{
    if (!gClocksWork) return -1;
    *now = gWall;
    return 0;
}

int main(int argumentCount, char** arguments)
{
    if (argumentCount == 5) {
        gMonotonic = {std::atol(arguments[1]), std::atol(arguments[2])};
        gWall = {std::atol(arguments[3]), std::atol(arguments[4])};
        gClocksWork = true;
    }
    using qz::qzSystemUtils;
    std::cout << qzSystemUtils::GetTimeBaseMs() << ' ' << qzSystemUtils::GetTimeBaseSec() << ' '
              << qzSystemUtils::GetMSecElapsedSinceEpoch() << ' '
              << qzSystemUtils::GetSecElapsedSinceEpoch() << ' '
              << qzSystemUtils::GetCurrentDateTimeISO(/*localTime=*/false);
    return 0;
}
