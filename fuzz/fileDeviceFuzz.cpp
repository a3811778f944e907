// SPDX-License-Identifier: MIT
// Does operations of chance on a file device and on its plain form over a standard stream, and
// compares the two after each. The first byte says how long the file is to begin with.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "../tests/io/FileDeviceTrial.h"
#include "../tests/support/LibraryStart.h"
#include "support/FuzzInput.h"
#include "support/MemoryFolder.h"

namespace {

using qz::fuzz::expectSame;
using qz::fuzz::FuzzInput;
using qz::fuzz::MemoryFolder;

// Makes the two files anew with `size` bytes; no files for a size of 0.
void fill(const std::string& folder, std::size_t size)
{
    for (const char* name : {"/device", "/plain"}) {
        std::filesystem::remove(folder + name);
        if (size != 0) std::ofstream(folder + name, std::ios::binary) << std::string(size, '.');
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const qz::support::LibraryStart library;
    static const MemoryFolder folder("qzFileDeviceFuzz");
    FuzzInput input(data, size);
    fill(folder.getPath(), input.takeByte() * 100);
    static const std::size_t bufferSize = qz::FileDeviceTrial::measureBuffer(folder.getPath());
    qz::FileDeviceTrial trial(folder.getPath(), bufferSize,
                              [&](unsigned long bound) { return input.takeByte() % bound; });
    while (!input.isEmpty()) {
        const std::string difference = trial.step();
        expectSame(difference.empty(), difference);
    }
    const std::string difference = trial.finish();
    expectSame(difference.empty(), difference);
    return 0;
}
