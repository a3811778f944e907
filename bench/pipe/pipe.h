// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The rows of the pipes, and the other process that each of them takes.

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "../support.h"

namespace bench {

constexpr const char* kOneWay = "1 GiB one way, 10,240 B each";
constexpr const char* kSmallRoundTrip = "100 B there and back";
constexpr const char* kLargeRoundTrip = "64 KiB there and back";

constexpr std::size_t kPieceBytes = 10'240;
constexpr std::size_t kSmallBytes = 100;
constexpr std::size_t kLargeBytes = 64UL * 1024;

inline std::size_t getOneWayBytes()
{
    return sized(1024UL * 1024 * 1024, 1024UL * 1024);
}

inline void waitFor(int socket, short events)
{
    pollfd waiting = {socket, events, 0};
    ::poll(&waiting, 1, -1);
}

/// A forked process that runs until its work returns, and is waited for.
class OtherProcess {
public:
    explicit OtherProcess(const std::function<void()>& work) : mPid(::fork())
    {
        if (mPid != 0) return;
        work();
        ::_exit(0);
    }
    ~OtherProcess() { ::waitpid(mPid, nullptr, 0); }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

private:
    pid_t mPid;
};

}  // namespace bench
