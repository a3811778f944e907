// SPDX-License-Identifier: MIT
// Waits for the lock on the file of its argument, which it holds itself. Prints the pauses between
// the tries in microseconds, and releases the lock in the eighth. No pause takes time.

#include <time.h>

#include <iostream>

#include <qz/ext/FileLock.h>

#include "support/LibraryStart.h"

namespace {

constexpr int kPauses = 8;

qz::ext::FileLock gHolder;
int gPauses = 0;

}  // namespace

extern "C" int nanosleep(const timespec* time, timespec* /*left*/)
{
    std::cout << time->tv_sec * 1'000'000 + time->tv_nsec / 1000 << '\n';
    if (++gPauses == kPauses) gHolder.unlock();
    return 0;
}

int main(int /*argumentCount*/, char** arguments)
{
    using qz::ext::FileLock;
    const qz::support::LibraryStart library;
    FileLock waiting;
    const bool isTaken =
        gHolder.tryLockUtf8(arguments[1], FileLock::Exclusive) &&
        waiting.lockUtf8(arguments[1], FileLock::Exclusive, /*timeoutMs=*/-1, nullptr, nullptr);
    return isTaken ? 0 : 1;
}
