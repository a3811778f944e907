// SPDX-License-Identifier: MIT
#include "DescriptorWait.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>

#include <qz/qzSystemUtils.h>

namespace qz::system {

namespace {

int getRemainingMs(unsigned long startMs, int timeoutMs)
{
    const unsigned long elapsedMs = qzSystemUtils::GetTimeBaseMs() - startMs;
    return static_cast<int>(timeoutMs - std::min<long>(timeoutMs, static_cast<long>(elapsedMs)));
}

}  // namespace

DescriptorWait waitForDescriptor(int descriptor, short events, int timeoutMs)
{
    // `poll` would ignore it and wait.
    if (descriptor < 0) return DescriptorWait::Failed;
    const unsigned long startMs = timeoutMs > 0 ? qzSystemUtils::GetTimeBaseMs() : 0;
    pollfd watched{descriptor, events, 0};
    int remainingMs = timeoutMs;
    int ready = ::poll(&watched, 1, remainingMs);
    while (ready < 0 && errno == EINTR) {
        if (timeoutMs > 0) remainingMs = getRemainingMs(startMs, timeoutMs);
        ready = ::poll(&watched, 1, remainingMs);
    }
    if (ready == 0) return DescriptorWait::TimedOut;
    const bool isClosed = (watched.revents & POLLNVAL) != 0;
    return ready < 0 || isClosed ? DescriptorWait::Failed : DescriptorWait::Ready;
}

}  // namespace qz::system
