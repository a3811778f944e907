// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The rows of the lock files, and where the files are.

#include <string>

#include "../support.h"

namespace bench {

constexpr const char* kRemovedInMemory = "take and release with removal, tmpfs";
constexpr const char* kRemovedOnDisk = "take and release with removal, disk";
constexpr const char* kKeptInMemory = "take a file that stays, tmpfs";
constexpr const char* kFileLock = "FileLock: take and release, tmpfs";
constexpr const char* kBetweenProcesses = "lock between processes, held open";

/// A path on the disk that no other process uses.
std::string makeDiskPath();

/// The three rows of files, by `Measure`, which takes the lock of a file and releases it.
template <void (*Measure)(benchmark::State&, const std::string& path, bool removesFile)>
struct FileRows {
    static void measureRemovedInMemory(benchmark::State& state)
    {
        const ScratchFile file("lock");
        Measure(state, file.getPath(), /*removesFile=*/true);
    }
    static void measureRemovedOnDisk(benchmark::State& state)
    {
        Measure(state, makeDiskPath(), /*removesFile=*/true);
    }
    static void measureKept(benchmark::State& state)
    {
        const ScratchFile file("lock");
        Measure(state, file.getPath(), /*removesFile=*/false);
    }
};

}  // namespace bench
