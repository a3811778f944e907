// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "../support.h"

namespace bench {

/// A program and its arguments.
using Command = std::vector<std::string>;

/// The same work of all contenders.
inline const Command& nothing()
{
    static const Command command = {"/bin/true"};
    return command;
}
inline const Command& sleeping()
{
    static const Command command = {"/bin/sleep", "0.015"};
    return command;
}
inline const Command& writing()
{
    static const Command command = {"/usr/bin/head", "-c", "1048576", "/dev/zero"};
    return command;
}
constexpr std::size_t kWrittenBytes = 1048576;

/// Memory of this process, in use while it exists: a `fork` has to copy its page tables.
class UsedMemory {
public:
    explicit UsedMemory(std::size_t megabytes) : mBytes(megabytes << 20U, 'x') { keep(mBytes); }

private:
    std::vector<char> mBytes;
};

/// Runs a command. @return whether it has ended with the status 0.
using Run = bool (*)(const Command& command);
/// Runs a command. @return its output.
using Capture = std::string (*)(const Command& command);

template <Run kRun>
void measureNothing(benchmark::State& state, std::size_t megabytes)
{
    const UsedMemory memory(sized(megabytes, 1));
    for (auto _ : state) {
        if (!kRun(nothing())) state.SkipWithError("the program doesn't run");
    }
}

template <Run kRun, std::size_t kMegabytes>
void measureParent(benchmark::State& state)
{
    measureNothing<kRun>(state, kMegabytes);
}

template <Run kRun>
void measureSleep(benchmark::State& state)
{
    for (auto _ : state) {
        if (!kRun(sleeping())) state.SkipWithError("the program doesn't run");
    }
}

template <Capture kCapture>
void measureCapture(benchmark::State& state)
{
    for (auto _ : state) {
        if (kCapture(writing()).size() != kWrittenBytes) state.SkipWithError("output is missing");
    }
}

/// The rows of a contender. Each class of ours has its own rows, in which the peers come again.
template <Run kRun>
struct Runner {
    Runner(const char* name, const std::string& suffix)
        : mNothing(("nothing" + suffix).c_str(), name, measureParent<kRun, 0>, Clock::Wall),
          mSleep(("15 ms" + suffix).c_str(), name, measureSleep<kRun>, Clock::Wall),
          mBig(("nothing, parent of 256 MB" + suffix).c_str(), name, measureParent<kRun, 256>,
               Clock::Wall),
          mBiggest(("nothing, parent of 1 GB" + suffix).c_str(), name, measureParent<kRun, 1024>,
                   Clock::Wall)
    {
    }

    Case mNothing;
    Case mSleep;
    Case mBig;
    Case mBiggest;
};

constexpr const char* kByProcess = "";
constexpr const char* kByChildProcess = ", by ChildProcess";

/// The rows of a peer.
template <Run kRun, Capture kCapture>
struct Peer {
    explicit Peer(const char* name)
        : mFirst(name, kByProcess),
          mSecond(name, kByChildProcess),
          mCapture("1 MiB captured, by ChildProcess", name, measureCapture<kCapture>, Clock::Wall),
          mCheck(name, [] {
              return kRun(nothing()) && !kRun({"/bin/false"}) &&
                     kCapture(writing()).size() == kWrittenBytes;
          })
    {
    }

    Runner<kRun> mFirst;
    Runner<kRun> mSecond;
    Case mCapture;
    Check mCheck;
};

}  // namespace bench
