// SPDX-License-Identifier: MIT
#include <sys/time.h>
#include <time.h>

#include <qz/qzSystemUtils.h>

namespace qz {

unsigned long qzSystemUtils::GetTimeBaseMs()
{
    timespec now = {};
    if (::clock_gettime(CLOCK_MONOTONIC, &now) != 0) return 0;
    return static_cast<unsigned long>(now.tv_sec) * 1000 +
           static_cast<unsigned long>(now.tv_nsec) / 1000000;
}

unsigned long qzSystemUtils::GetTimeBaseSec()
{
    return GetTimeBaseMs() / 1000;
}

long qzSystemUtils::GetMSecElapsedSinceEpoch()
{
    timeval now = {};
    ::gettimeofday(&now, nullptr);
    return now.tv_sec * 1000 + now.tv_usec / 1000;
}

long qzSystemUtils::GetSecElapsedSinceEpoch()
{
    return GetMSecElapsedSinceEpoch() / 1000;
}

}  // namespace qz
